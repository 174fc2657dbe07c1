#include "ops/features/operations.h"

#include "ops/features/bounds.h"
#include "ops/features/compat.h"
#include "ops/features/keypoints.h"

#include <algorithm>

namespace miravex {

namespace {

constexpr int64_t mostLayers = 11;
constexpr int64_t mostKazeOctaves = 15;
constexpr int64_t mostAkazeOctaves = bounds::halvings;
constexpr int64_t longestAkazeDescriptor = 486;

/// Octaves of KAZE that can matter. Keypoints lie at least three sigma from every border, and an octave
/// starts at sigma 1.6 times its power of two, so an octave whose sixfold sigma exceeds the smaller side
/// finds none; the first such octave still serves its neighbour as the next level. Those beyond only cost
/// time, half of it each.
int usefulKazeOctaves(int64_t octaves, PictureSize size)
{
    const double side = static_cast<double>(std::min(size.rows, size.columns)) + 2;
    int64_t useful = 1;
    for (double reach = 6 * 1.6; reach < side; reach *= 2) ++useful;
    return static_cast<int>(std::min(octaves, useful));
}

/// Samples of KAZE's scale space: ten pictures of full size per level.
int64_t scaleSpaceSamples(PictureSize size, int octaves, int64_t layers)
{
    return bounds::product({ size.rows, size.columns, octaves, layers, 10 });
}

bool hasShiftableOctaves(const std::vector<cv::KeyPoint>& keypoints)
{
    return std::ranges::all_of(keypoints,
                               [](const cv::KeyPoint& at) { return at.octave <= bounds::shiftedOctave; });
}

} // namespace

/// Finds ("detect") or describes ("compute") keypoints in an accelerated nonlinear scale space, or both
/// ("detectAndCompute").
///
/// Image and mask: as agast(). Octaves: at least 1; layers: 1 to 11; descriptor size: 0 (all) to 486 bits,
/// channels 1 to 3. Keypoints: n x 7 in the host's frame, inside the picture, read only by "compute". Result:
/// n x 7, n x d or n x (7 + d). Besides what the checks name, binary descriptors of a size above 0 with one
/// channel are refused, and those of size 0 with fewer than three where something is described (OpenCV writes
/// beyond its memory for both); so are keypoints with numbers that are not finite, sizes beyond the diagonal
/// or octaves above bounds::shiftedOctave. Source: P. Alcantarilla, J. Nuevo, A. Bartoli, "Fast explicit
/// diffusion for accelerated features in nonlinear scale spaces", 2013.
HostErrorCode akaze(LibraryData data, KImage image, HostBoolean useMask, KImage mask, const char* modeName,
                    double threshold, int64_t nOctaves, int64_t nOctaveLayers, const char* diffusivityName,
                    const char* descriptorName, int64_t descriptorSize, int64_t descriptorChannels,
                    KTensor keypointRows, KTensor* result)
{
    PictureSize size;
    if (!checkPicture(data, image, useMask, mask, 0, size)) return StatusFunctionError;
    const KeypointMode mode = valueOf(keypointModes, modeName, KeypointMode::Unknown);
    if (mode == KeypointMode::Unknown) return StatusFunctionError;
    if (nOctaveLayers < 1 || nOctaveLayers > mostLayers || nOctaves < 1) return StatusFunctionError;
    const int diffusivity = valueOf(diffusivities, diffusivityName, unknownName);
    if (diffusivity == unknownName) return StatusFunctionError;
    const int descriptor = valueOf(akazeDescriptors, descriptorName, unknownName);
    if (descriptor == unknownName) return StatusFunctionError;
    if (descriptorSize < 0 || descriptorSize > longestAkazeDescriptor) return StatusFunctionError;
    if (descriptorChannels < 1 || descriptorChannels > 3) return StatusFunctionError;
    // OpenCV writes past its table of comparisons when it picks bits of one channel, and past the
    // descriptors, before it notices and throws, when it wants all bits of fewer than three.
    const bool binary = descriptor >= akazeFirstBinaryDescriptor;
    if (binary && descriptorSize > 0 && descriptorChannels == 1) return StatusFunctionError;
    const bool describes = mode != KeypointMode::Detect;
    if (binary && describes && descriptorSize == 0 && descriptorChannels < 3) return StatusFunctionError;

    cv::Mat picture, allowed, descriptors;
    if (!convertPicture(data, image, useMask, mask, picture, allowed)) return StatusFunctionError;
    std::vector<cv::KeyPoint> keypoints;
    if (mode == KeypointMode::Compute
        && (!readKeypointTensor(data, keypointRows, size, keypoints) || !hasShiftableOctaves(keypoints)))
        return StatusFunctionError;
    // The detector stops halving small pictures by itself.
    const auto detector = cv::AKAZE::create(
        compat::Option(descriptor), static_cast<int>(descriptorSize), static_cast<int>(descriptorChannels),
        static_cast<float>(threshold), static_cast<int>(std::min(nOctaves, mostAkazeOctaves)),
        static_cast<int>(nOctaveLayers), compat::Option(diffusivity));
    runDetector(*detector, mode, picture, allowed, keypoints, descriptors);
    return binary ? writeKeypointResult<std::uint8_t>(data, mode, keypoints, descriptors, size, result)
                  : writeKeypointResult<float>(data, mode, keypoints, descriptors, size, result);
}

/// Finds or describes keypoints in a nonlinear scale space; modes as akaze().
///
/// Both sides at least 2. Octaves: 1 to 15, those that can't find anything in a picture of this size skipped
/// (keypoints given with a class_id of theirs are refused); layers: 1 to 11. Descriptors of 64 or, extended,
/// 128 floats. Scale spaces beyond bounds::scaleSpaceSamples are refused, and keypoints as in brisk().
/// Source: P. Alcantarilla, A. Bartoli, A. Davison, "KAZE features", 2012.
HostErrorCode kaze(LibraryData data, KImage image, HostBoolean useMask, KImage mask, const char* modeName,
                   double threshold, int64_t nOctaves, int64_t nOctaveLayers, const char* diffusivityName,
                   HostBoolean extended, HostBoolean upright, KTensor keypointRows, KTensor* result)
{
    PictureSize size;
    if (!checkPicture(data, image, useMask, mask, 2, size)) return StatusFunctionError;
    const KeypointMode mode = valueOf(keypointModes, modeName, KeypointMode::Unknown);
    if (mode == KeypointMode::Unknown) return StatusFunctionError;
    if (nOctaveLayers < 1 || nOctaveLayers > mostLayers) return StatusFunctionError;
    if (nOctaves < 1 || nOctaves > mostKazeOctaves) return StatusFunctionError;
    const int diffusivity = valueOf(diffusivities, diffusivityName, unknownName);
    if (diffusivity == unknownName) return StatusFunctionError;
    const int octaves = usefulKazeOctaves(nOctaves, size);
    if (scaleSpaceSamples(size, octaves, nOctaveLayers) > bounds::scaleSpaceSamples)
        return StatusFunctionError;

    cv::Mat picture, allowed, descriptors;
    if (!convertPicture(data, image, useMask, mask, picture, allowed)) return StatusFunctionError;
    std::vector<cv::KeyPoint> keypoints;
    if (mode == KeypointMode::Compute && !readKeypointTensor(data, keypointRows, size, keypoints))
        return StatusFunctionError;
    const auto detector =
        cv::KAZE::create(extended != 0, upright != 0, static_cast<float>(threshold), octaves,
                         static_cast<int>(nOctaveLayers), compat::Option(diffusivity));
    runDetector(*detector, mode, picture, allowed, keypoints, descriptors);
    return writeKeypointResult<float>(data, mode, keypoints, descriptors, size, result);
}

} // namespace miravex
