#include "ops/photo/bounds.h"
#include "ops/photo/record_parts.h"

namespace miravex {

namespace {

using namespace records;

constexpr Argument arguments[] = {
    rgbBracket,
    exposures,
    reals("response", "the camera's response as a calibration gives it; a linear camera when left out")
        .shaped({ exactly(bounds::responseLength) })
        .orEmpty()
        .orAbsent(),
};
constexpr Constraint constraints[] = { framesFit };
constexpr Result results[] = {
    { ResultKind::Image,
      "rows x columns, 32-bit reals of high dynamic range, colour space unspecified",
      Layout::Plain,
      {},
      [](const CallView& call) { return withType(likeFrame(call), PixelTypeReal32); } },
};
constexpr Example examples[] = { { "A bracket as one picture of high dynamic range", bracketWords } };

} // namespace

MIRAVEX_RECORD(mergeDebevec) {
    .summary = "Merges a bracket into a picture of high dynamic range by logarithmic radiances",
    .arguments = arguments,
    .results = results,
    .source = debevecSource,
    .constraints = constraints,
    .examples = examples,
    .reach = { "its own pixel in every frame", [](const CallView&) { return Reach::around(0); } }
};

MIRAVEX_RECORD(mergeRobertson) {
    .summary = "Merges a bracket into a picture of high dynamic range by weighted radiances",
    .arguments = arguments,
    .results = results,
    .source = robertsonSource,
    .constraints = constraints,
    .examples = examples,
    .reach = { "its own pixel in every frame", [](const CallView&) { return Reach::around(0); } }
};

} // namespace miravex
