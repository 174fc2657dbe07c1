#pragma once

#include "abi/host_objects.h"
#include "convert/pixel_types.h"

namespace miravex {

/// The samples of a host image at one depth with interleaved channels: the image itself where it already
/// is so, a copy converted by the host otherwise. The copy is freed with this object.
class WorkingImage {
public:
    /// Asks the host for type, channels, rows, slices and columns, in that order, and converts if needed.
    WorkingImage(const ImageServices& images, KImage image, int requestedDepth);

    /// False for a pixel type or depth that no matrix holds.
    [[nodiscard]] bool suitable() const noexcept { return depth_ >= 0; }

    /// The image that holds the samples, or null when the host could not convert.
    [[nodiscard]] KImage get() const noexcept { return image_; }

    /// Rank of the image that holds the samples; 0 when the host could not convert.
    [[nodiscard]] int64_t rank() const noexcept { return image_ ? images_.imageGetRank(image_) : 0; }

    /// True when there are samples, and a slice (the whole of a 2D image) fits a matrix.
    [[nodiscard]] bool fits() const noexcept;

    /// The same of all slices of a 3D image together.
    [[nodiscard]] bool fitsAllSlices() const noexcept;

    /// First sample, or null.
    [[nodiscard]] const std::uint8_t* samples() const noexcept
    {
        return image_ ? sampleBytes(images_, image_, pixelTypeOfDepth(depth_)) : nullptr;
    }

    [[nodiscard]] int matrixType() const noexcept { return CV_MAKETYPE(depth_, static_cast<int>(channels_)); }
    [[nodiscard]] int depth() const noexcept { return depth_; }
    [[nodiscard]] int channels() const noexcept { return static_cast<int>(channels_); }
    [[nodiscard]] int rows() const noexcept { return static_cast<int>(rows_); }
    [[nodiscard]] int columns() const noexcept { return static_cast<int>(columns_); }
    [[nodiscard]] int64_t slices() const noexcept { return slices_; }

    /// Bytes of one slice; the whole of a 2D image.
    [[nodiscard]] std::size_t sliceBytes() const noexcept
    {
        return static_cast<std::size_t>(rows_) * static_cast<std::size_t>(columns_)
            * static_cast<std::size_t>(CV_ELEM_SIZE(matrixType()));
    }

private:
    const ImageServices& images_;
    NewImage converted_;
    KImage image_ = nullptr;
    int depth_;
    int64_t channels_ = 0;
    int64_t rows_ = 0;
    int64_t slices_ = 0;
    int64_t columns_ = 0;
};

} // namespace miravex
