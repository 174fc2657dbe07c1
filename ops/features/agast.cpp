#include "ops/features/operations.h"

#include "ops/features/bounds.h"
#include "ops/features/compat.h"
#include "ops/features/keypoints.h"

#include <algorithm>

namespace miravex {

/// Finds corners by the adaptive segment test on 9 of 16 pixels.
///
/// Image: 2D, one byte channel. Mask, when used: one channel of bits of the same size, nonzero where
/// keypoints may lie. Threshold: at least 0, in grey levels. Result: n x 7. Images beyond
/// bounds::indexedPixels are refused. Source: E. Mair et al., "Adaptive
/// and generic corner detection based on the accelerated segment test", 2010.
HostErrorCode agast(LibraryData data, KImage image, HostBoolean useMask, KImage mask, int64_t threshold,
                    HostBoolean nonmaxSuppression, KTensor* result)
{
    DetectorInput input;
    if (!checkImages(data, image, useMask, mask, 0, input) || threshold < 0) return StatusFunctionError;
    if (!bounds::isIndexable(input.rows, input.columns)) return StatusFunctionError;

    if (!readInput(data, image, useMask, mask, KeypointMode::Detect, nullptr, 0, input))
        return StatusFunctionError;
    // No two bytes differ by more than 255: larger thresholds find nothing either, and sums with them could
    // overflow. Type 3 is OAST_9_16.
    cv::AGAST(**input.picture, input.keypoints, static_cast<int>(std::min<int64_t>(threshold, 255)),
              nonmaxSuppression != 0, compat::Option(3));
    cv::KeyPointsFilter::runByPixelsMask(input.keypoints, input.allowed);
    return writeKeypoints(data, KeypointMode::Detect, input, cv::Mat(), result);
}

} // namespace miravex
