#include "catalog/call_view.h"
#include "ops/filters/option_names.h"

namespace miravex {

namespace {

using namespace records;
using Word = std::string_view;

constexpr Argument demosaicArguments[] = {
    image("image", "mosaic with one colour per pixel")
        .channels({ 1 })
        .pixels({ PixelTypeByte })
        .colors({ ColorSpaceGray }),
    text("pattern", "colours of the top left 2 x 2 pixels, row by row")
        .oneOf(bayerPatternNames)
        .byDefault("RGGB"),
};
constexpr Result demosaicResults[] = { { ResultKind::Image,
                                         "same size, red, green and blue bytes, colour space unspecified" } };
constexpr Text demosaicLimits[] = { "Mosaics of fewer than 3 rows or columns come out black." };
constexpr Word demosaicWords[] = { "@bayer", "--pattern", "RGGB" };
constexpr Example demosaicExamples[] = { { "The raw picture of a camera in colour", demosaicWords } };

} // namespace

MIRAVEX_RECORD(imageDemosaic) { .summary = "Makes a colour picture of a Bayer mosaic",
                                .arguments = demosaicArguments,
                                .results = demosaicResults,
                                .source = "B. Bayer, \"Color imaging array\", US patent 3971065, 1976",
                                .limits = demosaicLimits,
                                .examples = demosaicExamples };

} // namespace miravex
