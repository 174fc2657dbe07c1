#include "catalog/call_view.h"
#include "convert/integers.h"
#include "ops/photo/bounds.h"
#include "ops/photo/record_parts.h"

namespace miravex {

namespace {

using namespace records;

constexpr Argument arguments[] = {
    bracket,
    exposures,
    integer("samples", "pixels that the curve is estimated from")
        .from(2)
        .to(bounds::calibrationSamples)
        .low32Bits()
        .byDefault(70),
    real("lambda", "weight of the curve's smoothness")
        .from(-bounds::calibrationSmoothness)
        .to(bounds::calibrationSmoothness)
        .byDefault(10.0),
    boolean("random", "take the samples at random places instead of a grid").byDefault(false),
};
constexpr Constraint constraints[] = {
    framesFit,
    { "samples", "samples whose grid fits the frames, at least one in a row and at most one per pixel",
      [](const CallView& call) {
          return call.boolean("random")
              || bounds::calibrationGridFits(call.rows("frames"), call.columns("frames"),
                                             lowInt32(call.integer("samples")));
      } },
    { "samples",
      { "samples whose equations, one for each of them in each frame, are solved in at most {} steps",
        bounds::work },
      [](const CallView& call) {
          return bounds::calibrationEnds(lowInt32(call.integer("samples")), call.slices("frames"));
      } },
};
constexpr Text limits[] = {
    { "More than {} samples are refused: the dense system that they make takes OpenCV too long.",
      bounds::calibrationSamples },
    "A grid of samples that does not fit the frames is refused.",
    { "A lambda beyond {} is refused: LAPACK would end the process.", bounds::calibrationSmoothness },
};
constexpr Example examples[] = { { "The response of the camera of a bracket", bracketWords } };

} // namespace

MIRAVEX_RECORD(calibrateDebevec) {
    .summary = "Estimates a camera's response curve from a bracket by least squares over sampled pixels",
    .arguments = arguments,
    .results = curveResults,
    .source = debevecSource,
    .constraints = constraints,
    .limits = limits,
    .examples = examples
};

} // namespace miravex
