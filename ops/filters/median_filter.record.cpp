#include "catalog/call_view.h"
#include "ops/filters/bounds.h"

namespace miravex {

namespace {

using namespace records;
using Word = std::string_view;

constexpr Argument medianArguments[] = {
    image("image", "picture to filter; it is filtered as 8-bit samples").channels({ 1, 3, 4 }),
    integer("radius", "how far the square around a pixel reaches; its side is 2 radius + 1")
        .in("pixels")
        .from(1)
        .low32Bits()
        .byDefault(2),
};
constexpr Result medianResults[] = {
    { ResultKind::Image, "same size, pixel type and colour space", Layout::Plain, {}, likeImage }
};
constexpr Constraint medianConstraints[] = {
    { "radius",
      { "a radius of at most {}", std::numeric_limits<int>::max() },
      [](const CallView& call) { return bounds::medianRadius(call.integer("radius")) >= 0; } },
};
constexpr Text medianLimits[] = {
    { "A radius above {}, and an image of more than {} samples at any radius, is filtered by our own "
      "constant-time median, since OpenCV would count wrongly or crash; it gives the same bits.",
      bounds::openCvMedianRadius, std::numeric_limits<int>::max() },
    "Beyond the edge the image's outermost pixels go on, so that a radius larger than the image still "
    "changes "
    "the result.",
};
constexpr Word medianWords[] = { "@photo", "--radius", "5" };
constexpr Example medianExamples[] = { { "A photo without its small details", medianWords } };

} // namespace

MIRAVEX_RECORD(medianFilter) {
    .summary = "Replaces every pixel by the median of a square around it",
    .arguments = medianArguments,
    .results = medianResults,
    .source = "T. Huang, G. Yang, G. Tang, \"A fast two-dimensional median filtering algorithm\", 1979; "
              "S. Perreault, P. Hebert, \"Median filtering in constant time\", 2007",
    .constraints = medianConstraints,
    .limits = medianLimits,
    .examples = medianExamples,
    .reach = { "radius pixels to each side",
               [](const CallView& call) {
                   return Reach::around(bounds::medianRadius(call.integer("radius")));
               } }
};

} // namespace miravex
