#include "ops/features/record_parts.h"

namespace miravex {

namespace {

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
bool isBinary(const CallView& call)
{
    return miravex::isBinary(valueOf(akazeDescriptors, call.text("descriptor_type"), unknownName));
}
bool channelsFit(const CallView& call)
{
    return !isBinary(call)
        || bounds::akazeChannelsFit(call.text("mode") != "detect", call.integer("descriptor_size"),
                                    call.integer("descriptor_channels"));
}
constexpr Constraint akazeConstraints[] = {
    { "descriptor_channels",
      "at least 2 for binary descriptors of a size above 0, and 3 for those of size 0 unless keypoints are "
      "only detected",
      channelsFit },
    { "descriptor_size", "at most 162 bits for each channel",
      [](const CallView& call) {
          return !isBinary(call)
              || call.integer("descriptor_size") <= 162 * call.integer("descriptor_channels");
      } },
    { "keypoints",
      { "positions inside the picture, sizes above 0 and up to its diagonal, octaves from 0 to {}",
        bounds::shiftedOctave },
      [](const CallView& call) { return keypointsFit(call, bounds::shiftedOctave); } },
};
constexpr Text akazeLimits[] = {
    "Binary descriptors of a size above 0 with one channel are refused: OpenCV overflows its table of "
    "comparisons.",
    "Binary descriptors of size 0 with fewer than three channels are refused: OpenCV writes beyond them.",
    { "Octaves of keypoints to describe are refused above {}: OpenCV shifts a 32-bit one by them.",
      bounds::shiftedOctave },
    keypointLimit,
};
constexpr Word akazeWords[] = { "@graf1" };
constexpr Example akazeExamples[] = { { "Keypoints of a wall with graffiti", akazeWords } };

} // namespace

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
