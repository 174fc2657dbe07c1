#pragma once

#include <cstdint>
#include <initializer_list>
#include <limits>

/// Bounds that keep OpenCV from crashing, hanging or exhausting the host. Operations refuse what lies
/// outside them, and catalogue records state them; each says what happens beyond it. Sizes and products are
/// computed in 64 bits. Plain constants: hosts include this header without OpenCV.
namespace miravex::limits {

// --- shared ---------------------------------------------------------------------------------------------

/// Elementary steps (a sample looked at, a cost compared) that a call may be foreseen to take: about an hour
/// of one core. Only calls whose parameters, not their pictures, make them endless come near it.
inline constexpr int64_t work = int64_t { 1 } << 42;

/// Product of factors of at least 0, or the largest integer when it does not fit.
constexpr int64_t product(std::initializer_list<int64_t> factors)
{
    int64_t result = 1;
    for (const int64_t factor : factors) {
        if (factor > 0 && result > std::numeric_limits<int64_t>::max() / factor)
            return std::numeric_limits<int64_t>::max();
        result *= factor;
    }
    return result;
}

/// Samples (rows x columns x channels) of one matrix that an operation makes beyond the size of its inputs.
inline constexpr int64_t resultSamples = int64_t { 1 } << 30;

// --- filters --------------------------------------------------------------------------------------------

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

// --- photo ----------------------------------------------------------------------------------------------

// --- features -------------------------------------------------------------------------------------------

/// Samples of the nonlinear scale space of KAZE, which keeps ten float pictures per level and never shrinks
/// them: 8 GiB, just enough for 16 levels of 12 megapixels.
inline constexpr int64_t scaleSpaceSamples = int64_t { 1 } << 31;

/// Levels that a picture can be halved at most; BRISK's detector throws where a level would vanish.
inline constexpr int64_t halvings = 31;

/// Pattern scale at which every keypoint of any picture lies too near to its border for BRISK; larger ones
/// give the same and overflow its tables.
inline constexpr double briskPatternScale = 1e6;

/// Octave of a keypoint at most where OpenCV shifts a 32-bit one by it.
inline constexpr int64_t shiftedOctave = 30;

/// Steps of the colour MSER: at 15 ns each, with nothing left to do in them, a second and a half.
inline constexpr int64_t mserEvolution = 100'000'000;

/// Taps of the blur of the colour MSER, applied to every pixel in both directions.
inline constexpr int64_t mserEdgeBlur = 9999;

/// Pairs of descriptors that the matcher keeps at most (k per query, or all of a radius search): at up to 32
/// bytes each, 2 GiB.
inline constexpr int64_t matchedPairs = int64_t { 1 } << 26;

/// Counters of a Hough accumulator, and entries of the tables of the multi-scale transform: 1 GiB.
inline constexpr int64_t houghCounters = int64_t { 1 } << 28;

/// n1 n2 (n1 + n2) of two signatures: measured at 2 to 6 ns each, several minutes. OpenCV's solver crashes
/// at 20,000 elements a side.
inline constexpr int64_t transportSteps = int64_t { 1 } << 36;

/// Samples of all the sizes at which a cascade looks at a picture: 10 bytes and 0.13 microseconds each. Large
/// pictures may take this many times their own samples instead, which scale factors from 1.016 on never do.
inline constexpr int64_t cascadeSamples = int64_t { 1 } << 26;
inline constexpr int64_t cascadeSamplesPerPixel = 32;

/// Sizes that a cascade steps through, also those that the smallest wanted face excludes.
inline constexpr int64_t cascadeSteps = 1'000'000;

// --- importops ------------------------------------------------------------------------------------------

/// Rows and columns of a slot, and files of one batch: OpenCV's matrices and loops count them as int. The
/// headroom keeps its own sums of them from overflowing.
inline constexpr int64_t slotSide = int64_t { 1 } << 30;
inline constexpr int64_t batchFiles = int64_t { 1 } << 30;

} // namespace miravex::limits
