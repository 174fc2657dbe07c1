#pragma once

#include "convert/working_image.h"

#include <opencv2/core.hpp>

#include <vector>

namespace miravex {

/// A matrix over the samples of a host image, for OpenCV to read: over the image itself where pixel type and
/// layout fit, over a copy that the host converts otherwise. The copy is freed with this object; nothing else
/// is copied. The samples must not be written, and the matrix must not outlive this object.
class BorrowedMat {
public:
    /// Rank 2 becomes rows x columns, rank 3 a matrix of sizes rows, columns, slices in the host's order;
    /// channels are interleaved. `requestedDepth` is CV_8U, CV_16U, CV_32F, CV_64F, or anyType for the depth
    /// of the pixel type.
    ///
    /// Nothing is lent when the type, depth, rank, sizes or channels can't be held by a matrix, or the host
    /// gives no copy or no samples.
    BorrowedMat(const ImageServices& images, KImage image, int requestedDepth);

    /// True when there is a matrix; it may have no pixels.
    explicit operator bool() const noexcept { return lent_; }

    /// True when there is a matrix of 2 dimensions with pixels: what most operations ask for, since some of
    /// OpenCV's functions read beyond an image without any.
    [[nodiscard]] bool isPlane() const noexcept { return lent_ && matrix_.dims == 2 && !matrix_.empty(); }

    const cv::Mat& operator*() const noexcept { return matrix_; }
    const cv::Mat* operator->() const noexcept { return &matrix_; }

private:
    WorkingImage working_;
    cv::Mat matrix_;
    bool lent_ = false;
};

/// "Every slice", in place of a slice index.
inline constexpr int everySlice = -1;

/// The same for the slices of a 3D image: a matrix of rows x columns for each, or for the one of
/// `sliceIndex`, counted from 1.
///
/// Nothing is lent for an unsuitable type or depth, an index outside the slices, missing samples, or a host
/// that claims rank 2 for a null image, which can't tell its images apart. An image without slices lends an
/// empty list.
class BorrowedSlices {
public:
    BorrowedSlices(const ImageServices& images, KImage image, int requestedDepth,
                   int sliceIndex = everySlice);

    explicit operator bool() const noexcept { return lent_; }

    const std::vector<cv::Mat>& operator*() const noexcept { return matrices_; }
    const std::vector<cv::Mat>* operator->() const noexcept { return &matrices_; }

private:
    WorkingImage working_;
    std::vector<cv::Mat> matrices_;
    bool lent_ = false;
};

} // namespace miravex
