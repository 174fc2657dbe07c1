#pragma once

#include "convert/bounds.h"

#include <algorithm>
#include <cmath>

namespace miravex::bounds {

/// Samples (rows x columns x channels) of one image or one frame: beyond, OpenCV's counters of 32 bits
/// overflow in most of these operations. They all make several copies of it in floats besides. A sequence may
/// hold more.
inline constexpr int64_t frameSamples = 2147483647;

/// True when an image or a frame is within that bound.
constexpr bool frameFits(int64_t rows, int64_t columns, int64_t channels)
{
    return product({ rows, columns, channels }) <= frameSamples;
}

// --- denoising ------------------------------------------------------------------------------------------

/// Non-local means, pixels of all search windows together (temporal x search x search): weighted samples of
/// 255 and half a weight, to round by, add up in 32 bits when each weighs 1 at most.
inline constexpr int64_t denoisingWeights = 4294967295 / 256;

/// True when the weights of the search windows of `temporal` frames add up within that.
constexpr bool denoisingSearchFits(int64_t temporal, int64_t search)
{
    return product({ temporal, search, search }) <= denoisingWeights;
}

/// Widest search window of a single image.
inline constexpr int64_t denoisingSearch = 4095;
static_assert(denoisingSearchFits(1, denoisingSearch) && !denoisingSearchFits(1, denoisingSearch + 2));

/// True when the squared differences of templates of `side` x `side` pixels over `channels` channels add up
/// in 32 bits.
constexpr bool denoisingTemplateFits(int64_t side, int64_t channels)
{
    return product({ side, side, 255, 255, channels }) <= 4294967295;
}

/// Widest template, an odd side, over so many channels.
constexpr int64_t denoisingTemplate(int64_t channels)
{
    int64_t side = 1;
    while (denoisingTemplateFits(side + 2, channels)) side += 2;
    return side;
}

/// True when the templates of all search windows are compared in foreseeable time: a step for each pixel that
/// a template of the frame looks at.
constexpr bool denoisingEnds(int64_t rows, int64_t columns, int64_t temporal, int64_t search, int64_t side)
{
    return product({ temporal, search, search, sum({ rows, side }), sum({ columns, side }) }) <= work;
}

/// True when OpenCV's own non-local means survive such windows too, for when ours is switched off: weights
/// that fit 31 bits, or it divides by zero; templates that fit 31 bits, or it reads outside its table; 1 GiB
/// of counters for each thread; and in foreseeable time.
constexpr bool openCvDenoises(int64_t rows, int64_t columns, int64_t channels, int64_t temporal,
                              int64_t search, int64_t side)
{
    constexpr int64_t bits31 = 2147483647, counters = int64_t { 1 } << 28;
    return product({ temporal, search, search, 255 }) <= bits31
        && product({ side, side, 255, 255, channels }) <= bits31
        && product({ temporal, search, search, sum({ columns, side, 1 }) }) <= counters
        && product({ temporal, search, search, rows, sum({ columns, product({ side, side }) }) }) <= work;
}

// --- detail filters -------------------------------------------------------------------------------------

/// Detail filters, spatial sigma in pixels and range sigma as a fraction of the range of samples.
inline constexpr double detailSpatialSigma = 200;
inline constexpr double detailRangeSigma = 1;

// --- exposure brackets ----------------------------------------------------------------------------------

/// Intensities and elements of a camera's response, channels interleaved.
inline constexpr int responseLevels = 256;
inline constexpr int64_t responseLength = int64_t { responseLevels } * 3;

/// Alignment, pyramid levels: the shorter side is halved as often as it can be.
inline double alignmentLevels(int64_t rows, int64_t columns)
{
    const auto side = static_cast<double>(std::max<int64_t>(std::min(rows, columns), 1));
    return std::log(side) / std::log(2.0);
}

/// Debevec calibration: every sample is an unknown of a dense system. 499 of them and eight exposures take
/// OpenCV 4.6 half a minute; from 500 on the solver of OpenCV 3.4 does not end in reasonable time.
inline constexpr int64_t calibrationSamples = 499;

/// Debevec calibration, lambda: times 256 it must stay finite in single precision. LAPACK, which OpenCV
/// solves its system with, ends the whole process when it meets an infinite coefficient.
inline constexpr double calibrationSmoothness = 1e36;

/// True when the three dense least-squares systems of the Debevec calibration are solved in foreseeable time:
/// equations x unknowns x unknowns.
constexpr bool calibrationEnds(int64_t samples, int64_t frames)
{
    const int64_t unknowns = responseLevels + samples;
    const int64_t equations = sum({ product({ samples, frames }), responseLevels + 1 });
    return product({ 3, equations, unknowns, unknowns }) <= work;
}

/// True when OpenCV can lay its grid of samples over frames for the Debevec calibration; it divides by the
/// points of a row and reads where they fall.
inline bool calibrationGridFits(int64_t rows, int64_t columns, int64_t samples)
{
    const auto width = static_cast<double>(columns), height = static_cast<double>(rows);
    const double perRow = std::floor(std::sqrt(static_cast<double>(samples) * width / height));
    if (!(perRow >= 1 && perRow <= width)) return false;
    const double rowsOfPoints = std::floor(static_cast<double>(samples) / perRow);
    return rowsOfPoints >= 1 && rowsOfPoints <= height;
}

/// Robertson calibration: the iterations end early when the curve settles, which it does within tens of them
/// or never.
inline constexpr int64_t calibrationIterations = 10000;

/// True when the iterations of the Robertson calibration, which look at every sample of the bracket, end in
/// foreseeable time.
constexpr bool calibrationIterationsEnd(int64_t iterations, int64_t frames, int64_t rows, int64_t columns)
{
    return product({ std::max<int64_t>(iterations, 0), frames, rows, columns, 3 }) <= work;
}

// --- tone mapping ---------------------------------------------------------------------------------------

/// "Durand" tone mapping, space sigma: the bilateral filter's kernel has (3 sigma)^2 entries of 8 bytes.
inline constexpr double toneSpaceSigma = 1000;

/// True when the bilateral filter of "Durand" ends in foreseeable time: a step for each pixel and each entry
/// of its kernel. Sigmas of 0 and less count as 1.
constexpr bool toneFilterEnds(int64_t rows, int64_t columns, double spaceSigma)
{
    if (spaceSigma > toneSpaceSigma) return false;
    const int64_t side = spaceSigma > 0 ? static_cast<int64_t>(3 * spaceSigma) + 3 : 5;
    return product({ rows, columns, side, side }) <= work;
}

// --- optical flow ---------------------------------------------------------------------------------------

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

/// Farneback, pixels on all levels of the pyramid, as a multiple of those of a frame: scales near 1 make
/// millions of levels. Halving makes 4/3, a scale of 0.99 makes 50.
inline constexpr int64_t flowLevels = 4096;

/// Farneback, steps for each pixel of a pair of frames, on all levels together: an hour and more of one core
/// for frames in full HD. Everyday parameters come to a few hundred.
inline constexpr int64_t flowSteps = int64_t { 1 } << 21;

/// Dual TV-L1, iterations at all warpings of a scale: they take an hour and more of one core for frames in
/// full HD, even if epsilon ends each of them at its first step.
inline constexpr int64_t flowIterations = int64_t { 1 } << 15;

/// Pixels on all levels that Farneback's method makes of a pair of frames, as a multiple of those of a frame:
/// no side falls under 32 pixels, unless the frames are smaller.
inline double farnebackArea(int64_t rows, int64_t columns, double scale, int64_t levels)
{
    constexpr double leastSide = 32;
    const auto side = static_cast<double>(std::min(rows, columns));
    if (!(scale < 1) || side * scale < leastSide) return 1; // OpenCV refuses a scale of 1
    const double most = std::log(leastSide / side) / std::log(scale) + 2;
    return std::min(std::min(static_cast<double>(levels), most) + 1, 1 / (1 - scale * scale));
}

/// True when the levels of Farneback's method are as many as parameters may ask for.
inline bool farnebackLevelsFit(int64_t rows, int64_t columns, double scale, int64_t levels)
{
    return farnebackArea(rows, columns, scale, levels) <= static_cast<double>(flowLevels);
}

/// True when Farneback's method ends in foreseeable time on a pair of frames. Iterations average over the
/// window, the polynomials look at their neighbourhood.
inline bool farnebackEnds(int64_t rows, int64_t columns, double scale, int64_t levels, int64_t window,
                          int64_t iterations, int64_t reach)
{
    const int64_t perPixel = sum({ 20, product({ 2, reach }), product({ iterations, sum({ 10, window }) }) });
    return farnebackArea(rows, columns, scale, levels) * static_cast<double>(perPixel)
        <= static_cast<double>(flowSteps);
}

/// True when the TV-L1 method ends in foreseeable time on a pair of frames.
constexpr bool dualTvl1Ends(int64_t iterations, int64_t warpings)
{
    return product({ iterations, warpings }) <= flowIterations;
}

// --- super resolution -----------------------------------------------------------------------------------

/// Super resolution, frames in the film: one is read ahead and OpenCV reads beyond its cache with fewer than
/// five more.
inline constexpr int64_t filmFrames = 6;

/// Super resolution, scale: work and memory grow with its square, see filmPixels.
inline constexpr int64_t filmScale = 9;

/// Super resolution, pixels of an enlarged frame: OpenCV keeps some 400 bytes for each of them, which comes
/// to 26 GB. Full HD may be enlarged five times.
inline constexpr int64_t filmPixels = int64_t { 1 } << 26;

/// True when a frame of the film, enlarged, is within bounds.
constexpr bool filmFits(int64_t rows, int64_t columns, int64_t scale)
{
    return product({ rows, columns, scale, scale }) <= filmPixels;
}

} // namespace miravex::bounds
