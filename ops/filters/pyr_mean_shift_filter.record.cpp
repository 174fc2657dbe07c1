#include "catalog/call_view.h"
#include "ops/filters/record_parts.h"

namespace miravex {

namespace {

using namespace records;
using namespace filter_records;
using Word = std::string_view;

constexpr Argument meanShiftArguments[] = {
    image("image", "colour picture to flatten").channels({ 3 }).pixels({ PixelTypeByte }),
    real("spatial_radius", "how far apart two pixels of one cluster may lie")
        .in("pixels")
        .from(0)
        .orNan()
        .byDefault(10.0),
    real("color_radius", "how far apart their colours may lie, as a fraction of the largest colour distance")
        .from(0)
        .orNan()
        .byDefault(0.1),
    integer("max_level", "pyramid levels above the picture itself; OpenCV takes up to 8")
        .from(0)
        .low32Bits()
        .byDefault(1),
    integer("iterations", "mean-shift steps of each pixel; OpenCV makes 100 at most")
        .from(0)
        .low32Bits()
        .byDefault(5),
};
constexpr Result meanShiftResults[] = {
    { ResultKind::Image, "same size, bytes, colour space unspecified", Layout::Plain, {}, likeImage }
};
constexpr Constraint meanShiftConstraints[] = {
    { "max_level",
      { "at most {}", bounds::meanShiftLevels },
      [](const CallView& call) {
          const int level = lowInt32(call.integer("max_level"));
          return level >= 0 && level <= bounds::meanShiftLevels;
      } },
    { "spatial_radius",
      { "a radius with which no pixel looks at more than {} samples (window x iterations)",
        bounds::meanShiftSamples },
      [](const CallView& call) {
          return bounds::meanShiftFits(call.rows("image"), call.columns("image"), call.real("spatial_radius"),
                                       lowInt32(call.integer("iterations")));
      } },
    indexedImage,
};
constexpr Text meanShiftLimits[] = {
    { "Levels above {} are refused by OpenCV.", bounds::meanShiftLevels },
    { "Calls that would look at more than {} samples for a pixel (window x iterations) are refused.",
      bounds::meanShiftSamples },
    indexedImageLimit,
};
constexpr Word meanShiftWords[] = { "@photo", "--spatial-radius", "15", "--color-radius", "0.08" };
constexpr Example meanShiftExamples[] = { { "A photo in flat colours", meanShiftWords } };

} // namespace

MIRAVEX_RECORD(pyrMeanShiftFilter) {
    .summary = "Flattens colours by mean-shift clustering over position and colour",
    .arguments = meanShiftArguments,
    .results = meanShiftResults,
    .source = "D. Comaniciu, P. Meer, \"Mean shift: a robust approach toward feature space analysis\", 2002",
    .constraints = meanShiftConstraints,
    .limits = meanShiftLimits,
    .examples = meanShiftExamples,
    .reach = { "the whole picture: each pixel sees what became of those before it" }
};

} // namespace miravex
