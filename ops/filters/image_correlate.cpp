#include "ops/filters/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/result_image.h"
#include "ops/filters/bounds.h"
#include "ops/filters/option_names.h"

#include <opencv2/imgproc.hpp>

#include <string_view>

namespace miravex {

namespace {

/// Byte images correlate as if their samples lay between 0 and 1.
constexpr double byteProductRange = 255.0 * 255.0;

/// An image surrounded so that every one of its pixels has a kernel's worth of neighbours. The odd row or
/// column of an even kernel goes to the top or left.
cv::Mat surrounded(const cv::Mat& image, cv::Size kernel, int border, double value)
{
    const int top = kernel.height / 2;
    const int left = kernel.width / 2;
    const cv::Scalar fill = border == cv::BORDER_CONSTANT ? cv::Scalar(value) : cv::Scalar();
    cv::Mat wider;
    cv::copyMakeBorder(image, wider, top, kernel.height - 1 - top, left, kernel.width - 1 - left, border,
                       fill);
    return wider;
}

} // namespace

/// Compares a kernel image with the image around every pixel.
///
/// Image and kernel: 2D, 1 channel, both byte or both real32, the kernel no larger than the image. Distance:
/// "SquaredEuclideanDistance" and "Dot" (sums of squared differences and of products, of bytes as if between
/// 0 and 1), "CosineDistance" and "CorrelationDistance" (1 less the normalised product, without and with
/// means). Padding: any known name, "Constant" with `paddingValue`; the result has the image's size. "None":
/// only positions inside, (rows - kernel rows + 1) x (columns - kernel columns + 1). The result is real32
/// with ColorSpaceUnspecified. Images that bounds::correlates does not accept are refused. Source: J. Lewis,
/// "Fast normalized cross-correlation", 1995.
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

    const BorrowedMat source(images, image, anyType);
    if (!source.isPlane()) return StatusFunctionError;
    const BorrowedMat pattern(images, kernel, anyType);
    if (!pattern.isPlane()) return StatusFunctionError;
    if (!bounds::correlates(source->rows, source->cols, pattern->rows, pattern->cols))
        return StatusFunctionError;
    const cv::Size positions = padded
        ? source->size()
        : cv::Size(source->cols - pattern->cols + 1, source->rows - pattern->rows + 1);
    ResultImage scores(images, positions, CV_32F);
    if (!scores) return StatusFunctionError;
    const cv::Mat searched = padded ? surrounded(*source, pattern->size(), border, paddingValue) : *source;
    cv::matchTemplate(searched, *pattern, *scores, method, cv::noArray());
    const bool isSimilarity = method == cv::TM_CCORR_NORMED || method == cv::TM_CCOEFF_NORMED;
    if (isSimilarity)
        cv::subtract(cv::Mat::ones(positions, CV_32F), *scores, *scores, cv::noArray(), -1);
    else if (pixelType == PixelTypeByte)
        cv::divide(*scores, cv::Scalar(byteProductRange), *scores);
    return scores.release(result);
}

} // namespace miravex
