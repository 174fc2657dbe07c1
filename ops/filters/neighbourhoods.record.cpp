
#include "catalog/call_view.h"
#include "ops/filters/bounds.h"
#include "ops/filters/option_names.h"

#include <algorithm>

namespace miravex {

namespace {

using namespace records;
using Word = std::string_view;

constexpr Argument paddingArgument(Word usual)
{
    return text("padding", "how the picture continues beyond its edge; \"None\" is zero fill")
        .oneOf(paddingNames)
        .byDefault(Default { usual });
}
constexpr Argument paddingValue =
    real("padding_value", "what \"Constant\" padding is made of, in the units of the samples").byDefault(0.0);

/// The library cuts a radius to 32 bits.
constexpr Constraint integerRadius { "radius", "a radius of at most 2147483647", [](const CallView& call) {
                                        return static_cast<int>(call.integer("radius")) >= 1;
                                    } };

// --- convolution ----------------------------------------------------------------------------------------

constexpr Argument convolveArguments[] = {
    image("image", "picture to convolve"),
    reals("horizontal", "kernel along the rows; reversed in place by the call")
        .shaped({ atLeast(1) })
        .rewrittenInPlace(),
    reals("vertical", "kernel along the columns; reversed in place by the call")
        .shaped({ atLeast(1) })
        .rewrittenInPlace(),
    paddingArgument("Reflected"),
};
bool tapsFit(const CallView& call, Word kernel) { return call.length(kernel) <= bounds::kernelTaps; }
constexpr Constraint convolveConstraints[] = {
    { "horizontal", "at most 32768 elements",
      [](const CallView& call) { return tapsFit(call, "horizontal"); } },
    { "vertical", "at most 32768 elements", [](const CallView& call) { return tapsFit(call, "vertical"); } },
    { "vertical", "kernels of fewer elements for a picture of this size",
      [](const CallView& call) {
          const int64_t rows = call.rows("image"), columns = call.columns("image");
          const int64_t channels = call.channels("image");
          const int64_t across = call.length("horizontal"), down = call.length("vertical");
          return bounds::product({ rows, columns, channels, across + down }) <= bounds::work
              && bounds::marginOf(rows, columns, channels, down, across) <= bounds::marginSamples;
      } },
};
constexpr Result convolveResults[] = {
    { ResultKind::Image, "same size and colour space, real for a real picture, otherwise real32" }
};
constexpr Text convolveLimits[] = {
    "Kernels of more than 32768 elements are refused: OpenCV takes forever over them.",
    "Kernels are refused that read a margin of more than 2^28 samples or take more than 2^42 products.",
    "One tensor given as both kernels is reversed twice, stays as it was, and correlates.",
};
constexpr Word convolveWords[] = { "@photo", "--horizontal", "0.04,0.08,0.12,0.16,0.2,0.16,0.12,0.08,0.04",
                                   "--vertical", "0.04,0.08,0.12,0.16,0.2,0.16,0.12,0.08,0.04" };
constexpr Word edgeWords[] = { "@gray", "--horizontal", "1,0,-1", "--vertical", "1,2,1" };
constexpr Example convolveExamples[] = { { "A photo under a triangular blur", convolveWords },
                                         { "The vertical edges of a photo", edgeWords } };

// --- correlation ----------------------------------------------------------------------------------------

constexpr Argument correlateArguments[] = {
    image("image", "picture to search").channels({ 1 }).pixels({ PixelTypeByte, PixelTypeReal32 }),
    image("kernel", "what to search for; of the picture's pixel type and no larger")
        .channels({ 1 })
        .pixels({ PixelTypeByte, PixelTypeReal32 }),
    text("distance", "how picture and kernel are compared; small is near, but for \"Dot\"")
        .oneOf(correlationDistanceNames)
        .byDefault("CorrelationDistance"),
    text("padding",
         "how the picture continues beyond its edge; \"None\" compares only where the kernel fits in")
        .oneOf(paddingNames)
        .byDefault("Fixed"),
    paddingValue,
};
constexpr Constraint correlateConstraints[] = {
    { "kernel", "the pixel type of the picture",
      [](const CallView& call) {
          return call.image("image")->pixelType == call.image("kernel")->pixelType;
      } },
    { "kernel", "a kernel no larger than the picture",
      [](const CallView& call) {
          return call.rows("kernel") <= call.rows("image") && call.columns("kernel") <= call.columns("image");
      } },
};
constexpr Result correlateResults[] = {
    { ResultKind::Image,
      "real32; (rows - kernel rows + 1) x (columns - kernel columns + 1)",
      Layout::Plain,
      { "padding", "None" } },
    { ResultKind::Image, "same size, real32, colour space unspecified" },
};
constexpr Word correlateWords[] = { "@gray", "@template", "--distance", "CorrelationDistance" };
constexpr Example correlateExamples[] = { { "Where in a photo a piece of it comes from: the darkest pixel",
                                            correlateWords } };

// --- dilation -------------------------------------------------------------------------------------------

constexpr Argument dilationArguments[] = {
    image("image", "picture to dilate, channel by channel"),
    integer("radius", "how far the square around a pixel reaches; its side is 2 radius + 1")
        .in("pixels")
        .from(1)
        .byDefault(2),
};
constexpr Constraint dilationConstraints[] = { integerRadius };
constexpr Result dilationResults[] = { { ResultKind::Image, "same size, pixel type and colour space" } };
constexpr Text dilationLimits[] = { "A radius beyond the picture's sides has the effect of those sides." };
constexpr Word dilationWords[] = { "@photo", "--radius", "4" };
constexpr Example dilationExamples[] = { { "A photo with its bright parts spread", dilationWords } };

// --- padding --------------------------------------------------------------------------------------------

constexpr Argument margin(Word name, Word summary)
{
    return integer(name, summary).in("pixels").from(0).byDefault(16);
}
constexpr Argument padArguments[] = {
    image("image", "picture to pad").channels({ 1, 2, 3, 4 }),
    margin("top", "rows added above"),
    margin("bottom", "rows added below"),
    margin("left", "columns added on the left"),
    margin("right", "columns added on the right"),
    paddingArgument("Reflected"),
    reals("values", "the colour of \"Constant\" padding, one number per channel in the units of the samples")
        .shaped({ channelsOf("image") })
        .when("padding", "Constant"),
};
constexpr Constraint padConstraints[] = {
    { "bottom", "margins that add at most 2^30 samples",
      [](const CallView& call) {
          const auto cut = [&](Word name) { return int64_t { static_cast<int>(call.integer(name)) }; };
          const int64_t top = cut("top"), bottom = cut("bottom"), left = cut("left"), right = cut("right");
          return std::min({ top, bottom, left, right }) >= 0
              && bounds::padsTo(call.rows("image"), call.columns("image"), call.channels("image"),
                                top + bottom, left + right);
      } },
};
constexpr Result padResults[] = { { ResultKind::Image,
                                    "with its margins, same pixel type and colour space" } };
constexpr Text padLimits[] = {
    "Margins that add more than 2^30 samples are refused, and so are sides of more than 2^31 - 1 pixels."
};
constexpr Word padWords[] = { "@photo", "--top",   "60",  "--bottom",  "60",       "--left",
                              "100",    "--right", "100", "--padding", "Reflected" };
constexpr Word frameWords[] = { "@photo", "--padding", "Constant", "--values", "200,160,60" };
constexpr Example padExamples[] = { { "A photo continued by its reflections", padWords },
                                    { "A photo in a golden frame", frameWords } };

// --- binarization ---------------------------------------------------------------------------------------

constexpr Argument binarizeArguments[] = {
    image("image", "picture to binarize; its samples are taken as reals").channels({ 1 }),
    integer("radius", "how far the window around a pixel reaches; its side is 2 radius + 1")
        .in("pixels")
        .from(1)
        .byDefault(15),
    reals("coefficients",
          "c0, c1, c2: a pixel is set when its value, less c0 local means and c1 local deviations, "
          "exceeds c2")
        .shaped({ exactly(3) }),
    paddingArgument("Reflected"),
    real("padding_value", "what \"Constant\" padding is made of; samples lie between 0 and 1").byDefault(0.0),
};
constexpr Constraint binarizeConstraints[] = {
    integerRadius,
    { "radius", "a window whose margin has at most 2^28 samples",
      [](const CallView& call) {
          const auto weights = call.reals("coefficients");
          const int64_t around = 2 * int64_t { static_cast<int>(call.integer("radius")) };
          return (weights[0] == 0 && weights[1] == 0)
              || bounds::marginOf(call.rows("image"), call.columns("image"), 1, around, around)
              <= bounds::marginSamples;
      } },
};
constexpr Result binarizeResults[] = { { ResultKind::Image, "same size, bits, colour space unspecified" } };
constexpr Text binarizeLimits[] = {
    "Windows that read a margin of more than 2^28 samples are refused.",
    "With the paddings \"Constant\" and \"Periodic\" the mean sees the padding, the deviation reflections.",
};
constexpr Word binarizeWords[] = { "@document", "--radius", "12", "--coefficients", "1,0,-0.05" };
constexpr Word darkWords[] = { "@document", "--radius", "20", "--coefficients", "1,-0.3,0" };
constexpr Example binarizeExamples[] = {
    { "A photographed page in black and white, in spite of its shadows", binarizeWords },
    { "The same page, by mean and deviation", darkWords },
};

} // namespace

MIRAVEX_RECORD(imageConvolve) {
    .summary = "Convolves a picture with a separable kernel",
    .arguments = convolveArguments,
    .results = convolveResults,
    .source = "the sum over i, j of horizontal(i) vertical(j) image(x - i, y - j)",
    .constraints = convolveConstraints,
    .limits = convolveLimits,
    .examples = convolveExamples
};

MIRAVEX_RECORD(imageCorrelate) { .summary = "Compares a small picture with every place of a larger one",
                                 .arguments = correlateArguments,
                                 .results = correlateResults,
                                 .source = "J. Lewis, \"Fast normalized cross-correlation\", 1995",
                                 .constraints = correlateConstraints,
                                 .examples = correlateExamples };

MIRAVEX_RECORD(dilation) { .summary = "Replaces every pixel by the maximum of a square around it",
                           .arguments = dilationArguments,
                           .results = dilationResults,
                           .source = "J. Serra, \"Image analysis and mathematical morphology\", 1982",
                           .constraints = dilationConstraints,
                           .limits = dilationLimits,
                           .examples = dilationExamples };

MIRAVEX_RECORD(imagePad) {
    .summary = "Adds rows and columns around a picture",
    .arguments = padArguments,
    .results = padResults,
    .source = "copies of the edge, of reflections, of the picture itself, or one colour",
    .constraints = padConstraints,
    .limits = padLimits,
    .examples = padExamples
};

MIRAVEX_RECORD(localAdaptiveBinarize) {
    .summary = "Separates dark from light by the mean and deviation of each pixel's neighbourhood",
    .arguments = binarizeArguments,
    .results = binarizeResults,
    .source = "J. Sauvola, M. Pietikainen, \"Adaptive document image binarization\", 2000",
    .constraints = binarizeConstraints,
    .limits = binarizeLimits,
    .examples = binarizeExamples
};

} // namespace miravex
