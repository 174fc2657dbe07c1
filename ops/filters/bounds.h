#pragma once

#include "convert/bounds.h"

#include <algorithm>
#include <cmath>
#include <limits>

/// The refusals of this room that OpenCV would answer with a crash, an endless loop, exhausted memory or a
/// wrong result. Operations and their records call the same functions. Sizes below 0 are those of a host that
/// forges them, and fit nothing.
namespace miravex::bounds {

/// Median radius: OpenCV's 8-bit median counts in 16 bits, so from aperture 257 on flat areas overflow its
/// histograms (it throws or answers wrongly), and apertures in the thousands crash it.
inline constexpr int64_t medianRadius = 127;

/// True when a pyramid step down may turn a side of `source` pixels into one of `target`: OpenCV takes half
/// the size, with doubled values at most 2 off.
constexpr bool isHalfOf(int target, int64_t source)
{
    if (source < 0 || source > std::numeric_limits<int>::max()) return false;
    const int64_t difference = 2 * int64_t { target } - source;
    return difference >= -2 && difference <= 2;
}

/// True when a pyramid step up may turn a side of `source` pixels into one of `target`: OpenCV takes twice
/// the size, or one off it where that makes an odd number.
constexpr bool isDoubleOf(int target, int64_t source)
{
    if (source < 0 || source > std::numeric_limits<int>::max()) return false;
    const int64_t difference = target - 2 * source;
    return difference == 0 || (target > 0 && target % 2 == 1 && (difference == 1 || difference == -1));
}

/// Pyramid levels that mean shift goes up; OpenCV itself refuses more.
inline constexpr int64_t meanShiftLevels = 8;

/// Mean-shift steps of a pixel; OpenCV makes no more, whatever it is asked.
inline constexpr int64_t meanShiftIterations = 100;

/// True when mean shift ends in time: every pixel looks at its whole window, as far as it lies inside the
/// image, in every iteration.
inline bool meanShiftFits(int64_t rows, int64_t columns, double spatialRadius, int64_t iterations)
{
    const auto reach = [&](int64_t side) {
        return spatialRadius < static_cast<double>(side)
            ? std::min(2 * static_cast<int64_t>(spatialRadius) + 1, side)
            : side;
    };
    const int64_t steps = std::clamp<int64_t>(iterations, 1, meanShiftIterations);
    return product({ rows, columns, reach(rows), reach(columns), steps }) <= work;
}

/// Taps of one convolution kernel: with every output row OpenCV looks its whole reach up again, one
/// reflection at a time, so that 200,000 taps never end and twice this number takes 7 seconds on 2 x 2
/// pixels.
inline constexpr int64_t kernelTaps = 32768;

/// Samples of the margin that a window or kernel reads around a image, which OpenCV or we keep in memory:
/// 2 GiB of doubles. Radii of 2147483647 overflow OpenCV's own sums and crash it.
inline constexpr int64_t marginSamples = int64_t { 1 } << 28;

/// Samples that margins of `extraRows` and `extraColumns` in total (each at least 0) add to a image.
constexpr int64_t marginOf(int64_t rows, int64_t columns, int64_t channels, int64_t extraRows,
                           int64_t extraColumns)
{
    constexpr int64_t most = std::numeric_limits<int64_t>::max();
    if (extraRows > most - rows || extraColumns > most - columns) return most;
    const int64_t whole = product({ rows + extraRows, columns + extraColumns, channels });
    return whole == most ? most : whole - product({ rows, columns, channels });
}

/// True when a kernel is neither empty nor endless.
constexpr bool tapsFit(int64_t taps) { return taps >= 1 && taps <= kernelTaps; }

/// True when a separable kernel of `across` by `down` taps neither takes forever nor needs more memory than
/// we allow.
constexpr bool kernelsFit(int64_t rows, int64_t columns, int64_t channels, int64_t across, int64_t down)
{
    return product({ rows, columns, channels, across + down }) <= work
        && marginOf(rows, columns, channels, down, across) <= marginSamples;
}

/// True when the windows of `reach` pixels around the pixels of a image need no more memory than we allow.
constexpr bool windowFits(int64_t rows, int64_t columns, int64_t reach)
{
    return marginOf(rows, columns, 1, 2 * reach, 2 * reach) <= marginSamples;
}

/// True when a image may be padded: OpenCV counts both sides in 32 bits, and top = bottom = 2147483647
/// makes it crash.
constexpr bool padsTo(int64_t rows, int64_t columns, int64_t channels, int64_t extraRows,
                      int64_t extraColumns)
{
    constexpr int64_t longest = std::numeric_limits<int>::max();
    return rows + extraRows <= longest && columns + extraColumns <= longest
        && marginOf(rows, columns, channels, extraRows, extraColumns) <= resultSamples;
}

/// Longest side of a image that OpenCV resamples; it refuses longer ones itself.
inline constexpr int64_t remappedSide = std::numeric_limits<int16_t>::max() - 1;

/// False for what single precision can't hold. NaN passes: OpenCV copes with it.
inline bool fitsFloat(double value)
{
    return !(std::abs(value) > double { std::numeric_limits<float>::max() });
}

} // namespace miravex::bounds
