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
        .byDefault("twice the image's columns",
                   [](const CallView& call) { return static_cast<double>(2 * call.columns("image")); }),
    integer("height", "rows of the result: twice the image's; an odd height may be one off")
        .in("pixels")
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
constexpr Result pyrUpResults[] = { { ResultKind::Image,
                                      "height x width, same pixel type and colour space" } };
constexpr Word pyrUpWords[] = { "@small" };
constexpr Example pyrUpExamples[] = { { "A small photo at twice its size", pyrUpWords } };

} // namespace

MIRAVEX_RECORD(pyrUp) {
    .summary = "Doubles the size of a picture, smoothly",
    .arguments = pyrUpArguments,
    .results = pyrUpResults,
    .source = "P. Burt, E. Adelson, \"The Laplacian pyramid as a compact image code\", 1983",
    .constraints = pyrUpConstraints,
    .examples = pyrUpExamples
};

} // namespace miravex
