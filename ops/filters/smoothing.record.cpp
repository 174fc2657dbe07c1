
#include "catalog/call_view.h"
#include "ops/filters/bounds.h"
#include "ops/filters/option_names.h"

#include <cmath>
#include <cstdlib>

namespace miravex {

namespace {

using namespace records;
using Word = std::string_view;

// --- median and pyramids --------------------------------------------------------------------------------

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
    "A radius above 127 is refused: OpenCV counts in 16 bits, so that flat areas give wrong answers or "
    "errors, "
    "and radii in the thousands crash it.",
};
constexpr Word medianWords[] = { "@photo", "--radius", "5" };
constexpr Example medianExamples[] = { { "A photo without its small details", medianWords } };

constexpr std::array<Word, 5> pyrDownPaddings { "Fixed", "Reversed", "Periodic", "Reflected", "None" };

constexpr Argument pyrDownArguments[] = {
    image("image", "picture to shrink"),
    text("padding", "how the picture continues beyond its edge")
        .oneOf(pyrDownPaddings)
        .byDefault("Reflected"),
    integer("width", "columns of the result; doubled, at most 2 off the image's")
        .in("pixels")
        .byDefault(
            "half of the image's columns, rounded up",
            [](const CallView& call) { return std::ceil(static_cast<double>(call.columns("image")) / 2); }),
    integer("height", "rows of the result; doubled, at most 2 off the image's")
        .in("pixels")
        .byDefault(
            "half of the image's rows, rounded up",
            [](const CallView& call) { return std::ceil(static_cast<double>(call.rows("image")) / 2); }),
};
/// In doubles, as below: twice a size that anybody may type need not fit an integer.
bool isHalfOf(int64_t target, int64_t source)
{
    return std::abs(2.0 * static_cast<double>(target) - static_cast<double>(source)) <= 2;
}
constexpr Constraint pyrDownConstraints[] = {
    { "width", "a width that doubled is at most 2 off the image's columns",
      [](const CallView& call) { return isHalfOf(call.integer("width"), call.columns("image")); } },
    { "height", "a height that doubled is at most 2 off the image's rows",
      [](const CallView& call) { return isHalfOf(call.integer("height"), call.rows("image")); } },
};
constexpr Result pyrDownResults[] = { { ResultKind::Image,
                                        "height x width, same pixel type and colour space" } };
constexpr Text pyrDownLimits[] = { "The padding \"None\" is accepted and then refused by OpenCV itself." };
constexpr Word pyrDownWords[] = { "@photo" };
constexpr Example pyrDownExamples[] = { { "A photo at half its size", pyrDownWords } };

bool isDoubleOf(int64_t target, int64_t source)
{
    return std::abs(static_cast<double>(target) - 2.0 * static_cast<double>(source))
        <= static_cast<double>(target % 2);
}

constexpr Argument pyrUpArguments[] = {
    image("image", "picture to enlarge"),
    integer("width", "columns of the result: twice the image's; an odd width may be one off")
        .in("pixels")
        .byDefault("twice the image's columns",
                   [](const CallView& call) { return static_cast<double>(2 * call.columns("image")); }),
    integer("height", "rows of the result: twice the image's; an odd height may be one off")
        .in("pixels")
        .byDefault("twice the image's rows",
                   [](const CallView& call) { return static_cast<double>(2 * call.rows("image")); }),
};
constexpr Constraint pyrUpConstraints[] = {
    { "width", "twice the image's columns, or an odd width one off it",
      [](const CallView& call) { return isDoubleOf(call.integer("width"), call.columns("image")); } },
    { "height", "twice the image's rows, or an odd height one off it",
      [](const CallView& call) { return isDoubleOf(call.integer("height"), call.rows("image")); } },
};
constexpr Result pyrUpResults[] = { { ResultKind::Image,
                                      "height x width, same pixel type and colour space" } };
constexpr Word pyrUpWords[] = { "@small" };
constexpr Example pyrUpExamples[] = { { "A small photo at twice its size", pyrUpWords } };

constexpr Argument meanShiftArguments[] = {
    image("image", "colour picture to flatten").channels({ 3 }).pixels({ PixelTypeByte }),
    real("spatial_radius", "how far apart two pixels of one cluster may lie")
        .in("pixels")
        .from(0)
        .byDefault(10.0),
    real("color_radius", "how far apart their colours may lie, as a fraction of the largest colour distance")
        .from(0)
        .byDefault(0.1),
    integer("max_level", "pyramid levels above the picture itself; OpenCV takes up to 8")
        .from(0)
        .byDefault(1),
    integer("iterations", "mean-shift steps of each pixel; OpenCV makes 100 at most").from(0).byDefault(5),
};
constexpr Result meanShiftResults[] = { { ResultKind::Image, "same size, bytes, colour space unspecified" } };
constexpr Text meanShiftLimits[] = {
    "Levels above 8 are refused by OpenCV.",
    "Calls that would look at more than 2^42 samples (pixels x window x iterations) are refused.",
};
constexpr Word meanShiftWords[] = { "@photo", "--spatial-radius", "15", "--color-radius", "0.08" };
constexpr Example meanShiftExamples[] = { { "A photo in flat colours", meanShiftWords } };

} // namespace

MIRAVEX_RECORD(medianFilter) {
    .summary = "Replaces every pixel by the median of a square around it",
    .arguments = medianArguments,
    .results = medianResults,
    .source = "T. Huang, G. Yang, G. Tang, \"A fast two-dimensional median filtering algorithm\", 1979",
    .limits = medianLimits,
    .examples = medianExamples
};

MIRAVEX_RECORD(pyrDown) {
    .summary = "Blurs a picture and halves its size",
    .arguments = pyrDownArguments,
    .results = pyrDownResults,
    .source = "P. Burt, E. Adelson, \"The Laplacian pyramid as a compact image code\", 1983",
    .constraints = pyrDownConstraints,
    .limits = pyrDownLimits,
    .examples = pyrDownExamples
};

MIRAVEX_RECORD(pyrUp) {
    .summary = "Doubles the size of a picture, smoothly",
    .arguments = pyrUpArguments,
    .results = pyrUpResults,
    .source = "P. Burt, E. Adelson, \"The Laplacian pyramid as a compact image code\", 1983",
    .constraints = pyrUpConstraints,
    .examples = pyrUpExamples
};

MIRAVEX_RECORD(pyrMeanShiftFilter) {
    .summary = "Flattens colours by mean-shift clustering over position and colour",
    .arguments = meanShiftArguments,
    .results = meanShiftResults,
    .source = "D. Comaniciu, P. Meer, \"Mean shift: a robust approach toward feature space analysis\", 2002",
    .limits = meanShiftLimits,
    .examples = meanShiftExamples
};

} // namespace miravex
