#include "ops/features/record_parts.h"

namespace miravex {

constexpr auto descriptorNames = namesOf(akazeDescriptors);

constexpr Argument akazeArguments[] = {
    pictureArgument,
    useMaskArgument,
    maskArgument,
    modeArgument,
    real("threshold", "least response of a keypoint").byDefault(0.001),
    integer("n_octaves", "halvings of the picture; small pictures end them sooner").from(1).byDefault(4),
    layersArgument,
    diffusivityArgument,
    text("descriptor_type", "binary (MLDB) or float (KAZE) descriptors, turned upright or not")
        .oneOf(descriptorNames)
        .byDefault("DESCRIPTOR_MLDB"),
    integer("descriptor_size", "bits of a binary descriptor; 0 for all")
        .in("bits")
        .from(0)
        .to(bounds::akazeBits)
        .byDefault(0),
    integer("descriptor_channels", "what a binary descriptor compares: brightness, gradients")
        .from(1)
        .to(3)
        .byDefault(3),
    keypointsArgument,
};
static bool isBinary(const CallView& call)
{
    return miravex::isBinary(valueOf(akazeDescriptors, call.text("descriptor_type"), unknownName));
}
constexpr Constraint akazeConstraints[] = {
    pixelsConstraint,
    { "descriptor_channels", "3 for binary descriptors, unless keypoints are only detected",
      [](const CallView& call) {
          return !isBinary(call)
              || bounds::akazeChannelsFit(call.text("mode") != "detect", call.integer("descriptor_channels"));
      } },
    { "descriptor_size",
      { "at most {} bits for each channel", bounds::akazeBitsPerChannel },
      [](const CallView& call) {
          return !isBinary(call)
              || call.integer("descriptor_size")
              <= bounds::akazeBitsPerChannel * call.integer("descriptor_channels");
      } },
    { "keypoints",
      { "positions inside the picture, sizes above 0 and up to {} of its diagonals, octaves from 0 to {}",
        bounds::keypointDiagonals, bounds::shiftedOctave },
      [](const CallView& call) { return keypointsFit(call, bounds::shiftedOctave); } },
};
constexpr Text akazeLimits[] = {
    "Binary descriptors of fewer than three channels are refused: OpenCV writes beyond its table of "
    "comparisons. Where keypoints are only detected, any number will do.",
    { "Octaves of keypoints to describe are refused above {}: OpenCV shifts a 32-bit one by them.",
      bounds::shiftedOctave },
    keypointLimit,
    pixelsLimit,
};
constexpr Word akazeWords[] = { "@graf1" };
constexpr Example akazeExamples[] = { { "Keypoints of a wall with graffiti", akazeWords } };

MIRAVEX_RECORD(akaze) {
    .summary = "Finds and describes keypoints in an accelerated nonlinear scale space",
    .arguments = akazeArguments,
    .results = featureResults,
    .source = "P. Alcantarilla, J. Nuevo, A. Bartoli, \"Fast explicit diffusion for accelerated features in "
              "nonlinear scale spaces\", 2013",
    .constraints = akazeConstraints,
    .limits = akazeLimits,
    .examples = akazeExamples
};

} // namespace miravex
