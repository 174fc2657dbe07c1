#include "convert/result_image.h"

#include "convert/mat_to_image.h"

namespace miravex {

ResultImage::ResultImage(const ImageServices& images, cv::Size size, int type, int pixelType, int colorSpace)
    : image_(images)
    , size_(size)
    , type_(type)
    , pixelType_(targetPixelType(CV_MAT_DEPTH(type), pixelType))
{
    if (pixelType_ < 0) return;
    const int channels = CV_MAT_CN(type);
    const ColorSpace space = pixelType_ == PixelTypeBit ? ColorSpaceUnspecified : colorSpace;
    if (images.imageNew2D(size.width, size.height, channels, pixelType_, space, channels >= 2,
                          image_.receive())
            != 0
        || !image_)
        return;
    samples_ = sampleBytes(images, image_.get(), pixelType_);
    if (!samples_ && !size.empty()) return;
    // Bits are bytes to OpenCV, but 0 and 1 to the host.
    const bool direct = pixelType_ != PixelTypeBit && depthOfPixelType(pixelType_) == CV_MAT_DEPTH(type);
    if (direct && samples_) matrix_ = cv::Mat(size, type, samples_);
    usable_ = true;
}

HostErrorCode ResultImage::release(KImage* result)
{
    CV_Assert(matrix_.size() == size_ && matrix_.type() == type_);
    if (matrix_.data != samples_) writeSamples(matrix_, pixelType_, samples_);
    *result = image_.release();
    return StatusOk;
}

} // namespace miravex
