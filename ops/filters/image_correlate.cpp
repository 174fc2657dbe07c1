#include "ops/filters/operations.h"

#include "convert/mat_to_image.h"
#include "ops/filters/flat_image.h"
#include "ops/filters/option_names.h"

#include <opencv2/imgproc.hpp>

#include <string_view>

namespace miravex {

namespace {

/// Byte images correlate as if their samples lay between 0 and 1.
constexpr double byteProductRange = 255.0 * 255.0;

/// Surrounds a image so that every one of its pixels has a kernel's worth of neighbours. The odd row or
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

/// Compares a kernel image with the image around every pixel.
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
    return returnImage(images, matrix, result);
}

} // namespace miravex
