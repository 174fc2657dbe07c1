#include "ops/features/record_parts.h"

namespace miravex {

constexpr auto shapeMethodNames = namesOf(shapeMethods);

constexpr Argument contourArgument(std::string_view name)
{
    return reals(name, "points x, y along the contour, rounded to integers")
        .shaped({ atLeast(0), exactly(2) })
        .elementsFrom(bounds::leastCoordinate)
        .elementsTo(bounds::greatestCoordinate);
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

MIRAVEX_RECORD(matchShapes) { .summary = "Compares two contours whatever their place, size and turn",
                              .arguments = shapesArguments,
                              .results = shapesResults,
                              .source = "M.-K. Hu, \"Visual pattern recognition by moment invariants\", 1962",
                              .limits = shapesLimits,
                              .examples = shapesExamples };

} // namespace miravex
