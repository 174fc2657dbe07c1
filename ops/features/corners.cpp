#include "ops/features/operations.h"

#include "ops/features/compat.h"
#include "ops/features/keypoints.h"

#include <algorithm>

namespace miravex {

namespace {

/// The variant of both tests: 9 contiguous pixels out of 16 (OAST_9_16, TYPE_9_16).
constexpr int agastType = 3;
constexpr int fastType = 2;

constexpr int64_t smallestFastSide = 7;

/// No two bytes differ by more, so that larger thresholds find nothing either; sums with them could overflow.
int byteThreshold(int64_t threshold) { return static_cast<int>(std::min<int64_t>(threshold, 255)); }

} // namespace

/// Finds corners by the adaptive segment test on 9 of 16 pixels.
///
/// Image: 2D, one byte channel. Mask, when used: one channel of bits of the same size, nonzero where
/// keypoints may lie. Threshold: at least 0, in grey levels. Result: n x 7. Source: E. Mair et al., "Adaptive
/// and generic corner detection based on the accelerated segment test", 2010.
HostErrorCode agast(LibraryData data, KImage image, HostBoolean useMask, KImage mask, int64_t threshold,
                    HostBoolean nonmaxSuppression, KTensor* result)
{
    PictureSize size;
    if (!checkPicture(data, image, useMask, mask, 0, size)) return StatusFunctionError;
    if (threshold < 0) return StatusFunctionError;

    cv::Mat picture, allowed;
    if (!convertPicture(data, image, useMask, mask, picture, allowed)) return StatusFunctionError;
    std::vector<cv::KeyPoint> keypoints;
    cv::AGAST(picture, keypoints, byteThreshold(threshold), nonmaxSuppression != 0,
              compat::Option(agastType));
    cv::KeyPointsFilter::runByPixelsMask(keypoints, allowed);
    return writeKeypointResult<double>(data, KeypointMode::Detect, keypoints, cv::Mat(), size, result);
}

/// Finds corners by the segment test on 9 of 16 pixels.
///
/// As agast(), but both sides must be at least 7, and a mask must be passed even when it is not used. Source:
/// E. Rosten, T. Drummond, "Machine learning for high-speed corner detection", 2006.
HostErrorCode fast(LibraryData data, KImage image, HostBoolean useMask, KImage mask, int64_t threshold,
                   HostBoolean nonmaxSuppression, KTensor* result)
{
    PictureSize size;
    if (!mask || !checkPicture(data, image, useMask, mask, smallestFastSide, size))
        return StatusFunctionError;
    if (threshold < 0) return StatusFunctionError;

    cv::Mat picture, allowed;
    if (!convertPicture(data, image, useMask, mask, picture, allowed)) return StatusFunctionError;
    const auto detector = cv::FastFeatureDetector::create(byteThreshold(threshold), nonmaxSuppression != 0,
                                                          compat::Option(fastType));
    std::vector<cv::KeyPoint> keypoints;
    detector->detect(picture, keypoints, allowed);
    return writeKeypointResult<double>(data, KeypointMode::Detect, keypoints, cv::Mat(), size, result);
}

} // namespace miravex
