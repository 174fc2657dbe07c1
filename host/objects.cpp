#include "host/objects.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <new>
#include <numeric>
#include <stdexcept>

namespace miravex {

namespace {

constexpr std::size_t guardBytes = 64;
constexpr std::byte guardPattern { 0xC5 };

std::size_t checkedBytes(std::span<const int64_t> factors, std::size_t elementBytes)
{
    std::size_t bytes = elementBytes;
    for (const int64_t factor : factors) {
        if (factor < 0) throw std::invalid_argument("a size is negative");
        if (__builtin_mul_overflow(bytes, static_cast<std::size_t>(factor), &bytes)) throw std::bad_alloc();
    }
    if (bytes > static_cast<std::size_t>(PTRDIFF_MAX) - 2 * guardBytes) throw std::bad_alloc();
    return bytes;
}

std::size_t imageBytes(const ImageShape& shape, PixelType pixelType)
{
    const std::size_t sample = bytesPerSample(pixelType);
    if (sample == 0) throw std::invalid_argument("unknown pixel type");
    if (shape.channels < 1) throw std::invalid_argument("an image needs at least one channel");
    const int64_t factors[] = { shape.rows, shape.columns, shape.channels,
                                std::max<int64_t>(shape.slices, 1) };
    return checkedBytes(factors, sample);
}

template <typename Sample> constexpr double fullRange()
{
    if constexpr (std::is_floating_point_v<Sample>)
        return 1.0;
    else
        return static_cast<double>(std::numeric_limits<Sample>::max());
}

/// One sample as a fraction of its type's range; a bit is all or nothing.
template <typename Sample> double fraction(Sample sample, bool isBit)
{
    if (isBit) return sample != 0 ? 1.0 : 0.0;
    return static_cast<double>(sample) / fullRange<Sample>();
}

template <typename Sample> Sample fromFraction(double value, bool isBit)
{
    if (isBit) return static_cast<Sample>(value >= 0.5 ? 1 : 0);
    if constexpr (std::is_floating_point_v<Sample>) {
        return static_cast<Sample>(value);
    } else {
        if (!(value > 0)) return 0; // NaN too
        return static_cast<Sample>(std::lround(std::min(value, 1.0) * fullRange<Sample>()));
    }
}

/// Position of a sample within its slice.
std::size_t offset(const Image& image, int64_t pixel, int64_t channel)
{
    const int64_t pixels = image.shape.rows * image.shape.columns;
    return static_cast<std::size_t>(image.interleaved ? pixel * image.shape.channels + channel
                                                      : channel * pixels + pixel);
}

template <typename From, typename To> void convertSamples(const Image& from, Image& to)
{
    const int64_t pixels = from.shape.rows * from.shape.columns;
    const int64_t slices = std::max<int64_t>(from.shape.slices, 1);
    const bool sameType = from.pixelType == to.pixelType;
    for (int64_t slice = 0; slice < slices; ++slice) {
        const std::size_t start = static_cast<std::size_t>(slice * pixels * from.shape.channels);
        const From* source = from.as<From>() + start;
        To* target = to.as<To>() + start;
        for (int64_t channel = 0; channel < from.shape.channels; ++channel) {
            for (int64_t pixel = 0; pixel < pixels; ++pixel) {
                const From sample = source[offset(from, pixel, channel)];
                To& place = target[offset(to, pixel, channel)];
                if (sameType)
                    place = static_cast<To>(sample);
                else
                    place = fromFraction<To>(fraction(sample, from.pixelType == PixelTypeBit),
                                             to.pixelType == PixelTypeBit);
            }
        }
    }
}

template <typename From> void convertFrom(const Image& from, Image& to)
{
    switch (to.pixelType) {
    case PixelTypeBit:
    case PixelTypeByte: return convertSamples<From, std::uint8_t>(from, to);
    case PixelTypeBit16: return convertSamples<From, std::uint16_t>(from, to);
    case PixelTypeReal32: return convertSamples<From, float>(from, to);
    default: return convertSamples<From, double>(from, to);
    }
}

TensorPointer makeTensor(int64_t type, std::vector<int64_t> dimensions)
{
    auto tensor = std::make_shared<Tensor>();
    tensor->elementType = type;
    tensor->block = Block::zeroed(checkedBytes(dimensions, 8));
    tensor->dimensions = std::move(dimensions);
    return tensor;
}

} // namespace

Block Block::guarded(std::size_t bytes, Start start)
{
    const std::shared_ptr<std::byte> memory = takeMemory(bytes + 2 * guardBytes, start);
    std::fill_n(memory.get(), guardBytes, guardPattern);
    std::fill_n(memory.get() + guardBytes + bytes, guardBytes, guardPattern);
    Block block;
    block.owner_ = memory;
    block.data_ = memory.get() + guardBytes;
    block.size_ = bytes;
    block.guarded_ = true;
    return block;
}

Block Block::wrapping(void* data, std::size_t bytes, std::shared_ptr<const void> owner)
{
    Block block;
    block.owner_ = std::move(owner);
    block.data_ = static_cast<std::byte*>(data);
    block.size_ = bytes;
    return block;
}

bool Block::intact() const noexcept
{
    if (!guarded_) return true;
    const auto untouched = [](std::byte value) { return value == guardPattern; };
    return std::all_of(data_ - guardBytes, data_, untouched)
        && std::all_of(data_ + size_, data_ + size_ + guardBytes, untouched);
}

std::size_t bytesPerSample(PixelType type) noexcept
{
    switch (type) {
    case PixelTypeBit:
    case PixelTypeByte: return 1;
    case PixelTypeBit16: return 2;
    case PixelTypeReal32: return 4;
    case PixelTypeReal: return 8;
    default: return 0;
    }
}

ImagePointer makeImage(ImageShape shape, PixelType pixelType, ColorSpace colorSpace, bool interleaved,
                       Start start)
{
    auto image = std::make_shared<Image>();
    image->block = Block::guarded(imageBytes(shape, pixelType), start);
    image->shape = shape;
    image->pixelType = pixelType;
    image->colorSpace = colorSpace;
    image->interleaved = interleaved;
    return image;
}

ImagePointer wrapImage(ImageShape shape, PixelType pixelType, ColorSpace colorSpace, bool interleaved,
                       void* samples, std::shared_ptr<const void> owner)
{
    auto image = std::make_shared<Image>();
    image->block = Block::wrapping(samples, imageBytes(shape, pixelType), std::move(owner));
    image->shape = shape;
    image->pixelType = pixelType;
    image->colorSpace = colorSpace;
    image->interleaved = interleaved;
    return image;
}

ImagePointer convertImage(const Image& image, PixelType pixelType, bool interleaved)
{
    ImagePointer converted =
        makeImage(image.shape, pixelType, image.colorSpace, interleaved, Start::AsItComes);
    switch (image.pixelType) {
    case PixelTypeBit:
    case PixelTypeByte: convertFrom<std::uint8_t>(image, *converted); break;
    case PixelTypeBit16: convertFrom<std::uint16_t>(image, *converted); break;
    case PixelTypeReal32: convertFrom<float>(image, *converted); break;
    default: convertFrom<double>(image, *converted); break;
    }
    return converted;
}

TensorPointer makeRealTensor(std::vector<int64_t> dimensions)
{
    return makeTensor(TensorTypeReal, std::move(dimensions));
}

TensorPointer makeRealTensor(std::vector<int64_t> dimensions, std::span<const double> elements)
{
    TensorPointer tensor = makeRealTensor(std::move(dimensions));
    if (tensor->reals().size() != elements.size())
        throw std::invalid_argument("elements do not fill the tensor");
    std::ranges::copy(elements, tensor->reals().begin());
    return tensor;
}

TensorPointer makeIntegerTensor(std::vector<int64_t> dimensions)
{
    return makeTensor(TensorTypeInteger, std::move(dimensions));
}

TensorPointer makeIntegerTensor(std::vector<int64_t> dimensions, std::span<const int64_t> elements)
{
    TensorPointer tensor = makeIntegerTensor(std::move(dimensions));
    if (tensor->integers().size() != elements.size())
        throw std::invalid_argument("elements do not fill the tensor");
    std::ranges::copy(elements, tensor->integers().begin());
    return tensor;
}

TensorPointer realList(std::span<const double> elements)
{
    return makeRealTensor({ static_cast<int64_t>(elements.size()) }, elements);
}

TensorPointer emptyList() { return makeRealTensor({ 0 }); }

ArrayPointer makeFloatArray(std::vector<int64_t> dimensions)
{
    auto array = std::make_shared<Array>();
    array->block = Block::zeroed(checkedBytes(dimensions, sizeof(float)));
    array->dimensions = std::move(dimensions);
    return array;
}

ArrayPointer wrapFloatArray(std::vector<int64_t> dimensions, float* elements,
                            std::shared_ptr<const void> owner)
{
    auto array = std::make_shared<Array>();
    array->block = Block::wrapping(elements, checkedBytes(dimensions, sizeof(float)), std::move(owner));
    array->dimensions = std::move(dimensions);
    return array;
}

} // namespace miravex

int64_t KTensorObject::length() const noexcept
{
    return std::accumulate(dimensions.begin(), dimensions.end(), int64_t { 1 }, std::multiplies<>());
}
