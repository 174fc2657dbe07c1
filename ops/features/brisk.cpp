#include "ops/features/features.h"

#include "convert/limits.h"
#include "ops/features/keypoints.h"

#include <algorithm>

namespace miravex {

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
                          static_cast<int>(std::min(octaves, limits::halvings)),
                          static_cast<float>(std::min(patternScale, limits::briskPatternScale)));
    runDetector(*detector, mode, picture, allowed, keypoints, descriptors);
    return writeKeypointResult<std::uint8_t>(data, mode, keypoints, descriptors, size, result);
}

} // namespace miravex
