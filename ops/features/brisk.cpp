#include "ops/features/operations.h"

#include "ops/features/bounds.h"
#include "ops/features/keypoints.h"

#include <algorithm>

namespace miravex {

/// Finds ("detect") or describes ("compute") keypoints by concentric rings of brightness comparisons, or both
/// ("detectAndCompute").
///
/// Image: 2D, one byte channel. Mask, when used: one channel of bits of the same size, nonzero where
/// keypoints may lie. Threshold: at least 1; octaves: at least 0 (detection fails where a level would have no
/// pixels); pattern scale: above 0. Keypoints: n x 7 in the host's frame, read only by "compute", refused
/// where bounds::keypointFits excludes them. Result: n x 7, n x d or n x (7 + d) with descriptors of 64
/// bytes. Images beyond bounds::indexedPixels are refused. Source: S. Leutenegger, M. Chli, R. Siegwart,
/// "BRISK: binary robust invariant scalable keypoints", 2011.
HostErrorCode brisk(LibraryData data, KImage image, HostBoolean useMask, KImage mask, const char* modeName,
                    int64_t threshold, int64_t octaves, double patternScale, KTensor keypointRows,
                    KTensor* result)
{
    DetectorInput input;
    if (!checkImages(data, image, useMask, mask, 0, input)) return StatusFunctionError;
    const KeypointMode mode = valueOf(keypointModes, modeName, KeypointMode::Unknown);
    if (mode == KeypointMode::Unknown) return StatusFunctionError;
    if (threshold < 1 || octaves < 0 || !(patternScale > 0.0)) return StatusFunctionError;
    if (!bounds::isIndexable(input.rows, input.columns)) return StatusFunctionError;

    if (!readInput(data, image, useMask, mask, mode, keypointRows, bounds::intOctave, input))
        return StatusFunctionError;
    // Each is cut where larger values give the same: bytes differ by 255 at most.
    const auto detector =
        cv::BRISK::create(static_cast<int>(std::min<int64_t>(threshold, 255)),
                          static_cast<int>(std::min(octaves, bounds::halvings)),
                          static_cast<float>(std::min(patternScale, bounds::briskPatternScale)));
    return runDetector(data, *detector, mode, input, result);
}

} // namespace miravex
