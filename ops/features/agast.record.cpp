#include "ops/features/record_parts.h"

namespace miravex {

namespace {

constexpr Argument agastArguments[] = { pictureArgument, useMaskArgument, maskArgument, thresholdArgument,
                                        suppressionArgument };
constexpr Example agastExamples[] = { { "Corners of a building", cornerWords } };

} // namespace

MIRAVEX_RECORD(agast) {
    .summary = "Finds corners by the adaptive accelerated segment test",
    .arguments = agastArguments,
    .results = cornerResults,
    .source = "E. Mair et al., \"Adaptive and generic corner detection based on the accelerated segment "
              "test\", 2010",
    .examples = agastExamples
};

} // namespace miravex
