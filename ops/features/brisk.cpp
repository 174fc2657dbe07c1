#include "ops/features/operations.h"

#include "ops/features/bounds.h"
#include "ops/features/keypoints.h"

#include <algorithm>

namespace miravex {

/// Finds or describes keypoints by concentric rings of brightness comparisons; modes as akaze().
///
/// Threshold: at least 1; octaves: at least 0 (detection fails where a level would have no pixels); pattern
/// scale: above 0. Descriptors of 64 bytes. Keypoints with numbers that are not finite or sizes beyond the
/// diagonal are refused. Source: S. Leutenegger, M. Chli, R. Siegwart, "BRISK: binary robust invariant
/// scalable keypoints", 2011.
HostErrorCode brisk(LibraryData data, KImage image, HostBoolean useMask, KImage mask, const char* modeName,
                    int64_t threshold, int64_t octaves, double patternScale, KTensor keypointRows,
                    KTensor* result)
{
    PictureSize size;
    if (!checkPicture(data, image, useMask, mask, 0, size)) return StatusFunctionError;
    const KeypointMode mode = valueOf(keypointModes, modeName, KeypointMode::Unknown);
    if (mode == KeypointMode::Unknown) return StatusFunctionError;
    if (threshold < 1 || octaves < 0 || !(patternScale > 0.0)) return StatusFunctionError;

    cv::Mat picture, allowed, descriptors;
    if (!convertPicture(data, image, useMask, mask, picture, allowed)) return StatusFunctionError;
    std::vector<cv::KeyPoint> keypoints;
    if (mode == KeypointMode::Compute && !readKeypointTensor(data, keypointRows, size, keypoints))
        return StatusFunctionError;
    // Each is cut where larger values give the same: bytes differ by 255 at most, and see limits.h.
    const auto detector =
        cv::BRISK::create(static_cast<int>(std::min<int64_t>(threshold, 255)),
                          static_cast<int>(std::min(octaves, bounds::halvings)),
                          static_cast<float>(std::min(patternScale, bounds::briskPatternScale)));
    runDetector(*detector, mode, picture, allowed, keypoints, descriptors);
    return writeKeypointResult<std::uint8_t>(data, mode, keypoints, descriptors, size, result);
}

} // namespace miravex
