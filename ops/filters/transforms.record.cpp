
#include "catalog/call_view.h"
#include "ops/filters/option_names.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace miravex {

namespace {

using namespace records;
using Word = std::string_view;

constexpr Argument interpolationArgument =
    text("interpolation", "how values between pixels are made").oneOf(interpolationNames).byDefault("Linear");
constexpr Argument paddingArgument =
    text("padding", "how the picture continues beyond its edge").oneOf(paddingNames).byDefault("Constant");
constexpr Argument colorArgument =
    reals("color", "colour of \"Constant\" padding, in the units of the samples").shaped({ exactly(3) });

/// OpenCV resamples pictures with sides below 32767 alone.
constexpr int64_t longestRemappedSide = 32766;
bool remaps(const CallView& call)
{
    return std::max(call.rows("image"), call.columns("image")) <= longestRemappedSide;
}
constexpr Constraint remapConstraints[] = { { "image", "sides of at most 32766 pixels", remaps } };
constexpr Text remapLimits[] = {
    "OpenCV takes pictures with sides of at most 32766 pixels.",
    "OpenCV refuses the padding \"None\" where something lies outside the picture.",
};

// --- log-polar ------------------------------------------------------------------------------------------

constexpr Argument inverseArgument =
    boolean("inverse", "from the log-polar image back to the picture").byDefault(false);

/// From the middle of the picture to its corners.
double reach(const CallView& call)
{
    return std::hypot(static_cast<double>(call.rows("image")), static_cast<double>(call.columns("image")))
        / 2;
}

bool fitsFloat(double value) { return !(std::abs(value) > double { std::numeric_limits<float>::max() }); }

constexpr Argument logPolarCvArguments[] = {
    image("image", "picture to transform").channels({ 1, 2, 3, 4 }),
    reals("center", "x, y counted from the top left pixel downward; the middle when left out")
        .in("pixels")
        .shaped({ exactly(2) })
        .orEmpty()
        .orAbsent(),
    real("magnitude", "columns per unit of the logarithm of the radius")
        .above(0)
        .byDefault("so that the last column shows the corners",
                   [](const CallView& call) {
                       return static_cast<double>(call.columns("image")) / std::log(reach(call) + 1);
                   }),
    interpolationArgument,
    boolean("fill_outliers",
            "make what comes from outside the picture 0; otherwise it stays as it was in its place (0 in the "
            "inverse)")
        .byDefault(true),
    inverseArgument,
};
constexpr Constraint logPolarCvConstraints[] = {
    { "magnitude", "a number that single precision holds",
      [](const CallView& call) { return fitsFloat(call.real("magnitude")); } },
    { "center", "numbers that single precision holds",
      [](const CallView& call) { return std::ranges::all_of(call.reals("center"), fitsFloat); } },
    remapConstraints[0],
};
constexpr Result sameSizeResults[] = {
    { ResultKind::Image, "same size and type (bits become bytes), colour space unspecified" }
};
constexpr Text sizeLimits[] = { "OpenCV takes pictures with sides of at most 32766 pixels." };
constexpr Word logPolarCvWords[] = { "@photo" };
constexpr Example logPolarCvExamples[] = { { "A photo, radius by angle", logPolarCvWords } };

constexpr Argument logPolarRemapArguments[] = {
    image("image", "picture to transform").channels({ 1, 2, 3, 4 }),
    reals("center", "x, y from the bottom left corner upward; the middle when left out")
        .in("pixels")
        .shaped({ exactly(2) })
        .orEmpty()
        .orAbsent(),
    real("magnitude", "rows per unit of the logarithm of the radius")
        .above(0)
        .byDefault("so that the top row shows the corners",
                   [](const CallView& call) {
                       return static_cast<double>(call.rows("image")) / std::log(reach(call) + 1);
                   }),
    interpolationArgument,
    paddingArgument,
    colorArgument,
    inverseArgument,
};
constexpr Word logPolarRemapWords[] = { "@photo", "--magnitude", "85", "--color", "0,0,0" };
constexpr Word backWords[] = { "@log_polar", "--magnitude", "85", "--color", "0,0,0", "--inverse", "true" };
constexpr Example logPolarRemapExamples[] = {
    { "A photo by angle along and logarithm of the radius upward", logPolarRemapWords },
    { "The way back: sharp in the middle, coarse outside", backWords },
};

// --- phase correlation ----------------------------------------------------------------------------------

constexpr Argument phaseArguments[] = {
    image("first", "gray picture of reals").channels({ 1 }).pixels({ PixelTypeReal32, PixelTypeReal }),
    image("second", "the same scene, shifted")
        .channels({ 1 })
        .pixels({ PixelTypeReal32, PixelTypeReal })
        .sizeOf("first"),
    reals("window", "weights that both pictures are multiplied by; none when left out")
        .shaped({ rowsOf("first"), columnsOf("first") })
        .orEmpty()
        .orAbsent(),
};
constexpr Constraint phaseConstraints[] = {
    { "second", "the pixel type of the first picture",
      [](const CallView& call) {
          return call.image("first")->pixelType == call.image("second")->pixelType;
      } },
    { "window", "the empty list, or pictures of pixel type real",
      [](const CallView& call) {
          return call.length("window") == 0 || call.image("first")->pixelType == PixelTypeReal;
      } },
};
constexpr Result phaseResults[] = { { ResultKind::RealTensor, "the shift x, y with y upward",
                                      Layout::Shift } };
constexpr Text phaseLimits[] = { "OpenCV takes a window with pictures of pixel type real alone." };
constexpr Word phaseWords[] = { "@shifted1", "@shifted2" };
constexpr Example phaseExamples[] = { { "How far apart two crops of a photo were taken", phaseWords } };

// --- colours --------------------------------------------------------------------------------------------

constexpr Argument demosaicArguments[] = {
    image("image", "mosaic with one colour per pixel")
        .channels({ 1 })
        .pixels({ PixelTypeByte })
        .colors({ ColorSpaceGray }),
    text("pattern", "colours of the top left 2 x 2 pixels, row by row")
        .oneOf(bayerPatternNames)
        .byDefault("RGGB"),
};
constexpr Result demosaicResults[] = { { ResultKind::Image,
                                         "same size, red, green and blue bytes, colour space unspecified" } };
constexpr Text demosaicLimits[] = { "Mosaics of fewer than 3 rows or columns come out black." };
constexpr Word demosaicWords[] = { "@bayer", "--pattern", "RGGB" };
constexpr Example demosaicExamples[] = { { "The raw picture of a camera in colour", demosaicWords } };

constexpr Argument colorPicture[] = {
    image("image", "colour picture").channels({ 3 }).pixels({ PixelTypeByte }).colors({ ColorSpaceRGB }),
};
constexpr Result boostResults[] = { { ResultKind::Image,
                                      "same size, 3 byte channels, colour space unspecified" } };
constexpr Result decolorResults[] = { { ResultKind::Image,
                                        "same size, 1 byte channel, colour space unspecified" } };
constexpr Word colorWords[] = { "@photo" };
constexpr Example boostExamples[] = { { "A photo with its colours boosted", colorWords } };
constexpr Example decolorExamples[] = { { "A photo in grays that keep its contrasts", colorWords } };

// --- geometry -------------------------------------------------------------------------------------------

constexpr std::array<Word, 2> perspectiveInterpolations { "Nearest", "Linear" };
constexpr std::array<Word, 2> perspectivePaddings { "Constant", "Fixed" };

constexpr Argument perspectiveArguments[] = {
    image("image", "picture to warp"),
    reals("homography",
          "takes points of the picture to points of the result, y upward from the bottom edge; rewritten in "
          "place for downward rows by the call")
        .shaped({ exactly(3), exactly(3) })
        .rewrittenInPlace(),
    text("interpolation", "how values between pixels are made")
        .oneOf(perspectiveInterpolations)
        .byDefault("Linear"),
    text("padding", "how the picture continues beyond its edge")
        .oneOf(perspectivePaddings)
        .byDefault("Constant"),
    colorArgument,
};
constexpr Text perspectiveLimits[] = {
    "OpenCV takes pictures with sides of at most 32766 pixels.",
    "Every homography but the identity moves the picture up by one row besides.",
};
constexpr Word perspectiveWords[] = {
    "@sudoku", "--homography", "@sudoku_homography", "--color", "0,0,0",
};
constexpr Example perspectiveExamples[] = { { "A tilted page set upright", perspectiveWords } };

constexpr Argument remapArguments[] = {
    image("image", "picture to look up in").channels({ 1, 2, 3, 4 }),
    interpolationArgument,
    paddingArgument,
    colorArgument,
    reals("x", "column that each pixel of the result comes from, counted from 0")
        .in("pixels")
        .shaped({ rowsOf("image"), columnsOf("image") }),
    reals("y", "row that each pixel of the result comes from, counted from 0 at the top")
        .in("pixels")
        .shaped({ rowsOf("image"), columnsOf("image") }),
};
constexpr Word remapWords[] = { "@photo", "--padding", "Reflected", "--color",  "0,0,0",
                                "--x",    "@ripple_x", "--y",       "@ripple_y" };
constexpr Example remapExamples[] = { { "A photo under water", remapWords } };

} // namespace

