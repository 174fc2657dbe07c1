#include "ops/features/record_parts.h"

namespace miravex {

constexpr Argument briskArguments[] = {
    pictureArgument,
    useMaskArgument,
    maskArgument,
    modeArgument,
    integer("threshold", "how much brighter or darker than a corner the pixels around it are")
        .in("gray levels")
        .from(1)
        .byDefault(30),
    integer("octaves", "halvings of the picture; OpenCV fails where one would leave no pixels")
        .from(0)
        .byDefault(3),
    real("pattern_scale", "size of the pattern of samples around a keypoint").above(0).byDefault(1.0),
    keypointsArgument,
};
constexpr Constraint briskConstraints[] = { pixelsConstraint, keypointsConstraint };
constexpr Text briskLimits[] = { keypointLimit, pixelsLimit };
constexpr Word briskWords[] = { "@graf1", "--threshold", "50" };
constexpr Example briskExamples[] = { { "Keypoints of a wall with graffiti", briskWords } };

MIRAVEX_RECORD(brisk) {
    .summary = "Finds and describes keypoints by rings of brightness comparisons",
    .arguments = briskArguments,
    .results = featureResults,
    .source = "S. Leutenegger, M. Chli, R. Siegwart, \"BRISK: binary robust invariant scalable keypoints\", "
              "2011",
    .constraints = briskConstraints,
    .limits = briskLimits,
    .examples = briskExamples
};

} // namespace miravex
