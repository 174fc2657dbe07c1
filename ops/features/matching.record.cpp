#include "catalog/call_view.h"
#include "ops/features/bounds.h"
#include "ops/features/option_names.h"

#include <algorithm>
#include <limits>

namespace miravex {

namespace {

using namespace records;
using Word = std::string_view;

// --- descriptors ----------------------------------------------------------------------------------------

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
bool isBest(const CallView& call) { return call.text("mode") == "Best Match"; }
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
    { "query", "at most 2^26 pairs to keep (k for each, or all within a radius)",
      [](const CallView& call) {
          // In doubles: k may be anything here, and no integer then.
          const double each =
              isBest(call) ? call.real("parameter") : static_cast<double>(call.dimension("train", 0));
          const double pairs = static_cast<double>(call.dimension("query", 0)) * each;
          return !(pairs > static_cast<double>(bounds::matchedPairs));
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
    "More than 2^26 pairs to keep (k for each query, or every pair of a radius search) are refused, and "
    "descriptors without elements.",
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

// --- earth mover ----------------------------------------------------------------------------------------

constexpr auto distanceNames = namesOf(groundDistances);

constexpr Argument distanceArguments[] = {
    reals("points1", "coordinates of the first set, one point a row").shaped({ atLeast(1), atLeast(1) }),
    reals("weights1", "mass of each of its points").shaped({ firstOf("points1") }).elementsFrom(0),
    reals("points2", "coordinates of the second set").shaped({ atLeast(1), secondOf("points1") }),
    reals("weights2", "mass of each of its points").shaped({ firstOf("points2") }).elementsFrom(0),
    text("distance", "cost of moving one unit of mass from point to point")
        .oneOf(distanceNames)
        .byDefault("EuclideanDistance"),
    reals("cost", "that cost itself, for \"Custom\"; the named distances ignore it")
        .shaped({ firstOf("points1"), firstOf("points2") })
        .orEmpty()
        .when("distance", "Custom"),
};
constexpr Argument weightsArguments[] = {
    reals("weights1", "mass of each element of the first set").shaped({ atLeast(1) }).elementsFrom(0),
    reals("weights2", "mass of each element of the second set").shaped({ atLeast(1) }).elementsFrom(0),
    reals("cost", "cost of moving one unit of mass from element to element")
        .shaped({ lengthOf("weights1"), lengthOf("weights2") }),
};

bool hasMass(const CallView& call, Word weights)
{
    return std::ranges::any_of(call.reals(weights), [](double mass) { return static_cast<float>(mass) > 0; });
}
bool transportFits(const CallView& call)
{
    const int64_t rows1 = call.length("weights1");
    const int64_t rows2 = call.length("weights2");
    return bounds::product({ rows1, rows2, rows1 + rows2 }) <= bounds::transportSteps;
}
constexpr Constraint firstMass { "weights1", "some mass above 0",
                                 [](const CallView& call) { return hasMass(call, "weights1"); } };
constexpr Constraint secondMass { "weights2", "some mass above 0",
                                  [](const CallView& call) { return hasMass(call, "weights2"); } };
constexpr Constraint sizeConstraint { "weights1",
                                      "sets of sizes n1 and n2 with n1 n2 (n1 + n2) of at most 2^36",
                                      transportFits };
constexpr Constraint distanceConstraints[] = {
    firstMass,
    secondMass,
    sizeConstraint,
    { "cost", "a cost for the distance \"Custom\"",
      [](const CallView& call) { return call.text("distance") != "Custom" || call.length("cost") > 0; } },
};
constexpr Constraint weightsConstraints[] = { firstMass, secondMass, sizeConstraint };
constexpr Result distanceResults[] = { { ResultKind::Real, "the least cost per unit of mass" } };
constexpr Result flowResults[] = { { ResultKind::RealTensor, "n1 x n2: the mass that moves from each to each",
                                     Layout::Transport } };
constexpr Text transportLimits[] = {
    "Sets of sizes n1 and n2 with n1 n2 (n1 + n2) above 2^36 are refused: they take minutes, and OpenCV "
    "crashes at 20,000 a side.",
};
constexpr Word distanceWords[] = { "--points1", "0,0;1,0;2,0", "--weights1", "1,2,1",
                                   "--points2", "0,3;2,3",     "--weights2", "2,2" };
constexpr Word weightsWords[] = { "--weights1", "3,1", "--weights2", "1,2,1", "--cost", "1,2,3;3,1,1" };
constexpr Example distanceExamples[] = { { "How far mass moves from three points to two", distanceWords } };
constexpr Example flowExamples[] = { { "Which mass goes where", distanceWords } };
constexpr Example weightsExamples[] = { { "Which mass goes where at given costs", weightsWords } };
constexpr Word transportSource =
    "Y. Rubner, C. Tomasi, L. Guibas, \"The earth mover's distance as a metric for image retrieval\", 2000";

} // namespace

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

MIRAVEX_RECORD(earthMoverDistance) {
    .summary = "The least cost of turning one weighted set of points into another",
    .arguments = distanceArguments,
    .results = distanceResults,
    .source = transportSource,
    .constraints = distanceConstraints,
    .limits = transportLimits,
    .examples = distanceExamples
};

MIRAVEX_RECORD(earthMoverDistanceFlowMatrix) {
    .summary = "The flow of mass that turns one weighted set of points into another at the least cost",
    .arguments = distanceArguments,
    .results = flowResults,
    .source = transportSource,
    .constraints = distanceConstraints,
    .limits = transportLimits,
    .examples = flowExamples
};

MIRAVEX_RECORD(earthMoverDistanceWeightsFlowMatrix) {
    .summary = "The flow of mass between two lists of weights at the least of given costs",
    .arguments = weightsArguments,
    .results = flowResults,
    .source = transportSource,
    .constraints = weightsConstraints,
    .limits = transportLimits,
    .examples = weightsExamples
};

} // namespace miravex