MIRAVEX_RECORD(logPolarCV) {
    .summary = "Transforms a picture to log-polar form or back, as OpenCV does",
    .arguments = logPolarCvArguments,
    .results = sameSizeResults,
    .source = "E. Schwartz, \"Spatial mapping in the primate sensory projection\", 1977",
    .constraints = logPolarCvConstraints,
    .limits = sizeLimits,
    .examples = logPolarCvExamples
};

MIRAVEX_RECORD(logPolarRemap) {
    .summary = "Transforms a picture to log-polar form or back, angles along the rows",
    .arguments = logPolarRemapArguments,
    .results = sameSizeResults,
    .source = "E. Schwartz, \"Spatial mapping in the primate sensory projection\", 1977",
    .constraints = remapConstraints,
    .limits = remapLimits,
    .examples = logPolarRemapExamples
};

MIRAVEX_RECORD(phaseCorrelate) {
    .summary = "Measures by how much one picture is shifted against another",
    .arguments = phaseArguments,
    .results = phaseResults,
    .source = "C. Kuglin, D. Hines, \"The phase correlation image alignment method\", 1975",
    .constraints = phaseConstraints,
    .limits = phaseLimits,
    .examples = phaseExamples
};

MIRAVEX_RECORD(imageDemosaic) { .summary = "Makes a colour picture of a Bayer mosaic",
                                .arguments = demosaicArguments,
                                .results = demosaicResults,
                                .source = "B. Bayer, \"Color imaging array\", US patent 3971065, 1976",
                                .limits = demosaicLimits,
                                .examples = demosaicExamples };

