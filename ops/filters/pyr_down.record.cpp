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
        .byDefault(
            "half of the image's columns, rounded up",
            [](const CallView& call) { return std::ceil(static_cast<double>(call.columns("image")) / 2); }),
    integer("height", "rows of the result; doubled, at most 2 off the image's")
        .in("pixels")
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
constexpr Result pyrDownResults[] = { { ResultKind::Image,
                                        "height x width, same pixel type and colour space" } };
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
    .examples = pyrDownExamples
};

} // namespace miravex
