#include "ops/filters/operations.h"

#include "abi/host_objects.h"
#include "abi/library_state.h"
#include "convert/borrowed_mat.h"
#include "convert/integers.h"
#include "convert/tensors.h"
#include "ops/filters/bounds.h"
#include "ops/filters/local_statistics.h"
#include "ops/filters/option_names.h"

namespace miravex {

namespace {

/// The host's code for the comparison that sets a pixel.
constexpr int thresholdComparison = 7;

/// Sets each pixel whose difference passes the host's comparison with `threshold`, row by row.
void askHost(HostCompareReals compare, const cv::Mat& differences, double threshold, std::uint8_t* bits)
{
    for (int y = 0; y < differences.rows; ++y) {
        const double* row = differences.ptr<double>(y);
        for (int x = 0; x < differences.cols; ++x) {
            const double operands[] = { row[x], threshold };
            *bits++ = compare(thresholdComparison, 0.0, 2, operands) != 0;
        }
    }
}

} // namespace

/// Sets the pixels whose value, less c0 local means and c1 local standard deviations, passes the host's
/// comparison 7 with c2; (c0, c1, c2) are the coefficients.
///
/// Image: 2D, 1 channel of any type, taken as reals by the host's rules; the result is a bit image. Radius:
/// the window has 2 radius + 1 pixels a side, at least 1 and cut to 32 bits, and its margin at most
/// bounds::marginSamples samples. Padding: any known name, "Constant" with `paddingValue`; with it and
/// "Periodic" only the mean sees the padding, and the deviation reflections at the edge. The host compares
/// once per pixel, row by row. Refused before the library is initialised. Source: J. Sauvola, M. Pietikainen,
/// "Adaptive document image binarization", 2000, for thresholds of this kind.
HostErrorCode localAdaptiveBinarize(LibraryData data, KImage image, int64_t radius, KTensor coefficients,
                                    const char* padding, double paddingValue, KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const int64_t rows = images.imageGetRowCount(image);
    const int64_t columns = images.imageGetColumnCount(image);
    const int64_t channels = images.imageGetChannels(image);
    const int border = borderTypeFromName(padding);
    if (channels != 1 || radius < 1 || !coefficients || data->tensorGetRank(coefficients) != 1)
        return StatusFunctionError;
    const auto weights = realElements(data, coefficients);
    const HostCompareReals compare = hostCompareReals();
    if (!weights || weights->size() != 3 || !compare) return StatusFunctionError;
    const double meanWeight = (*weights)[0], deviationWeight = (*weights)[1], threshold = (*weights)[2];

    NewImage binary(images);
    if (images.imageNew2D(columns, rows, 1, PixelTypeBit, ColorSpaceUnspecified, false, binary.receive()) != 0
        || !binary)
        return StatusFunctionError;
    std::uint8_t* bits = images.imageGetBitData(binary.get());
    if (!bits) return StatusFunctionError;

    const BorrowedMat source(images, image, CV_64F);
    if (!source.isPlane()) return StatusFunctionError;
    if (border == unknownPadding || !bounds::reaches(radius)) return StatusFunctionError;
    cv::Mat differences = *source;
    if (meanWeight != 0 || deviationWeight != 0) {
        const int reach = lowInt32(radius);
        if (!bounds::windowFits(rows, columns, reach)) return StatusFunctionError;
        const LocalWindow window { reach, border, paddingValue };
        const PixelType pixelType = images.imageGetPixelType(image);
        const bool bytes = pixelType == PixelTypeBit || pixelType == PixelTypeByte;
        differences = (bytes ? differencesByRunningSums : differencesByBlurs)(*source, window, meanWeight,
                                                                              deviationWeight);
    }
    askHost(compare, differences, threshold, bits);
    *result = binary.release();
    return StatusOk;
}

} // namespace miravex
