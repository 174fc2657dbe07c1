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

/// A radius that is negative after it was cut to 32 bits is none.
inline constexpr Constraint integerRadius {
    "radius",
    { "a radius of at most {}", std::numeric_limits<int>::max() },
    [](const CallView& call) { return bounds::reaches(call.integer("radius")); },
};

/// A radius as far as it is looked at.
inline Reach reachOfRadius(const CallView& call) { return Reach::around(lowInt32(call.integer("radius"))); }

/// OpenCV counts the samples of this image in int.
inline constexpr Constraint indexedImage {
    "image",
    { "an image of at most {} samples", std::numeric_limits<int>::max() },
    [](const CallView& call) {
        return bounds::isIndexed(call.rows("image"), call.columns("image"), call.channels("image"));
    },
};
inline constexpr Text indexedImageLimit {
    "Images of more than {} samples are refused: OpenCV counts them in 32 bits and would need many times "
    "their "
    "memory.",
    std::numeric_limits<int>::max(),
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
        .shaped({ exactly(3) })
        .byDefault(Zeros {});

/// The pixels that a value between them is made of, from the one above and to the left of the position; one
/// more on the other sides, as positions are rounded first.
inline Reach reachOfResampling(const CallView& call)
{
    const std::string_view method = call.text("interpolation");
    if (method == "Nearest") return { .above = 0, .below = 1, .left = 0, .right = 1 };
    if (method == "Cubic") return { .above = 1, .below = 3, .left = 1, .right = 3 };
    if (method == "Lanczos4") return { .above = 3, .below = 5, .left = 3, .right = 5 };
    return { .above = 0, .below = 2, .left = 0, .right = 2 };
}
inline constexpr ReachRule resampledReach {
    "from the position that is looked up: the nearest pixel, or 2 x 2 (\"Linear\", \"Area\"), 4 x 4 "
    "(\"Cubic\") or 8 x 8 pixels (\"Lanczos4\") around it",
    reachOfResampling, true
};

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
    { ResultKind::Image,
      "same size and type (bits become bytes), colour space unspecified",
      Layout::Plain,
      {},
      records::likeImageResampled },
};

} // namespace miravex::filter_records
