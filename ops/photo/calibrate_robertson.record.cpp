#include "catalog/call_view.h"
#include "convert/integers.h"
#include "ops/photo/bounds.h"
#include "ops/photo/record_parts.h"

namespace miravex {

namespace {

using namespace records;

constexpr Argument arguments[] = {
    rgbBracket,
    exposures,
    integer("max_iterations", "iterations at most; none for 0 and less")
        .to(bounds::calibrationIterations)
        .low32Bits()
        .byDefault(30),
    real("threshold", "change of the curve, summed over its entries, below which the iterations end")
        .byDefault(0.01),
};
constexpr Constraint constraints[] = {
    framesFit,
    { "max_iterations",
      { "iterations that look at no more than {} samples of these frames in all", bounds::work },
      [](const CallView& call) {
          return bounds::calibrationIterationsEnd(lowInt32(call.integer("max_iterations")),
                                                  call.slices("frames"), call.rows("frames"),
                                                  call.columns("frames"));
      } },
};
constexpr Text limits[] = {
    { "More than {} iterations, and more than {} samples looked at in all of them, are refused.",
      bounds::calibrationIterations, bounds::work },
    "Intensities that occur in no frame get the response 0.",
    "A channel in which the intensity 128 occurs in no frame has nothing to be scaled by; its curve is "
    "infinite or "
    "NaN.",
};
constexpr Example examples[] = { { "The response of the camera of a bracket", bracketWords } };

} // namespace

MIRAVEX_RECORD(calibrateRobertson) {
    .summary = "Estimates a camera's response curve from all pixels of a bracket, iteratively",
    .arguments = arguments,
    .results = curveResults,
    .source = robertsonSource,
    .constraints = constraints,
    .limits = limits,
    .examples = examples
};

} // namespace miravex
