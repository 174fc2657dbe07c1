#include "ops/features/record_parts.h"

namespace miravex {

namespace {

constexpr Argument fastArguments[] = { pictureArgument.sides(bounds::fastSide, bounds::fastSide),
                                       useMaskArgument, maskArgument, thresholdArgument,
                                       suppressionArgument };
constexpr Word maskedWords[] = { "@photo", "--mask", "@mask", "--threshold", "30" };
constexpr Example fastExamples[] = { { "Corners of a building", cornerWords },
                                     { "Corners inside a mask", maskedWords } };

} // namespace

MIRAVEX_RECORD(fast) {
    .summary = "Finds corners by the segment test",
    .arguments = fastArguments,
    .results = cornerResults,
    .source = "E. Rosten, T. Drummond, \"Machine learning for high-speed corner detection\", 2006",
    .examples = fastExamples
};

} // namespace miravex
