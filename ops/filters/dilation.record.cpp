#include "catalog/call_view.h"
#include "ops/filters/record_parts.h"

namespace miravex {

namespace {

using namespace records;
using namespace filter_records;
using Word = std::string_view;

constexpr Argument dilationArguments[] = {
    image("image", "picture to dilate, channel by channel"),
    integer("radius", "how far the square around a pixel reaches; its side is 2 radius + 1")
        .in("pixels")
        .from(1)
        .low32Bits()
        .byDefault(2),
};
constexpr Constraint dilationConstraints[] = { integerRadius };
constexpr Result dilationResults[] = {
    { ResultKind::Image, "same size, pixel type and colour space", Layout::Plain, {}, likeImage }
};
constexpr Text dilationLimits[] = { "A radius beyond the picture's sides has the effect of those sides." };
constexpr Word dilationWords[] = { "@photo", "--radius", "4" };
constexpr Example dilationExamples[] = { { "A photo with its bright parts spread", dilationWords } };

} // namespace

MIRAVEX_RECORD(dilation) { .summary = "Replaces every pixel by the maximum of a square around it",
                           .arguments = dilationArguments,
                           .results = dilationResults,
                           .source = "J. Serra, \"Image analysis and mathematical morphology\", 1982",
                           .constraints = dilationConstraints,
                           .limits = dilationLimits,
                           .examples = dilationExamples,
                           .reach = { "radius pixels to each side", reachOfRadius } };

} // namespace miravex
