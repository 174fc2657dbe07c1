#include "ops/filters/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/result_image.h"
#include "convert/tensors.h"
#include "ops/filters/bounds.h"
#include "ops/filters/compat.h"
#include "ops/filters/option_names.h"

#include <algorithm>

namespace miravex {

namespace {

/// A one-row matrix over a kernel's own elements.
cv::Mat rowOver(std::span<double> kernel)
{
    return { 1, static_cast<int>(kernel.size()), CV_64F, kernel.data() };
}

} // namespace

/// Convolves with a separable kernel: `horizontal` along the rows, `vertical` along the columns.
///
/// Image: 2D; the result has its size and colour space and is real (double) for a real image, real32 for any
/// other. Kernels: lists of 1 to bounds::kernelTaps reals, the centre of n taps at n / 2 of the reversed
/// kernel. Both are reversed in place, also when the call fails later; one tensor given for both is thus
/// reversed twice, stays as it was, and correlates. Padding: any known name; "None" is zero fill. Kernels
/// whose work passes bounds::work or whose margin passes bounds::marginSamples are refused.
HostErrorCode imageConvolve(LibraryData data, KImage image, KTensor horizontal, KTensor vertical,
                            const char* padding, KImage* result)
{
    if (!data || !image || !horizontal || !vertical) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2) return StatusFunctionError;
    if (data->tensorGetRank(horizontal) != 1 || data->tensorGetRank(vertical) != 1)
        return StatusFunctionError;
    const PixelType pixelType = images.imageGetPixelType(image);
    const ColorSpace colorSpace = images.imageGetColorSpace(image);
    const auto across = realElements(data, horizontal);
    const auto down = realElements(data, vertical);
    if (!across || !down) return StatusFunctionError;

    // OpenCV correlates; reversed kernels make that a convolution. They are the host's own, as it expects:
    // one tensor given for both kernels is reversed twice and so correlates.
    std::ranges::reverse(*across);
    std::ranges::reverse(*down);

    const int border = borderTypeFromName(padding);
    if (border == unknownPadding) return StatusFunctionError;
    const bool isReal = pixelType == PixelTypeReal;
    const BorrowedMat source(images, image, isReal ? CV_64F : CV_32F);
    if (!source.isPlane()) return StatusFunctionError;
    const auto taps = static_cast<int64_t>(across->size()), tapsDown = static_cast<int64_t>(down->size());
    if (!bounds::tapsFit(taps) || !bounds::tapsFit(tapsDown)
        || !bounds::kernelsFit(source->rows, source->cols, source->channels(), taps, tapsDown))
        return StatusFunctionError;
    ResultImage convolved(images, source->size(), source->type(), anyType, colorSpace);
    if (!convolved) return StatusFunctionError;
    compat::sepFilter2D(*source, *convolved, rowOver(*across), rowOver(*down), border);
    return convolved.release(result);
}

} // namespace miravex
