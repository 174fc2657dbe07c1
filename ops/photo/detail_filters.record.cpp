#include "ops/photo/bounds.h"
#include "ops/photo/option_names.h"
#include "ops/photo/record_parts.h"

namespace miravex {

namespace {

using namespace records;

constexpr std::string_view source =
    "E. Gastal, M. Oliveira, \"Domain transform for edge-aware image and video processing\", 2011";

constexpr Argument picture =
    image("image", "colour picture to filter").channels({ 3 }).pixels({ PixelTypeByte });

constexpr Argument spatialSigma(double value)
{
    return real("spatial_sigma", "how far the smoothing reaches")
        .in("pixels")
        .from(0)
        .to(bounds::detailSpatialSigma)
        .byDefault(value);
}

constexpr Argument rangeSigma(double value)
{
    return real("range_sigma", "how different samples are kept apart, as a fraction of their range")
        .from(0)
        .to(bounds::detailRangeSigma)
        .byDefault(value);
}

constexpr Constraint constraints[] = { imageFits };
constexpr Text convolutionLimits[] = {
    "By normalised convolution a range sigma of 0 gives black, and rows and columns without edges start "
    "black, "
    "which spreads: OpenCV divides by zero there.",
};
constexpr Result results[] = {
    { ResultKind::Image, "same size, bytes, colour space unspecified", Layout::Plain, {}, likeImage }
};

constexpr Argument enhanceArguments[] = { picture, spatialSigma(10), rangeSigma(0.15) };
constexpr Word enhanceWords[] = { "@photo" };
constexpr Example enhanceExamples[] = { { "A photo with stronger detail", enhanceWords } };

constexpr Argument edgeArguments[] = {
    picture,
    text("filter", "how the smoothing is done: recursively or by normalised convolution")
        .oneOf(edgeFilterNames)
        .byDefault("RECURS_FILTER"),
    spatialSigma(60),
    rangeSigma(0.4),
};
constexpr Word recursiveWords[] = { "@photo" };
constexpr Word convolutionWords[] = { "@photo", "--filter", "NORMCONV_FILTER" };
constexpr Example edgeExamples[] = { { "A photo smoothed between its edges", recursiveWords },
                                     { "The same by normalised convolution", convolutionWords } };

constexpr Argument stylizeArguments[] = { picture, spatialSigma(60), rangeSigma(0.45) };
constexpr Word stylizeWords[] = { "@photo" };
constexpr Example stylizeExamples[] = { { "A photo that looks painted", stylizeWords } };

} // namespace

MIRAVEX_RECORD(detailEnhance) { .summary = "Strengthens the detail of a picture",
                                .arguments = enhanceArguments,
                                .results = results,
                                .source = source,
                                .constraints = constraints,
                                .examples = enhanceExamples,
                                .reach = {
                                    "the whole picture: rows and columns are filtered from end to end" } };

MIRAVEX_RECORD(edgePreservingFilter) {
    .summary = "Smooths a picture while it keeps its edges",
    .arguments = edgeArguments,
    .results = results,
    .source = source,
    .constraints = constraints,
    .limits = convolutionLimits,
    .examples = edgeExamples,
    .reach = { "the whole picture: rows and columns are filtered from end to end" }
};

MIRAVEX_RECORD(stylization) { .summary = "Makes a photo look painted: flat areas and dark outlines",
                              .arguments = stylizeArguments,
                              .results = results,
                              .source = source,
                              .constraints = constraints,
                              .limits = convolutionLimits,
                              .examples = stylizeExamples,
                              .reach = {
                                  "the whole picture: rows and columns are filtered from end to end" } };

} // namespace miravex
