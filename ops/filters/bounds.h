#pragma once

#include "convert/bounds.h"
#include "convert/integers.h"

#include <algorithm>
#include <cmath>
#include <limits>

/// The refusals of this room that OpenCV would answer with a crash, an endless loop, exhausted memory or a
/// wrong result. Operations and their records call the same functions. Sizes below 0 are those of a host that
/// forges them, and fit nothing.
namespace miravex::bounds {

/// True when a radius is one after it was cut to 32 bits: 2^32 is a window of one pixel, 2^31 none at all.
constexpr bool reaches(int64_t radius) { return lowInt32(radius) >= 0; }

/// Radius up to which OpenCV's 8-bit median counts right: beyond it flat areas overflow its 16 bits (it
/// throws or answers wrongly), and apertures in the thousands crash it.
inline constexpr int64_t openCvMedianRadius = 127;

/// The radius that a median looks at, below 0 where there is none. Apertures 2 radius + 1 are reckoned in 32
/// bits, so that 2^31 + 3 stands for 3; of those that pass 2^31 - 1 the radius counts as it is.
constexpr int64_t medianRadius(int64_t radius)
{
    const int64_t cut = lowInt32(radius);
    return cut >= 0 ? cut : (lowInt32(2 * cut + 1) - 1) / 2;
}

/// True for what OpenCV's functions can index that count samples in int. They crash on more.
constexpr bool isIndexed(int64_t rows, int64_t columns, int64_t channels)
{
    return product({ rows, columns, channels }) <= std::numeric_limits<int>::max();
}

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

/// Samples that mean shift may look at for one pixel: no image's size makes it endless, but radii of hundreds
/// in as many iterations do.
inline constexpr int64_t meanShiftSamples = int64_t { 1 } << 25;

/// True when mean shift ends in time: every pixel looks at its whole window, as far as it lies inside the
/// image, in every iteration. A radius that is no number finds no neighbours.
inline bool meanShiftFits(int64_t rows, int64_t columns, double spatialRadius, int64_t iterations)
{
    const auto reach = [&](int64_t side) {
        if (std::isnan(spatialRadius)) return std::min<int64_t>(1, side);
        return spatialRadius < static_cast<double>(side)
            ? std::min(2 * static_cast<int64_t>(spatialRadius) + 1, side)
            : side;
    };
    const int64_t steps = std::clamp<int64_t>(iterations, 1, meanShiftIterations);
    return product({ reach(rows), reach(columns), steps }) <= meanShiftSamples;
}

/// Taps of one convolution kernel: with every output row OpenCV looks its whole reach up again, one
/// reflection at a time, so that 200,000 taps never end and twice this number takes 7 seconds on 2 x 2
/// pixels.
inline constexpr int64_t kernelTaps = 32768;

/// Samples of the margin that a window or kernel reads around an image, which OpenCV or we keep in memory:
/// 2 GiB of doubles. Radii of 2147483647 overflow OpenCV's own sums and crash it.
inline constexpr int64_t marginSamples = int64_t { 1 } << 28;

/// Samples that margins of `extraRows` and `extraColumns` in total (each at least 0) add to an image.
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

/// True when the windows of `reach` pixels around the pixels of an image need no more memory than we allow.
constexpr bool windowFits(int64_t rows, int64_t columns, int64_t reach)
{
    return marginOf(rows, columns, 1, 2 * reach, 2 * reach) <= marginSamples;
}

/// True when OpenCV can compare a kernel with an image: it indexes the sums over the image, which is padded
/// by the kernel's size, in int.
constexpr bool correlates(int64_t rows, int64_t columns, int64_t kernelRows, int64_t kernelColumns)
{
    return isIndexed(sum({ rows, kernelRows }), sum({ columns, kernelColumns }), 1);
}

/// True when an image may be padded: OpenCV counts both sides in 32 bits, and top = bottom = 2147483647
/// makes it crash.
constexpr bool padsTo(int64_t rows, int64_t columns, int64_t channels, int64_t extraRows,
                      int64_t extraColumns)
{
    constexpr int64_t longest = std::numeric_limits<int>::max();
    return rows + extraRows <= longest && columns + extraColumns <= longest
        && marginOf(rows, columns, channels, extraRows, extraColumns) <= resultSamples;
}

/// True when OpenCV can demosaic an image, if not at once then in bands of this many rows and more.
inline constexpr int demosaicRows = 6;
constexpr bool demosaics(int64_t columns) { return isIndexed(demosaicRows, columns, 3); }

/// Longest side of an image that OpenCV resamples; it refuses longer ones itself.
inline constexpr int64_t remappedSide = std::numeric_limits<int16_t>::max() - 1;

/// False for what single precision can't hold. NaN passes: OpenCV copes with it.
inline bool fitsFloat(double value)
{
    return !(std::abs(value) > double { std::numeric_limits<float>::max() });
}

} // namespace miravex::bounds
