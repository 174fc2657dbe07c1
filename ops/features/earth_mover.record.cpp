#include "ops/features/record_parts.h"

namespace miravex {

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

static bool hasMass(const CallView& call, Word weights)
{
    return std::ranges::any_of(call.reals(weights), [](double mass) { return static_cast<float>(mass) > 0; });
}
constexpr Constraint firstMass { "weights1", "some mass above 0",
                                 [](const CallView& call) { return hasMass(call, "weights1"); } };
constexpr Constraint secondMass { "weights2", "some mass above 0",
                                  [](const CallView& call) { return hasMass(call, "weights2"); } };
constexpr Constraint sizeConstraint {
    "weights1",
    { "sets of sizes n1 and n2 with n1 n2 (n1 + n2) of at most {}", bounds::transportSteps },
    [](const CallView& call) {
        return bounds::transportFits(call.length("weights1"), call.length("weights2"));
    }
};
static bool signatureFits(const CallView& call, Word points)
{
    return bounds::signatureFits(call.dimension(points, 0), call.dimension(points, 1));
}
constexpr Text signatureText { "points whose coordinates and weights are at most {} numbers",
                               bounds::resultSamples };
constexpr Constraint distanceConstraints[] = {
    firstMass,
    secondMass,
    sizeConstraint,
    { "points1", signatureText, [](const CallView& call) { return signatureFits(call, "points1"); } },
    { "points2", signatureText, [](const CallView& call) { return signatureFits(call, "points2"); } },
    { "cost", "n1 x n2 reals, or the empty list",
      [](const CallView& call) {
          return call.length("cost") == 0
              || (call.dimension("cost", 0) == call.dimension("points1", 0)
                  && call.dimension("cost", 1) == call.dimension("points2", 0)
                  && call.tensor("cost")->dimensions.size() == 2);
      } },
    { "cost", "a cost for the distance \"Custom\"",
      [](const CallView& call) { return call.text("distance") != "Custom" || call.length("cost") > 0; } },
};
constexpr Constraint weightsConstraints[] = { firstMass, secondMass, sizeConstraint };
constexpr Result distanceResults[] = { { ResultKind::Real, "the least cost per unit of mass" } };
constexpr Result flowResults[] = { { ResultKind::RealTensor, "n1 x n2: the mass that moves from each to each",
                                     Layout::Transport } };
constexpr Text transportLimits[] = {
    { "Sets of sizes n1 and n2 with n1 n2 (n1 + n2) above {} are refused: they take minutes, and OpenCV "
      "crashes at 20,000 a side.",
      bounds::transportSteps },
};
constexpr Word distanceWords[] = { "--points1", "0,0;1,0;2,0", "--weights1", "1,2,1",
                                   "--points2", "0,3;2,3",     "--weights2", "2,2" };
constexpr Word weightsWords[] = { "--weights1", "3,1", "--weights2", "1,2,1", "--cost", "1,2,3;3,1,1" };
constexpr Example distanceExamples[] = { { "How far mass moves from three points to two", distanceWords } };
constexpr Example flowExamples[] = { { "Which mass goes where", distanceWords } };
constexpr Example weightsExamples[] = { { "Which mass goes where at given costs", weightsWords } };
constexpr Word transportSource =
    "Y. Rubner, C. Tomasi, L. Guibas, \"The earth mover's distance as a metric for image retrieval\", 2000";

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
