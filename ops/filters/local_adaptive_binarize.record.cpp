#include "catalog/call_view.h"
#include "ops/filters/bounds.h"
#include "ops/filters/record_parts.h"

namespace miravex {

namespace {

using namespace records;
using namespace filter_records;
using Word = std::string_view;

constexpr Argument binarizeArguments[] = {
    image("image", "picture to binarize; its samples are taken as reals").channels({ 1 }),
    integer("radius", "how far the window around a pixel reaches; its side is 2 radius + 1")
        .in("pixels")
        .from(1)
        .low32Bits()
        .byDefault(15),
    reals("coefficients",
          "c0, c1, c2: a pixel is set when its value, less c0 local means and c1 local deviations, "
          "exceeds c2")
        .shaped({ exactly(3) }),
    paddingArgument("Reflected"),
    real("padding_value", "what \"Constant\" padding is made of; samples lie between 0 and 1").byDefault(0.0),
};
constexpr Constraint binarizeConstraints[] = {
    integerRadius,
    { "radius",
      { "a window whose margin has at most {} samples", bounds::marginSamples },
      [](const CallView& call) {
          const auto weights = call.reals("coefficients");
          return (weights[0] == 0 && weights[1] == 0)
              || bounds::windowFits(call.rows("image"), call.columns("image"),
                                    lowInt32(call.integer("radius")));
      } },
};
/// Means and deviations come of running sums, whose rounding is carried on along rows and columns. Sums of
/// bits, and of whole numbers beyond the edge, are exact.
Reach reachOfWindow(const CallView& call)
{
    const auto weights = call.reals("coefficients");
    if (weights.size() == 3 && weights[0] == 0 && weights[1] == 0) return Reach::around(0);
    const Reach window = reachOfRadius(call);
    const double fill = call.text("padding") == "Constant" ? call.real("padding_value") : 0;
    const bool exact = call.pixelType("image") == PixelTypeBit && (fill == 0 || fill == 1);
    if (exact) return window;
    if (call.text("padding") == "Periodic") return {};
    return {
        .above = Reach::toTheEdge, .below = window.below, .left = Reach::toTheEdge, .right = window.right
    };
}
constexpr Result binarizeResults[] = { { ResultKind::Image,
                                         "same size, bits, colour space unspecified",
                                         Layout::Plain,
                                         {},
                                         [](const CallView& call) {
                                             return withType(likeImage(call), PixelTypeBit);
                                         } } };
constexpr Text binarizeLimits[] = {
    { "Windows that read a margin of more than {} samples are refused.", bounds::marginSamples },
    "With the paddings \"Constant\" and \"Periodic\" the mean sees the padding, the deviation reflections.",
};
constexpr Word binarizeWords[] = { "@document", "--radius", "12", "--coefficients", "1,0,-0.05" };
constexpr Word darkWords[] = { "@document", "--radius", "20", "--coefficients", "1,-0.3,0" };
constexpr Example binarizeExamples[] = {
    { "A photographed page in black and white, in spite of its shadows", binarizeWords },
    { "The same page, by mean and deviation", darkWords },
};

} // namespace

MIRAVEX_RECORD(localAdaptiveBinarize) {
    .summary = "Separates dark from light by the mean and deviation of each pixel's neighbourhood",
    .arguments = binarizeArguments,
    .results = binarizeResults,
    .source = "J. Sauvola, M. Pietikainen, \"Adaptive document image binarization\", 2000",
    .constraints = binarizeConstraints,
    .limits = binarizeLimits,
    .examples = binarizeExamples,
    .reach = { "radius pixels to each side; but for bits, the rounding of running sums comes from everything "
               "above and to the left besides, and with \"Periodic\" padding from everywhere",
               reachOfWindow }
};

} // namespace miravex
