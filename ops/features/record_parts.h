#pragma once

#include "catalog/call_view.h"
#include "ops/features/bounds.h"
#include "ops/features/option_names.h"

#include <algorithm>

/// What several records of this room share.
namespace miravex::features {

using namespace records;
using Word = std::string_view;

inline constexpr Constraint pixelsConstraint {
    "image",
    { "at most {} pixels", bounds::indexedPixels },
    [](const CallView& call) { return bounds::isIndexable(call.rows("image"), call.columns("image")); }
};
inline constexpr Text pixelsLimit {
    "Pictures of more than {} pixels are refused: OpenCV indexes them by int.", bounds::indexedPixels
};

inline constexpr Argument pictureArgument =
    image("image", "gray picture to look at").channels({ 1 }).pixels({ PixelTypeByte });
inline constexpr Argument useMaskArgument =
    boolean("use_mask", "whether a mask says where keypoints may lie").setBy("mask").byDefault(false);
inline constexpr Argument maskArgument =
    image("mask", "bits of the picture's size, 1 where keypoints may lie")
        .channels({ 1 })
        .pixels({ PixelTypeBit })
        .sizeOf("image")
        .when("use_mask", "true");
inline constexpr Argument thresholdArgument =
    integer("threshold", "how much brighter or darker than a corner the pixels around it are")
        .in("gray levels")
        .from(0)
        .byDefault(20);
inline constexpr Argument suppressionArgument =
    boolean("nonmax_suppression", "keep only the strongest of neighbouring corners").byDefault(true);

inline constexpr auto modeNames = namesOf(keypointModes);
inline constexpr Argument modeArgument =
    text("mode", "find keypoints, describe those given, or both").oneOf(modeNames).byDefault("detect");
inline constexpr Argument keypointsArgument =
    reals("keypoints", "keypoints to describe, as found: x, y, size, angle, response, octave, class_id")
        .shaped({ atLeast(0), exactly(7) })
        .when("mode", "compute");

inline constexpr auto diffusivityNames = namesOf(diffusivities);
inline constexpr Argument diffusivityArgument =
    text("diffusivity", "how edges hold back the diffusion").oneOf(diffusivityNames).byDefault("DIFF_PM_G2");
inline constexpr Argument layersArgument =
    integer("n_octave_layers", "levels of each octave").from(1).to(bounds::kazeLayers).byDefault(4);

inline constexpr Result cornerResults[] = {
    { ResultKind::RealTensor, "n x 7: x, y, size, angle, response, octave, class_id", Layout::Keypoints }
};
inline constexpr Result featureResults[] = {
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

inline bool computes(const CallView& call) { return call.text("mode") == "compute"; }

/// The highest octave (column 5) or class_id (6) of the keypoints to describe, at least 0.
inline int64_t highest(const CallView& call, std::size_t column)
{
    double found = 0;
    const auto elements = computes(call) ? call.reals("keypoints") : std::span<const double>();
    for (; column < elements.size(); column += 7)
        found = std::max(found, std::min(elements[column], static_cast<double>(bounds::intOctave)));
    return static_cast<int64_t>(found);
}

inline bool keypointsFit(const CallView& call, int64_t highestOctave)
{
    if (!computes(call)) return true;
    const auto elements = call.reals("keypoints");
    for (std::size_t first = 0; first + 7 <= elements.size(); first += 7)
        if (!bounds::keypointFits(elements.subspan(first).first<7>(), call.rows("image"),
                                  call.columns("image"), highestOctave))
            return false;
    return true;
}
inline constexpr Constraint keypointsConstraint {
    "keypoints",
    { "positions inside the picture, sizes above 0 and up to {} of its diagonals, octaves from 0",
      bounds::keypointDiagonals },
    [](const CallView& call) { return keypointsFit(call, bounds::intOctave); }
};
inline constexpr Text keypointLimit {
    "Keypoints to describe are refused when a number is not finite as a float or a size exceeds {} diagonals "
    "of the picture: OpenCV crashes on them.",
    bounds::keypointDiagonals
};

inline constexpr Word cornerWords[] = { "@building", "--threshold", "40" };

inline constexpr Argument edgesArgument = image("image", "gray picture whose nonzero pixels are the edges")
                                              .channels({ 1 })
                                              .pixels({ PixelTypeBit, PixelTypeByte });
inline constexpr Argument rhoArgument =
    real("rho", "resolution of the distance of lines from the corner").in("pixels").above(0).byDefault(1.0);
inline constexpr Argument thetaArgument =
    real("theta", "resolution of their angle").in("radians").above(0).byDefault(std::numbers::pi / 180);

inline bool accumulatorFits(const CallView& call, double theta)
{
    return bounds::accumulatorFits(call.rows("image"), call.columns("image"), call.real("rho"), theta);
}
inline constexpr Constraint distancesConstraint {
    "rho",
    { "a resolution that needs at most {} counters", bounds::houghCounters },
    [](const CallView& call) { return accumulatorFits(call, std::numbers::pi); }
};
inline constexpr Constraint accumulatorConstraint {
    "theta",
    { "a resolution that needs, with this rho, at most {} counters", bounds::houghCounters },
    [](const CallView& call) {
        return accumulatorFits(call, call.real("theta")) || !accumulatorFits(call, std::numbers::pi);
    }
};
inline constexpr Text accumulatorLimit {
    "Resolutions so fine that they need more than {} counters are refused: 1 GiB, and hours of counting.",
    bounds::houghCounters
};

inline constexpr Result faceResults[] = {
    { ResultKind::RealTensor,
      "flat: n, n boxes left, bottom, right, top, then n scores (neighbours counted, or confidences)",
      Layout::FaceBoxes },
};

} // namespace miravex::features

namespace miravex {
using namespace features; // only the record files of this room include this header
} // namespace miravex
