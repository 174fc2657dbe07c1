#pragma once

#include "catalog/call_view.h"
#include "convert/integers.h"
#include "ops/filters/bounds.h"
#include "ops/filters/option_names.h"

#include <algorithm>

/// Arguments and rules that records of several operations of this room share.
namespace miravex::filter_records {

/// How a picture goes on beyond its edge, where "None" means zeros.
constexpr Argument paddingArgument(const char* usual)
{
    return records::text("padding", "how the picture continues beyond its edge; \"None\" is zero fill")
        .oneOf(paddingNames)
        .byDefault(usual);
}

/// A radius is cut to 32 bits.
inline constexpr Constraint integerRadius {
    "radius",
    { "a radius of at most {}", std::numeric_limits<int>::max() },
    [](const CallView& call) { return lowInt32(call.integer("radius")) >= 1; },
};

// Resampling: how values between pixels are made and what lies beyond the edge.
inline constexpr Argument resampling = records::text("interpolation", "how values between pixels are made")
                                           .oneOf(interpolationNames)
                                           .byDefault("Linear");
inline constexpr Argument resamplingPadding =
    records::text("padding", "how the picture continues beyond its edge")
        .oneOf(paddingNames)
        .byDefault("Constant");
inline constexpr Argument paddingColor =
    records::reals("color", "colour of \"Constant\" padding, in the units of the samples")
        .shaped({ exactly(3) });

inline constexpr Constraint resampledSides {
    "image",
    { "sides of at most {} pixels", bounds::remappedSide },
    [](const CallView& call) {
        return std::max(call.rows("image"), call.columns("image")) <= bounds::remappedSide;
    },
};
inline constexpr Text resampledSidesLimit {
    "OpenCV takes pictures with sides of at most {} pixels.",
    bounds::remappedSide,
};
inline constexpr Text resampledNoneLimit {
    "OpenCV refuses the padding \"None\" where something lies outside the picture."
};

inline constexpr Result resampledResults[] = {
    { ResultKind::Image, "same size and type (bits become bytes), colour space unspecified" },
};

} // namespace miravex::filter_records
