#include "ops/features/record_parts.h"

namespace miravex {

constexpr auto scoreNames = namesOf(orbScores);

constexpr Argument orbArguments[] = {
    pictureArgument,
    useMaskArgument,
    maskArgument,
    modeArgument,
    integer("fast_threshold", "how much brighter or darker than a corner the pixels around it are")
        .in("gray levels")
        .byDefault(20),
    integer("n_features", "keypoints to keep at most").from(0).byDefault(500),
    real("scale_factor", "how much smaller each level of the pyramid is").above(1).byDefault(1.2),
    integer("n_levels", "levels of the pyramid, each with pixels").from(1).byDefault(8),
    integer("edge_threshold", "margin without keypoints, and side of the patch that is described")
        .in("pixels")
        .from(2)
        .byDefault(31),
    integer("wta_k", "pixels that each part of a descriptor compares").from(2).to(4).byDefault(2),
    text("score_type", "what ranks the keypoints").oneOf(scoreNames).byDefault("HARRIS_SCORE"),
    keypointsArgument,
};
/// Levels that OpenCV builds: those of the described keypoints, or as many as asked for.
static int64_t pyramidLevels(const CallView& call)
{
    return computes(call) ? highest(call, 5) + 1 : call.integer("n_levels");
}
constexpr Constraint orbConstraints[] = {
    keypointsConstraint,
    { "n_levels", "few enough levels that the last still has pixels",
      [](const CallView& call) {
          return bounds::pyramidHasPixels(call.rows("image"), call.columns("image"),
                                          call.real("scale_factor"), pyramidLevels(call));
      } },
    { "edge_threshold",
      { "a margin with which all levels together have at most {} samples", bounds::resultSamples },
      [](const CallView& call) {
          return bounds::pyramidFits(call.rows("image"), call.columns("image"), call.real("scale_factor"),
                                     pyramidLevels(call), call.integer("edge_threshold"));
      } },
};
constexpr Text orbLimits[] = {
    "The edge threshold is also the side of the described patch; OpenCV refuses patches of 0 and 1.",
    { "Pyramids are refused that have a level without pixels, or with their margins more than {} samples.",
      bounds::resultSamples },
    keypointLimit,
};
constexpr Word orbWords[] = { "@building", "--n-features", "300" };
constexpr Example orbExamples[] = { { "The 300 best keypoints of a building", orbWords } };

MIRAVEX_RECORD(orb) { .summary = "Finds and describes oriented corners by pairs of brightness comparisons",
                      .arguments = orbArguments,
                      .results = featureResults,
                      .source = "E. Rublee et al., \"ORB: an efficient alternative to SIFT or SURF\", 2011",
                      .constraints = orbConstraints,
                      .limits = orbLimits,
                      .examples = orbExamples };

} // namespace miravex
