#include "ops/features/record_parts.h"

namespace miravex {

constexpr auto mserFormNames = namesOf(mserForms);

constexpr Argument mserArguments[] = {
    image("image", "picture to look at; OpenCV wants at least 3 x 3 pixels")
        .channels({ 1, 3, 4 })
        .pixels({ PixelTypeByte })
        .sides(3, 3),
    integer("delta", "gray levels over which a region must stay stable").in("gray levels").byDefault(5),
    integer("min_area", "smallest region").in("pixels").from(0).byDefault(60),
    integer("max_area", "largest region").in("pixels").from(0).byDefault(14400),
    real("max_variation", "how much the area of a stable region may change").from(0).orNan().byDefault(0.25),
    real("min_diversity", "how much nested regions must differ").above(0).byDefault(0.2),
    integer("max_evolution", "steps of the merging of colours").from(1).byDefault(200),
    real("area_threshold", "growth of the area that starts a colour region anew").above(1).byDefault(1.01),
    real("min_margin", "least contrast of a colour region").from(0).orNan().byDefault(0.003),
    integer("edge_blur_size", "side of the blur of colour edges").in("pixels").from(1).odd().byDefault(5),
    text("form", "bounding rectangles, or a table with the number of the region at each pixel")
        .oneOf(mserFormNames)
        .byDefault("Rectangle"),
};
constexpr Constraint mserConstraints[] = {
    pixelsConstraint,
    { "max_evolution",
      { "at most {} steps for a colour picture", bounds::mserEvolution },
      [](const CallView& call) {
          return bounds::mserFits(call.channels("image"), call.integer("max_evolution"), 1);
      } },
    { "edge_blur_size",
      { "at most {} pixels for a colour picture", bounds::mserEdgeBlur },
      [](const CallView& call) {
          return bounds::mserFits(call.channels("image"), 1, call.integer("edge_blur_size"));
      } },
};
constexpr Result mserResults[] = {
    { ResultKind::RealTensor,
      "n x 5: number from 1, left, top, right, bottom; y from the bottom edge",
      Layout::Regions,
      { "form", "Rectangle" } },
    { ResultKind::RealTensor,
      "rows x columns from the top: the number of the region at each pixel, 0 for none",
      Layout::Labels,
      { "form", "LabelMatrix" } },
};
constexpr Text mserLimits[] = {
    pixelsLimit,
    { "Of colour pictures, which take every step, evolutions of more than {} steps are refused, and edge "
      "blurs of more than {} pixels.",
      bounds::mserEvolution, bounds::mserEdgeBlur },
    "A picture of one colour has no regions; OpenCV itself would call the whole of a small one a region.",
};
constexpr Word rectangleWords[] = { "@coins" };
constexpr Word labelWords[] = { "@coins", "--form", "LabelMatrix", "--min-area", "200" };
constexpr Example mserExamples[] = { { "Stable regions of a picture of sweets", rectangleWords },
                                     { "The same as labels", labelWords } };

MIRAVEX_RECORD(mserDetect) {
    .summary = "Finds regions that stay stable while a threshold moves",
    .arguments = mserArguments,
    .results = mserResults,
    .source = "J. Matas et al., \"Robust wide baseline stereo from maximally stable extremal regions\", "
              "2002; P.-E. Forssen, \"Maximally stable colour regions for recognition and matching\", 2007",
    .constraints = mserConstraints,
    .limits = mserLimits,
    .examples = mserExamples
};

} // namespace miravex
