#include "catalog/call_view.h"
#include "ops/filters/bounds.h"
#include "ops/filters/record_parts.h"

namespace miravex {

namespace {

using namespace records;
using namespace filter_records;
using Word = std::string_view;

constexpr Argument margin(Word name, Word summary)
{
    return integer(name, summary).in("pixels").from(0).low32Bits().byDefault(16);
}
constexpr Argument padArguments[] = {
    image("image", "picture to pad").channels({ 1, 2, 3, 4 }),
    margin("top", "rows added above"),
    margin("bottom", "rows added below"),
    margin("left", "columns added on the left"),
    margin("right", "columns added on the right"),
    paddingArgument("Reflected"),
    reals("values", "the colour of \"Constant\" padding, one number per channel in the units of the samples")
        .shaped({ channelsOf("image") })
        .when("padding", "Constant"),
};
/// Margins are cut to 32 bits before they are used.
int64_t cut(const CallView& call, Word margin) { return lowInt32(call.integer(margin)); }
constexpr Text marginText { "a margin of at most {} pixels", std::numeric_limits<int>::max() };
constexpr Constraint padConstraints[] = {
    { "top", marginText, [](const CallView& call) { return cut(call, "top") >= 0; } },
    { "bottom", marginText, [](const CallView& call) { return cut(call, "bottom") >= 0; } },
    { "left", marginText, [](const CallView& call) { return cut(call, "left") >= 0; } },
    { "right", marginText, [](const CallView& call) { return cut(call, "right") >= 0; } },
    { "bottom",
      { "margins that add at most {} samples, and sides of at most {} pixels", bounds::resultSamples,
        std::numeric_limits<int>::max() },
      [](const CallView& call) {
          return bounds::padsTo(call.rows("image"), call.columns("image"), call.channels("image"),
                                cut(call, "top") + cut(call, "bottom"),
                                cut(call, "left") + cut(call, "right"));
      } },
};
ImageFacts padded(const CallView& call)
{
    return withSides(likeImage(call), call.rows("image") + cut(call, "top") + cut(call, "bottom"),
                     call.columns("image") + cut(call, "left") + cut(call, "right"));
}
/// Margins alone look at other pixels: towards the picture, as far as it takes to fold them back.
Reach reachOfMargins(const CallView& call)
{
    const Word padding = call.text("padding");
    const int64_t times = padding == "Fixed" ? 1 : padding == "Reflected" || padding == "Reversed" ? 2 : 0;
    return { .above = times * cut(call, "bottom"),
             .below = times * cut(call, "top"),
             .left = times * cut(call, "right"),
             .right = times * cut(call, "left") };
}
constexpr Result padResults[] = {
    { ResultKind::Image, "with its margins, same pixel type and colour space", Layout::Plain, {}, padded }
};
constexpr Text padLimits[] = {
    { "Margins that add more than {} samples are refused, and so are sides of more than {} pixels.",
      bounds::resultSamples, std::numeric_limits<int>::max() },
};
constexpr Word padWords[] = { "@photo", "--top",   "60",  "--bottom",  "60",       "--left",
                              "100",    "--right", "100", "--padding", "Reflected" };
constexpr Word frameWords[] = { "@photo", "--padding", "Constant", "--values", "200,160,60" };
constexpr Example padExamples[] = { { "A photo continued by its reflections", padWords },
                                    { "A photo in a golden frame", frameWords } };

} // namespace

MIRAVEX_RECORD(imagePad) {
    .summary = "Adds rows and columns around a picture",
    .arguments = padArguments,
    .results = padResults,
    .source = "copies of the edge, of reflections, of the picture itself, or one colour",
    .constraints = padConstraints,
    .limits = padLimits,
    .examples = padExamples,
    .reach = { "its own pixel; from margins up to their width inwards with \"Fixed\" padding, up to twice "
               "that with reflections",
               reachOfMargins }
};

} // namespace miravex
