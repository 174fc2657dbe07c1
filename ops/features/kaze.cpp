#include "ops/features/operations.h"

#include "ops/features/bounds.h"
#include "ops/features/compat.h"
#include "ops/features/keypoints.h"

#include <algorithm>

namespace miravex {

/// Finds ("detect") or describes ("compute") keypoints in a nonlinear scale space, or both
/// ("detectAndCompute").
///
/// Image: 2D, one byte channel, both sides at least 2. Mask, when used: one channel of bits of the same size,
/// nonzero where keypoints may lie. Octaves: 1 to 15, those that can't find anything in an image of this size
/// skipped; layers: 1 to 11. Keypoints: n x 7 in the host's frame, read only by "compute", refused where
/// bounds::keypointFits excludes them; their class_id is the level, counted over all octaves. Result: n x 7,
/// n x d or n x (7 + d) with descriptors of 64 or, extended, 128 floats. Scale spaces beyond
/// bounds::scaleSpaceSamples are refused. Source: P. Alcantarilla, A. Bartoli, A. Davison, "KAZE features",
/// 2012.
HostErrorCode kaze(LibraryData data, KImage image, HostBoolean useMask, KImage mask, const char* modeName,
                   double threshold, int64_t nOctaves, int64_t nOctaveLayers, const char* diffusivityName,
                   HostBoolean extended, HostBoolean upright, KTensor keypointRows, KTensor* result)
{
    DetectorInput input;
    if (!checkImages(data, image, useMask, mask, bounds::kazeSide, input)) return StatusFunctionError;
    const KeypointMode mode = valueOf(keypointModes, modeName, KeypointMode::Unknown);
    if (mode == KeypointMode::Unknown) return StatusFunctionError;
    if (nOctaveLayers < 1 || nOctaveLayers > bounds::kazeLayers) return StatusFunctionError;
    if (nOctaves < 1 || nOctaves > bounds::kazeOctaves) return StatusFunctionError;
    const int diffusivity = valueOf(diffusivities, diffusivityName, unknownName);
    if (diffusivity == unknownName) return StatusFunctionError;
    if (!bounds::scaleSpaceFits(input.rows, input.columns, nOctaves, nOctaveLayers, 0))
        return StatusFunctionError;

    if (!readInput(data, image, useMask, mask, mode, keypointRows, bounds::intOctave, input))
        return StatusFunctionError;
    int64_t highestClass = 0;
    for (const cv::KeyPoint& at : input.keypoints)
        highestClass = std::max<int64_t>(highestClass, at.class_id);
    if (!bounds::scaleSpaceFits(input.rows, input.columns, nOctaves, nOctaveLayers, highestClass))
        return StatusFunctionError;
    const int64_t octaves =
        bounds::usefulKazeOctaves(nOctaves, nOctaveLayers, input.rows, input.columns, highestClass);
    const auto detector = cv::KAZE::create(extended != 0, upright != 0, static_cast<float>(threshold),
                                           static_cast<int>(octaves), static_cast<int>(nOctaveLayers),
                                           compat::Option(diffusivity));
    return runDetector(data, *detector, mode, input, result);
}

} // namespace miravex
