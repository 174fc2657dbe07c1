#pragma once

#include "convert/bounds.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <span>

namespace miravex::bounds {

/// Pixels of an image that OpenCV indexes by int: AGAST (which BRISK begins with), the Hough transforms, MSER
/// and the segment detector crash beyond, AKAZE and the cascade count further in ints. FAST, contours and the
/// network take more; KAZE and ORB have narrower bounds.
inline constexpr int64_t indexedPixels = 2147483647;

constexpr bool isIndexable(int64_t rows, int64_t columns)
{
    return product({ rows, columns }) <= indexedPixels;
}

/// Pixels on a side of the picture that FAST takes at least: its circle is seven wide.
inline constexpr int64_t fastSide = 7;

/// Pixels on a side of the picture that KAZE takes at least.
inline constexpr int64_t kazeSide = 2;

/// Octaves of a keypoint to describe: what an int holds, or, where OpenCV shifts a 32-bit one by it, less.
inline constexpr int64_t intOctave = 2147483647;
inline constexpr int64_t shiftedOctave = 30;

/// Sizes of keypoints to describe, in diagonals of the image: no detector finds larger ones (BRISK's largest
/// is 1.8), and OpenCV computes positions around them in ints, which sizes far beyond overflow.
inline constexpr double keypointDiagonals = 2;

/// A keypoint to describe (x, y, size, angle, response, octave, class_id, in the host's frame) that lies in
/// the image, has a size and an octave, and does not crash OpenCV, as numbers that no float or int holds do.
inline bool keypointFits(std::span<const double, 7> row, int64_t rows, int64_t columns, int64_t highestOctave)
{
    for (const double value : row.first<5>())
        if (!std::isfinite(static_cast<float>(value))) return false;
    const double width = static_cast<double>(columns);
    const double height = static_cast<double>(rows);
    const double x = static_cast<double>(static_cast<float>(row[0]));
    const double y = static_cast<double>(static_cast<float>(row[1]));
    const double size = static_cast<double>(static_cast<float>(row[2]));
    constexpr double beyond = 2147483648.0;
    return x >= 0 && x <= width && y >= 0 && y <= height && size > 0
        && size <= keypointDiagonals * std::hypot(width, height) && row[5] > -1
        && row[5] < static_cast<double>(highestOctave) + 1 && row[6] > -beyond - 1 && row[6] < beyond;
}

/// Levels of an octave, octaves of KAZE and bits of a binary descriptor that OpenCV knows.
inline constexpr int64_t kazeLayers = 11;
inline constexpr int64_t kazeOctaves = 15;
inline constexpr int64_t akazeBits = 486;

/// Bits of AKAZE's binary descriptors: so many comparisons for each channel.
inline constexpr int64_t akazeBitsPerChannel = akazeBits / 3;

/// AKAZE makes binary descriptors of all three channels alone. It writes three rows into its table of
/// comparisons for each that it picks, beyond the end with fewer channels, and beyond the descriptors when it
/// wants all bits (a size of 0) of fewer.
constexpr bool akazeChannelsFit(bool describes, int64_t channels) { return !describes || channels == 3; }

/// Levels that a picture can be halved at most; BRISK's detector throws where a level would vanish.
inline constexpr int64_t halvings = 31;

/// Pattern scale at which every keypoint of any picture lies too near to its border for BRISK; larger ones
/// give the same and overflow its tables.
inline constexpr double briskPatternScale = 1e6;

/// Octaves of KAZE that can matter. Keypoints lie at least three sigma from every border, and an octave
/// starts at sigma 1.6 times its power of two, so an octave whose sixfold sigma exceeds the smaller side
/// finds none; the first such octave still serves its neighbour as the next level. Those beyond only cost
/// time, half of it each, unless a keypoint to describe names one of their levels by its class_id.
constexpr int64_t usefulKazeOctaves(int64_t octaves, int64_t layers, int64_t rows, int64_t columns,
                                    int64_t highestClass)
{
    const double side = static_cast<double>(std::min(rows, columns)) + 2;
    int64_t useful = 1;
    for (double reach = 6 * 1.6; reach < side; reach *= 2) ++useful;
    return std::min(octaves, std::max(useful, highestClass / layers + 1));
}

/// Samples of the nonlinear scale space of KAZE, which keeps ten float pictures per level and never shrinks
/// them: 8 GiB, just enough for 16 levels of 12 megapixels.
inline constexpr int64_t scaleSpaceSamples = int64_t { 1 } << 31;

constexpr bool scaleSpaceFits(int64_t rows, int64_t columns, int64_t octaves, int64_t layers,
                              int64_t highestClass)
{
    const int64_t useful = usefulKazeOctaves(octaves, layers, rows, columns, highestClass);
    return product({ rows, columns, useful, layers, 10 }) <= scaleSpaceSamples;
}

/// ORB's factor from level to level as the float that OpenCV takes, but above 1, so that no division by zero
/// shares out the features.
inline float pyramidFactor(double scaleFactor)
{
    return std::max(static_cast<float>(scaleFactor), std::nextafter(1.0F, 2.0F));
}

/// Side of a level of ORB's pyramid.
inline int64_t pyramidSide(int64_t side, double scaleFactor, int64_t level)
{
    const double shrink =
        std::pow(static_cast<double>(pyramidFactor(scaleFactor)), static_cast<double>(level));
    return std::llrint(static_cast<double>(side) / shrink);
}

/// OpenCV can't make levels without pixels.
inline bool pyramidHasPixels(int64_t rows, int64_t columns, double scaleFactor, int64_t levels)
{
    return pyramidSide(std::min(rows, columns), scaleFactor, levels - 1) >= 1;
}

/// ORB holds all levels at once, each in a border a little wider than the edge threshold.
inline bool pyramidFits(int64_t rows, int64_t columns, double scaleFactor, int64_t levels,
                        int64_t edgeThreshold)
{
    const int64_t border = 2 * (std::min(edgeThreshold, resultSamples) + 16);
    int64_t samples = 0;
    for (int64_t level = 0; level < levels && samples <= resultSamples; ++level)
        samples = sum({ samples,
                        product({ pyramidSide(rows, scaleFactor, level) + border,
                                  pyramidSide(columns, scaleFactor, level) + border }) });
    return samples <= resultSamples;
}

/// Steps of the colour MSER: at 15 ns each, with nothing left to do in them, a second and a half.
inline constexpr int64_t mserEvolution = 100'000'000;

/// Taps of the blur of the colour MSER, applied to every pixel in both directions.
inline constexpr int64_t mserEdgeBlur = 9999;

/// Grey pictures are neither merged nor blurred.
constexpr bool mserFits(int64_t channels, int64_t evolution, int64_t edgeBlur)
{
    return channels == 1 || (evolution <= mserEvolution && edgeBlur <= mserEdgeBlur);
}

/// Coordinates of contours: a little more would round up to a float that no int holds.
inline constexpr double leastCoordinate = -2147483648.0;
inline constexpr double greatestCoordinate = 2147483520.0;

/// Pairs of descriptors that the matcher keeps at most (k per query, or those within a radius): at up to 32
/// bytes each, 2 GiB.
inline constexpr int64_t matchedPairs = int64_t { 1 } << 26;

/// Pairs that a radius search compares at a time: OpenCV holds all their distances.
inline constexpr int64_t comparedPairs = int64_t { 1 } << 22;

constexpr bool matchesFit(int64_t queries, int64_t perQuery)
{
    return product({ queries, perQuery }) <= matchedPairs;
}

/// Comparing every pair, element by element, is foreseeable.
constexpr bool comparisonFits(int64_t queries, int64_t trained, int64_t length)
{
    return product({ queries, trained, length }) <= work;
}

/// n1 n2 (n1 + n2) of two signatures: measured at 2 to 6 ns each, several minutes. OpenCV's solver crashes
/// at 20,000 elements a side.
inline constexpr int64_t transportSteps = int64_t { 1 } << 36;

constexpr bool transportFits(int64_t rows1, int64_t rows2)
{
    return product({ rows1, rows2, sum({ rows1, rows2 }) }) <= transportSteps
        && std::max(rows1, rows2) <= transportSteps;
}

/// A signature: per element its weight and its coordinates.
constexpr bool signatureFits(int64_t rows, int64_t dimension)
{
    return product({ rows, sum({ dimension, 1 }) }) <= resultSamples;
}

/// Counters of a Hough accumulator, and entries of the tables of the multi-scale transform: 1 GiB.
inline constexpr int64_t houghCounters = int64_t { 1 } << 28;

/// Range of the distances of lines from the origin, in pixels, as OpenCV sizes it; with a coarser rho than
/// this the probabilistic transform counts outside its accumulator. In floating point: a host may claim any
/// size before its samples are asked for.
constexpr double houghDistances(int64_t rows, int64_t columns)
{
    return 2 * (static_cast<double>(rows) + static_cast<double>(columns)) + 1;
}

/// The accumulator over half a turn, sized as OpenCV sizes it, and the time to fill it. Resolutions that give
/// no size at all (0, negative, NaN) have none.
constexpr bool accumulatorFits(int64_t rows, int64_t columns, double rho, double theta)
{
    if (!(rho > 0) || !(theta > 0)) return false;
    const double distances = houghDistances(rows, columns) / rho + 2;
    const double angles = std::numbers::pi / theta + 2;
    const double pixels = static_cast<double>(rows) * static_cast<double>(columns);
    return distances * angles <= static_cast<double>(houghCounters)
        && pixels * angles <= static_cast<double>(work);
}

/// Side of an image in which the probabilistic transform follows lines: in 16 bits, with 16 more behind the
/// point.
inline constexpr int64_t houghSide = 32767;

/// The multi-scale transform reads and writes outside its tables with less than two steps of distance...
inline bool multiScaleRhoFits(int64_t rows, int64_t columns, double rho)
{
    return 2 * rho <= std::hypot(static_cast<double>(rows), static_cast<double>(columns));
}

/// ... or less than one of angle over the whole turn,
inline constexpr double multiScaleTheta = 2 * std::numbers::pi;

/// with divisors that are no counts, and with tables beyond what its ints index. At most one cell in a
/// hundred is looked at again, with every pixel.
inline bool multiScaleFits(int64_t rows, int64_t columns, double rho, double theta, double srn, double stn)
{
    constexpr double most = static_cast<double>(houghCounters);
    if (!(srn >= 0 && srn <= most && stn >= 0 && stn <= most)) return false;
    const double distances = std::hypot(static_cast<double>(rows), static_cast<double>(columns)) / rho;
    const double angles = multiScaleTheta / theta;
    const double cell = std::ceil(srn) * std::ceil(stn);
    if (distances * angles > most || 5 * angles * std::ceil(stn) > most || cell > most) return false;
    const double pixels = static_cast<double>(rows) * static_cast<double>(columns);
    return distances * angles / 100 * (cell + pixels * stn) <= static_cast<double>(work);
}

/// Pixels on a side of the picture that faces are looked for in at least.
inline constexpr int64_t faceSide = 2;

/// Samples of all the sizes at which a cascade looks at a picture, which OpenCV holds at once: 10 bytes and
/// 0.13 microseconds each. Large pictures may take this many times their own samples instead, which scale
/// factors from 1.008 on never do, up to bounds::resultSamples, which OpenCV indexes by int.
inline constexpr int64_t cascadeSamples = int64_t { 1 } << 26;
inline constexpr int64_t cascadeSamplesPerPixel = 64;

/// Sizes that a cascade steps through.
inline constexpr int64_t cascadeSteps = 1'000'000;

/// The target size that leaves a picture as it is.
inline constexpr int64_t keepSize = -1;

/// How many times smaller a picture is searched: the integer quotient of its smaller side by the target.
constexpr double shrinkFactor(int64_t rows, int64_t columns, int64_t targetSize)
{
    const int64_t smaller = std::min(rows, columns);
    const int64_t quotient = targetSize > 0 ? smaller / targetSize : 1;
    return static_cast<double>(std::max<int64_t>(quotient, 1));
}

/// Looking at a picture at every size that the factor steps through, whatever the file: a cascade's window
/// may be a single pixel.
constexpr bool searchFits(int64_t rows, int64_t columns, int64_t targetSize, double scaleFactor)
{
    const double shrink = shrinkFactor(rows, columns, targetSize);
    const double pixels = static_cast<double>(rows) * static_cast<double>(columns) / (shrink * shrink);
    const double budget = std::clamp(static_cast<double>(cascadeSamplesPerPixel) * pixels,
                                     static_cast<double>(cascadeSamples), static_cast<double>(resultSamples));
    const double smaller = static_cast<double>(std::min(rows, columns)) / shrink;
    double samples = 0;
    int64_t steps = 0;
    for (double scale = 1; scale <= smaller; scale *= scaleFactor) {
        samples += pixels / (scale * scale);
        if (++steps > cascadeSteps || samples > budget) return false;
    }
    return true;
}

/// The network's input, in units of 300 pixels a side.
inline constexpr int64_t networkSizeRatio = 4;

} // namespace miravex::bounds
