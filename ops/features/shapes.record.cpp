#include "catalog/call_view.h"
#include "ops/features/bounds.h"
#include "ops/features/option_names.h"

#include <algorithm>

namespace miravex {

namespace {

using namespace records;
using Word = std::string_view;

// --- MSER -----------------------------------------------------------------------------------------------

constexpr auto mserFormNames = namesOf(mserForms);

constexpr Argument mserArguments[] = {
    image("image", "picture to look at; OpenCV wants at least 3 x 3 pixels")
        .channels({ 1, 3, 4 })
        .pixels({ PixelTypeByte })
        .sides(3, 3),
    integer("delta", "gray levels over which a region must stay stable").in("gray levels").byDefault(5),
    integer("min_area", "smallest region").in("pixels").from(0).byDefault(60),
    integer("max_area", "largest region").in("pixels").from(0).byDefault(14400),
    real("max_variation", "how much the area of a stable region may change").from(0).byDefault(0.25),
    real("min_diversity", "how much nested regions must differ").above(0).byDefault(0.2),
    integer("max_evolution", "steps of the merging of colours")
        .from(1)
        .to(bounds::mserEvolution)
        .byDefault(200),
    real("area_threshold", "growth of the area that starts a colour region anew").above(1).byDefault(1.01),
    real("min_margin", "least contrast of a colour region").from(0).byDefault(0.003),
    integer("edge_blur_size", "side of the blur of colour edges")
        .in("pixels")
        .from(1)
        .to(bounds::mserEdgeBlur)
        .odd()
        .byDefault(5),
    text("form", "bounding rectangles, or a table with the number of the region at each pixel")
        .oneOf(mserFormNames)
        .byDefault("Rectangle"),
};
constexpr Result mserResults[] = {
    { ResultKind::RealTensor,
      "n x 5: number from 1, left, top, right, bottom; y from the bottom edge",
      Layout::Regions,
      { "form", "Rectangle" } },
    { ResultKind::RealTensor,
      "rows x columns from the top: the number of the region at each pixel, 0 for none",
      Layout::Labels,
      { "form", "LabelMatrix" } },
};
constexpr Text mserLimits[] = {
    "Evolutions of more than 100,000,000 steps are refused, of which each colour picture takes every one.",
    "A picture of one colour has no regions; OpenCV itself would call the whole of a small one a region.",
    "Edge blurs of more than 9999 pixels are refused.",
};
constexpr Word rectangleWords[] = { "@coins" };
constexpr Word labelWords[] = { "@coins", "--form", "LabelMatrix", "--min-area", "200" };
constexpr Example mserExamples[] = { { "Stable regions of a picture of sweets", rectangleWords },
                                     { "The same as labels", labelWords } };

// --- contours -------------------------------------------------------------------------------------------

constexpr auto contourModeNames = namesOf(contourModes);
constexpr auto contourMethodNames = namesOf(contourMethods);

constexpr Argument contoursArguments[] = {
    image("image", "gray picture whose nonzero pixels are the shapes")
        .channels({ 1 })
        .pixels({ PixelTypeByte }),
    text("mode", "which contours, and how they are nested").oneOf(contourModeNames).byDefault("Tree"),
    text("method", "which points of a contour are kept").oneOf(contourMethodNames).byDefault("Simple"),
    boolean("chain_code", "the steps from pixel to pixel instead of points").byDefault(false),
};
constexpr Result contoursResults[] = {
    { ResultKind::IntegerTensor,
      "flat: n, the lengths of the contours, their points x, y (column, and row from the bottom, from 0), "
      "and per contour next, previous, first child, parent (from 0, -1 for none)",
      Layout::Contours,
      { "chain_code", "false" } },
    { ResultKind::IntegerTensor,
      "flat: n, then per contour -1 and its Freeman codes, 8 for no step; the last code goes from the first "
      "point to the last",
      Layout::ChainCodes,
      { "chain_code", "true" } },
};
constexpr Text contoursLimits[] = {
    "\"FloodFill\" treats all nonzero pixels alike; OpenCV itself takes that mode only of 32-bit labels, "
    "which the library makes.",
};
constexpr Word contoursWords[] = { "@shapes" };
constexpr Word chainWords[] = { "@shapes", "--mode", "External", "--chain-code", "true" };
constexpr Example contoursExamples[] = { { "Outlines and holes of shapes", contoursWords },
                                         { "Outlines as steps from pixel to pixel", chainWords } };

// --- shapes ---------------------------------------------------------------------------------------------

constexpr auto shapeMethodNames = namesOf(shapeMethods);
constexpr double leastInteger = -2147483648.0;
constexpr double greatestFloatInteger = 2147483520.0;

constexpr Argument contourArgument(std::string_view name)
{
    return reals(name, "points x, y along the contour, rounded to integers")
        .shaped({ atLeast(0), exactly(2) })
        .elementsFrom(leastInteger)
        .elementsTo(greatestFloatInteger);
}
constexpr Argument shapesArguments[] = {
    contourArgument("contour1"),
    contourArgument("contour2"),
    text("method", "how the logarithms of the Hu moments are compared")
        .oneOf(shapeMethodNames)
        .byDefault("I1"),
};
constexpr Result shapesResults[] = { { ResultKind::Real, "0 for equal shapes, more for others" } };
constexpr Text shapesLimits[] = {
    "Coordinates that no 32-bit integer holds are refused.",
    "OpenCV answers the largest double when only one of the contours has an area.",
};
constexpr Word shapesWords[] = { "--contour1", "0,0;40,0;40,20;0,20", "--contour2", "5,5;5,45;25,45;25,5" };
constexpr Word unlikeWords[] = { "--contour1", "0,0;40,0;40,20;0,20", "--contour2", "0,0;30,0;15,40" };
constexpr Example shapesExamples[] = { { "A rectangle and the same, turned", shapesWords },
                                       { "A rectangle and a triangle", unlikeWords } };

} // namespace

MIRAVEX_RECORD(findContours) {
    .summary = "Traces the borders of regions of nonzero pixels",
    .arguments = contoursArguments,
    .results = contoursResults,
    .source = "S. Suzuki, K. Abe, \"Topological structural analysis of digitized binary images by border "
              "following\", 1985",
    .limits = contoursLimits,
    .examples = contoursExamples
};

MIRAVEX_RECORD(matchShapes) { .summary = "Compares two contours whatever their place, size and turn",
                              .arguments = shapesArguments,
                              .results = shapesResults,
                              .source = "M.-K. Hu, \"Visual pattern recognition by moment invariants\", 1962",
                              .limits = shapesLimits,
                              .examples = shapesExamples };

MIRAVEX_RECORD(mserDetect) {
    .summary = "Finds regions that stay stable while a threshold moves",
    .arguments = mserArguments,
    .results = mserResults,
    .source = "J. Matas et al., \"Robust wide baseline stereo from maximally stable extremal regions\", "
              "2002; P.-E. Forssen, \"Maximally stable colour regions for recognition and matching\", 2007",
    .limits = mserLimits,
    .examples = mserExamples
};

} // namespace miravex
