#include "ops/features/record_parts.h"

namespace miravex {

constexpr Argument agastArguments[] = { pictureArgument, useMaskArgument, maskArgument, thresholdArgument,
                                        suppressionArgument };
constexpr Constraint agastConstraints[] = { pixelsConstraint };
constexpr Text agastLimits[] = { pixelsLimit };
constexpr Example agastExamples[] = { { "Corners of a building", cornerWords } };

MIRAVEX_RECORD(agast) {
    .summary = "Finds corners by the adaptive accelerated segment test",
    .arguments = agastArguments,
    .results = cornerResults,
    .source = "E. Mair et al., \"Adaptive and generic corner detection based on the accelerated segment "
              "test\", 2010",
    .constraints = agastConstraints,
    .limits = agastLimits,
    .examples = agastExamples,
    .reach = { "3 pixels to each side of a corner; the whole picture where neighbouring corners are "
               "suppressed, since corners hang together in chains",
               [](const CallView& call) {
                   return call.boolean("nonmax_suppression") ? Reach() : Reach::around(3);
               } }
};

} // namespace miravex
