#include "ops/filters/operations.h"

#include "convert/image_to_mat.h"
#include "convert/mat_to_image.h"
#include "convert/matrix_memory.h"
#include "ops/filters/bounds.h"
#include "ops/filters/compat.h"
#include "ops/filters/option_names.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstdlib>

namespace miravex {

namespace {

/// Largest distance between two 8-bit colours, rounded: 255 times the square root of 3.
constexpr double colorDistanceRange = 441.0;

/// Sizes that no matrix has are those of a host that forges them.
bool isSide(int64_t size) { return size >= 0 && size <= INT32_MAX; }

/// True when a pyramid step down may turn `source` pixels into `target`.
bool isHalfOf(int target, int64_t source)
{
    return isSide(source) && std::abs(2 * int64_t { target } - source) <= 2;
}

/// True when a pyramid step up may turn `source` pixels into `target`: twice, or one off for an odd target.
bool isDoubleOf(int target, int64_t source)
{
    return isSide(source) && std::abs(target - 2 * source) <= target % 2;
}

/// Samples that mean shift visits at most: every pixel looks at its whole window in every iteration.
int64_t meanShiftWork(const ImageServices& images, KImage image, double spatialRadius, int64_t iterations)
{
    const int64_t rows = images.imageGetRowCount(image);
    const int64_t columns = images.imageGetColumnCount(image);
    const auto reach = [&](int64_t side) {
        return spatialRadius < static_cast<double>(side) ? 2 * static_cast<int64_t>(spatialRadius) + 1 : side;
    };
    const int64_t window =
        bounds::product({ std::min(reach(rows), rows), std::min(reach(columns), columns) });
    return bounds::product({ rows, columns, window, std::clamp<int64_t>(iterations, 1, 100) });
}

} // namespace

/// Replaces every pixel by the median of the (2 radius + 1)-sided square around it, edges replicated.
///
/// Image: 2D, 1, 3 or 4 channels of any pixel type; filtered as 8-bit samples and returned in its own type
/// and colour space. Radius: 1 to bounds::medianRadius pixels. Source: T. Huang, G. Yang, G. Tang, "A fast
/// two-dimensional median filtering algorithm", 1979.
HostErrorCode medianFilter(LibraryData data, KImage image, int64_t radius, KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const PixelType pixelType = images.imageGetPixelType(image);
    const ColorSpace colorSpace = images.imageGetColorSpace(image);
    const int64_t channels = images.imageGetChannels(image);
    const int64_t rank = images.imageGetRank(image);
    if (rank != 2 || channels == 2 || channels > 4 || radius < 1) return StatusFunctionError;
    const int reach = static_cast<int>(radius);
    if (reach < 1 || reach > bounds::medianRadius) return StatusFunctionError;

    cv::Mat matrix;
    if (!imageToMat(images, image, matrix, CV_8U)) return StatusFunctionError;
    cv::medianBlur(matrix, matrix, 2 * reach + 1);
    return matToImage(images, matrix, result, pixelType, colorSpace) ? StatusOk : StatusFunctionError;
}

/// Blurs with the 5-tap binomial kernel and drops every second row and column.
///
/// Image: 2D, its type and colour space kept. Width and height: half of the image's, with doubled values at
/// most 2 off. Padding: any known name but "Constant"; OpenCV itself refuses "None" on most pictures.
/// Source: P. Burt, E. Adelson, "The Laplacian pyramid as a compact image code", 1983.
HostErrorCode pyrDown(LibraryData data, KImage image, const char* padding, int64_t width, int64_t height,
                      KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2) return StatusFunctionError;
    const PixelType pixelType = images.imageGetPixelType(image);
    const ColorSpace colorSpace = images.imageGetColorSpace(image);
    const int border = borderTypeFromName(padding);
    if (border == unknownPadding || border == cv::BORDER_CONSTANT) return StatusFunctionError;
    const cv::Size size(static_cast<int>(width), static_cast<int>(height));
    if (!isHalfOf(size.width, images.imageGetColumnCount(image))) return StatusFunctionError;
    if (!isHalfOf(size.height, images.imageGetRowCount(image))) return StatusFunctionError;

    cv::Mat source, half = resultMatrix();
    if (!imageToMat(images, image, source, anyType)) return StatusFunctionError;
    cv::pyrDown(source, half, size, border);
    return matToImage(images, half, result, pixelType, colorSpace) ? StatusOk : StatusFunctionError;
}

/// Doubles the size by inserting zeros and blurring with four times the kernel of pyrDown, edges reflected.
///
/// Image: 2D, its type and colour space kept. Width and height: twice the image's; an odd value may be one
/// off.
HostErrorCode pyrUp(LibraryData data, KImage image, int64_t width, int64_t height, KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2) return StatusFunctionError;
    const PixelType pixelType = images.imageGetPixelType(image);
    const ColorSpace colorSpace = images.imageGetColorSpace(image);
    const cv::Size size(static_cast<int>(width), static_cast<int>(height));
    if (!isDoubleOf(size.width, images.imageGetColumnCount(image))) return StatusFunctionError;
    if (!isDoubleOf(size.height, images.imageGetRowCount(image))) return StatusFunctionError;

    cv::Mat source, doubled = resultMatrix();
    if (!imageToMat(images, image, source, anyType)) return StatusFunctionError;
    compat::pyrUp(source, doubled, size);
    return matToImage(images, doubled, result, pixelType, colorSpace) ? StatusOk : StatusFunctionError;
}

/// Flattens colours by mean-shift filtering over position and colour, coarse to fine.
///
/// Image: 2D, 3 byte channels; the result has ColorSpaceUnspecified. Spatial radius in pixels, colour radius
/// as a fraction of the largest colour distance, both at least 0; maximum pyramid level and iterations at
/// least 0 (OpenCV refuses levels above 8 and runs 100 iterations at most). Calls beyond bounds::work are
/// refused. Source: D. Comaniciu, P. Meer, "Mean shift: a robust approach toward feature space analysis",
/// 2002.
HostErrorCode pyrMeanShiftFilter(LibraryData data, KImage image, double spatialRadius, double colorRadius,
                                 int64_t maxLevel, int64_t iterations, KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2) return StatusFunctionError;
    if (images.imageGetPixelType(image) != PixelTypeByte || images.imageGetChannels(image) != 3)
        return StatusFunctionError;
    // Written so that NaN passes: OpenCV copes with it.
    if (iterations < 0 || maxLevel < 0 || spatialRadius < 0 || colorRadius < 0) return StatusFunctionError;
    if (meanShiftWork(images, image, spatialRadius, iterations) > bounds::work) return StatusFunctionError;

    cv::Mat matrix;
    if (!imageToMat(images, image, matrix, CV_8U)) return StatusFunctionError;
    // In place on purpose: with a separate destination OpenCV's result differs.
    cv::pyrMeanShiftFiltering(matrix, matrix, spatialRadius, colorRadius * colorDistanceRange,
                              static_cast<int>(maxLevel),
                              cv::TermCriteria(cv::TermCriteria::COUNT, static_cast<int>(iterations), 0.0));
    return matToImage(images, matrix, result, anyType, ColorSpaceUnspecified) ? StatusOk
                                                                              : StatusFunctionError;
}

} // namespace miravex
