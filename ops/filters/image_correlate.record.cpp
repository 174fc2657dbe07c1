#include "catalog/call_view.h"
#include "ops/filters/bounds.h"
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
    { "image",
      { "an image that, padded by the kernel's size, has at most {} samples",
        std::numeric_limits<int>::max() },
      [](const CallView& call) {
          return bounds::correlates(call.rows("image"), call.columns("image"), call.rows("kernel"),
                                    call.columns("kernel"));
      } },
};
constexpr Text correlateLimits[] = {
    { "Images of more than {} samples, padded by the kernel's size, are refused: OpenCV counts in 32 bits.",
      std::numeric_limits<int>::max() },
};
constexpr Result correlateResults[] = {
    { ResultKind::Image,
      "real32; (rows - kernel rows + 1) x (columns - kernel columns + 1)",
      Layout::Plain,
      { "padding", "None" },
      [](const CallView& call) {
          return withType(withSides(likeImage(call), call.rows("image") - call.rows("kernel") + 1,
                                    call.columns("image") - call.columns("kernel") + 1),
                          PixelTypeReal32);
      } },
    { ResultKind::Image,
      "same size, real32, colour space unspecified",
      Layout::Plain,
      {},
      [](const CallView& call) { return withType(likeImage(call), PixelTypeReal32); } },
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
                                 .limits = correlateLimits,
                                 .examples = correlateExamples,
                                 .reach = { "the whole picture: its sums are products of Fourier transforms, "
                                            "whose rounding goes beyond the kernel" } };

} // namespace miravex
