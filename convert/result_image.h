#pragma once

#include "abi/host_objects.h"
#include "convert/pixel_types.h"

#include <opencv2/core.hpp>

namespace miravex {

/// The image that an operation returns, made before OpenCV fills it. Where its pixel type has the depth of
/// the matrix, OpenCV writes straight into the host's samples; where samples are scaled on the way, they are
/// scaled straight into them. Freed on every way out but release().
///
///     ResultImage result(images, source.matrix().size(), source.matrix().type(), pixelType, colorSpace);
///     if (!result) return StatusFunctionError;
///     cv::dilate(source.matrix(), result.matrix(), square);
///     return result.release(out);
class ResultImage {
public:
    /// An image for a matrix of `size` and `type`. `pixelType` is a host pixel type, or anyType for that of
    /// the matrix; `colorSpace` as in matToImage().
    ResultImage(const ImageServices& images, cv::Size size, int type, int pixelType = anyType,
                int colorSpace = ColorSpaceUnspecified);

    /// False when no image can be made of such a matrix, or the host does not create it or give its samples.
    explicit operator bool() const noexcept { return usable_; }

    /// Where OpenCV writes: of the announced size and type. Its samples start as the host's do.
    [[nodiscard]] cv::Mat& matrix() noexcept { return matrix_; }

    /// Hands the image over in *result, which the caller owns from now on, and answers StatusOk. Throws
    /// cv::Exception when OpenCV left a matrix of another size or type. Samples that it put elsewhere are
    /// copied.
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

} // namespace miravex
