#include "ops/features/operations.h"

#include "ops/features/bounds.h"
#include "ops/features/compat.h"
#include "ops/features/keypoints.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace miravex {

namespace {

/// The factor as a float that is still above 1, so that no division by zero shares out the features.
float pyramidFactor(double scaleFactor)
{
    return std::max(static_cast<float>(scaleFactor), std::nextafter(1.0F, 2.0F));
}

/// Levels that OpenCV builds: as many as the described keypoints need, whatever nLevels says.
int64_t pyramidLevels(KeypointMode mode, int64_t nLevels, const std::vector<cv::KeyPoint>& keypoints)
{
    if (mode != KeypointMode::Compute) return nLevels;
    int64_t highest = 0;
    for (const cv::KeyPoint& at : keypoints) highest = std::max<int64_t>(highest, at.octave);
    return highest + 1;
}

/// True when every level has pixels (OpenCV can't make empty ones) and all of them, each in a border a little
/// wider than the edge threshold, fit bounds::resultSamples.
bool pyramidFits(PictureSize size, int64_t levels, float factor, int64_t edgeThreshold)
{
    const int64_t border = 2 * (std::min(edgeThreshold, bounds::resultSamples) + 16);
    int64_t samples = 0;
    for (int64_t level = 0; level < levels; ++level) {
        const double shrink = std::pow(static_cast<double>(factor), static_cast<double>(level));
        const int64_t rows = std::llrint(static_cast<double>(size.rows) / shrink);
        const int64_t columns = std::llrint(static_cast<double>(size.columns) / shrink);
        if (rows < 1 || columns < 1) return false;
        const int64_t padded = bounds::product({ rows + border, columns + border });
        if (padded > bounds::resultSamples - samples) return false;
        samples += padded;
    }
    return true;
}

/// More features than the corner detector can leave on all levels together (no two touch) change nothing
/// but the memory that OpenCV sets aside for them.
int featureCount(int64_t nFeatures, PictureSize size, int64_t levels)
{
    const int64_t corners = bounds::product({ size.rows / 2 + 1, size.columns / 2 + 1, levels });
    return saturated(std::min(nFeatures, corners));
}

} // namespace

/// Finds or describes oriented corners by pairs of brightness comparisons; modes as akaze().
///
/// Features: at least 0; scale factor above 1; levels: at least 1; edge threshold: at least 0, and also the
/// side of the described patch (OpenCV refuses less than 2); WTA_K: 2 to 4. Descriptors of 32 bytes. Refused:
/// pyramids with a level without pixels or beyond bounds::resultSamples in all, with a border of the edge
/// threshold around each level, and keypoints as in brisk(). Source: E. Rublee et al., "ORB: an efficient
/// alternative to SIFT or SURF", 2011.
HostErrorCode orb(LibraryData data, KImage image, HostBoolean useMask, KImage mask, const char* modeName,
                  int64_t fastThreshold, int64_t nFeatures, double scaleFactor, int64_t nLevels,
                  int64_t edgeThreshold, int64_t wtaK, const char* scoreName, KTensor keypointRows,
                  KTensor* result)
{
    PictureSize size;
    if (!checkPicture(data, image, useMask, mask, 0, size)) return StatusFunctionError;
    const KeypointMode mode = valueOf(keypointModes, modeName, KeypointMode::Unknown);
    if (mode == KeypointMode::Unknown) return StatusFunctionError;
    if (edgeThreshold < 0 || nLevels < 1 || nFeatures < 0) return StatusFunctionError;
    if (!(scaleFactor > 1.0) || wtaK < 2 || wtaK > 4) return StatusFunctionError;
    const int score = valueOf(orbScores, scoreName, unknownName);
    if (score == unknownName) return StatusFunctionError;

    cv::Mat picture, allowed, descriptors;
    if (!convertPicture(data, image, useMask, mask, picture, allowed)) return StatusFunctionError;
    std::vector<cv::KeyPoint> keypoints;
    if (mode == KeypointMode::Compute && !readKeypointTensor(data, keypointRows, size, keypoints))
        return StatusFunctionError;
    const float factor = pyramidFactor(scaleFactor);
    const int64_t levels = pyramidLevels(mode, nLevels, keypoints);
    if (!pyramidFits(size, levels, factor, edgeThreshold)) return StatusFunctionError;

    // One argument of the host is both the margin without features and the side of the described patch.
    const int edge = static_cast<int>(edgeThreshold);
    const auto detector =
        cv::ORB::create(featureCount(nFeatures, size, nLevels), factor, saturated(nLevels), edge, 0,
                        static_cast<int>(wtaK), compat::Option(score), edge, saturated(fastThreshold));
    runDetector(*detector, mode, picture, allowed, keypoints, descriptors);
    return writeKeypointResult<std::uint8_t>(data, mode, keypoints, descriptors, size, result);
}

} // namespace miravex
