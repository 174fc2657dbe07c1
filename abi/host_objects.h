#pragma once

#include "miravex/host_interface.h"

#include <initializer_list>
#include <utility>

namespace miravex {

/// Owns a host image that the library created until it is released into a result: on every other way out
/// of an operation the image is freed.
class NewImage {
public:
    explicit NewImage(const ImageServices& images, KImage image = nullptr) noexcept
        : images_(&images)
        , image_(image)
    {
    }
    ~NewImage() { reset(); }
    NewImage(const NewImage&) = delete;
    NewImage& operator=(const NewImage&) = delete;

    [[nodiscard]] KImage get() const noexcept { return image_; }
    explicit operator bool() const noexcept { return image_ != nullptr; }

    /// Where a host service stores the image that it creates; an image held before is freed.
    [[nodiscard]] KImage* receive() noexcept
    {
        reset();
        return &image_;
    }

    /// Hands the image to the caller, who owns it from now on.
    [[nodiscard]] KImage release() noexcept { return std::exchange(image_, nullptr); }

private:
    void reset() noexcept
    {
        if (KImage image = release()) images_->imageFree(image);
    }

    const ImageServices* images_;
    KImage image_;
};

/// Creates a host tensor and owns it until it is released into a result. Test it before use: the host may
/// refuse. A handle that a refusing host leaves behind is freed like any other.
class NewTensor {
public:
    NewTensor(LibraryData data, int64_t elementType, std::initializer_list<int64_t> dimensions) noexcept
        : data_(data)
    {
        created_ = data->tensorNew(elementType, static_cast<int64_t>(dimensions.size()), dimensions.begin(),
                                   &tensor_)
            == 0;
    }
    ~NewTensor()
    {
        if (tensor_) data_->tensorFree(tensor_);
    }
    NewTensor(const NewTensor&) = delete;
    NewTensor& operator=(const NewTensor&) = delete;

    /// True when the host created the tensor and its elements can be had (an empty one needs none).
    explicit operator bool() const noexcept { return created_ && tensor_; }

    [[nodiscard]] KTensor get() const noexcept { return tensor_; }

    /// Elements, row-major; null when the host has none to give. Ask only for the type that was created.
    [[nodiscard]] double* reals() const noexcept { return data_->tensorGetRealData(tensor_); }
    [[nodiscard]] int64_t* integers() const noexcept { return data_->tensorGetIntegerData(tensor_); }

    /// Hands the tensor to the caller, who owns it from now on.
    [[nodiscard]] KTensor release() noexcept { return std::exchange(tensor_, nullptr); }

private:
    LibraryData data_;
    KTensor tensor_ = nullptr;
    bool created_ = false;
};

} // namespace miravex
