#include "catalog/call_view.h"
#include "ops/filters/record_parts.h"

namespace miravex {

namespace {

using namespace records;
using namespace filter_records;
using Word = std::string_view;

constexpr Argument colorPicture[] = {
    image("image", "colour picture").channels({ 3 }).pixels({ PixelTypeByte }).colors({ ColorSpaceRGB }),
};
constexpr Constraint colorConstraints[] = { indexedImage };
constexpr Text colorLimits[] = { indexedImageLimit };
constexpr Result boostResults[] = { { ResultKind::Image,
                                      "same size, 3 byte channels, colour space unspecified",
                                      Layout::Plain,
                                      {},
                                      likeImage } };
constexpr Result decolorResults[] = { { ResultKind::Image,
                                        "same size, 1 byte channel, colour space unspecified",
                                        Layout::Plain,
                                        {},
                                        [](const CallView& call) {
                                            return withChannels(likeImage(call), 1);
                                        } } };
constexpr Word colorWords[] = { "@photo" };
constexpr Example boostExamples[] = { { "A photo with its colours boosted", colorWords } };
constexpr Example decolorExamples[] = { { "A photo in grays that keep its contrasts", colorWords } };

} // namespace

MIRAVEX_RECORD(colorBoost) { .summary = "Boosts the colours of a picture along with its contrasts",
                             .arguments = colorPicture,
                             .results = boostResults,
                             .source = "C. Lu, L. Xu, J. Jia, \"Contrast preserving decolorization\", 2012",
                             .constraints = colorConstraints,
                             .limits = colorLimits,
                             .examples = boostExamples,
                             .reach = {
                                 "the whole picture: its contrasts are weighed against one another" } };

MIRAVEX_RECORD(decolor) { .summary = "Makes a gray picture that keeps the contrasts of the colours",
                          .arguments = colorPicture,
                          .results = decolorResults,
                          .source = "C. Lu, L. Xu, J. Jia, \"Contrast preserving decolorization\", 2012",
                          .constraints = colorConstraints,
                          .limits = colorLimits,
                          .examples = decolorExamples,
                          .reach = { "the whole picture: its contrasts are weighed against one another" } };

} // namespace miravex
