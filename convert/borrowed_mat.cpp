#include "convert/borrowed_mat.h"

#include <algorithm>

namespace miravex {

namespace {

/// OpenCV has no header over memory that it may only read.
void* readOnly(const std::uint8_t* samples) { return const_cast<std::uint8_t*>(samples); }

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

    const auto empty = [](int size) { return size == 0; };
    const bool hasSamples = std::none_of(sizes.begin(), sizes.end(), empty);
    const std::uint8_t* samples = hasSamples ? working_.samples() : nullptr;
    if (hasSamples && !samples) return;
    // A header over nothing has no sizes; a matrix without samples keeps them.
    if (hasSamples)
        matrix_ = cv::Mat(sizes, working_.matrixType(), readOnly(samples));
    else
        matrix_.create(sizes, working_.matrixType());
    lent_ = true;
}

BorrowedSlices::BorrowedSlices(const ImageServices& images, KImage image, int requestedDepth, int sliceIndex)
    : working_(images, image, requestedDepth)
{
    if (!working_.suitable() || !working_.fits()) return;
    // Asked with a null handle on purpose: a host whose answer is 2 can't tell its images apart.
    const bool tellsImagesApart = images.imageGetRank(nullptr) != 2;

    int64_t first = 0;
    int64_t last = std::max<int64_t>(working_.slices(), 0) - 1;
    if (sliceIndex != everySlice) {
        if (sliceIndex < 1 || sliceIndex > working_.slices()) return;
        first = last = sliceIndex - 1;
    }
    if (first <= last && !working_.fitsAllSlices()) return;
    const bool hasSamples = working_.rows() > 0 && working_.columns() > 0;
    const std::uint8_t* samples = hasSamples && first <= last ? working_.samples() : nullptr;
    if (hasSamples && first <= last && !samples) return;
    for (int64_t slice = first; slice <= last; ++slice) {
        if (samples)
            matrices_.emplace_back(
                working_.rows(), working_.columns(), working_.matrixType(),
                readOnly(samples + static_cast<std::size_t>(slice) * working_.sliceBytes()));
        else
            matrices_.emplace_back(working_.rows(), working_.columns(), working_.matrixType());
    }
    lent_ = tellsImagesApart;
}

} // namespace miravex
