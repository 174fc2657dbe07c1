#include "ops/features/operations.h"

#include "convert/integers.h"
#include "ops/features/bounds.h"
#include "ops/features/compat.h"
#include "ops/features/keypoints.h"

#include <algorithm>

namespace miravex {

namespace {

/// Levels that OpenCV builds: as many as the described keypoints need, whatever nLevels says.
int64_t pyramidLevels(KeypointMode mode, int64_t nLevels, const std::vector<cv::KeyPoint>& keypoints)
{
    if (mode != KeypointMode::Compute) return nLevels;
    int64_t highest = 0;
    for (const cv::KeyPoint& at : keypoints) highest = std::max<int64_t>(highest, at.octave);
    return highest + 1;
}

/// More features than the corner detector can leave on all levels together (no two touch) change nothing
/// but the memory that OpenCV sets aside for them.
int featureCount(int64_t nFeatures, const DetectorInput& input, int64_t levels)
{
    const int64_t corners = bounds::product({ input.rows / 2 + 1, input.columns / 2 + 1, levels });
    return clippedInt32(std::min(nFeatures, corners));
}

} // namespace

/// Finds ("detect") or describes ("compute") oriented corners by pairs of brightness comparisons, or both
/// ("detectAndCompute").
///
/// Image: 2D, one byte channel. Mask, when used: one channel of bits of the same size, nonzero where
/// keypoints may lie. Features: at least 0; scale factor above 1; levels: at least 1; edge threshold: at
/// least 0, and also the side of the described patch (OpenCV refuses less than 2); WTA_K: 2 to 4. Keypoints:
/// n x 7 in the host's frame, read only by "compute", refused where bounds::keypointFits excludes them.
/// Result: n x 7, n x d or n x (7 + d) with descriptors of 32 bytes. Pyramids with a level without pixels or
/// beyond bounds::resultSamples in all are refused. Source: E. Rublee et al., "ORB: an efficient alternative
/// to SIFT or SURF", 2011.
HostErrorCode orb(LibraryData data, KImage image, HostBoolean useMask, KImage mask, const char* modeName,
                  int64_t fastThreshold, int64_t nFeatures, double scaleFactor, int64_t nLevels,
                  int64_t edgeThreshold, int64_t wtaK, const char* scoreName, KTensor keypointRows,
                  KTensor* result)
{
    DetectorInput input;
    if (!checkImages(data, image, useMask, mask, 0, input)) return StatusFunctionError;
    const KeypointMode mode = valueOf(keypointModes, modeName, KeypointMode::Unknown);
    if (mode == KeypointMode::Unknown) return StatusFunctionError;
    if (edgeThreshold < 0 || nLevels < 1 || nFeatures < 0) return StatusFunctionError;
    if (!(scaleFactor > 1.0) || wtaK < 2 || wtaK > 4) return StatusFunctionError;
    const int score = valueOf(orbScores, scoreName, unknownName);
    if (score == unknownName) return StatusFunctionError;
    // Of given keypoints only the tensor tells the levels; the first there always is.
    const int64_t known = mode == KeypointMode::Compute ? 1 : nLevels;
    if (!bounds::pyramidFits(input.rows, input.columns, scaleFactor, known, edgeThreshold))
        return StatusFunctionError;

    if (!readInput(data, image, useMask, mask, mode, keypointRows, bounds::intOctave, input))
        return StatusFunctionError;
    const int64_t levels = pyramidLevels(mode, nLevels, input.keypoints);
    if (!bounds::pyramidHasPixels(input.rows, input.columns, scaleFactor, levels)
        || !bounds::pyramidFits(input.rows, input.columns, scaleFactor, levels, edgeThreshold))
        return StatusFunctionError;

    // One argument of the host is both the margin without features and the side of the described patch.
    const int edge = static_cast<int>(edgeThreshold);
    const auto detector = cv::ORB::create(
        featureCount(nFeatures, input, nLevels), bounds::pyramidFactor(scaleFactor), clippedInt32(nLevels),
        edge, 0, static_cast<int>(wtaK), compat::Option(score), edge, clippedInt32(fastThreshold));
    return runDetector(data, *detector, mode, input, result);
}

} // namespace miravex
