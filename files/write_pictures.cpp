#include "catalog/catalog.h"
#include "files/error.h"
#include "files/npy.h"
#include "files/pictures.h"

#include <opencv2/imgcodecs.hpp>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>

namespace miravex::files {

namespace {

constexpr std::uint32_t bit(PixelType type) { return std::uint32_t { 1 } << type; }
constexpr std::uint32_t bytes = bit(PixelTypeByte);
constexpr std::uint32_t integers = bytes | bit(PixelTypeBit16);
constexpr std::uint32_t floats = bit(PixelTypeReal32);

/// What a format can hold.
struct Format {
    std::string_view extension;
    std::uint32_t pixelTypes;
    bool gray = true;
    bool alpha = false;
    bool pages = false;
    bool video = false;
};

constexpr std::array formats {
    Format { .extension = ".png", .pixelTypes = integers, .alpha = true },
    Format { .extension = ".jpg", .pixelTypes = bytes },
    Format { .extension = ".jpeg", .pixelTypes = bytes },
    Format { .extension = ".tif",
             .pixelTypes = integers | floats | bit(PixelTypeReal),
             .alpha = true,
             .pages = true },
    Format { .extension = ".tiff",
             .pixelTypes = integers | floats | bit(PixelTypeReal),
             .alpha = true,
             .pages = true },
    Format { .extension = ".exr", .pixelTypes = floats, .alpha = true },
    Format { .extension = ".hdr", .pixelTypes = floats, .gray = false },
    Format { .extension = ".bmp", .pixelTypes = bytes },
    Format { .extension = ".webp", .pixelTypes = bytes, .gray = false, .alpha = true },
    Format { .extension = ".jp2", .pixelTypes = integers },
    Format { .extension = ".ppm", .pixelTypes = integers, .gray = false },
    Format { .extension = ".pgm", .pixelTypes = integers },
    Format { .extension = ".pnm", .pixelTypes = integers },
    Format { .extension = ".avi", .pixelTypes = bytes, .gray = false, .pages = true, .video = true },
};

constexpr std::string_view arrayExtension = ".npy";

const Format& formatOf(const std::string& extension)
{
    const auto* found = std::ranges::find(formats, extension, &Format::extension);
    if (found != formats.end()) return *found;
    std::vector<std::string_view> known { arrayExtension };
    for (const Format& format : formats) known.push_back(format.extension);
    throw Error(Error::Kind::Request,
                fmt::format("cannot write pictures as \"{}\", expected one of {}", extension,
                            fmt::join(known, ", ")));
}

PixelType storedType(const Format& format, PixelType type, int64_t channels)
{
    // OpenCV writes doubles of one channel only.
    if (type == PixelTypeReal && channels > 1) type = PixelTypeReal32;
    const auto holds = [&](PixelType candidate) { return (format.pixelTypes & bit(candidate)) != 0; };
    if (holds(type)) return type;
    if (type == PixelTypeBit) return holds(PixelTypeByte) ? PixelTypeByte : PixelTypeReal32;
    for (const PixelType candidate : { PixelTypeReal32, PixelTypeBit16, PixelTypeByte })
        if (holds(candidate)) return candidate;
    return PixelTypeByte;
}

bool exceedsUnit(const std::vector<cv::Mat>& frames)
{
    return std::ranges::any_of(frames, [](const cv::Mat& frame) {
        return !cv::checkRange(frame.reshape(1), true, nullptr, 0.0, std::nextafter(1.0, 2.0));
    });
}

void tellConversion(const Image& image, PixelType stored, const std::string& extension, Notes& notes)
{
    if (image.pixelType == PixelTypeBit || stored == image.pixelType || stored > image.pixelType) return;
    notes.push_back(fmt::format("{} samples are saved as {}, the most that {} holds",
                                pixelTypeName(image.pixelType), pixelTypeName(stored), extension));
    if (image.pixelType >= PixelTypeReal32 && stored < PixelTypeReal32 && exceedsUnit(framesOf(image)))
        notes.push_back(fmt::format("values outside of 0 to 1 are cut off; .tiff, .exr and .npy keep them"));
}

/// In OpenCV's order of colours, with as many channels as the format takes.
cv::Mat forFile(const cv::Mat& frame, const Format& format)
{
    cv::Mat stored = frame.clone();
    if (frame.channels() == 1 && !format.gray) cv::merge(std::vector<cv::Mat>(3, frame), stored);
    if (frame.channels() == 4 && !format.alpha) stored = withoutAlpha(frame);
    swapRedAndBlue(stored);
    return stored;
}

constexpr int lzw = 5; // as TIFF numbers its compressions

void writeMatrices(const std::vector<cv::Mat>& frames, const std::filesystem::path& path,
                   const Format& format)
{
    try {
        if (format.video) {
            if (!codecs().writeFilm(path.string(), frames))
                throw Error(Error::Kind::Output, "OpenCV cannot write this video");
            return;
        }
        // Left to itself OpenCV rounds floats in colour TIFFs to logarithms.
        std::vector<int> parameters;
        if (format.extension.starts_with(".tif")) parameters = { cv::IMWRITE_TIFF_COMPRESSION, lzw };
        if (!codecs().write(path.string(), frames, parameters))
            throw Error(Error::Kind::Output, "OpenCV cannot write this picture");
    } catch (const cv::Exception& error) {
        throw Error(Error::Kind::Output, "OpenCV cannot write this picture: " + error.err);
    }
}

NpyArray npyOf(const Image& image)
{
    NpyArray array;
    array.kind = image.pixelType == PixelTypeBit ? 'b' : image.pixelType >= PixelTypeReal32 ? 'f' : 'u';
    array.itemBytes = bytesPerSample(image.pixelType);
    if (image.rank() == 3) array.shape.push_back(image.shape.slices);
    array.shape.insert(array.shape.end(), { image.shape.rows, image.shape.columns });
    if (image.shape.channels > 1) array.shape.push_back(image.shape.channels);
    array.data.assign(image.block.data(), image.block.data() + image.block.size());
    return array;
}

ImagePointer interleaved(const Image& image, PixelType type)
{
    return convertImage(image, type, image.shape.channels > 1);
}

} // namespace

cv::Mat withoutAlpha(const cv::Mat& matrix)
{
    cv::Mat colors(matrix.size(), CV_MAKETYPE(matrix.depth(), 3));
    const int pairs[] = { 0, 0, 1, 1, 2, 2 };
    cv::mixChannels(&matrix, 1, &colors, 1, pairs, 3);
    return colors;
}

void swapRedAndBlue(cv::Mat& matrix)
{
    if (matrix.channels() < 3) return;
    cv::Mat swapped(matrix.size(), matrix.type());
    const int pairs[] = { 0, 2, 1, 1, 2, 0, 3, 3 };
    cv::mixChannels(&matrix, 1, &swapped, 1, pairs, static_cast<std::size_t>(matrix.channels()));
    matrix = swapped;
}

bool isPictureExtension(const std::string& extension)
{
    return extension == arrayExtension
        || std::ranges::find(formats, extension, &Format::extension) != formats.end();
}

void refuseExtension(const std::string& extension, bool isSequence)
{
    if (extension == arrayExtension) return;
    const Format& format = formatOf(extension);
    if (isSequence && !format.pages)
        throw Error(
            Error::Kind::Request,
            fmt::format("the result is a sequence, which {} cannot hold; expected .tiff, .avi or .npy",
                        extension));
}

void writePicture(const Image& image, const std::filesystem::path& path, const std::string& extension,
                  Notes& notes)
{
    if (extension == arrayExtension) return writeNpy(path, npyOf(*interleaved(image, image.pixelType)));
    refuseExtension(extension, image.rank() == 3);
    const Format& format = formatOf(extension);
    const int64_t channels = image.shape.channels;
    if (channels != 1 && channels != 3 && channels != 4)
        throw Error(Error::Kind::Request,
                    fmt::format("a picture of {} channels can only be saved as .npy", channels));
    if (channels == 4 && !format.alpha)
        notes.push_back(fmt::format("the fourth channel is dropped, {} has none", extension));
    const PixelType stored = storedType(format, image.pixelType, channels);
    tellConversion(image, stored, extension, notes);

    const ImagePointer converted = interleaved(image, stored);
    std::vector<cv::Mat> frames;
    for (const cv::Mat& frame : framesOf(*converted)) frames.push_back(forFile(frame, format));
    writeMatrices(frames, path, format);
}

} // namespace miravex::files
