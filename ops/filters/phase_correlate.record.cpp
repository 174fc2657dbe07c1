#include "catalog/call_view.h"
#include "ops/filters/record_parts.h"

namespace miravex {

namespace {

using namespace records;
using namespace filter_records;
using Word = std::string_view;

constexpr Argument phaseArguments[] = {
    image("first", "gray picture of reals").channels({ 1 }).pixels({ PixelTypeReal32, PixelTypeReal }),
    image("second", "the same scene, shifted")
        .channels({ 1 })
        .pixels({ PixelTypeReal32, PixelTypeReal })
        .sizeOf("first"),
    reals("window", "weights that both pictures are multiplied by; none when left out")
        .shaped({ rowsOf("first"), columnsOf("first") })
        .orEmpty()
        .orAbsent(),
};
constexpr Constraint phaseConstraints[] = {
    { "second", "the pixel type of the first picture",
      [](const CallView& call) { return call.pixelType("first") == call.pixelType("second"); } },
    { "window", "the empty list, or pictures of pixel type real",
      [](const CallView& call) {
          return call.length("window") == 0 || call.pixelType("first") == PixelTypeReal;
      } },
    { "first",
      { "an image of at most {} samples", std::numeric_limits<int>::max() },
      [](const CallView& call) { return bounds::isIndexed(call.rows("first"), call.columns("first"), 1); } },
};
constexpr Result phaseResults[] = { { ResultKind::RealTensor, "the shift x, y with y upward",
                                      Layout::Shift } };
constexpr Text phaseLimits[] = {
    "OpenCV takes a window with pictures of pixel type real alone.",
    indexedImageLimit,
};
constexpr Word phaseWords[] = { "@shifted1", "@shifted2" };
constexpr Example phaseExamples[] = { { "How far apart two crops of a photo were taken", phaseWords } };

} // namespace

MIRAVEX_RECORD(phaseCorrelate) {
    .summary = "Measures by how much one picture is shifted against another",
    .arguments = phaseArguments,
    .results = phaseResults,
    .source = "C. Kuglin, D. Hines, \"The phase correlation image alignment method\", 1975",
    .constraints = phaseConstraints,
    .limits = phaseLimits,
    .examples = phaseExamples,
    .reach = { "the whole picture" }
};

} // namespace miravex
