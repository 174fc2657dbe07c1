#include "ops/loading/load_images.h"

#include "convert/tensors.h"
#include "ops/loading/bounds.h"
#include "ops/loading/option_names.h"
#include "ops/loading/parallel_load.h"
#include "readers/readers.h"

#include <cstring>
#include <stdexcept>

namespace miravex::importops {

namespace {

[[noreturn]] void refuse(const std::string& message) { throw std::runtime_error(message); }

/// A numeric array of 32-bit floats as the library reads it.
struct Floats {
    float* data = nullptr;
    std::vector<int64_t> dimensions;

    [[nodiscard]] int64_t count() const
    {
        int64_t product = 1;
        for (const int64_t dimension : dimensions) product = bounds::product({ product, dimension });
        return product;
    }
};

/// Type before rank, rank before dimensions. `what` names the array in the messages.
Floats checkedFloats(LibraryData data, NumericArray array, int64_t rank, const std::string& what)
{
    if (!data->numericArrayServices || !array) refuse(what + " NumericArray is missing");
    const NumericArrayServices& arrays = *data->numericArrayServices;
    if (arrays.numericArrayGetType(array) != NumericArrayTypeReal32)
        refuse(what + " NumericArray is of incorrect type");
    if (arrays.numericArrayGetRank(array) != rank) refuse(what + " NumericArray is of incorrect rank");
    const int64_t* dimensions = arrays.numericArrayGetDimensions(array);
    if (!dimensions) refuse(what + " NumericArray has no dimensions");
    Floats floats { static_cast<float*>(arrays.numericArrayGetData(array)),
                    { dimensions, dimensions + rank } };
    for (const int64_t dimension : floats.dimensions)
        if (dimension < 0) refuse(what + " NumericArray has a negative dimension");
    if (!floats.data && floats.count() > 0) refuse(what + " NumericArray has no data");
    return floats;
}

/// The paths that stand one after the other in a string.
std::vector<std::string> splitPaths(LibraryData data, const char* joined, KTensor lengths)
{
    const auto counts = integerElements(data, lengths);
    if (!counts) refuse("The path lengths can't be read");
    std::vector<std::string> paths;
    paths.reserve(counts->size());
    std::size_t left = std::strlen(joined);
    for (const int64_t count : *counts) {
        if (!bounds::pathFits(count, left))
            refuse(count < 0 ? "A path length is negative" : "The path lengths exceed the string of paths");
        paths.emplace_back(joined, static_cast<std::size_t>(count));
        joined += count;
        left -= static_cast<std::size_t>(count);
    }
    return paths;
}

int colorCodeOf(const std::string& name)
{
    const int code = valueOf(colorConversions, name, unknownColor);
    if (code == unknownColor) refuse("Invalid color space.");
    return code;
}

SlotFormat slotFormat(const Floats& destination, bool channelsLast)
{
    const auto& sizes = destination.dimensions;
    const int64_t height = channelsLast ? sizes[1] : sizes[2];
    const int64_t width = channelsLast ? sizes[2] : sizes[3];
    const int64_t channels = channelsLast ? sizes[3] : sizes[1];
    if (!bounds::channelsFit(channels)) refuse("Destination NumericArray must have 1 or 3 channels");
    if (!bounds::slotFits(height, width)) refuse("Destination NumericArray has too large slots");
    SlotFormat format;
    format.height = static_cast<int>(height);
    format.width = static_cast<int>(width);
    format.channels = static_cast<int>(channels);
    format.channelsLast = channelsLast;
    return format;
}

/// The samples of a mean or deviation, or null when none is wanted.
Floats slotArray(LibraryData data, bool wanted, NumericArray array, const std::string& what)
{
    constexpr int64_t rank = 3;
    return wanted ? checkedFloats(data, array, rank, what) : Floats {};
}

void requireSlot(bool wanted, const Floats& floats, const SlotFormat& format, const std::string& what)
{
    if (wanted && !bounds::fillsSlot(floats.count(), format.height, format.width, format.channels))
        refuse(what + " NumericArray has fewer elements than a slot");
}

/// A new integer list of the 1-based positions whose status is still zero.
KTensor unreadPositions(LibraryData data, const std::vector<unsigned char>& status)
{
    std::vector<int64_t> positions;
    for (std::size_t i = 0; i < status.size(); ++i)
        if (status[i] == 0) positions.push_back(static_cast<int64_t>(i) + 1);
    NewTensor tensor(data, TensorTypeInteger, { static_cast<int64_t>(positions.size()) });
    if (!tensor) refuse("could not create output integer tensor.");
    if (!positions.empty()) {
        int64_t* elements = tensor.integers();
        if (!elements) refuse("could not create output integer tensor.");
        std::ranges::copy(positions, elements);
    }
    return tensor.release();
}

} // namespace

KTensor loadImagesFromPathInto(LibraryData data, const LoadRequest& request)
{
    constexpr int64_t rank = 4;
    const Floats destination = checkedFloats(data, request.destination, rank, "Destination");
    std::vector<std::string> paths = splitPaths(data, request.paths, request.lengths);
    const auto files = static_cast<int64_t>(paths.size());
    if (!bounds::haveSlots(files, destination.dimensions[0]))
        refuse("There are more files than slots in the destination NumericArray");
    const int colorCode = colorCodeOf(request.colorSpace);
    const Floats mean = slotArray(data, request.hasMean, request.mean, "Mean image");
    const Floats deviation =
        slotArray(data, request.hasReciprocalDeviation, request.reciprocalDeviation, "rstddev image");
    SlotFormat format = slotFormat(destination, request.channelsLast);
    requireSlot(request.hasMean, mean, format, "Mean image");
    requireSlot(request.hasReciprocalDeviation, deviation, format, "rstddev image");
    format.mean = mean.data;
    format.reciprocalDeviation = deviation.data;
    format.colorCode = colorCode;

    if (!bounds::filesFit(files)) refuse("There are too many files");
    std::vector<unsigned char> status(paths.size(), 0);
    readers().loadPictures(std::move(paths), destination.data, format, status.data(),
                           static_cast<double>(request.stripes));
    return unreadPositions(data, status);
}

} // namespace miravex::importops
