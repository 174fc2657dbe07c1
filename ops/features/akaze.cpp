#include "ops/features/operations.h"

#include "ops/features/bounds.h"
#include "ops/features/compat.h"
#include "ops/features/keypoints.h"

#include <algorithm>

namespace miravex {

/// Finds ("detect") or describes ("compute") keypoints in an accelerated nonlinear scale space, or both
/// ("detectAndCompute").
///
/// Image: 2D, one byte channel. Mask, when used: one channel of bits of the same size, nonzero where
/// keypoints may lie. Octaves: at least 1; layers: 1 to 11; descriptor size: 0 (all) to 486 bits, channels 1
/// to 3. Keypoints: n x 7 in the host's frame, inside the image, read only by "compute". Result: n x 7, n x d
/// or n x (7 + d). Binary descriptors take at most 162 bits of each channel and are made of three channels
/// alone (bounds::akazeChannelsFit); keypoints that bounds::keypointFits excludes are refused, and
/// images beyond bounds::indexedPixels. Source: P.
/// Alcantarilla, J. Nuevo, A. Bartoli, "Fast explicit diffusion for accelerated features in nonlinear scale
/// spaces", 2013.
HostErrorCode akaze(LibraryData data, KImage image, HostBoolean useMask, KImage mask, const char* modeName,
                    double threshold, int64_t nOctaves, int64_t nOctaveLayers, const char* diffusivityName,
                    const char* descriptorName, int64_t descriptorSize, int64_t descriptorChannels,
                    KTensor keypointRows, KTensor* result)
{
    DetectorInput input;
    if (!checkImages(data, image, useMask, mask, 0, input)) return StatusFunctionError;
    const KeypointMode mode = valueOf(keypointModes, modeName, KeypointMode::Unknown);
    if (mode == KeypointMode::Unknown) return StatusFunctionError;
    if (nOctaveLayers < 1 || nOctaveLayers > bounds::kazeLayers || nOctaves < 1) return StatusFunctionError;
    const int diffusivity = valueOf(diffusivities, diffusivityName, unknownName);
    if (diffusivity == unknownName) return StatusFunctionError;
    const int descriptor = valueOf(akazeDescriptors, descriptorName, unknownName);
    if (descriptor == unknownName) return StatusFunctionError;
    if (descriptorSize < 0 || descriptorSize > bounds::akazeBits) return StatusFunctionError;
    if (descriptorChannels < 1 || descriptorChannels > 3) return StatusFunctionError;
    if (!bounds::isIndexable(input.rows, input.columns)) return StatusFunctionError;
    const bool describes = mode != KeypointMode::Detect;
    if (isBinary(descriptor)
        && (!bounds::akazeChannelsFit(describes, descriptorChannels)
            || descriptorSize > bounds::akazeBitsPerChannel * descriptorChannels))
        return StatusFunctionError;

    if (!readInput(data, image, useMask, mask, mode, keypointRows, bounds::shiftedOctave, input))
        return StatusFunctionError;
    // The detector stops halving small images by itself, and its descriptors' size means nothing to it.
    const int64_t bits = describes ? descriptorSize : 0;
    const auto detector = cv::AKAZE::create(
        compat::Option(descriptor), static_cast<int>(bits), static_cast<int>(descriptorChannels),
        static_cast<float>(threshold), static_cast<int>(std::min(nOctaves, bounds::halvings)),
        static_cast<int>(nOctaveLayers), compat::Option(diffusivity));
    return runDetector(data, *detector, mode, input, result);
}

} // namespace miravex
