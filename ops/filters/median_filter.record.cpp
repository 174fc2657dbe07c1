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
        .to(bounds::medianRadius)
        .byDefault(2),
};
constexpr Result medianResults[] = { { ResultKind::Image, "same size, pixel type and colour space" } };
constexpr Text medianLimits[] = {
    { "A radius above {} is refused: OpenCV counts in 16 bits, so that flat areas give wrong answers or "
      "errors, and radii in the thousands crash it.",
      bounds::medianRadius },
};
constexpr Word medianWords[] = { "@photo", "--radius", "5" };
constexpr Example medianExamples[] = { { "A photo without its small details", medianWords } };

} // namespace

MIRAVEX_RECORD(medianFilter) {
    .summary = "Replaces every pixel by the median of a square around it",
    .arguments = medianArguments,
    .results = medianResults,
    .source = "T. Huang, G. Yang, G. Tang, \"A fast two-dimensional median filtering algorithm\", 1979",
    .limits = medianLimits,
    .examples = medianExamples
};

} // namespace miravex
