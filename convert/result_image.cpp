#include "convert/result_image.h"

#include <algorithm>

namespace miravex {

namespace {

/// Pixel type that `requested` means for a matrix depth, or -1 when no image can be made of it.
PixelType targetPixelType(int depth, int requested) noexcept
{
    if (requested == anyType) return pixelTypeOfDepth(depth);
    if (requested < PixelTypeBit || requested > PixelTypeReal) return -1;
    if (requested == PixelTypeBit && depth != CV_8U && depth != CV_8S) return -1;
    return requested;
}

/// Writes the samples of a matrix, scaled and saturated, into those of an image of type `target`.
void writeSamples(const cv::Mat& matrix, PixelType target, std::uint8_t* samples)
{
    if (matrix.empty()) return;
    const int type = CV_MAKETYPE(depthOfPixelType(target), matrix.channels());
    cv::Mat destination(matrix.size(), type, samples);
    if (target == PixelTypeBit)
        cv::convertScaleAbs(matrix, destination); // signed bytes: nonzero stays nonzero
    else if (matrix.depth() == destination.depth())
        matrix.copyTo(destination);
    else
        matrix.convertTo(destination, destination.depth(), scaleFactor(matrix.depth(), target), 0.0);
    CV_Assert(destination.data == samples);

    if (target == PixelTypeBit)
        std::transform(samples, samples + matrix.total() * matrix.elemSize(), samples,
                       [](std::uint8_t sample) -> std::uint8_t { return sample != 0; });
}

} // namespace

ResultImage::ResultImage(const ImageServices& images, cv::Size size, int type, int pixelType, int colorSpace)
    : image_(images)
    , size_(size)
    , type_(type)
    , pixelType_(targetPixelType(CV_MAT_DEPTH(type), pixelType))
{
    if (pixelType_ < 0) return;
    const int channels = CV_MAT_CN(type);
    const ColorSpace space = pixelType_ == PixelTypeBit ? ColorSpaceUnspecified : colorSpace;
    const int status = images.imageNew2D(size.width, size.height, channels, pixelType_, space, channels >= 2,
                                         image_.receive());
    if (status != 0 || !image_) return;
    samples_ = sampleBytes(images, image_.get(), pixelType_);
    if (!samples_ && !size.empty()) return;
    // Bits are bytes to OpenCV, but 0 and 1 to the host.
    const bool direct = pixelType_ != PixelTypeBit && depthOfPixelType(pixelType_) == CV_MAT_DEPTH(type);
    if (direct) matrix_ = samples_ ? cv::Mat(size, type, samples_) : cv::Mat(size, type);
    usable_ = true;
}

HostErrorCode ResultImage::release(KImage* result)
{
    CV_Assert(matrix_.dims == 2 && matrix_.size() == size_ && matrix_.type() == type_);
    if (matrix_.data != samples_) writeSamples(matrix_, pixelType_, samples_);
    *result = image_.release();
    return StatusOk;
}

ResultSlices::ResultSlices(const ImageServices& images, std::size_t count, cv::Size size, int type)
    : image_(images)
    , count_(count)
    , size_(size)
    , type_(type)
{
    const PixelType pixelType = pixelTypeOfDepth(CV_MAT_DEPTH(type));
    if (pixelType < 0) return;
    const int channels = CV_MAT_CN(type);
    const int status = images.imageNew3D(static_cast<int64_t>(count), size.width, size.height, channels,
                                         pixelType, ColorSpaceUnspecified, channels >= 2, image_.receive());
    if (status != 0 || !image_) return;
    samples_ = sampleBytes(images, image_.get(), pixelType);
    if (!samples_) return;
    std::uint8_t* slice = samples_;
    for (std::size_t i = 0; i < count; ++i) {
        const cv::Mat& made = matrices_.emplace_back(size, type, slice);
        slice += made.total() * made.elemSize();
    }
    usable_ = true;
}

HostErrorCode ResultSlices::release(KImage* result)
{
    CV_Assert(matrices_.size() == count_);
    std::uint8_t* samples = samples_;
    for (const cv::Mat& slice : matrices_) {
        CV_Assert(slice.size() == size_ && slice.type() == type_);
        if (slice.data != samples) slice.copyTo(cv::Mat(size_, type_, samples));
        samples += slice.total() * slice.elemSize();
    }
    *result = image_.release();
    return StatusOk;
}

} // namespace miravex
