#include "catalog/call_view.h"
#include "ops/filters/record_parts.h"

#include <array>

namespace miravex {

namespace {

using namespace records;
using namespace filter_records;
using Word = std::string_view;

constexpr std::array<Word, 2> perspectiveInterpolations { "Nearest", "Linear" };
constexpr std::array<Word, 2> perspectivePaddings { "Constant", "Fixed" };

constexpr Argument perspectiveArguments[] = {
    image("image", "picture to warp"),
    reals("homography",
          "takes points of the picture to points of the result, y upward from the bottom edge; rewritten in "
          "place for downward rows by the call")
        .shaped({ exactly(3), exactly(3) })
        .rewrittenInPlace(),
    text("interpolation", "how values between pixels are made")
        .oneOf(perspectiveInterpolations)
        .byDefault("Linear"),
    text("padding", "how the picture continues beyond its edge")
        .oneOf(perspectivePaddings)
        .byDefault("Constant"),
    paddingColor,
};
constexpr Constraint perspectiveConstraints[] = { resampledSides };
constexpr Text perspectiveLimits[] = {
    resampledSidesLimit,
    "Every homography but the identity and its multiples moves the picture up by one row besides.",
};
constexpr Word perspectiveWords[] = {
    "@sudoku", "--homography", "@sudoku_homography", "--color", "0,0,0",
};
constexpr Example perspectiveExamples[] = { { "A tilted page set upright", perspectiveWords } };

} // namespace

MIRAVEX_RECORD(imagePerspectiveTransformation) {
    .summary = "Warps a picture by a homography",
    .arguments = perspectiveArguments,
    .results = resampledResults,
    .source = "R. Hartley, A. Zisserman, \"Multiple view geometry in computer vision\", 2004",
    .constraints = perspectiveConstraints,
    .limits = perspectiveLimits,
    .examples = perspectiveExamples,
    .reach = resampledReach
};

} // namespace miravex
