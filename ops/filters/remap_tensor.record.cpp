#include "catalog/call_view.h"
#include "ops/filters/record_parts.h"

namespace miravex {

namespace {

using namespace records;
using namespace filter_records;
using Word = std::string_view;

constexpr Argument remapArguments[] = {
    image("image", "picture to look up in").channels({ 1, 2, 3, 4 }),
    resampling,
    resamplingPadding,
    paddingColor,
    reals("x", "column that each pixel of the result comes from, counted from 0")
        .in("pixels")
        .shaped({ rowsOf("image"), columnsOf("image") }),
    reals("y", "row that each pixel of the result comes from, counted from 0 at the top")
        .in("pixels")
        .shaped({ rowsOf("image"), columnsOf("image") }),
};
constexpr Constraint remapConstraints[] = { resampledSides };
constexpr Text remapLimits[] = { resampledSidesLimit, resampledNoneLimit };
constexpr Word remapWords[] = { "@photo", "--padding", "Reflected", "--color",  "0,0,0",
                                "--x",    "@ripple_x", "--y",       "@ripple_y" };
constexpr Example remapExamples[] = { { "A photo under water", remapWords } };

} // namespace

MIRAVEX_RECORD(remapTensor) { .summary = "Looks every pixel up at a position of another picture",
                              .arguments = remapArguments,
                              .results = resampledResults,
                              .source = "G. Wolberg, \"Digital image warping\", 1990",
                              .constraints = remapConstraints,
                              .limits = remapLimits,
                              .examples = remapExamples,
                              .reach = resampledReach };

} // namespace miravex
