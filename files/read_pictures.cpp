#include "catalog/explain.h"
#include "files/error.h"
#include "files/files.h"
#include "files/npy.h"
#include "files/pictures.h"

#include <opencv2/imgcodecs.hpp>

#include <fmt/format.h>

#include <array>
#include <cstring>
#include <fstream>

namespace miravex::files {

namespace {

using namespace std::string_view_literals;
/// OpenCV may still read what is there.
constexpr std::string_view truncated = "it is truncated";

using Frames = std::vector<cv::Mat>;

[[noreturn]] void unreadable(const std::string& file, const std::string& reason)
{
    const std::string name = file == standardStream ? "standard input" : file;
    throw Error(Error::Kind::Input, fmt::format("cannot read {}: {}", name, reason));
}

bool startsWith(const std::string& path, std::initializer_list<std::string_view> signatures)
{
    std::array<char, 8> start {};
    std::ifstream(path, std::ios::binary).read(start.data(), start.size());
    const std::string_view bytes(start.data(), start.size());
    return std::ranges::any_of(signatures, [&](std::string_view s) { return bytes.starts_with(s); });
}

Frames readStill(const std::string& path)
{
    // Unchanged keeps alpha but ignores the orientation, which only JPEGs (without alpha) commonly have.
    const bool isJpeg = startsWith(path, { "\xFF\xD8\xFF"sv });
    const cv::Mat picture =
        codecs().read(path, isJpeg ? cv::IMREAD_ANYCOLOR | cv::IMREAD_ANYDEPTH : cv::IMREAD_UNCHANGED);
    return picture.empty() ? Frames() : Frames { picture };
}

Frames readPages(const std::string& path, int64_t maximum)
{
    Frames pages = codecs().readPages(path);
    if (static_cast<int64_t>(pages.size()) > maximum) pages.resize(static_cast<std::size_t>(maximum));
    return pages;
}

PixelType pixelTypeOf(const std::string& file, const NpyArray& array)
{
    if (array.kind == 'b') return PixelTypeBit;
    if (array.kind == 'u' && array.itemBytes == 1) return PixelTypeByte;
    if (array.kind == 'u' && array.itemBytes == 2) return PixelTypeBit16;
    if (array.kind == 'f') return array.itemBytes == 4 ? PixelTypeReal32 : PixelTypeReal;
    unreadable(file,
               fmt::format("pictures hold bool, uint8, uint16, float32 or float64, not {}{}", array.kind,
                           array.itemBytes * 8));
}

ColorSpace colorSpaceOf(int64_t channels)
{
    if (channels <= 2) return ColorSpaceGray;
    return channels <= 4 ? ColorSpaceRGB : ColorSpaceUnspecified;
}

/// H x W, H x W x C, S x H x W (when the last size is no number of channels), S x H x W x C.
ImagePointer readArrayPicture(const std::string& file)
{
    constexpr int64_t mostChannels = 5;
    const NpyArray array = readNpy(file);
    const std::vector<int64_t>& sizes = array.shape;
    if (sizes.size() < 2 || sizes.size() > 4)
        unreadable(file, "an array of that many dimensions is no picture");
    const bool hasChannels = sizes.size() == 4 || (sizes.size() == 3 && sizes[2] <= mostChannels);
    const bool hasSlices = sizes.size() == 4 || (sizes.size() == 3 && !hasChannels);
    const std::size_t first = hasSlices ? 1 : 0;
    const ImageShape shape { .rows = sizes[first],
                             .columns = sizes[first + 1],
                             .channels = hasChannels ? sizes.back() : 1,
                             .slices = hasSlices ? sizes[0] : 0 };
    if (shape.samples() == 0) unreadable(file, "the picture is empty");
    ImagePointer image = makeImage(shape, pixelTypeOf(file, array), colorSpaceOf(shape.channels));
    std::memcpy(image->block.data(), array.data.data(), array.data.size());
    return image;
}

void checkDepth(const std::string& file, const cv::Mat& frame)
{
    const int depth = frame.depth();
    if (depth != CV_8U && depth != CV_16U && depth != CV_32F && depth != CV_64F)
        unreadable(file,
                   fmt::format("samples of type {} have no place in an image", cv::typeToString(depth)));
}

Frames readFrames(const std::string& file, int64_t maximum, const Progress& progress)
{
    const InputFile input(file);
    const std::string& path = input.path();
    if (const std::string trouble = fileTrouble(path); !trouble.empty() && trouble != truncated)
        unreadable(file, trouble);
    Frames frames;
    try {
        const bool isTiff = startsWith(path, { "II*\0"sv, "MM\0*"sv, "II+\0"sv, "MM\0+"sv });
        frames = isTiff ? readPages(path, maximum) : readStill(path);
        if (frames.empty()) frames = codecs().readFilm(path, maximum, progress);
    } catch (const cv::Exception& error) {
        unreadable(file, error.err);
    }
    if (frames.empty()) {
        const std::string trouble = fileTrouble(path);
        unreadable(file, trouble.empty() ? "it is no picture or video that OpenCV knows" : trouble);
    }
    for (cv::Mat& frame : frames) {
        checkDepth(file, frame);
        swapRedAndBlue(frame);
    }
    return frames;
}

void checkAlike(const std::string& file, const cv::Mat& first, const cv::Mat& frame)
{
    if (frame.size() == first.size() && frame.type() == first.type()) return;
    unreadable(file,
               fmt::format("it is {} x {} of {}, the frames before it {} x {} of {}", frame.cols, frame.rows,
                           cv::typeToString(frame.type()), first.cols, first.rows,
                           cv::typeToString(first.type())));
}

Frames framesOfFile(const std::string& file, int64_t maximum, const Progress& progress)
{
    if (extensionOf(file) != ".npy") return readFrames(file, maximum, progress);
    const ImagePointer stored = readArrayPicture(file);
    Frames frames;
    for (const cv::Mat& frame : framesOf(*stored)) frames.push_back(frame.clone());
    return frames;
}

} // namespace

ImagePointer imageOf(const Frames& frames, bool asSequence)
{
    const ColorSpace space = colorSpaceOf(frames.front().channels());
    return asSequence || frames.size() > 1 ? imageOfFrames(frames, space)
                                           : imageOfMatrix(frames.front(), space);
}

ImagePointer readPicture(const std::string& file, int64_t maximumFrames, const Progress& progress)
{
    if (extensionOf(file) == ".npy") return readArrayPicture(file);
    const Frames frames = readFrames(file, maximumFrames, progress);
    for (const cv::Mat& frame : frames) checkAlike(file, frames.front(), frame);
    return imageOf(frames);
}

ImagePointer readSequence(const std::vector<std::string>& files, int64_t maximumFrames,
                          const Progress& progress)
{
    Frames frames;
    const bool single = files.size() == 1;
    int64_t done = 0;
    for (const std::string& file : files) {
        const int64_t left = maximumFrames - static_cast<int64_t>(frames.size());
        if (left <= 0) break;
        for (const cv::Mat& frame : framesOfFile(file, left, single ? progress : Progress())) {
            if (!frames.empty()) checkAlike(file, frames.front(), frame);
            frames.push_back(frame);
        }
        if (progress && !single) progress(++done, static_cast<int64_t>(files.size()));
    }
    return imageOf(frames, true);
}

ImagePointer firstFrame(const Image& sequence)
{
    ImageShape shape = sequence.shape;
    shape.slices = 0;
    ImagePointer image = makeImage(shape, sequence.pixelType, sequence.colorSpace, sequence.interleaved);
    std::memcpy(image->block.data(), sequence.block.data(), image->block.size());
    return image;
}

} // namespace miravex::files
