#pragma once

#include "catalog/call_view.h"
#include "ops/photo/bounds.h"

/// What several records of this room say alike.
namespace miravex::records {

using Word = std::string_view;

inline constexpr Constraint imageFits { "image",
                                        { "an image of at most {} samples", bounds::frameSamples },
                                        [](const CallView& call) {
                                            return bounds::frameFits(call.rows("image"),
                                                                     call.columns("image"),
                                                                     call.channels("image"));
                                        } };
inline constexpr Constraint framesFit { "frames",
                                        { "frames of at most {} samples each", bounds::frameSamples },
                                        [](const CallView& call) {
                                            return bounds::frameFits(call.rows("frames"),
                                                                     call.columns("frames"),
                                                                     call.channels("frames"));
                                        } };

// --- exposure brackets ----------------------------------------------------------------------------------

inline constexpr std::string_view debevecSource =
    "P. Debevec, J. Malik, \"Recovering high dynamic range radiance maps from photographs\", 1997";
inline constexpr std::string_view robertsonSource =
    "M. Robertson, S. Borman, R. Stevenson, \"Dynamic range improvement through multiple exposures\", 1999";

/// A bracket of any colour space.
inline constexpr Argument bracket = sequence("frames", "exposures of one scene, one per frame")
                                        .slices(1)
                                        .channels({ 3 })
                                        .pixels({ PixelTypeByte });
inline constexpr Argument rgbBracket = bracket.colors({ ColorSpaceRGB });
inline constexpr Argument exposures =
    reals("exposures", "the reciprocal of each frame's exposure time, in the order of the frames")
        .in("1/s")
        .shaped({ slicesOf("frames") })
        .elementsAbove(0);

inline constexpr Result curveResults[] = {
    { ResultKind::RealTensor, "768 reals: 256 intensities x 3 channels, intensity by intensity",
      Layout::ResponseCurve },
};

/// The words of an example with a bracket and its exposures.
inline constexpr Word bracketWords[] = { "@exposures", "--exposures", "@exposure_values.csv" };

} // namespace miravex::records
