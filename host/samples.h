#pragma once

#include "host/objects.h"

#include <array>

namespace miravex {

/// Samples of a picture or a sequence in someone else's memory: sample (slice, row, column, channel) lies at
/// `data` + the sum of index times step, in bytes. Steps may be negative or 0; samples need not be aligned.
struct Samples {
    std::byte* data = nullptr;
    ImageShape shape;
    PixelType pixelType = PixelTypeByte;
    std::array<int64_t, 4> steps {}; ///< slice, row, column, channel

    /// Where an image's samples lie.
    static Samples of(const Image& image);
};

/// An image over the samples where the library can read them as they are (dense rows, channels interleaved or
/// planar), and over a copy otherwise. Never written through. Throws like makeImage.
ImagePointer imageOver(const Samples& samples, ColorSpace colorSpace);

/// Writes an image into samples of its shape and pixel type. Samples that lie column by column, as
/// column-major languages keep them, go by transposed bands in both directions.
void copySamples(const Samples& from, const Samples& to);

} // namespace miravex
