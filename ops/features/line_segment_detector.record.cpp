#include "ops/features/record_parts.h"

namespace miravex {

constexpr Argument detectorArguments[] = {
    image("image", "gray picture").channels({ 1 }).pixels({ PixelTypeBit, PixelTypeByte }),
};
constexpr Result detectorResults[] = { { ResultKind::RealTensor, "flat x1, y1, x2, y2, width per segment",
                                         Layout::WideSegments } };
constexpr Constraint detectorConstraints[] = { pixelsConstraint };
constexpr Text detectorLimits[] = { pixelsLimit };
constexpr Word detectorWords[] = { "@building" };
constexpr Example detectorExamples[] = { { "All straight edges of a building", detectorWords } };

MIRAVEX_RECORD(lineSegmentDetector) {
    .summary = "Finds line segments by growing regions of like gradients",
    .arguments = detectorArguments,
    .results = detectorResults,
    .source = "R. Grompone von Gioi, J. Jakubowicz, J.-M. Morel, G. Randall, \"LSD: a line segment "
              "detector\", 2012",
    .constraints = detectorConstraints,
    .limits = detectorLimits,
    .examples = detectorExamples
};

} // namespace miravex
