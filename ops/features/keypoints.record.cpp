#include "catalog/call_view.h"
#include "ops/features/bounds.h"
#include "ops/features/option_names.h"

#include <algorithm>
#include <cmath>

namespace miravex {

namespace {

using namespace records;
using Word = std::string_view;

// --- what all six share ---------------------------------------------------------------------------------

constexpr Argument pictureArgument =
    image("image", "gray picture to look at").channels({ 1 }).pixels({ PixelTypeByte });
constexpr Argument useMaskArgument =
    boolean("use_mask", "whether a mask says where keypoints may lie").setBy("mask").byDefault(false);
constexpr Argument maskArgument = image("mask", "bits of the picture's size, 1 where keypoints may lie")
                                      .channels({ 1 })
                                      .pixels({ PixelTypeBit })
                                      .sizeOf("image")
                                      .when("use_mask", "true");

constexpr auto modeNames = namesOf(keypointModes);
constexpr Argument modeArgument =
    text("mode", "find keypoints, describe those given, or both").oneOf(modeNames).byDefault("detect");
constexpr Argument keypointsArgument =
    reals("keypoints", "keypoints to describe, as found: x, y, size, angle, response, octave, class_id")
        .shaped({ atLeast(0), exactly(7) })
        .when("mode", "compute");

constexpr auto diffusivityNames = namesOf(diffusivities);
constexpr Argument diffusivityArgument =
    text("diffusivity", "how edges hold back the diffusion").oneOf(diffusivityNames).byDefault("DIFF_PM_G2");

constexpr Result cornerResults[] = {
    { ResultKind::RealTensor, "n x 7: x, y, size, angle, response, octave, class_id", Layout::Keypoints }
};
constexpr Result featureResults[] = {
    { ResultKind::RealTensor,
      "n x 7: x, y, size, angle, response, octave, class_id",
      Layout::Keypoints,
      { "mode", "detect" } },
    { ResultKind::RealTensor,
      "m x d: the descriptors of the keypoints that OpenCV kept, in their order",
      Layout::Descriptors,
      { "mode", "compute" } },
    { ResultKind::RealTensor,
      "n x (7 + d): keypoints, each with its descriptor",
      Layout::KeypointsAndDescriptors,
      { "mode", "detectAndCompute" } },
};

bool computes(const CallView& call) { return call.text("mode") == "compute"; }

bool isSmallInteger(double value) { return std::abs(value) < 2147483648.0; }

/// The rows that the library reads: see readKeypointTensor().
bool keypointsFit(const CallView& call, double highestOctave)
{
    if (!computes(call)) return true;
    const double rows = static_cast<double>(call.rows("image"));
    const double columns = static_cast<double>(call.columns("image"));
    const auto elements = call.reals("keypoints");
    for (std::size_t first = 0; first + 7 <= elements.size(); first += 7) {
        const auto row = elements.subspan(first, 7);
        const auto finite = [](double value) { return std::isfinite(static_cast<float>(value)); };
        if (!std::ranges::all_of(row.first(5), finite)) return false;
        if (!isSmallInteger(row[5]) || !isSmallInteger(row[6])) return false;
        if (row[0] < 0 || row[0] > columns || row[1] < 0 || row[1] > rows) return false;
        const double size = static_cast<double>(static_cast<float>(row[2]));
        if (!(size > 0) || size > std::hypot(rows, columns)) return false;
        if (row[5] <= -1 || row[5] >= highestOctave + 1) return false;
    }
    return true;
}

constexpr double anyOctave = 2147483647;
constexpr Constraint keypointsConstraint {
    "keypoints", "positions inside the picture, sizes above 0 and up to its diagonal, octaves from 0",
    [](const CallView& call) { return keypointsFit(call, anyOctave); }
};

constexpr Text keypointLimit =
    "Keypoints to describe are refused when a number is not finite as a float or a size exceeds the "
    "picture's diagonal: OpenCV crashes on them.";

// --- corners --------------------------------------------------------------------------------------------

constexpr Argument thresholdArgument =
    integer("threshold", "how much brighter or darker than a corner the pixels around it are")
        .in("gray levels")
        .from(0)
        .byDefault(20);
constexpr Argument suppressionArgument =
    boolean("nonmax_suppression", "keep only the strongest of neighbouring corners").byDefault(true);

constexpr Argument agastArguments[] = { pictureArgument, useMaskArgument, maskArgument, thresholdArgument,
                                        suppressionArgument };
constexpr Argument fastArguments[] = { pictureArgument.sides(7, 7), useMaskArgument, maskArgument,
                                       thresholdArgument, suppressionArgument };
constexpr Word cornerWords[] = { "@building", "--threshold", "40" };
constexpr Word maskedWords[] = { "@photo", "--mask", "@mask", "--threshold", "30" };
constexpr Example agastExamples[] = { { "Corners of a building", cornerWords } };
constexpr Example fastExamples[] = { { "Corners of a building", cornerWords },
                                     { "Corners inside a mask", maskedWords } };

// --- AKAZE ----------------------------------------------------------------------------------------------

constexpr auto descriptorNames = namesOf(akazeDescriptors);

constexpr Argument akazeArguments[] = {
    pictureArgument,
    useMaskArgument,
    maskArgument,
    modeArgument,
    real("threshold", "least response of a keypoint").byDefault(0.001),
    integer("n_octaves", "halvings of the picture; small pictures end them sooner").from(1).byDefault(4),
    integer("n_octave_layers", "levels of each octave").from(1).to(11).byDefault(4),
    diffusivityArgument,
    text("descriptor_type", "binary (MLDB) or float (KAZE) descriptors, turned upright or not")
        .oneOf(descriptorNames)
        .byDefault("DESCRIPTOR_MLDB"),
    integer("descriptor_size", "bits of a binary descriptor; 0 for all")
        .in("bits")
        .from(0)
        .to(486)
        .byDefault(0),
    integer("descriptor_channels", "what a binary descriptor compares: brightness, gradients")
        .from(1)
        .to(3)
        .byDefault(3),
    keypointsArgument,
};
bool isBinary(const CallView& call) { return call.text("descriptor_type").starts_with("DESCRIPTOR_MLDB"); }
constexpr Constraint akazeConstraints[] = {
    { "descriptor_channels", "at least 2 for binary descriptors of a size above 0",
      [](const CallView& call) {
          return !isBinary(call) || call.integer("descriptor_size") == 0
              || call.integer("descriptor_channels") >= 2;
      } },
    { "descriptor_channels", "3 for binary descriptors of size 0, unless keypoints are only detected",
      [](const CallView& call) {
          return !isBinary(call) || call.text("mode") == "detect" || call.integer("descriptor_size") != 0
              || call.integer("descriptor_channels") == 3;
      } },
    { "descriptor_size", "at most 162 bits for each channel",
      [](const CallView& call) {
          return !isBinary(call)
              || call.integer("descriptor_size") <= 162 * call.integer("descriptor_channels");
      } },
    { "keypoints", "positions inside the picture, sizes above 0 and up to its diagonal, octaves from 0 to 30",
      [](const CallView& call) { return keypointsFit(call, static_cast<double>(bounds::shiftedOctave)); } },
};
constexpr Text akazeLimits[] = {
    "Binary descriptors of a size above 0 with one channel are refused: OpenCV overflows its table of "
    "comparisons.",
    "Binary descriptors of size 0 with fewer than three channels are refused: OpenCV writes beyond them.",
    "Octaves of keypoints to describe are refused above 30: OpenCV shifts a 32-bit one by them.",
    keypointLimit,
};
constexpr Word akazeWords[] = { "@graf1" };
constexpr Example akazeExamples[] = { { "Keypoints of a wall with graffiti", akazeWords } };

// --- BRISK ----------------------------------------------------------------------------------------------

constexpr Argument briskArguments[] = {
    pictureArgument,
    useMaskArgument,
    maskArgument,
    modeArgument,
    integer("threshold", "how much brighter or darker than a corner the pixels around it are")
        .in("gray levels")
        .from(1)
        .byDefault(30),
    integer("octaves", "halvings of the picture; OpenCV fails where one would leave no pixels")
        .from(0)
        .byDefault(3),
    real("pattern_scale", "size of the pattern of samples around a keypoint").above(0).byDefault(1.0),
    keypointsArgument,
};
constexpr Constraint keypointsConstraints[] = { keypointsConstraint };
constexpr Text briskLimits[] = { keypointLimit };
constexpr Word briskWords[] = { "@graf1", "--threshold", "50" };
constexpr Example briskExamples[] = { { "Keypoints of a wall with graffiti", briskWords } };

// --- KAZE -----------------------------------------------------------------------------------------------

constexpr Argument kazeArguments[] = {
    pictureArgument.sides(2, 2),
    useMaskArgument,
    maskArgument,
    modeArgument,
    real("threshold", "least response of a keypoint").byDefault(0.001),
    integer("n_octaves", "doublings of the scale; those too coarse for the picture are skipped")
        .from(1)
        .to(15)
        .byDefault(4),
    integer("n_octave_layers", "levels of each octave").from(1).to(11).byDefault(4),
    diffusivityArgument,
    boolean("extended", "descriptors of 128 instead of 64 numbers").byDefault(false),
    boolean("upright", "descriptors that are not turned with the picture").byDefault(false),
    keypointsArgument,
};
constexpr Text kazeLimits[] = {
    "Scale spaces (rows x columns x octaves x layers x 10) of more than 2^31 samples are refused.",
    "Keypoints to describe are refused when their class_id names a level of a skipped octave.",
    keypointLimit,
};
constexpr Word kazeWords[] = { "@graf3", "--threshold", "0.004" };
constexpr Example kazeExamples[] = { { "Keypoints of the same wall, seen from the side", kazeWords } };

// --- ORB ------------------------------------------------------------------------------------------------

constexpr auto scoreNames = namesOf(orbScores);

constexpr Argument orbArguments[] = {
    pictureArgument,
    useMaskArgument,
    maskArgument,
    modeArgument,
    integer("fast_threshold", "how much brighter or darker than a corner the pixels around it are")
        .in("gray levels")
        .byDefault(20),
    integer("n_features", "keypoints to keep at most").from(0).byDefault(500),
    real("scale_factor", "how much smaller each level of the pyramid is").above(1).byDefault(1.2),
    integer("n_levels", "levels of the pyramid, each with pixels").from(1).byDefault(8),
    integer("edge_threshold", "margin without keypoints, and side of the patch that is described")
        .in("pixels")
        .from(2)
        .byDefault(31),
    integer("wta_k", "pixels that each part of a descriptor compares").from(2).to(4).byDefault(2),
    text("score_type", "what ranks the keypoints").oneOf(scoreNames).byDefault("HARRIS_SCORE"),
    keypointsArgument,
};
/// Levels that OpenCV builds: those of the described keypoints, or as many as asked for.
double pyramidLevels(const CallView& call)
{
    if (!computes(call)) return static_cast<double>(call.integer("n_levels"));
    double highest = 0;
    const auto elements = call.reals("keypoints");
    for (std::size_t first = 0; first + 7 <= elements.size(); first += 7)
        highest = std::max(highest, std::floor(elements[first + 5]));
    return highest + 1;
}
bool hasPixelsAtTheTop(const CallView& call)
{
    const double factor = std::max(call.real("scale_factor"), 1.0000001);
    const double smaller = static_cast<double>(std::min(call.rows("image"), call.columns("image")));
    return smaller / std::pow(factor, pyramidLevels(call) - 1) > 0.5;
}
bool pyramidFits(const CallView& call)
{
    const double factor = std::max(call.real("scale_factor"), 1.0000001);
    const double border = 2 * (static_cast<double>(call.integer("edge_threshold")) + 16);
    double samples = 0;
    for (double level = 0; level < pyramidLevels(call); ++level) {
        const double scale = std::pow(factor, level);
        samples += (static_cast<double>(call.rows("image")) / scale + border)
            * (static_cast<double>(call.columns("image")) / scale + border);
        if (samples > static_cast<double>(bounds::resultSamples)) return false;
    }
    return true;
}
constexpr Constraint orbConstraints[] = {
    keypointsConstraint,
    { "n_levels", "few enough levels that the last still has pixels", hasPixelsAtTheTop },
    { "edge_threshold", "a margin with which all levels together have at most 2^30 samples", pyramidFits },
};
constexpr Text orbLimits[] = {
    "The edge threshold is also the side of the described patch; OpenCV refuses patches of 0 and 1.",
    "Pyramids are refused that have a level without pixels, or with their margins more than 2^30 samples.",
    keypointLimit,
};
constexpr Word orbWords[] = { "@building", "--n-features", "300" };
constexpr Example orbExamples[] = { { "The 300 best keypoints of a building", orbWords } };

} // namespace

MIRAVEX_RECORD(agast) {
    .summary = "Finds corners by the adaptive accelerated segment test",
    .arguments = agastArguments,
    .results = cornerResults,
    .source = "E. Mair et al., \"Adaptive and generic corner detection based on the accelerated segment "
              "test\", 2010",
    .examples = agastExamples
};

MIRAVEX_RECORD(akaze) {
    .summary = "Finds and describes keypoints in an accelerated nonlinear scale space",
    .arguments = akazeArguments,
    .results = featureResults,
    .source = "P. Alcantarilla, J. Nuevo, A. Bartoli, \"Fast explicit diffusion for accelerated features in "
              "nonlinear scale spaces\", 2013",
    .constraints = akazeConstraints,
    .limits = akazeLimits,
    .examples = akazeExamples
};

MIRAVEX_RECORD(brisk) {
    .summary = "Finds and describes keypoints by rings of brightness comparisons",
    .arguments = briskArguments,
    .results = featureResults,
    .source = "S. Leutenegger, M. Chli, R. Siegwart, \"BRISK: binary robust invariant scalable keypoints\", "
              "2011",
    .constraints = keypointsConstraints,
    .limits = briskLimits,
    .examples = briskExamples
};

MIRAVEX_RECORD(fast) {
    .summary = "Finds corners by the segment test",
    .arguments = fastArguments,
    .results = cornerResults,
    .source = "E. Rosten, T. Drummond, \"Machine learning for high-speed corner detection\", 2006",
    .examples = fastExamples
};

MIRAVEX_RECORD(kaze) { .summary = "Finds and describes keypoints in a nonlinear scale space",
                       .arguments = kazeArguments,
                       .results = featureResults,
                       .source = "P. Alcantarilla, A. Bartoli, A. Davison, \"KAZE features\", 2012",
                       .constraints = keypointsConstraints,
                       .limits = kazeLimits,
                       .examples = kazeExamples };

MIRAVEX_RECORD(orb) { .summary = "Finds and describes oriented corners by pairs of brightness comparisons",
                      .arguments = orbArguments,
                      .results = featureResults,
                      .source = "E. Rublee et al., \"ORB: an efficient alternative to SIFT or SURF\", 2011",
                      .constraints = orbConstraints,
                      .limits = orbLimits,
                      .examples = orbExamples };

} // namespace miravex