MIRAVEX_RECORD(colorBoost) { .summary = "Boosts the colours of a picture along with its contrasts",
                             .arguments = colorPicture,
                             .results = boostResults,
                             .source = "C. Lu, L. Xu, J. Jia, \"Contrast preserving decolorization\", 2012",
                             .examples = boostExamples };

MIRAVEX_RECORD(decolor) { .summary = "Makes a gray picture that keeps the contrasts of the colours",
                          .arguments = colorPicture,
                          .results = decolorResults,
                          .source = "C. Lu, L. Xu, J. Jia, \"Contrast preserving decolorization\", 2012",
                          .examples = decolorExamples };

MIRAVEX_RECORD(imagePerspectiveTransformation) {
    .summary = "Warps a picture by a homography",
    .arguments = perspectiveArguments,
    .results = sameSizeResults,
    .source = "R. Hartley, A. Zisserman, \"Multiple view geometry in computer vision\", 2004",
    .constraints = remapConstraints,
    .limits = perspectiveLimits,
    .examples = perspectiveExamples
};

MIRAVEX_RECORD(remapTensor) { .summary = "Looks every pixel up at a position of another picture",
                              .arguments = remapArguments,
                              .results = sameSizeResults,
                              .source = "G. Wolberg, \"Digital image warping\", 1990",
                              .constraints = remapConstraints,
                              .limits = remapLimits,
                              .examples = remapExamples };

} // namespace miravex
