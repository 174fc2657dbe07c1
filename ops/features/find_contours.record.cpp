#include "ops/features/record_parts.h"

namespace miravex {

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

MIRAVEX_RECORD(findContours) {
    .summary = "Traces the borders of regions of nonzero pixels",
    .arguments = contoursArguments,
    .results = contoursResults,
    .source = "S. Suzuki, K. Abe, \"Topological structural analysis of digitized binary images by border "
              "following\", 1985",
    .limits = contoursLimits,
    .examples = contoursExamples
};

} // namespace miravex
