#include "ops/features/record_parts.h"

namespace miravex {

constexpr auto formNames = namesOf(lineForms);

constexpr Argument linesArguments[] = {
    edgesArgument,
    rhoArgument,
    thetaArgument,
    integer("threshold", "pixels that a line passes through, more than this").byDefault(100),
    real("srn", "divisor of rho in the multi-scale transform; 0 for the plain one").from(0).byDefault(0.0),
    real("stn", "divisor of theta in the multi-scale transform").from(0).byDefault(0.0),
    text("form", "where lines cross the picture's border, or their equations")
        .oneOf(formNames)
        .byDefault("Coordinates"),
};
static bool isMultiScale(const CallView& call) { return call.real("srn") != 0 || call.real("stn") != 0; }
constexpr Constraint linesConstraints[] = {
    pixelsConstraint,
    { "stn", "a value other than 0 when srn is not 0",
      [](const CallView& call) { return call.real("srn") == 0 || call.real("stn") != 0; } },
    distancesConstraint,
    accumulatorConstraint,
    { "rho", "at most half the picture's diagonal in the multi-scale transform",
      [](const CallView& call) {
          return !isMultiScale(call)
              || bounds::multiScaleRhoFits(call.rows("image"), call.columns("image"), call.real("rho"));
      } },
    { "theta", "at most a whole turn in the multi-scale transform",
      [](const CallView& call) {
          return !isMultiScale(call) || call.real("theta") <= bounds::multiScaleTheta;
      } },
    { "srn",
      { "divisors that need tables of at most {} entries", bounds::houghCounters },
      [](const CallView& call) {
          return !isMultiScale(call)
              || bounds::multiScaleFits(call.rows("image"), call.columns("image"), call.real("rho"),
                                        call.real("theta"), call.real("srn"), call.real("stn"));
      } },
};
constexpr Result linesResults[] = {
    { ResultKind::RealTensor,
      "flat x1, y1, x2, y2 per line on the picture's border, y from the bottom edge without half pixels; "
      "lines that don't cross it in two points leave zeros at the end",
      Layout::BorderLines,
      { "form", "Coordinates" } },
    { ResultKind::RealTensor,
      "flat pairs rho, theta: x cos theta + y sin theta = rho, from the top left corner, y down",
      Layout::PolarLines,
      { "form", "Equation" } },
};
constexpr Text linesLimits[] = {
    pixelsLimit,
    accumulatorLimit,
    { "The multi-scale transform refuses negative divisors, a rho above half the diagonal, a theta above a "
      "whole turn and tables of more than {} entries: OpenCV crashes on them. It also refuses by itself some "
      "pictures with edges in the corner farthest from the top left.",
      bounds::houghCounters },
};
constexpr Word linesWords[] = { "@edges", "--threshold", "130" };
constexpr Example linesExamples[] = { { "The long lines of a building", linesWords } };

MIRAVEX_RECORD(houghLines) {
    .summary = "Finds straight lines among the nonzero pixels",
    .arguments = linesArguments,
    .results = linesResults,
    .source = "R. Duda, P. Hart, \"Use of the Hough transformation to detect lines and curves in "
              "pictures\", 1972",
    .constraints = linesConstraints,
    .limits = linesLimits,
    .examples = linesExamples
};

} // namespace miravex
