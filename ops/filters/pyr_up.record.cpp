#include "catalog/call_view.h"
#include "convert/integers.h"
#include "ops/filters/bounds.h"

namespace miravex {

namespace {

using namespace records;
using Word = std::string_view;

constexpr Argument pyrUpArguments[] = {
    image("image", "picture to enlarge"),
    integer("width", "columns of the result: twice the image's; an odd width may be one off")
        .in("pixels")
        .low32Bits()
        .byDefault("twice the image's columns",
                   [](const CallView& call) { return static_cast<double>(2 * call.columns("image")); }),
    integer("height", "rows of the result: twice the image's; an odd height may be one off")
        .in("pixels")
        .low32Bits()
        .byDefault("twice the image's rows",
                   [](const CallView& call) { return static_cast<double>(2 * call.rows("image")); }),
};
constexpr Constraint pyrUpConstraints[] = {
    { "width", "twice the image's columns, or an odd width one off it",
      [](const CallView& call) {
          return bounds::isDoubleOf(lowInt32(call.integer("width")), call.columns("image"));
      } },
    { "height", "twice the image's rows, or an odd height one off it",
      [](const CallView& call) {
          return bounds::isDoubleOf(lowInt32(call.integer("height")), call.rows("image"));
      } },
};
ImageFacts doubled(const CallView& call)
{
    return withSides(likeImage(call), lowInt32(call.integer("height")), lowInt32(call.integer("width")));
}
/// One pixel; one more from a row or column beyond twice the size, which repeats the one before it.
Reach reachOfDoubling(const CallView& call)
{
    const ImageFacts twice = doubled(call);
    const auto backwards = [](int64_t doubledSide, int64_t side) { return doubledSide > 2 * side ? 2 : 1; };
    return { .above = backwards(twice.rows, call.rows("image")),
             .below = 1,
             .left = backwards(twice.columns, call.columns("image")),
             .right = 1 };
}
constexpr Result pyrUpResults[] = {
    { ResultKind::Image, "height x width, same pixel type and colour space", Layout::Plain, {}, doubled }
};
constexpr Word pyrUpWords[] = { "@small" };
constexpr Example pyrUpExamples[] = { { "A small photo at twice its size", pyrUpWords } };

} // namespace

MIRAVEX_RECORD(pyrUp) {
    .summary = "Doubles the size of a picture, smoothly",
    .arguments = pyrUpArguments,
    .results = pyrUpResults,
    .source = "P. Burt, E. Adelson, \"The Laplacian pyramid as a compact image code\", 1983",
    .constraints = pyrUpConstraints,
    .examples = pyrUpExamples,
    .reach = { "1 pixel to each side of half its row and column", reachOfDoubling }
};

} // namespace miravex
