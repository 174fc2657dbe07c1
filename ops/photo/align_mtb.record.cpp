#include "catalog/call_view.h"
#include "convert/integers.h"
#include "ops/photo/bounds.h"
#include "ops/photo/record_parts.h"

#include <algorithm>
#include <cmath>

namespace miravex {

namespace {

using namespace records;

double mostLevels(const CallView& call)
{
    return bounds::alignmentLevels(call.rows("frames"), call.columns("frames"));
}

constexpr Argument arguments[] = {
    rgbBracket,
    integer("levels", "pyramid levels; shifts up to 2^levels pixels are found")
        .from(1)
        .low32Bits()
        .byDefault("5, or as many as the frames have",
                   [](const CallView& call) { return std::min(5.0, std::floor(mostLevels(call))); }),
    integer("excluded_range", "intensities this near to the median are taken for noise")
        .from(1)
        .low32Bits()
        .byDefault(4),
};
constexpr Constraint constraints[] = {
    framesFit,
    { "levels", "at most the base-2 logarithm of the frames' shorter side",
      [](const CallView& call) {
          return static_cast<double>(lowInt32(call.integer("levels"))) <= mostLevels(call);
      } },
    { "excluded_range", "at most the frames' longer side",
      [](const CallView& call) {
          return lowInt32(call.integer("excluded_range"))
              <= std::max(call.rows("frames"), call.columns("frames"));
      } },
};
constexpr Result results[] = { { ResultKind::Sequence,
                                 "the frames, shifted; colour space unspecified",
                                 Layout::Plain,
                                 {},
                                 [](const CallView& call) {
                                     return call.image("frames").value_or(ImageFacts());
                                 } } };
constexpr Word words[] = { "@exposures" };
constexpr Example examples[] = { { "An exposure bracket aligned", words } };

} // namespace

MIRAVEX_RECORD(alignMtb) {
    .summary = "Shifts the frames of an exposure bracket onto one another",
    .arguments = arguments,
    .results = results,
    .source =
        "G. Ward, \"Fast, robust image registration for compositing high dynamic range photographs from "
        "hand-held exposures\", 2003",
    .constraints = constraints,
    .examples = examples
};

} // namespace miravex
