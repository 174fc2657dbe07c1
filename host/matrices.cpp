#include "host/matrices.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace miravex {

namespace {

ImagePointer imageOf(std::span<const cv::Mat> frames, int64_t slices, std::optional<ColorSpace> colorSpace)
{
    const cv::Mat& first = frames.front();
    const ImageShape shape {
        .rows = first.rows, .columns = first.cols, .channels = first.channels(), .slices = slices
    };
    const ColorSpace space = colorSpace.value_or(usualColorSpace(shape.channels));
    ImagePointer image = makeImage(shape, pixelTypeOfMatrix(first), space);
    std::vector<cv::Mat> targets = framesOf(*image);
    for (std::size_t i = 0; i < frames.size(); ++i) frames[i].copyTo(targets[i]);
    return image;
}

} // namespace

PixelType pixelTypeOfMatrix(const cv::Mat& matrix)
{
    switch (matrix.depth()) {
    case CV_8U: return PixelTypeByte;
    case CV_16U: return PixelTypeBit16;
    case CV_32F: return PixelTypeReal32;
    case CV_64F: return PixelTypeReal;
    default: throw std::invalid_argument("no image has samples of this depth");
    }
}

ColorSpace usualColorSpace(int64_t channels)
{
    if (channels == 1) return ColorSpaceGray;
    return channels == 3 ? ColorSpaceRGB : ColorSpaceUnspecified;
}

ImagePointer imageOfMatrix(const cv::Mat& matrix, std::optional<ColorSpace> colorSpace)
{
    return imageOf({ &matrix, 1 }, 0, colorSpace);
}

ImagePointer imageOfFrames(std::span<const cv::Mat> frames, std::optional<ColorSpace> colorSpace)
{
    return imageOf(frames, static_cast<int64_t>(frames.size()), colorSpace);
}

std::vector<cv::Mat> framesOf(const Image& image)
{
    constexpr std::array depths { CV_8U, CV_8U, CV_16U, CV_32F, CV_64F };
    const int type = CV_MAKETYPE(depths.at(static_cast<std::size_t>(image.pixelType)),
                                 static_cast<int>(image.shape.channels));
    const auto slices = static_cast<std::size_t>(std::max<int64_t>(1, image.shape.slices));
    const std::size_t sliceBytes = image.block.size() / slices;
    std::vector<cv::Mat> frames;
    frames.reserve(slices);
    for (std::size_t i = 0; i < slices; ++i)
        frames.emplace_back(static_cast<int>(image.shape.rows), static_cast<int>(image.shape.columns), type,
                            image.block.data() + i * sliceBytes);
    return frames;
}

} // namespace miravex
