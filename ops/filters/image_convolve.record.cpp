#include "catalog/call_view.h"
#include "ops/filters/bounds.h"
#include "ops/filters/record_parts.h"

namespace miravex {

namespace {

using namespace records;
using namespace filter_records;
using Word = std::string_view;

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
constexpr Constraint convolveConstraints[] = {
    { "horizontal",
      { "at most {} elements", bounds::kernelTaps },
      [](const CallView& call) { return bounds::tapsFit(call.length("horizontal")); } },
    { "vertical",
      { "at most {} elements", bounds::kernelTaps },
      [](const CallView& call) { return bounds::tapsFit(call.length("vertical")); } },
    { "vertical",
      { "kernels for which a picture of this size takes at most {} products and a margin of {} samples",
        bounds::work, bounds::marginSamples },
      [](const CallView& call) {
          return bounds::kernelsFit(call.rows("image"), call.columns("image"), call.channels("image"),
                                    call.length("horizontal"), call.length("vertical"));
      } },
};
/// Bits and bytes are convolved as real32.
ImageFacts convolved(const CallView& call)
{
    const ImageFacts facts = likeImage(call);
    return facts.pixelType == PixelTypeReal ? facts : withType(facts, PixelTypeReal32);
}
/// The centre of n taps is at n / 2. Reflections fold what lies before the first pixel back behind it.
Reach reachOfKernels(const CallView& call)
{
    const int64_t across = call.length("horizontal"), down = call.length("vertical");
    const int64_t more = call.text("padding") == "Reflected" ? 0 : 1;
    return {
        .above = down / 2, .below = (down - more) / 2, .left = across / 2, .right = (across - more) / 2
    };
}
constexpr Result convolveResults[] = {
    { ResultKind::Image,
      "same size and colour space, real for a real picture, otherwise real32",
      Layout::Plain,
      {},
      convolved }
};
constexpr Text convolveLimits[] = {
    { "Kernels of more than {} elements are refused: OpenCV takes forever over them.", bounds::kernelTaps },
    { "Kernels are refused that read a margin of more than {} samples or take more than {} products.",
      bounds::marginSamples, bounds::work },
    "One tensor given as both kernels is reversed twice, stays as it was, and correlates.",
};
constexpr Word convolveWords[] = { "@photo", "--horizontal", "0.04,0.08,0.12,0.16,0.2,0.16,0.12,0.08,0.04",
                                   "--vertical", "0.04,0.08,0.12,0.16,0.2,0.16,0.12,0.08,0.04" };
constexpr Word edgeWords[] = { "@gray", "--horizontal", "1,0,-1", "--vertical", "1,2,1" };
constexpr Example convolveExamples[] = { { "A photo under a triangular blur", convolveWords },
                                         { "The vertical edges of a photo", edgeWords } };

} // namespace

MIRAVEX_RECORD(imageConvolve) {
    .summary = "Convolves a picture with a separable kernel",
    .arguments = convolveArguments,
    .results = convolveResults,
    .source = "the sum over i, j of horizontal(i) vertical(j) image(x - i, y - j)",
    .constraints = convolveConstraints,
    .limits = convolveLimits,
    .examples = convolveExamples,
    .reach = { "half of each kernel: of n taps n / 2 pixels to the left or up, (n - 1) / 2 to the right or "
               "down; n / 2 there too with \"Reflected\" padding",
               reachOfKernels }
};

} // namespace miravex
