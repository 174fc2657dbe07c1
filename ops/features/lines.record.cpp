#include "catalog/call_view.h"
#include "ops/features/bounds.h"
#include "ops/features/option_names.h"

#include <cmath>
#include <numbers>

namespace miravex {

namespace {

using namespace records;
using Word = std::string_view;

constexpr double oneDegree = std::numbers::pi / 180;

constexpr Argument edgesArgument = image("image", "gray picture whose nonzero pixels are the edges")
                                       .channels({ 1 })
                                       .pixels({ PixelTypeBit, PixelTypeByte });
constexpr Argument rhoArgument =
    real("rho", "resolution of the distance of lines from the corner").in("pixels").above(0).byDefault(1.0);
constexpr Argument thetaArgument =
    real("theta", "resolution of their angle").in("radians").above(0).byDefault(oneDegree);

double pixels(const CallView& call)
{
    return static_cast<double>(call.rows("image")) * static_cast<double>(call.columns("image"));
}

double perimeter(const CallView& call)
{
    return static_cast<double>(2 * (call.rows("image") + call.columns("image")) + 1);
}

bool accumulatorFits(const CallView& call)
{
    const double distances = perimeter(call) / call.real("rho") + 2;
    const double angles = std::numbers::pi / call.real("theta") + 2;
    return distances * angles <= static_cast<double>(bounds::houghCounters)
        && pixels(call) * angles <= static_cast<double>(bounds::work);
}

constexpr Constraint accumulatorConstraint { "theta", "resolutions that need at most 2^28 counters",
                                             accumulatorFits };
constexpr Text accumulatorLimit =
    "Resolutions so fine that they need more than 2^28 counters are refused: 1 GiB, and hours of counting.";

// --- Hough lines ----------------------------------------------------------------------------------------

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
bool isMultiScale(const CallView& call) { return call.real("srn") != 0 || call.real("stn") != 0; }
double diagonal(const CallView& call)
{
    return std::hypot(static_cast<double>(call.rows("image")), static_cast<double>(call.columns("image")));
}
bool multiScaleFits(const CallView& call)
{
    if (!isMultiScale(call)) return true;
    constexpr double most = static_cast<double>(bounds::houghCounters);
    const double cells = diagonal(call) / call.real("rho") * 2 * std::numbers::pi / call.real("theta");
    const double stn = std::ceil(call.real("stn"));
    const double cell = std::ceil(call.real("srn")) * stn;
    return cells <= most && 10 * std::numbers::pi / call.real("theta") * stn <= most && cell <= most
        && cells / 100 * (cell + pixels(call) * stn) <= static_cast<double>(bounds::work);
}
constexpr Constraint linesConstraints[] = {
    { "stn", "a value other than 0 when srn is not 0",
      [](const CallView& call) { return call.real("srn") == 0 || call.real("stn") != 0; } },
    accumulatorConstraint,
    { "rho", "at most half the picture's diagonal in the multi-scale transform",
      [](const CallView& call) { return !isMultiScale(call) || 2 * call.real("rho") <= diagonal(call); } },
    { "theta", "at most a whole turn in the multi-scale transform",
      [](const CallView& call) {
          return !isMultiScale(call) || call.real("theta") <= 2 * std::numbers::pi;
      } },
    { "srn", "divisors that need tables of at most 2^28 entries", multiScaleFits },
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
    accumulatorLimit,
    "The multi-scale transform refuses negative divisors, a rho above half the diagonal, a theta above a "
    "whole turn and tables of more than 2^28 entries: OpenCV crashes on them. It also refuses by itself some "
    "pictures with edges in the corner farthest from the top left.",
};
constexpr Word linesWords[] = { "@edges", "--threshold", "130" };
constexpr Example linesExamples[] = { { "The long lines of a building", linesWords } };

// --- segments -------------------------------------------------------------------------------------------

constexpr Argument segmentsArguments[] = {
    edgesArgument,
    rhoArgument,
    thetaArgument,
    integer("threshold", "pixels that vote for a line").byDefault(50),
    real("min_line_length", "shortest segment to keep").in("pixels").byDefault(30.0),
    real("max_line_gap", "widest gap to bridge inside a segment").in("pixels").byDefault(5.0),
};
constexpr Constraint segmentsConstraints[] = {
    accumulatorConstraint,
    { "rho", "at most 2 (rows + columns) + 1",
      [](const CallView& call) { return call.real("rho") <= perimeter(call); } },
};
constexpr Result segmentsResults[] = { { ResultKind::RealTensor, "flat x1, y1, x2, y2 per segment",
                                         Layout::Segments } };
constexpr Text segmentsLimits[] = {
    accumulatorLimit,
    "A rho above 2 (rows + columns) + 1 is refused: OpenCV counts outside its accumulator.",
};
constexpr Word segmentsWords[] = { "@edges", "--threshold", "60", "--min-line-length", "40" };
constexpr Example segmentsExamples[] = { { "Segments on the edges of a building", segmentsWords } };

// --- circles --------------------------------------------------------------------------------------------

constexpr Argument circlesArguments[] = {
    image("image", "gray picture").channels({ 1 }).pixels({ PixelTypeByte }),
    real("dp", "how much coarser than the picture centres are counted").above(0).byDefault(1.0),
    real("min_dist", "least distance of two centres")
        .in("pixels")
        .above(0)
        .byDefault("an eighth of the image's rows",
                   [](const CallView& call) { return static_cast<double>(call.rows("image")) / 8; }),
    real("param1", "upper threshold of the edge detector").above(0).byDefault(100.0),
    real("param2", "votes that a centre needs").above(0).byDefault(30.0),
    integer("min_radius", "smallest radius").in("pixels").from(0).byDefault(0),
    integer("max_radius", "largest radius; 0 for that of the picture").in("pixels").from(0).byDefault(0),
};
constexpr Constraint circlesConstraints[] = {
    { "max_radius", "0, or at least the smallest radius",
      [](const CallView& call) {
          const int64_t least = call.integer("min_radius");
          const int64_t most = call.integer("max_radius");
          return least == 0 || most == 0 || least <= most;
      } },
};
constexpr Result circlesResults[] = { { ResultKind::RealTensor, "flat x, y, radius per circle",
                                        Layout::Circles } };
constexpr Word circlesWords[] = { "@coins",       "--min-dist", "20",           "--param2", "22",
                                  "--min-radius", "10",         "--max-radius", "40" };
constexpr Example circlesExamples[] = { { "Round sweets", circlesWords } };

// --- line segment detector ------------------------------------------------------------------------------

constexpr Argument detectorArguments[] = {
    image("image", "gray picture").channels({ 1 }).pixels({ PixelTypeBit, PixelTypeByte }),
};
constexpr Result detectorResults[] = { { ResultKind::RealTensor, "flat x1, y1, x2, y2, width per segment",
                                         Layout::WideSegments } };
constexpr Word detectorWords[] = { "@building" };
constexpr Example detectorExamples[] = { { "All straight edges of a building", detectorWords } };

} // namespace

MIRAVEX_RECORD(houghCircles) {
    .summary = "Finds circles by the gradients of their edges",
    .arguments = circlesArguments,
    .results = circlesResults,
    .source = "H. Yuen, J. Princen, J. Illingworth, J. Kittler, \"Comparative study of Hough transform "
              "methods for circle finding\", 1990",
    .constraints = circlesConstraints,
    .examples = circlesExamples
};

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

MIRAVEX_RECORD(lineSegmentDetector) {
    .summary = "Finds line segments by growing regions of like gradients",
    .arguments = detectorArguments,
    .results = detectorResults,
    .source = "R. Grompone von Gioi, J. Jakubowicz, J.-M. Morel, G. Randall, \"LSD: a line segment "
              "detector\", 2012",
    .examples = detectorExamples
};

} // namespace miravex
