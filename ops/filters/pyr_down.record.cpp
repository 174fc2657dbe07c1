#include "catalog/call_view.h"
#include "convert/integers.h"
#include "ops/filters/bounds.h"

#include <array>
#include <cmath>

namespace miravex {

namespace {

using namespace records;
using Word = std::string_view;

constexpr std::array<Word, 5> pyrDownPaddings { "Fixed", "Reversed", "Periodic", "Reflected", "None" };

constexpr Argument pyrDownArguments[] = {
    image("image", "picture to shrink"),
    text("padding", "how the picture continues beyond its edge")
        .oneOf(pyrDownPaddings)
        .byDefault("Reflected"),
    integer("width", "columns of the result; doubled, at most 2 off the image's")
        .in("pixels")
        .low32Bits()
        .byDefault(
            "half of the image's columns, rounded up",
            [](const CallView& call) { return std::ceil(static_cast<double>(call.columns("image")) / 2); }),
    integer("height", "rows of the result; doubled, at most 2 off the image's")
        .in("pixels")
        .low32Bits()
        .byDefault(
            "half of the image's rows, rounded up",
            [](const CallView& call) { return std::ceil(static_cast<double>(call.rows("image")) / 2); }),
};
constexpr Constraint pyrDownConstraints[] = {
    { "width", "a width that doubled is at most 2 off the image's columns",
      [](const CallView& call) {
          return bounds::isHalfOf(lowInt32(call.integer("width")), call.columns("image"));
      } },
    { "height", "a height that doubled is at most 2 off the image's rows",
      [](const CallView& call) {
          return bounds::isHalfOf(lowInt32(call.integer("height")), call.rows("image"));
      } },
};
/// Asked for no pixels, OpenCV halves by itself.
ImageFacts halved(const CallView& call)
{
    const int height = lowInt32(call.integer("height")), width = lowInt32(call.integer("width"));
    if (int64_t { height } * width > 0) return withSides(likeImage(call), height, width);
    return withSides(likeImage(call), (call.rows("image") + 1) / 2, (call.columns("image") + 1) / 2);
}
/// Two pixels, which a place beyond the edge, where the result has one pixel more than half, finds folded
/// back.
Reach reachOfHalving(const CallView& call)
{
    const ImageFacts half = halved(call);
    const auto backwards = [](int64_t halfSide, int64_t side) { return 2 * halfSide - side > 1 ? 4 : 2; };
    return { .above = backwards(half.rows, call.rows("image")),
             .below = 2,
             .left = backwards(half.columns, call.columns("image")),
             .right = 2 };
}
constexpr Result pyrDownResults[] = {
    { ResultKind::Image, "height x width, same pixel type and colour space", Layout::Plain, {}, halved }
};
constexpr Text pyrDownLimits[] = { "The padding \"None\" is accepted and then refused by OpenCV itself." };
constexpr Word pyrDownWords[] = { "@photo" };
constexpr Example pyrDownExamples[] = { { "A photo at half its size", pyrDownWords } };

} // namespace

MIRAVEX_RECORD(pyrDown) {
    .summary = "Blurs a picture and halves its size",
    .arguments = pyrDownArguments,
    .results = pyrDownResults,
    .source = "P. Burt, E. Adelson, \"The Laplacian pyramid as a compact image code\", 1983",
    .constraints = pyrDownConstraints,
    .limits = pyrDownLimits,
    .examples = pyrDownExamples,
    .reach = { "2 pixels to each side of twice its row and column", reachOfHalving }
};

} // namespace miravex
