#include "catalog/call_view.h"
#include "convert/integers.h"
#include "ops/photo/bounds.h"
#include "ops/photo/record_parts.h"

#include <algorithm>

namespace miravex {

namespace {

using namespace records;

constexpr std::string_view source =
    "A. Buades, B. Coll, J.-M. Morel, \"A non-local algorithm for image denoising\", 2005";

constexpr Argument strength =
    real("strength", "how much noise is removed; about the noise's standard deviation in samples of 0 to 255")
        .byDefault(10.0);
constexpr Argument colorStrength =
    real("color_strength", "the same for the colour components").byDefault(10.0);
constexpr Argument templateWindow = integer("template_window", "side of the squares that are compared")
                                        .in("pixels")
                                        .odd()
                                        .low32Bits()
                                        .from(1)
                                        .to(bounds::denoisingTemplate(1))
                                        .byDefault(7);
constexpr Argument colorTemplateWindow = templateWindow.to(bounds::denoisingTemplate(2));
constexpr Argument searchWindow =
    integer("search_window", "side of the square that is searched for like ones")
        .in("pixels")
        .odd()
        .low32Bits()
        .from(1)
        .to(bounds::denoisingSearch)
        .byDefault(21);
constexpr Argument frame = integer("frame", "which frame to denoise, counted from 1")
                               .from(1)
                               .byDefault("the middle frame", [](const CallView& call) {
                                   const int64_t middle = (call.slices("frames") + 1) / 2;
                                   return static_cast<double>(middle);
                               });
constexpr Argument temporalWindow =
    integer("temporal_window", "how many frames around the frame are searched, itself included")
        .in("frames")
        .odd()
        .low32Bits()
        .from(1)
        .byDefault(3);

// --- constraints ----------------------------------------------------------------------------------------

bool templateFits(const CallView& call, std::string_view image)
{
    return bounds::denoisingTemplateFits(lowInt32(call.integer("template_window")), call.channels(image));
}

/// Frames that are searched; one of an image.
int64_t framesOf(const CallView& call)
{
    return call.has("temporal_window") ? lowInt32(call.integer("temporal_window")) : 1;
}

bool ends(const CallView& call, std::string_view image)
{
    return bounds::denoisingEnds(call.rows(image), call.columns(image), framesOf(call),
                                 lowInt32(call.integer("search_window")),
                                 lowInt32(call.integer("template_window")));
}

bool fitsFrames(const CallView& call, std::string_view window)
{
    return lowInt32(call.integer(window)) <= std::min(call.rows("frames"), call.columns("frames"));
}

bool temporalFits(const CallView& call)
{
    const int64_t half = lowInt32(call.integer("temporal_window")) / 2;
    return call.integer("frame") > half && call.integer("frame") <= call.slices("frames") - half;
}

constexpr Text fewerSteps { "windows whose templates are compared in at most {} steps", bounds::work };

constexpr Constraint imageEnds { "search_window", fewerSteps,
                                 [](const CallView& call) { return ends(call, "image"); } };
constexpr Constraint sequenceEnds { "search_window", fewerSteps,
                                    [](const CallView& call) { return ends(call, "frames"); } };
constexpr Constraint searchesFit {
    "search_window",
    { "search windows of at most {} pixels in all frames together", bounds::denoisingWeights },
    [](const CallView& call) {
        return bounds::denoisingSearchFits(framesOf(call), lowInt32(call.integer("search_window")));
    }
};
constexpr Constraint searchInFrames { "search_window", "at most the rows and the columns of the frames",
                                      [](const CallView& call) {
                                          return fitsFrames(call, "search_window");
                                      } };
constexpr Constraint templateInFrames { "template_window", "at most the rows and the columns of the frames",
                                        [](const CallView& call) {
                                            return fitsFrames(call, "template_window");
                                        } };
constexpr Constraint windowInTime { "temporal_window", "a window around the frame within the sequence",
                                    temporalFits };

constexpr Constraint grayConstraints[] = {
    imageFits,
    { "image", "colour space RGB for 3 channels",
      [](const CallView& call) {
          return call.channels("image") != 3 || call.colorSpace("image") == ColorSpaceRGB;
      } },
    { "template_window",
      { "at most {}, {} or {} for 1, 2 or 3 channels", bounds::denoisingTemplate(1),
        bounds::denoisingTemplate(2), bounds::denoisingTemplate(3) },
      [](const CallView& call) { return templateFits(call, "image"); } },
    imageEnds,
};
constexpr Constraint coloredConstraints[] = { imageFits, imageEnds };
constexpr Constraint multiConstraints[] = {
    framesFit,
    searchInFrames,
    templateInFrames,
    windowInTime,
    { "template_window",
      { "at most {}, {}, {} or {} for 1, 2, 3 or 4 channels", bounds::denoisingTemplate(1),
        bounds::denoisingTemplate(2), bounds::denoisingTemplate(3), bounds::denoisingTemplate(4) },
      [](const CallView& call) { return templateFits(call, "frames"); } },
    searchesFit,
    sequenceEnds,
};
constexpr Constraint coloredMultiConstraints[] = {
    framesFit, searchInFrames, templateInFrames, windowInTime, searchesFit, sequenceEnds,
};

// --- limits ---------------------------------------------------------------------------------------------

constexpr Text longWindows { "Windows whose templates take more than {} steps to compare are refused.",
                             bounds::work };
constexpr Text coarseWeights { "Weights are whole numbers up to 8421504 divided by the pixels of all search "
                               "windows: up to 8 where these "
                               "are a thousand pixels wide, 0 or 1 in the widest." };

constexpr Text imageLimits[] = {
    { "Templates whose squared differences may exceed 32 bits (more than {}, {} or {} pixels for 1, 2 or 3 "
      "channels) are refused.",
      bounds::denoisingTemplate(1), bounds::denoisingTemplate(2), bounds::denoisingTemplate(3) },
    { "Search windows above {} are refused: their sums may exceed 32 bits.", bounds::denoisingSearch },
    coarseWeights,
    longWindows,
};
constexpr Text sequenceLimits[] = {
    { "All search windows together hold at most {} pixels: their sums may exceed 32 bits beyond that.",
      bounds::denoisingWeights },
    "Templates whose squared differences may exceed 32 bits are refused.",
    coarseWeights,
    longWindows,
};

// --- arguments and records ------------------------------------------------------------------------------

constexpr Result results[] = {
    { ResultKind::Image, "same size, bytes, colour space unspecified", Layout::Plain, {}, likeImage }
};
constexpr Result frameResults[] = {
    { ResultKind::Image, "same size, bytes, colour space unspecified", Layout::Plain, {}, likeFrame }
};
constexpr ReachRule windowsReach {
    "half of the template and half of the search window to each side, (template_window - 1) / 2 + "
    "(search_window - 1) / 2 pixels",
    [](const CallView& call) {
        return Reach::around(lowInt32(call.integer("template_window")) / 2
                             + lowInt32(call.integer("search_window")) / 2);
    },
};

constexpr Argument grayArguments[] = {
    image("image", "picture to denoise; colour is denoised as a whole")
        .channels({ 1, 2, 3 })
        .pixels({ PixelTypeByte }),
    strength,
    templateWindow,
    searchWindow,
};
constexpr Argument coloredArguments[] = {
    image("image", "picture to denoise").channels({ 3 }).pixels({ PixelTypeByte }).colors({ ColorSpaceRGB }),
    strength,
    colorStrength,
    colorTemplateWindow,
    searchWindow,
};
constexpr Argument multiArguments[] = {
    sequence("frames", "frames of one scene").channels({ 1, 2, 3, 4 }).pixels({ PixelTypeByte }),
    frame,
    temporalWindow,
    strength,
    templateWindow,
    searchWindow,
};
constexpr Argument coloredMultiArguments[] = {
    sequence("frames", "frames of one scene").channels({ 3 }).pixels({ PixelTypeByte }),
    frame,
    temporalWindow,
    strength,
    colorStrength,
    colorTemplateWindow,
    searchWindow,
};

constexpr Word grayWords[] = { "@noisy_gray", "--strength", "22" };
constexpr Example grayExamples[] = { { "A noisy photo without its noise", grayWords } };
constexpr Word coloredWords[] = { "@noisy", "--strength", "12", "--color-strength", "12" };
constexpr Example coloredExamples[] = { { "A noisy colour photo without its noise", coloredWords } };
constexpr Word multiWords[] = {
    "@noisy_gray_sequence", "--frame", "3", "--temporal-window", "5", "--strength", "15",
};
constexpr Example multiExamples[] = { { "The third of five noisy frames", multiWords } };
constexpr Word coloredMultiWords[] = {
    "@noisy_sequence", "--frame", "3", "--temporal-window", "5", "--strength", "12", "--color-strength", "12"
};
constexpr Example coloredMultiExamples[] = { { "The third of five noisy colour frames", coloredMultiWords } };

} // namespace

MIRAVEX_RECORD(fastNlMeansDenoising) {
    .summary = "Removes noise by averaging pixels whose surroundings look alike",
    .arguments = grayArguments,
    .results = results,
    .source = source,
    .constraints = grayConstraints,
    .limits = imageLimits,
    .examples = grayExamples,
    .reach = windowsReach
};

MIRAVEX_RECORD(fastNlMeansDenoisingColored) {
    .summary = "Removes noise from lightness and colour apart, each with its own strength",
    .arguments = coloredArguments,
    .results = results,
    .source = source,
    .constraints = coloredConstraints,
    .limits = imageLimits,
    .examples = coloredExamples,
    .reach = windowsReach
};

MIRAVEX_RECORD(fastNlMeansDenoisingMulti) {
    .summary = "Removes noise from one frame with the help of the frames around it",
    .arguments = multiArguments,
    .results = frameResults,
    .source = source,
    .constraints = multiConstraints,
    .limits = sequenceLimits,
    .examples = multiExamples,
    .reach = windowsReach
};

MIRAVEX_RECORD(fastNlMeansDenoisingColoredMulti) {
    .summary = "Removes noise from lightness and colour of one frame with the help of the frames around it",
    .arguments = coloredMultiArguments,
    .results = frameResults,
    .source = source,
    .constraints = coloredMultiConstraints,
    .limits = sequenceLimits,
    .examples = coloredMultiExamples,
    .reach = windowsReach
};

} // namespace miravex
