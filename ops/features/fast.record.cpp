#include "ops/features/record_parts.h"

namespace miravex {

constexpr Argument fastArguments[] = { pictureArgument.sides(bounds::fastSide, bounds::fastSide),
                                       useMaskArgument, maskArgument, thresholdArgument.low32Bits(),
                                       suppressionArgument };
constexpr Constraint fastConstraints[] = {
    { "mask", "an image, also where it is not used",
      [](const CallView& call) { return call.image("mask").has_value(); } },
};
constexpr Text fastLimits[] = {
    "Thresholds above 255 wrap: OpenCV compares their lowest eight bits.",
};
constexpr Word maskedWords[] = { "@photo", "--mask", "@mask", "--threshold", "30" };
constexpr Example fastExamples[] = { { "Corners of a building", cornerWords },
                                     { "Corners inside a mask", maskedWords } };

MIRAVEX_RECORD(fast) {
    .summary = "Finds corners by the segment test",
    .arguments = fastArguments,
    .results = cornerResults,
    .source = "E. Rosten, T. Drummond, \"Machine learning for high-speed corner detection\", 2006",
    .constraints = fastConstraints,
    .limits = fastLimits,
    .examples = fastExamples,
    .reach = { "3 pixels to each side of a corner, 4 where neighbouring corners are suppressed",
               [](const CallView& call) {
                   return Reach::around(call.boolean("nonmax_suppression") ? 4 : 3);
               } }
};

} // namespace miravex
