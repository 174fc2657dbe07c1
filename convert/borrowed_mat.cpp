#include "convert/borrowed_mat.h"

#include <algorithm>

namespace miravex {

namespace {

/// OpenCV has no header over memory that it may only read. One over nothing would lose its sizes.
cv::Mat headerOver(const std::vector<int>& sizes, int type, const std::uint8_t* samples)
{
    return samples ? cv::Mat(sizes, type, const_cast<std::uint8_t*>(samples)) : cv::Mat(sizes, type);
}

} // namespace

BorrowedMat::BorrowedMat(const ImageServices& images, KImage image, int requestedDepth)
    : working_(images, image, requestedDepth)
{
    if (!working_.suitable()) return;
    std::vector<int> sizes;
    if (working_.fits() && working_.rank() == 2)
        sizes = { working_.rows(), working_.columns() };
    else if (working_.fitsAllSlices() && images.imageGetRank(image) == 3)
        sizes = { working_.rows(), working_.columns(), static_cast<int>(working_.slices()) };
    else
        return;

    const bool hasSamples = std::ranges::find(sizes, 0) == sizes.end();
    const std::uint8_t* samples = hasSamples ? working_.samples() : nullptr;
    if (hasSamples && !samples) return;
    matrix_ = headerOver(sizes, working_.matrixType(), samples);
    lent_ = true;
}

BorrowedSlices::BorrowedSlices(const ImageServices& images, KImage image, int requestedDepth, int sliceIndex)
    : working_(images, image, requestedDepth)
{
    if (!working_.suitable() || !working_.fits()) return;
    // Asked with a null handle on purpose: a host whose answer is 2 can't tell its images apart.
    const bool tellsImagesApart = images.imageGetRank(nullptr) != 2;

    int64_t first = 0, end = std::max<int64_t>(working_.slices(), 0);
    if (sliceIndex != everySlice) {
        if (sliceIndex < 1 || sliceIndex > working_.slices()) return;
        first = sliceIndex - 1, end = sliceIndex;
    }
    if (first < end && !working_.fitsAllSlices()) return;
    const bool hasSamples = first < end && working_.sliceBytes() > 0;
    const std::uint8_t* samples = hasSamples ? working_.samples() : nullptr;
    if (hasSamples && !samples) return;
    const auto bytes = static_cast<std::int64_t>(working_.sliceBytes());
    for (int64_t slice = first; slice < end; ++slice)
        matrices_.push_back(headerOver({ working_.rows(), working_.columns() }, working_.matrixType(),
                                       samples ? samples + slice * bytes : nullptr));
    lent_ = tellsImagesApart;
}

} // namespace miravex
