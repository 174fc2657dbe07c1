#include "catalog/call_view.h"
#include "ops/filters/bounds.h"
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
                                         "same size, red, green and blue bytes, colour space unspecified",
                                         Layout::Plain,
                                         {},
                                         [](const CallView& call) {
                                             return withChannels(likeImage(call), 3);
                                         } } };
constexpr Constraint demosaicConstraints[] = {
    { "image",
      { "rows of at most {} pixels", std::numeric_limits<int>::max() / (3 * bounds::demosaicRows) },
      [](const CallView& call) { return bounds::demosaics(call.columns("image")); } },
};
constexpr Text demosaicLimits[] = {
    "Mosaics of fewer than 3 rows or columns come out black.",
    { "Rows of more than {} pixels are refused: OpenCV counts the bytes of {} rows of the result in 32 bits.",
      std::numeric_limits<int>::max() / (3 * bounds::demosaicRows), bounds::demosaicRows },
};
constexpr Word demosaicWords[] = { "@bayer", "--pattern", "RGGB" };
constexpr Example demosaicExamples[] = { { "The raw picture of a camera in colour", demosaicWords } };

} // namespace

MIRAVEX_RECORD(imageDemosaic) {
    .summary = "Makes a colour picture of a Bayer mosaic",
    .arguments = demosaicArguments,
    .results = demosaicResults,
    .source = "B. Bayer, \"Color imaging array\", US patent 3971065, 1976",
    .constraints = demosaicConstraints,
    .limits = demosaicLimits,
    .examples = demosaicExamples,
    .reach = { "1 pixel to each side; 2 from the outermost pixels, which repeat those beside them",
               [](const CallView&) { return Reach::around(2); } }
};

} // namespace miravex
