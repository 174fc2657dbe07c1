#pragma once

#include "convert/bounds.h"

namespace miravex::bounds {

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

} // namespace miravex::bounds
