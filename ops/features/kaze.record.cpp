#include "ops/features/record_parts.h"

namespace miravex {

constexpr Argument kazeArguments[] = {
    pictureArgument.sides(bounds::kazeSide, bounds::kazeSide),
    useMaskArgument,
    maskArgument,
    modeArgument,
    real("threshold", "least response of a keypoint").byDefault(0.001),
    integer("n_octaves", "doublings of the scale; those too coarse for the picture are skipped")
        .from(1)
        .to(bounds::kazeOctaves)
        .byDefault(4),
    layersArgument,
    diffusivityArgument,
    boolean("extended", "descriptors of 128 instead of 64 numbers").byDefault(false),
    boolean("upright", "descriptors that are not turned with the picture").byDefault(false),
    keypointsArgument,
};
constexpr Constraint kazeConstraints[] = {
    { "n_octave_layers",
      { "few enough that rows x columns x octaves x layers x 10 is at most {}", bounds::scaleSpaceSamples },
      [](const CallView& call) {
          return bounds::scaleSpaceFits(call.rows("image"), call.columns("image"), call.integer("n_octaves"),
                                        call.integer("n_octave_layers"), highest(call, 6));
      } },
    keypointsConstraint,
};
constexpr Text kazeLimits[] = {
    { "Scale spaces (rows x columns x octaves x layers x 10) of more than {} samples are refused.",
      bounds::scaleSpaceSamples },
    "The class_id of a keypoint to describe is its level; OpenCV refuses those beyond octaves x layers.",
    keypointLimit,
};
constexpr Word kazeWords[] = { "@graf3", "--threshold", "0.004" };
constexpr Example kazeExamples[] = { { "Keypoints of the same wall, seen from the side", kazeWords } };

MIRAVEX_RECORD(kaze) { .summary = "Finds and describes keypoints in a nonlinear scale space",
                       .arguments = kazeArguments,
                       .results = featureResults,
                       .source = "P. Alcantarilla, A. Bartoli, A. Davison, \"KAZE features\", 2012",
                       .constraints = kazeConstraints,
                       .limits = kazeLimits,
                       .examples = kazeExamples };

} // namespace miravex
