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
    return integer(name, summary).in("pixels").from(0).byDefault(16);
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
constexpr Constraint padConstraints[] = {
    { "bottom",
      { "margins that add at most {} samples, and sides of at most {} pixels", bounds::resultSamples,
        std::numeric_limits<int>::max() },
      [](const CallView& call) {
          const auto cut = [&](Word name) { return int64_t { lowInt32(call.integer(name)) }; };
          const int64_t top = cut("top"), bottom = cut("bottom"), left = cut("left"), right = cut("right");
          return std::min({ top, bottom, left, right }) >= 0
              && bounds::padsTo(call.rows("image"), call.columns("image"), call.channels("image"),
                                top + bottom, left + right);
      } },
};
constexpr Result padResults[] = { { ResultKind::Image,
                                    "with its margins, same pixel type and colour space" } };
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
    .examples = padExamples
};

} // namespace miravex
