#include "ops/filters/operations.h"

#include "convert/image_to_mat.h"
#include "convert/integers.h"
#include "convert/mat_to_image.h"
#include "ops/filters/bounds.h"

#include <opencv2/imgproc.hpp>

namespace miravex {

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
    const int reach = lowInt32(radius);
    if (reach < 1 || reach > bounds::medianRadius) return StatusFunctionError;

    cv::Mat matrix;
    if (!imageToMat(images, image, matrix, CV_8U)) return StatusFunctionError;
    cv::medianBlur(matrix, matrix, 2 * reach + 1);
    return returnImage(images, matrix, result, pixelType, colorSpace);
}

} // namespace miravex
