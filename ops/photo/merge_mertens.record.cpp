#include "ops/photo/record_parts.h"

namespace miravex {

namespace {

using namespace records;

constexpr Argument arguments[] = {
    bracket.channels({ 1, 3 }).colors({ ColorSpaceGray, ColorSpaceRGB }),
};
constexpr Constraint constraints[] = { framesFit };
constexpr Result results[] = {
    { ResultKind::Image,
      "rows x columns, 32-bit reals of about 0 to 1, colour space unspecified",
      Layout::Plain,
      {},
      [](const CallView& call) { return withType(likeFrame(call), PixelTypeReal32); } },
};
constexpr Word words[] = { "@exposures" };
constexpr Example examples[] = { { "A bracket fused without its exposure times", words } };

} // namespace

MIRAVEX_RECORD(mergeMertens) {
    .summary = "Fuses a bracket into one displayable picture, without exposure times",
    .arguments = arguments,
    .results = results,
    .source = "T. Mertens, J. Kautz, F. Van Reeth, \"Exposure fusion\", 2007",
    .constraints = constraints,
    .examples = examples,
    .reach = { "the whole picture, through pyramids as high as it allows" }
};

} // namespace miravex
