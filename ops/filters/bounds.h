#pragma once

#include "convert/bounds.h"

namespace miravex::bounds {

/// Median radius: OpenCV's 8-bit median counts in 16 bits, so from aperture 257 on flat areas overflow its
/// histograms (it throws or answers wrongly), and apertures in the thousands crash it.
inline constexpr int64_t medianRadius = 127;

/// Taps of one convolution kernel: with every output row OpenCV looks its whole reach up again, one
/// reflection at a time, so that 200,000 taps never end and twice this number takes 7 seconds on 2 x 2
/// pixels.
inline constexpr int64_t kernelTaps = 32768;

/// Samples of the margin that a window or kernel reads around a picture, which OpenCV or we keep in memory:
/// 2 GiB of doubles. Radii of 2147483647 overflow OpenCV's own sums and crash it.
inline constexpr int64_t marginSamples = int64_t { 1 } << 28;

/// Samples that margins of `extraRows` and `extraColumns` in total (each at least 0) add to a picture.
constexpr int64_t marginOf(int64_t rows, int64_t columns, int64_t channels, int64_t extraRows,
                           int64_t extraColumns)
{
    constexpr int64_t most = std::numeric_limits<int64_t>::max();
    if (extraRows > most - rows || extraColumns > most - columns) return most;
    const int64_t whole = product({ rows + extraRows, columns + extraColumns, channels });
    return whole == most ? most : whole - product({ rows, columns, channels });
}

/// True when a picture may be padded: OpenCV counts both sides in 32 bits, and top = bottom = 2147483647
/// makes it crash.
constexpr bool padsTo(int64_t rows, int64_t columns, int64_t channels, int64_t extraRows,
                      int64_t extraColumns)
{
    constexpr int64_t longest = std::numeric_limits<int>::max();
    return rows + extraRows <= longest && columns + extraColumns <= longest
        && marginOf(rows, columns, channels, extraRows, extraColumns) <= resultSamples;
}

} // namespace miravex::bounds
