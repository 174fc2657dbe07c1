#include "catalog/call_view.h"
#include "ops/photo/bounds.h"
#include "ops/photo/option_names.h"

#include <algorithm>
#include <cmath>

namespace miravex {

namespace {

using namespace records;
using Word = std::string_view;

constexpr std::string_view debevec =
    "P. Debevec, J. Malik, \"Recovering high dynamic range radiance maps from photographs\", 1997";
constexpr std::string_view robertson =
    "M. Robertson, S. Borman, R. Stevenson, \"Dynamic range improvement through multiple exposures\", 1999";

constexpr Argument bracket = sequence("frames", "exposures of one scene, one per frame")
                                 .slices(1)
                                 .channels({ 3 })
                                 .pixels({ PixelTypeByte })
                                 .colors({ ColorSpaceRGB });
constexpr Argument exposures =
    reals("exposures", "the reciprocal of each frame's exposure time, in the order of the frames")
        .in("1/s")
        .shaped({ slicesOf("frames") })
        .elementsAbove(0);
constexpr Argument response =
    reals("response", "the camera's response as a calibration gives it; a linear camera when left out")
        .shaped({ exactly(768) })
        .orEmpty()
        .orAbsent();

// --- alignment ------------------------------------------------------------------------------------------

double mostLevels(const CallView& call)
{
    const auto side = static_cast<double>(std::min(call.rows("frames"), call.columns("frames")));
    return side < 1 ? 0 : std::log(side) / std::log(2.0);
}

constexpr Argument alignArguments[] = {
    bracket,
    integer("levels", "pyramid levels; shifts up to 2^levels pixels are found")
        .from(1)
        .byDefault("5, or as many as the frames have",
                   [](const CallView& call) { return std::min(5.0, std::floor(mostLevels(call))); }),
    integer("excluded_range", "intensities this near to the median are taken for noise").from(1).byDefault(4),
};
constexpr Constraint alignConstraints[] = {
    { "levels", "at most the base-2 logarithm of the frames' shorter side",
      [](const CallView& call) { return static_cast<double>(call.integer("levels")) <= mostLevels(call); } },
    { "excluded_range", "at most the frames' longer side",
      [](const CallView& call) {
          return call.integer("excluded_range") <= std::max(call.rows("frames"), call.columns("frames"));
      } },
};
constexpr Result alignResults[] = { { ResultKind::Sequence,
                                      "the frames, shifted; colour space unspecified" } };
constexpr Word alignWords[] = { "@exposures" };
constexpr Example alignExamples[] = { { "An exposure bracket aligned", alignWords } };

// --- calibration ----------------------------------------------------------------------------------------

bool gridFits(const CallView& call)
{
    if (call.boolean("random")) return true;
    const auto samples = static_cast<double>(call.integer("samples"));
    const auto rows = static_cast<double>(call.rows("frames"));
    const auto columns = static_cast<double>(call.columns("frames"));
    const double perRow = std::floor(std::sqrt(samples * columns / rows));
    if (!(perRow >= 1 && perRow <= columns)) return false;
    const double points = std::floor(samples / perRow);
    return points >= 1 && points <= rows;
}

constexpr Argument debevecArguments[] = {
    sequence("frames", "exposures of one scene, one per frame")
        .slices(1)
        .channels({ 3 })
        .pixels({ PixelTypeByte }),
    exposures,
    integer("samples", "pixels that the curve is estimated from")
        .from(2)
        .to(bounds::calibrationSamples)
        .byDefault(70),
    real("lambda", "weight of the curve's smoothness")
        .from(-bounds::calibrationSmoothness)
        .to(bounds::calibrationSmoothness)
        .byDefault(10.0),
    boolean("random", "take the samples at random places instead of a grid").byDefault(false),
};
constexpr Constraint debevecConstraints[] = {
    { "samples", "samples whose grid fits the frames, at least one in a row and at most one per pixel",
      gridFits },
};
constexpr Text debevecLimits[] = {
    "500 samples and more are refused: the dense system that they make takes OpenCV too long.",
    "A grid of samples that does not fit the frames is refused.",
    "A lambda beyond 1e36 is refused: LAPACK would end the process.",
};
constexpr Argument robertsonArguments[] = {
    bracket,
    exposures,
    integer("max_iterations", "iterations at most; none for 0 and less")
        .to(bounds::calibrationIterations)
        .byDefault(30),
    real("threshold", "change of the curve, summed over its entries, below which the iterations end")
        .byDefault(0.01),
};
constexpr Constraint robertsonConstraints[] = {
    { "max_iterations", "iterations that take less time on these frames",
      [](const CallView& call) {
          return bounds::product({ std::max<int64_t>(call.integer("max_iterations"), 0),
                                   call.slices("frames"), call.rows("frames"), call.columns("frames"), 3 })
              <= bounds::work;
      } },
};
constexpr Text robertsonLimits[] = {
    "More than 10000 iterations, and more than 2^42 samples looked at in all of them, are refused.",
    "Intensities that occur in no frame get the response 0.",
};
constexpr Result curveResults[] = {
    { ResultKind::RealTensor, "768 reals: 256 intensities x 3 channels, intensity by intensity",
      Layout::ResponseCurve },
};
constexpr Word debevecWords[] = { "@exposures", "--exposures", "@exposure_values.csv" };
constexpr Example debevecExamples[] = { { "The response of the camera of a bracket", debevecWords } };
constexpr Word robertsonWords[] = { "@exposures", "--exposures", "@exposure_values.csv" };
constexpr Example robertsonExamples[] = { { "The response of the camera of a bracket", robertsonWords } };

// --- merging --------------------------------------------------------------------------------------------

constexpr Argument mergeArguments[] = { bracket, exposures, response };
constexpr Result mergeResults[] = {
    { ResultKind::Image, "rows x columns, 32-bit reals of high dynamic range, colour space unspecified" },
};
constexpr Word mergeWords[] = { "@exposures", "--exposures", "@exposure_values.csv" };
constexpr Example mergeExamples[] = { { "A bracket as one picture of high dynamic range", mergeWords } };

constexpr Argument fuseArguments[] = {
    sequence("frames", "exposures of one scene, one per frame")
        .slices(1)
        .channels({ 1, 3 })
        .pixels({ PixelTypeByte })
        .colors({ ColorSpaceGray, ColorSpaceRGB }),
};
constexpr Result fuseResults[] = {
    { ResultKind::Image, "rows x columns, 32-bit reals of about 0 to 1, colour space unspecified" },
};
constexpr Word fuseWords[] = { "@exposures" };
constexpr Example fuseExamples[] = { { "A bracket fused without its exposure times", fuseWords } };

// --- tone mapping ---------------------------------------------------------------------------------------

ToneMapping mappingOf(const CallView& call)
{
    return valueOf(toneMappings, call.text("method"), ToneMapping::None);
}

constexpr Argument toneArguments[] = {
    image("image", "picture of high dynamic range")
        .channels({ 3 })
        .pixels({ PixelTypeReal32 })
        .colors({ ColorSpaceRGB }),
    text("method", "how the range is compressed").oneOf(toneMappingNames).byDefault("Drago"),
    reals(
        "parameters",
        "of the method. basic: gamma; Durand: gamma, contrast, saturation, colour sigma, space sigma; Drago: "
        "gamma, saturation, bias; Reinhard: gamma, intensity, light adaptation, colour adaptation; Mantiuk: "
        "gamma, scale, saturation. The method's defaults when left out")
        .orEmpty()
        .orAbsent(),
};
constexpr Constraint toneConstraints[] = {
    { "parameters",
      "none, or as many as the method has: 1, 5, 3, 4 or 3 for basic, Durand, Drago, Reinhard, Mantiuk",
      [](const CallView& call) {
          const std::size_t count = call.reals("parameters").size();
          return count == 0 || count == toneDefaults(mappingOf(call)).size();
      } },
    { "parameters",
      "gamma (above 0 for Durand), saturation and bias of at least 0, adaptations from 0 to 1, a space sigma "
      "of "
      "at most 1000",
      [](const CallView& call) {
          const auto values = call.reals("parameters");
          const ToneMapping mapping = mappingOf(call);
          if (values.empty() || values.size() != toneDefaults(mapping).size()) return true;
          return acceptsToneParameters(mapping, values)
              && (mapping != ToneMapping::Durand || !(values[4] > bounds::toneSpaceSigma));
      } },
};
constexpr Result toneResults[] = {
    { ResultKind::Image, "same size, 32-bit reals, colour space unspecified; only Durand may exceed 0 to 1" },
};
constexpr Text toneLimits[] = {
    "\"Durand\" with a space sigma above 1000, or with more than 2^42 samples in all windows of its filter, "
    "is "
    "refused.",
    "\"Drago\" and \"Mantiuk\" of a picture without any light are OpenCV errors.",
};
constexpr Word dragoWords[] = { "@hdr" };
constexpr Word durandWords[] = { "@hdr", "--method", "Durand", "--parameters", "2.2,4,1,2,2" };
constexpr Word reinhardWords[] = { "@hdr", "--method", "Reinhard", "--parameters", "2.2,0,0,0" };
constexpr Word mantiukWords[] = { "@hdr", "--method", "Mantiuk", "--parameters", "2.2,0.85,1.2" };
constexpr Word basicWords[] = { "@hdr", "--method", "basic", "--parameters", "2.2" };
constexpr Example toneExamples[] = {
    { "Drago: adaptive logarithm", dragoWords },   { "Durand: bilateral base and detail", durandWords },
    { "Reinhard: photoreceptors", reinhardWords }, { "Mantiuk: contrast domain", mantiukWords },
    { "basic: gamma alone", basicWords },
};

} // namespace

MIRAVEX_RECORD(alignMtb) {
    .summary = "Shifts the frames of an exposure bracket onto one another",
    .arguments = alignArguments,
    .results = alignResults,
    .source =
        "G. Ward, \"Fast, robust image registration for compositing high dynamic range photographs from "
        "hand-held exposures\", 2003",
    .constraints = alignConstraints,
    .examples = alignExamples
};

MIRAVEX_RECORD(calibrateDebevec) {
    .summary = "Estimates a camera's response curve from a bracket by least squares over sampled pixels",
    .arguments = debevecArguments,
    .results = curveResults,
    .source = debevec,
    .constraints = debevecConstraints,
    .limits = debevecLimits,
    .examples = debevecExamples
};

MIRAVEX_RECORD(calibrateRobertson) {
    .summary = "Estimates a camera's response curve from all pixels of a bracket, iteratively",
    .arguments = robertsonArguments,
    .results = curveResults,
    .source = robertson,
    .constraints = robertsonConstraints,
    .limits = robertsonLimits,
    .examples = robertsonExamples
};

MIRAVEX_RECORD(mergeDebevec) {
    .summary = "Merges a bracket into a picture of high dynamic range by logarithmic radiances",
    .arguments = mergeArguments,
    .results = mergeResults,
    .source = debevec,
    .examples = mergeExamples
};

MIRAVEX_RECORD(mergeRobertson) {
    .summary = "Merges a bracket into a picture of high dynamic range by weighted radiances",
    .arguments = mergeArguments,
    .results = mergeResults,
    .source = robertson,
    .examples = mergeExamples
};

MIRAVEX_RECORD(mergeMertens) {
    .summary = "Fuses a bracket into one displayable picture, without exposure times",
    .arguments = fuseArguments,
    .results = fuseResults,
    .source = "T. Mertens, J. Kautz, F. Van Reeth, \"Exposure fusion\", 2007",
    .examples = fuseExamples
};

MIRAVEX_RECORD(tonemap) {
    .summary = "Maps a picture of high dynamic range to the range of a display",
    .arguments = toneArguments,
    .results = toneResults,
    .source =
        "F. Drago et al., \"Adaptive logarithmic mapping for displaying high contrast scenes\", 2003; F. "
        "Durand, J. Dorsey, 2002; E. Reinhard, K. Devlin, 2005; R. Mantiuk et al., 2006",
    .constraints = toneConstraints,
    .limits = toneLimits,
    .examples = toneExamples
};

} // namespace miravex
