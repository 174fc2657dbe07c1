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
    .examples = agastExamples
};

} // namespace miravex
