#pragma once

#include "miravex/host_interface.h"

#include <opencv2/core.hpp>

#include <cstddef>
#include <cstdint>

namespace miravex {

/// Everything the converters know about sample types lives in the functions below.

/// "No particular type": the pixel type follows from the matrix depth, or the depth from the pixel type.
inline constexpr int anyType = -1;

/// Matrix depth that holds images of a pixel type (bit images travel as bytes), or -1 for an unknown type.
constexpr int depthOfPixelType(PixelType type) noexcept
{
    switch (type) {
    case PixelTypeBit:
    case PixelTypeByte: return CV_8U;
    case PixelTypeBit16: return CV_16U;
    case PixelTypeReal32: return CV_32F;
    case PixelTypeReal: return CV_64F;
    default: return -1;
    }
}

/// Pixel type whose samples are those of a matrix depth, or -1 for a depth that no host image has.
constexpr PixelType pixelTypeOfDepth(int depth) noexcept
{
    switch (depth) {
    case CV_8U: return PixelTypeByte;
    case CV_16U: return PixelTypeBit16;
    case CV_32F: return PixelTypeReal32;
    case CV_64F: return PixelTypeReal;
    default: return -1;
    }
}

/// Factor by which samples of `depth` are multiplied on their way into an image of `target`. Bytes become
/// 16-bit samples times 255 and real samples keep their scale on the way down, so these factors are not
/// inverses of one another; hosts rely on it.
constexpr double scaleFactor(int depth, PixelType target) noexcept
{
    if (target == PixelTypeBit16) return depth == CV_8U ? 255.0 : 1.0;
    if (target == PixelTypeReal32 || target == PixelTypeReal) {
        if (depth == CV_8U) return 0.00392156862745098;
        if (depth == CV_16U) return 1.5259021896696422e-5;
    }
    return 1.0;
}

/// Start of the samples of an image of `type` (bit images have their own service), or null.
inline std::uint8_t* sampleBytes(const ImageServices& images, KImage image, PixelType type) noexcept
{
    switch (type) {
    case PixelTypeBit: return images.imageGetBitData(image);
    case PixelTypeByte: return images.imageGetByteData(image);
    case PixelTypeBit16: return reinterpret_cast<std::uint8_t*>(images.imageGetBit16Data(image));
    case PixelTypeReal32: return reinterpret_cast<std::uint8_t*>(images.imageGetReal32Data(image));
    case PixelTypeReal: return reinterpret_cast<std::uint8_t*>(images.imageGetRealData(image));
    default: return nullptr;
    }
}

} // namespace miravex
