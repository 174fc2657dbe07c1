#include "ops/features/record_parts.h"

#include <limits>

namespace miravex {

constexpr auto matcherChoices = namesOf(matcherNames);
constexpr auto matchModeNames = namesOf(matchModes);

constexpr Argument matcherArguments[] = {
    reals("query", "descriptors to find matches for, one a row").shaped({ atLeast(0), atLeast(1) }),
    boolean("use_mask", "whether a mask says which pairs may match").setBy("mask").byDefault(false),
    integers("mask", "which pairs may match: those whose lowest byte is not 0")
        .shaped({ firstOf("query"), firstOf("train") })
        .when("use_mask", "true"),
    reals("train", "descriptors to choose from, one a row").shaped({ atLeast(0), secondOf("query") }),
    text("matcher", "how distances are measured and near ones found")
        .oneOf(matcherChoices)
        .byDefault("BruteForce"),
    text("mode", "the nearest few, or all within a distance").oneOf(matchModeNames).byDefault("Best Match"),
    real("parameter", "how many matches of each query, or the largest distance").byDefault(1.0),
};
static bool isBest(const CallView& call) { return call.text("mode") == "Best Match"; }
constexpr Constraint matcherConstraints[] = {
    { "matcher", "a matcher for numbers: the Hamming ones take only bits",
      [](const CallView& call) {
          return call.length("query") == 0 || call.text("matcher").find("Hamming") == Word::npos;
      } },
    { "matcher", "a brute-force matcher when a mask is used",
      [](const CallView& call) {
          return call.length("query") == 0 || !call.boolean("use_mask")
              || call.text("matcher") != "FlannBased";
      } },
    { "parameter", "from 1 to the number of train descriptors in the mode \"Best Match\"",
      [](const CallView& call) {
          const double k = call.real("parameter");
          return !isBest(call) || (k >= 1 && k <= static_cast<double>(call.dimension("train", 0)));
      } },
    { "parameter", "a distance above 0 in the mode \"Radius Match\"",
      [](const CallView& call) {
          return isBest(call)
              || call.real("parameter") > static_cast<double>(std::numeric_limits<float>::epsilon());
      } },
    { "parameter",
      { "at most {} matches of all queries together", bounds::matchedPairs },
      [](const CallView& call) {
          const double k = call.real("parameter");
          // The mode's own constraint speaks of a k beyond the train descriptors.
          return !isBest(call) || !(k >= 1 && k <= static_cast<double>(call.dimension("train", 0)))
              || bounds::matchesFit(call.dimension("query", 0), static_cast<int64_t>(k));
      } },
    { "query",
      { "at most {} pairs x elements to compare", bounds::work },
      [](const CallView& call) {
          return bounds::comparisonFits(call.dimension("query", 0), call.dimension("train", 0),
                                        call.dimension("query", 1));
      } },
};
constexpr Result matcherResults[] = {
    { ResultKind::IntegerTensor,
      "flat: the number of queries, the number of matches of each, then their train rows from 1, best first",
      Layout::Matches },
};
constexpr Text matcherLimits[] = {
    "Descriptors are compared as 32-bit floats, which the Hamming matchers refuse.",
    "OpenCV refuses radii of at most 1.19e-7.",
    { "More than {} pairs to keep (k for each query, or those within the radius) are refused, and "
      "descriptors without elements.",
      bounds::matchedPairs },
};
constexpr Word matcherWords[] = {
    "--query",           "@graf1_descriptors",
    "--train",           "@graf3_descriptors",
    "--query-picture",   "@graf1",
    "--query-keypoints", "@graf1_keypoints",
    "--train-picture",   "@graf3",
    "--train-keypoints", "@graf3_keypoints",
};
constexpr Example matcherExamples[] = { { "Which keypoints of one view are which of another",
                                          matcherWords } };

MIRAVEX_RECORD(descriptorMatcher) {
    .summary = "Matches descriptors of one set with those of another",
    .arguments = matcherArguments,
    .results = matcherResults,
    .source = "M. Muja, D. Lowe, \"Fast approximate nearest neighbors with automatic algorithm "
              "configuration\", 2009 (FlannBased)",
    .constraints = matcherConstraints,
    .limits = matcherLimits,
    .examples = matcherExamples
};

} // namespace miravex
