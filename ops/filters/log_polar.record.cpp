#include "catalog/call_view.h"
#include "ops/filters/bounds.h"
#include "ops/filters/record_parts.h"

#include <algorithm>
#include <cmath>

namespace miravex {

namespace {

using namespace records;
using namespace filter_records;
using Word = std::string_view;

constexpr Argument inverseArgument =
    boolean("inverse", "from the log-polar image back to the picture").byDefault(false);

/// From the middle of the picture to its corners.
double reach(const CallView& call)
{
    return std::hypot(static_cast<double>(call.rows("image")), static_cast<double>(call.columns("image")))
        / 2;
}

constexpr Argument logPolarCvArguments[] = {
    image("image", "picture to transform").channels({ 1, 2, 3, 4 }),
    reals("center", "x, y counted from the top left pixel downward; the middle when left out")
        .in("pixels")
        .shaped({ exactly(2) })
        .orEmpty()
        .orAbsent(),
    real("magnitude", "columns per unit of the logarithm of the radius")
        .above(0)
        .byDefault("so that the last column shows the corners",
                   [](const CallView& call) {
                       return static_cast<double>(call.columns("image")) / std::log(reach(call) + 1);
                   }),
    resampling,
    boolean("fill_outliers",
            "make what comes from outside the picture 0; otherwise it stays as it was in its place (0 in the "
            "inverse)")
        .byDefault(true),
    inverseArgument,
};
constexpr Constraint logPolarCvConstraints[] = {
    { "magnitude", "a number that single precision holds",
      [](const CallView& call) { return bounds::fitsFloat(call.real("magnitude")); } },
    { "center", "numbers that single precision holds",
      [](const CallView& call) { return std::ranges::all_of(call.reals("center"), bounds::fitsFloat); } },
    resampledSides,
};
constexpr Text logPolarCvLimits[] = { resampledSidesLimit };
constexpr Word logPolarCvWords[] = { "@photo" };
constexpr Example logPolarCvExamples[] = { { "A photo, radius by angle", logPolarCvWords } };

constexpr Argument logPolarRemapArguments[] = {
    image("image", "picture to transform").channels({ 1, 2, 3, 4 }),
    reals("center", "x, y from the bottom left corner upward; the middle when left out")
        .in("pixels")
        .shaped({ exactly(2) })
        .orEmpty()
        .orAbsent(),
    real("magnitude", "rows per unit of the logarithm of the radius")
        .above(0)
        .byDefault("so that the top row shows the corners",
                   [](const CallView& call) {
                       return static_cast<double>(call.rows("image")) / std::log(reach(call) + 1);
                   }),
    resampling,
    resamplingPadding,
    paddingColor,
    inverseArgument,
};
constexpr Constraint logPolarRemapConstraints[] = { resampledSides };
constexpr Text logPolarRemapLimits[] = { resampledSidesLimit, resampledNoneLimit };
constexpr Word logPolarRemapWords[] = { "@photo", "--magnitude", "85", "--color", "0,0,0" };
constexpr Word backWords[] = { "@log_polar", "--magnitude", "85", "--color", "0,0,0", "--inverse", "true" };
constexpr Example logPolarRemapExamples[] = {
    { "A photo by angle along and logarithm of the radius upward", logPolarRemapWords },
    { "The way back: sharp in the middle, coarse outside", backWords },
};

} // namespace

MIRAVEX_RECORD(logPolarCV) {
    .summary = "Transforms a picture to log-polar form or back, as OpenCV does",
    .arguments = logPolarCvArguments,
    .results = resampledResults,
    .source = "E. Schwartz, \"Spatial mapping in the primate sensory projection\", 1977",
    .constraints = logPolarCvConstraints,
    .limits = logPolarCvLimits,
    .examples = logPolarCvExamples,
    .reach = { "the whole picture, which is turned inside out" }
};

MIRAVEX_RECORD(logPolarRemap) {
    .summary = "Transforms a picture to log-polar form or back, angles along the rows",
    .arguments = logPolarRemapArguments,
    .results = resampledResults,
    .source = "E. Schwartz, \"Spatial mapping in the primate sensory projection\", 1977",
    .constraints = logPolarRemapConstraints,
    .limits = logPolarRemapLimits,
    .examples = logPolarRemapExamples,
    .reach = { "the whole picture, which is turned inside out" }
};

} // namespace miravex
