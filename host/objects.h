#pragma once

#include "host/memory.h"
#include "miravex/host_interface.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <variant>
#include <vector>

/// The objects of the embedded host: what the library's handles point to.
namespace miravex {

/// Memory between two guards, or memory that someone else owns.
class Block {
public:
    /// Throws std::bad_alloc when there is no room.
    static Block guarded(std::size_t bytes, Start start);
    static Block zeroed(std::size_t bytes) { return guarded(bytes, Start::Cleared); }
    /// `owner` keeps the memory alive; the block never frees it itself.
    static Block wrapping(void* data, std::size_t bytes, std::shared_ptr<const void> owner);

    [[nodiscard]] std::byte* data() const noexcept { return data_; }
    [[nodiscard]] std::size_t size() const noexcept { return size_; }

    /// False when something wrote just before or just behind the memory.
    [[nodiscard]] bool intact() const noexcept;

private:
    std::shared_ptr<const void> owner_;
    std::byte* data_ = nullptr;
    std::size_t size_ = 0;
    bool guarded_ = false;
};

/// Sizes of an image. `slices` is 0 for a 2D image.
struct ImageShape {
    int64_t rows = 0;
    int64_t columns = 0;
    int64_t channels = 1;
    int64_t slices = 0;

    bool operator==(const ImageShape&) const = default;
    [[nodiscard]] int64_t samples() const { return rows * columns * channels * (slices > 0 ? slices : 1); }
};

/// Bytes of one sample, or 0 for an unknown type.
std::size_t bytesPerSample(PixelType type) noexcept;

} // namespace miravex

/// An image of any pixel type, row-major from the top. Planar images keep the channels of each slice apart.
struct KImageObject {
    miravex::ImageShape shape;
    PixelType pixelType = PixelTypeByte;
    ColorSpace colorSpace = ColorSpaceUnspecified;
    bool interleaved = false;
    miravex::Block block;

    [[nodiscard]] int rank() const noexcept { return shape.slices > 0 ? 3 : 2; }
    template <typename Sample> [[nodiscard]] Sample* as() const noexcept
    {
        return reinterpret_cast<Sample*>(block.data());
    }
    template <typename Sample> [[nodiscard]] std::span<Sample> samples() const noexcept
    {
        return { as<Sample>(), static_cast<std::size_t>(shape.samples()) };
    }
};

/// A dense row-major tensor of 64-bit integers or doubles.
struct KTensorObject {
    int64_t elementType = TensorTypeReal;
    std::vector<int64_t> dimensions;
    miravex::Block block;

    [[nodiscard]] int64_t length() const noexcept;
    [[nodiscard]] std::span<double> reals() const noexcept
    {
        return { reinterpret_cast<double*>(block.data()), static_cast<std::size_t>(length()) };
    }
    [[nodiscard]] std::span<int64_t> integers() const noexcept
    {
        return { reinterpret_cast<int64_t*>(block.data()), static_cast<std::size_t>(length()) };
    }
};

/// A typed n-dimensional array; `elementBytes` follows from the type that whoever made it had in mind.
struct NumericArrayObject {
    int elementType = NumericArrayTypeReal32;
    std::vector<int64_t> dimensions;
    miravex::Block block;

    [[nodiscard]] std::span<float> floats() const noexcept
    {
        return { reinterpret_cast<float*>(block.data()), block.size() / sizeof(float) };
    }
};

namespace miravex {

using Image = ::KImageObject;
using Tensor = ::KTensorObject;
using Array = ::NumericArrayObject;
using ImagePointer = std::shared_ptr<Image>;
using TensorPointer = std::shared_ptr<Tensor>;
using ArrayPointer = std::shared_ptr<Array>;

/// An argument or a result. Absent: nothing was given, or nothing came back.
using Value = std::variant<std::monostate, int64_t, double, bool, std::string, ImagePointer, TensorPointer,
                           ArrayPointer>;

/// An image, zeroed unless told otherwise. Throws std::invalid_argument for negative sizes, fewer than one
/// channel or an unknown pixel type, std::bad_alloc when there is no room.
ImagePointer makeImage(ImageShape shape, PixelType pixelType, ColorSpace colorSpace, bool interleaved,
                       Start start = Start::Cleared);
inline ImagePointer makeImage(ImageShape shape, PixelType pixelType, ColorSpace colorSpace)
{
    return makeImage(shape, pixelType, colorSpace, shape.channels > 1);
}

/// An image over samples that `owner` keeps alive; nothing is copied.
ImagePointer wrapImage(ImageShape shape, PixelType pixelType, ColorSpace colorSpace, bool interleaved,
                       void* samples, std::shared_ptr<const void> owner);

/// The same picture in another type and layout. Bits become 0 and the full range (255, 65535, 1.0) and come
/// from values of at least half of it; bytes and 16-bit samples stand to reals as 255 and 65535 to 1.0, and
/// to each other as 1 to 257; reals round to nearest, saturate, and NaN becomes 0. Sequences go slice by
/// slice.
ImagePointer convertImage(const Image& image, PixelType pixelType, bool interleaved);

TensorPointer makeRealTensor(std::vector<int64_t> dimensions);
TensorPointer makeRealTensor(std::vector<int64_t> dimensions, std::span<const double> elements);
TensorPointer makeIntegerTensor(std::vector<int64_t> dimensions);
TensorPointer makeIntegerTensor(std::vector<int64_t> dimensions, std::span<const int64_t> elements);
/// A list of reals; the empty list has one dimension, 0.
TensorPointer realList(std::span<const double> elements);
inline TensorPointer realList(std::initializer_list<double> elements)
{
    return realList(std::span<const double>(elements.begin(), elements.size()));
}
TensorPointer emptyList();

ArrayPointer makeFloatArray(std::vector<int64_t> dimensions);
/// An array over floats that `owner` keeps alive; nothing is copied.
ArrayPointer wrapFloatArray(std::vector<int64_t> dimensions, float* elements,
                            std::shared_ptr<const void> owner);

} // namespace miravex
