#include "catalog/call_view.h"
#include "ops/photo/bounds.h"
#include "ops/photo/option_names.h"
#include "ops/photo/record_parts.h"

namespace miravex {

namespace {

using namespace records;

ToneMapping mappingOf(const CallView& call)
{
    return valueOf(toneMappings, call.text("method"), ToneMapping::None);
}

/// The space sigma of "Durand", as the library rounds it.
double spaceSigmaOf(const CallView& call)
{
    constexpr std::size_t position = 4;
    const auto values = call.reals("parameters");
    return values.size() > position ? static_cast<float>(values[position]) : durandDefaults[position];
}

constexpr Argument arguments[] = {
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
constexpr Constraint constraints[] = {
    imageFits,
    { "parameters",
      "none, or as many as the method has: 1, 5, 3, 4 or 3 for basic, Durand, Drago, Reinhard, Mantiuk",
      [](const CallView& call) {
          const std::size_t count = call.reals("parameters").size();
          return count == 0 || count == toneDefaults(mappingOf(call)).size();
      } },
    { "parameters",
      "gamma (above 0 for Durand), saturation and bias of at least 0, and adaptations from 0 to 1",
      [](const CallView& call) {
          const auto values = call.reals("parameters");
          return values.size() != toneDefaults(mappingOf(call)).size()
              || acceptsToneParameters(mappingOf(call), values);
      } },
    { "parameters",
      { "a space sigma of at most {} whose filter sums at most {} samples", bounds::toneSpaceSigma,
        bounds::work },
      [](const CallView& call) {
          return mappingOf(call) != ToneMapping::Durand
              || bounds::toneFilterEnds(call.rows("image"), call.columns("image"), spaceSigmaOf(call));
      } },
};
constexpr Result results[] = {
    { ResultKind::Image,
      "same size, 32-bit reals, colour space unspecified; only Durand may exceed 0 to 1",
      Layout::Plain,
      {},
      likeImage },
};
constexpr Text limits[] = {
    { "\"Durand\" with a space sigma above {}, or with more than {} samples in all windows of its filter, is "
      "refused.",
      bounds::toneSpaceSigma, bounds::work },
    "\"Drago\" and \"Mantiuk\" of a picture without any light are OpenCV errors.",
};
constexpr Word dragoWords[] = { "@hdr" };
constexpr Word durandWords[] = { "@hdr", "--method", "Durand", "--parameters", "2.2,4,1,2,2" };
constexpr Word reinhardWords[] = { "@hdr", "--method", "Reinhard", "--parameters", "2.2,0,0,0" };
constexpr Word mantiukWords[] = { "@hdr", "--method", "Mantiuk", "--parameters", "2.2,0.85,1.2" };
constexpr Word basicWords[] = { "@hdr", "--method", "basic", "--parameters", "2.2" };
constexpr Example examples[] = {
    { "Drago: adaptive logarithm", dragoWords },   { "Durand: bilateral base and detail", durandWords },
    { "Reinhard: photoreceptors", reinhardWords }, { "Mantiuk: contrast domain", mantiukWords },
    { "basic: gamma alone", basicWords },
};

} // namespace

MIRAVEX_RECORD(tonemap) {
    .summary = "Maps a picture of high dynamic range to the range of a display",
    .arguments = arguments,
    .results = results,
    .source =
        "F. Drago et al., \"Adaptive logarithmic mapping for displaying high contrast scenes\", 2003; F. "
        "Durand, J. Dorsey, 2002; E. Reinhard, K. Devlin, 2005; R. Mantiuk et al., 2006",
    .constraints = constraints,
    .limits = limits,
    .examples = examples,
    .reach = { "the whole picture, whose darkest and brightest samples set the scale" }
};

} // namespace miravex
