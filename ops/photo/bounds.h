#pragma once

#include "convert/bounds.h"

namespace miravex::bounds {

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

} // namespace miravex::bounds
