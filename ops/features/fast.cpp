#include "ops/features/operations.h"

#include "convert/integers.h"
#include "ops/features/bounds.h"
#include "ops/features/compat.h"
#include "ops/features/keypoints.h"

namespace miravex {

/// Finds corners by the segment test on 9 of 16 pixels.
///
/// Image: 2D, one byte channel, both sides at least 7. Mask, when used: one channel of bits of the same size,
/// nonzero where keypoints may lie; one must be passed even when it is not used. Threshold: at least 0, in
/// grey levels; of its low 32 bits OpenCV compares the lowest eight as well, so that values above 255 wrap.
/// Result: n x 7. Source: E. Rosten, T. Drummond, "Machine learning for high-speed corner
/// detection", 2006.
HostErrorCode fast(LibraryData data, KImage image, HostBoolean useMask, KImage mask, int64_t threshold,
                   HostBoolean nonmaxSuppression, KTensor* result)
{
    DetectorInput input;
    if (!mask || !checkImages(data, image, useMask, mask, bounds::fastSide, input) || threshold < 0)
        return StatusFunctionError;

    if (!readInput(data, image, useMask, mask, KeypointMode::Detect, nullptr, 0, input))
        return StatusFunctionError;
    // Type 2 is TYPE_9_16.
    const auto detector =
        cv::FastFeatureDetector::create(lowInt32(threshold), nonmaxSuppression != 0, compat::Option(2));
    detector->detect(**input.picture, input.keypoints, input.allowed);
    return writeKeypoints(data, KeypointMode::Detect, input, cv::Mat(), result);
}

} // namespace miravex
