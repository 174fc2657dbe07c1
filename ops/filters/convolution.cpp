#include "ops/filters/operations.h"

#include "convert/mat_to_image.h"
#include "ops/filters/bounds.h"
#include "ops/filters/compat.h"
#include "ops/filters/flat_image.h"
#include "ops/filters/option_names.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <string_view>

namespace miravex {

namespace {

/// Byte images correlate as if their samples lay between 0 and 1.
constexpr double byteProductRange = 255.0 * 255.0;

/// A one-row matrix over a kernel's own elements.
cv::Mat rowOver(std::span<double> kernel)
{
    return { 1, static_cast<int>(kernel.size()), CV_64F, kernel.data() };
}

/// True when neither kernel is empty, endless, or in need of more memory than we allow.
bool kernelsFit(const cv::Mat& matrix, std::span<double> horizontal, std::span<double> vertical)
{
    const auto across = static_cast<int64_t>(horizontal.size());
    const auto down = static_cast<int64_t>(vertical.size());
    if (std::min(across, down) < 1 || std::max(across, down) > bounds::kernelTaps) return false;
    if (bounds::product({ matrix.rows, matrix.cols, matrix.channels(), across + down }) > bounds::work)
        return false;
    return bounds::marginOf(matrix.rows, matrix.cols, matrix.channels(), down, across)
        <= bounds::marginSamples;
}

/// Surrounds a picture so that every one of its pixels has a kernel's worth of neighbours. The odd row or
/// column of an even kernel goes to the top or left.
void surround(cv::Mat& matrix, cv::Size kernel, int border, double value)
{
    const int top = kernel.height / 2;
    const int left = kernel.width / 2;
    const cv::Scalar fill = border == cv::BORDER_CONSTANT ? cv::Scalar(value) : cv::Scalar();
    cv::copyMakeBorder(matrix, matrix, top, kernel.height - 1 - top, left, kernel.width - 1 - left, border,
                       fill);
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
    cv::Mat matrix;
    if (!flatImageToMat(images, image, matrix, isReal ? CV_64F : CV_32F)) return StatusFunctionError;
    if (!kernelsFit(matrix, *across, *down)) return StatusFunctionError;
    compat::sepFilter2D(matrix, matrix, rowOver(*across), rowOver(*down), border);
    return matToImage(images, matrix, result, isReal ? PixelTypeReal : PixelTypeReal32, colorSpace)
        ? StatusOk
        : StatusFunctionError;
}

/// Compares a kernel image with the picture around every pixel.
///
/// Image and kernel: 2D, 1 channel, both byte or both real32, the kernel no larger than the image. Distance:
/// "SquaredEuclideanDistance" and "Dot" (sums of squared differences and of products, of bytes as if between
/// 0 and 1), "CosineDistance" and "CorrelationDistance" (1 less the normalised product, without and with
/// means). Padding: any known name, "Constant" with `paddingValue`; the result has the image's size. "None":
/// only positions inside, (rows - kernel rows + 1) x (columns - kernel columns + 1). The result is real32
/// with ColorSpaceUnspecified. Source: J. Lewis, "Fast normalized cross-correlation", 1995.
HostErrorCode imageCorrelate(LibraryData data, KImage image, KImage kernel, const char* distance,
                             const char* padding, double paddingValue, KImage* result)
{
    if (!data || !image || !kernel) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2) return StatusFunctionError;
    const PixelType pixelType = images.imageGetPixelType(kernel);
    if (pixelType != images.imageGetPixelType(image)) return StatusFunctionError;
    if (pixelType != PixelTypeByte && pixelType != PixelTypeReal32) return StatusFunctionError;
    const int64_t kernelRows = images.imageGetRowCount(kernel);
    const int64_t kernelColumns = images.imageGetColumnCount(kernel);
    if (images.imageGetColumnCount(image) < kernelColumns || images.imageGetRowCount(image) < kernelRows)
        return StatusFunctionError;
    if (images.imageGetChannels(image) != 1 || images.imageGetChannels(kernel) != 1)
        return StatusFunctionError;

    const bool padded = std::string_view(padding) != "None";
    const int border = padded ? borderTypeFromName(padding) : cv::BORDER_CONSTANT;
    if (border == unknownPadding) return StatusFunctionError;
    const int method = valueOf(correlationDistances, distance, unknownDistance);
    if (method == unknownDistance) return StatusFunctionError;

    cv::Mat matrix, pattern;
    if (!flatImageToMat(images, image, matrix, anyType)) return StatusFunctionError;
    if (!flatImageToMat(images, kernel, pattern, anyType)) return StatusFunctionError;
    if (padded) surround(matrix, pattern.size(), border, paddingValue);
    cv::matchTemplate(matrix, pattern, matrix, method, cv::noArray());
    const bool isSimilarity = method == cv::TM_CCORR_NORMED || method == cv::TM_CCOEFF_NORMED;
    if (isSimilarity)
        cv::subtract(cv::Mat::ones(matrix.size(), matrix.type()), matrix, matrix, cv::noArray(), -1);
    else if (pixelType == PixelTypeByte)
        cv::divide(matrix, cv::Scalar(byteProductRange), matrix);
    return matToImage(images, matrix, result, anyType, ColorSpaceUnspecified) ? StatusOk
                                                                              : StatusFunctionError;
}

} // namespace miravex
