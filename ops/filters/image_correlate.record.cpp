#include "catalog/call_view.h"
#include "ops/filters/option_names.h"

namespace miravex {

namespace {

using namespace records;
using Word = std::string_view;

constexpr Argument correlateArguments[] = {
    image("image", "picture to search").channels({ 1 }).pixels({ PixelTypeByte, PixelTypeReal32 }),
    image("kernel", "what to search for; of the picture's pixel type and no larger")
        .channels({ 1 })
        .pixels({ PixelTypeByte, PixelTypeReal32 }),
    text("distance", "how picture and kernel are compared; small is near, but for \"Dot\"")
        .oneOf(correlationDistanceNames)
        .byDefault("CorrelationDistance"),
    text("padding",
         "how the picture continues beyond its edge; \"None\" compares only where the kernel fits in")
        .oneOf(paddingNames)
        .byDefault("Fixed"),
    real("padding_value", "what \"Constant\" padding is made of, in the units of the samples").byDefault(0.0),
};
constexpr Constraint correlateConstraints[] = {
    { "kernel", "the pixel type of the picture",
      [](const CallView& call) { return call.pixelType("image") == call.pixelType("kernel"); } },
    { "kernel", "a kernel no larger than the picture",
      [](const CallView& call) {
          return call.rows("kernel") <= call.rows("image") && call.columns("kernel") <= call.columns("image");
      } },
};
constexpr Result correlateResults[] = {
    { ResultKind::Image,
      "real32; (rows - kernel rows + 1) x (columns - kernel columns + 1)",
      Layout::Plain,
      { "padding", "None" } },
    { ResultKind::Image, "same size, real32, colour space unspecified" },
};
constexpr Word correlateWords[] = { "@gray", "@template", "--distance", "CorrelationDistance" };
constexpr Example correlateExamples[] = { { "Where in a photo a piece of it comes from: the darkest pixel",
                                            correlateWords } };

} // namespace

MIRAVEX_RECORD(imageCorrelate) { .summary = "Compares a small picture with every place of a larger one",
                                 .arguments = correlateArguments,
                                 .results = correlateResults,
                                 .source = "J. Lewis, \"Fast normalized cross-correlation\", 1995",
                                 .constraints = correlateConstraints,
                                 .examples = correlateExamples };

} // namespace miravex
