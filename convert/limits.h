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

/// Product of factors, or the largest integer when it does not fit or a factor is below 0, as only a host
/// that forges sizes gives it.
constexpr int64_t product(std::initializer_list<int64_t> factors)
{
    constexpr int64_t most = std::numeric_limits<int64_t>::max();
    int64_t result = 1;
    for (const int64_t factor : factors) {
        if (factor < 0 || (factor > 0 && result > most / factor)) return most;
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

/// Sum of terms, likewise.
constexpr int64_t sum(std::initializer_list<int64_t> terms)
{
    constexpr int64_t most = std::numeric_limits<int64_t>::max();
    int64_t result = 0;
    for (const int64_t term : terms) {
        if (term < 0 || term > most - result) return most;
        result += term;
    }
    return result;
}

/// Non-local means, side of the search window: OpenCV scales its weights so that a whole window of white fits
/// 31 bits. Wider windows divide by zero; negative sides crash.
inline constexpr int64_t denoisingSearch = 2901;

/// Non-local means, weights of all search windows together (temporal x search x search): the same reason.
inline constexpr int64_t denoisingWeights = 2147483647 / 255;

/// Non-local means, side of the template: OpenCV sums squared differences of a template in 31 bits and reads
/// outside its table when they overflow, from 182 on with one channel.
inline constexpr int64_t denoisingTemplate = 181;

/// Largest sum of squared differences that a template may have: template x template x 255 x 255 x channels.
inline constexpr int64_t denoisingDistance = 2147483647;

/// Non-local means, 32-bit counters that each worker thread keeps (temporal x search x search x columns):
/// 1 GiB of them.
inline constexpr int64_t denoisingScratch = int64_t { 1 } << 28;

/// Debevec calibration: every sample is an unknown of a dense system. 499 of them and eight exposures take
/// OpenCV 4.6 half a minute; from 500 on the solver of OpenCV 3.4 does not end in reasonable time.
inline constexpr int64_t calibrationSamples = 499;

/// Debevec calibration, lambda: times 256 it must stay finite in single precision. LAPACK, which OpenCV
/// solves its system with, ends the whole process when it meets an infinite coefficient.
inline constexpr double calibrationSmoothness = 1e36;

/// Robertson calibration: OpenCV stops early only when all intensities occur and the curve settles, which it
/// does within tens of iterations or never.
inline constexpr int64_t calibrationIterations = 10000;

/// "Durand" tone mapping, space sigma: the bilateral filter's kernel has (3 sigma)^2 entries of 8 bytes.
inline constexpr double toneSpaceSigma = 1000;

/// Farneback, side of the averaging window: OpenCV computes its buffers in 32 bits.
inline constexpr int64_t flowWindow = 65536;

/// Farneback, reach of the polynomial neighbourhood: it is set up in (2n + 1)^2 steps per pyramid level and
/// crashes when its low 32 bits are negative.
inline constexpr int64_t flowNeighbourhood = 1000;

/// Dual TV-L1, shortest side of a frame: OpenCV's gradients read outside pictures one pixel high or wide.
inline constexpr int64_t flowSide = 2;

/// Dual TV-L1, scales: OpenCV shrinks by 0.8 until a side falls under 16, at most 84 times for a side of
/// 2^31, but makes room for as many as it is asked for. More are clipped: the result is the same.
inline constexpr int64_t flowScales = 128;

/// Steps that one pass of an iterative flow costs however small the picture is.
inline constexpr int64_t flowPass = 4096;

/// Super resolution, frames in the film: one is read ahead and OpenCV reads beyond its cache with fewer than
/// five more.
inline constexpr int64_t filmFrames = 6;

/// Super resolution, scale: work and memory grow with its square, see filmPixels.
inline constexpr int64_t filmScale = 9;

/// Super resolution, pixels of an enlarged frame: OpenCV keeps some 400 bytes for each of them and passes
/// over it ten thousand times, which takes about an hour of one core.
inline constexpr int64_t filmPixels = int64_t { 1 } << 24;

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
