#include "ops/features/record_parts.h"

namespace miravex {

constexpr Argument segmentsArguments[] = {
    edgesArgument,
    rhoArgument,
    thetaArgument,
    integer("threshold", "pixels that vote for a line").byDefault(50),
    real("min_line_length", "shortest segment to keep").in("pixels").byDefault(30.0),
    real("max_line_gap", "widest gap to bridge inside a segment").in("pixels").byDefault(5.0),
};
constexpr Constraint segmentsConstraints[] = {
    { "image",
      { "at most {} pixels on a side", bounds::houghSide },
      [](const CallView& call) {
          return std::max(call.rows("image"), call.columns("image")) <= bounds::houghSide;
      } },
    distancesConstraint,
    accumulatorConstraint,
    { "rho", "at most 2 (rows + columns) + 1",
      [](const CallView& call) {
          return call.real("rho") <= bounds::houghDistances(call.rows("image"), call.columns("image"));
      } },
};
constexpr Result segmentsResults[] = { { ResultKind::RealTensor, "flat x1, y1, x2, y2 per segment",
                                         Layout::Segments } };
constexpr Text segmentsLimits[] = {
    { "Pictures of more than {} pixels on a side are refused: OpenCV follows lines in 16 bits.",
      bounds::houghSide },
    accumulatorLimit,
    "A rho above 2 (rows + columns) + 1 is refused: OpenCV counts outside its accumulator.",
};
constexpr Word segmentsWords[] = { "@edges", "--threshold", "60", "--min-line-length", "40" };
constexpr Example segmentsExamples[] = { { "Segments on the edges of a building", segmentsWords } };

MIRAVEX_RECORD(houghLinesP) {
    .summary = "Finds line segments among the nonzero pixels by random sampling",
    .arguments = segmentsArguments,
    .results = segmentsResults,
    .source = "J. Matas, C. Galambos, J. Kittler, \"Robust detection of lines using the progressive "
              "probabilistic Hough transform\", 2000",
    .constraints = segmentsConstraints,
    .limits = segmentsLimits,
    .examples = segmentsExamples
};

} // namespace miravex
