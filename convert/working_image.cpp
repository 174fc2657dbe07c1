#include "convert/working_image.h"

#include "convert/bounds.h"

#include <initializer_list>
#include <limits>

namespace miravex {

namespace {

bool isSampleDepth(int depth)
{
    return depth == CV_8U || depth == CV_16U || depth == CV_32F || depth == CV_64F;
}

bool isMatrixSize(int64_t size) { return size >= 0 && size <= std::numeric_limits<int>::max(); }

/// OpenCV multiplies sizes without noticing when 64 bits are too few.
bool isAddressable(std::initializer_list<int64_t> factors)
{
    return bounds::product(factors) <= std::numeric_limits<int64_t>::max() / int64_t { sizeof(double) };
}

} // namespace

WorkingImage::WorkingImage(const ImageServices& images, KImage image, int requestedDepth)
    : images_(images)
    , converted_(images)
    , depth_(-1)
{
    const PixelType type = images.imageGetPixelType(image);
    channels_ = images.imageGetChannels(image);
    rows_ = images.imageGetRowCount(image);
    slices_ = images.imageGetSliceCount(image);
    columns_ = images.imageGetColumnCount(image);

    const int depth = requestedDepth == anyType ? depthOfPixelType(type) : requestedDepth;
    if (!isSampleDepth(depth)) return;
    depth_ = depth;

    const PixelType matching = pixelTypeOfDepth(depth);
    const bool interleave = channels_ > 1;
    if (type == matching && (!interleave || images.imageIsInterleaved(image))) {
        image_ = image;
        return;
    }
    *converted_.receive() = images.imageConvertType(image, matching, interleave);
    image_ = converted_.get();
    // A host may answer with the handle that it was given; that one is its own.
    if (image_ == image) static_cast<void>(converted_.release());
}

bool WorkingImage::fits() const noexcept
{
    return image_ && channels_ >= 1 && channels_ <= CV_CN_MAX && isMatrixSize(rows_) && isMatrixSize(columns_)
        && isAddressable({ rows_, columns_, channels_ });
}

bool WorkingImage::fitsAllSlices() const noexcept
{
    return fits() && isMatrixSize(slices_) && isAddressable({ rows_, columns_, channels_, slices_ });
}

} // namespace miravex
