#pragma once

#include "abi/host_objects.h"
#include "convert/pixel_types.h"

#include <opencv2/core.hpp>

#include <vector>

namespace miravex {

/// The image that an operation returns, made before OpenCV fills it. Where its pixel type has the depth of
/// the matrix, OpenCV writes straight into the host's samples; where samples are scaled on the way, they are
/// scaled straight into them. Freed on every way out but release().
///
///     ResultImage dilated(images, source->size(), source->type(), pixelType, colorSpace);
///     if (!dilated) return StatusFunctionError;
///     cv::dilate(*source, *dilated, square);
///     return dilated.release(result);
class ResultImage {
public:
    /// An image for a matrix of `size` and `type`. `pixelType` is a host pixel type, or anyType for that of
    /// the matrix depth. Where they differ samples are scaled by scaleFactor() and saturate; a bit image
    /// takes 1 for every nonzero byte and always gets ColorSpaceUnspecified. Several channels are
    /// interleaved.
    ResultImage(const ImageServices& images, cv::Size size, int type, int pixelType = anyType,
                int colorSpace = ColorSpaceUnspecified);

    /// False for a depth that no host image has, bits asked of samples wider than a byte, or a host that does
    /// not create the image or give its samples.
    explicit operator bool() const noexcept { return usable_; }

    /// Where OpenCV writes: of the announced size and type or, where samples will be scaled, empty. Samples
    /// start as the host's do.
    cv::Mat& operator*() noexcept { return matrix_; }
    cv::Mat* operator->() noexcept { return &matrix_; }

    /// Hands the image over in *result, which the caller owns from now on, and answers StatusOk. Samples that
    /// OpenCV put elsewhere are copied. Throws cv::Exception when it left a matrix of another size or type.
    [[nodiscard]] HostErrorCode release(KImage* result);

private:
    NewImage image_;
    cv::Size size_;
    int type_;
    PixelType pixelType_;
    std::uint8_t* samples_ = nullptr;
    cv::Mat matrix_;
    bool usable_ = false;
};

/// The same for an image of rank 3: a matrix for each slice, of the pixel type of their depth and without a
/// colour space.
class ResultSlices {
public:
    ResultSlices(const ImageServices& images, std::size_t count, cv::Size size, int type);

    explicit operator bool() const noexcept { return usable_; }

    /// Where OpenCV writes: as many matrices as announced.
    std::vector<cv::Mat>& operator*() noexcept { return matrices_; }

    /// As ResultImage::release(); throws also when OpenCV left more or fewer matrices.
    [[nodiscard]] HostErrorCode release(KImage* result);

private:
    NewImage image_;
    std::size_t count_;
    cv::Size size_;
    int type_;
    std::uint8_t* samples_ = nullptr;
    std::vector<cv::Mat> matrices_;
    bool usable_ = false;
};

} // namespace miravex
