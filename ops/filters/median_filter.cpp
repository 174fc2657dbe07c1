#include "ops/filters/operations.h"

#include "convert/image_to_mat.h"
#include "convert/mat_to_image.h"
#include "convert/matrix_memory.h"
#include "ops/filters/bounds.h"
#include "ops/filters/large_median.h"

#include <opencv2/imgproc.hpp>

namespace miravex {

/// Replaces every pixel by the median of the (2 radius + 1)-sided square around it, edges replicated.
///
/// Image: 2D, 1, 3 or 4 channels of any pixel type; filtered as 8-bit samples and returned in its own type
/// and colour space. Radius: at least 1 pixel, cut to 32 bits (see bounds::medianRadius); beyond
/// bounds::openCvMedianRadius, and for images of more than 2^31 - 1 samples, the median is our own. Source:
/// T. Huang, G. Yang, G. Tang, "A fast two-dimensional median filtering algorithm", 1979; S. Perreault,
/// P. Hebert, "Median filtering in constant time", 2007.
HostErrorCode medianFilter(LibraryData data, KImage image, int64_t radius, KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const PixelType pixelType = images.imageGetPixelType(image);
    const ColorSpace colorSpace = images.imageGetColorSpace(image);
    const int64_t channels = images.imageGetChannels(image);
    const int64_t rank = images.imageGetRank(image);
    if (rank != 2 || channels == 2 || channels > 4 || radius < 1) return StatusFunctionError;
    const int64_t reach = bounds::medianRadius(radius);
    if (reach < 0) return StatusFunctionError;

    cv::Mat matrix;
    if (!imageToMat(images, image, matrix, CV_8U)) return StatusFunctionError;
    if (reach <= bounds::openCvMedianRadius && bounds::isIndexed(matrix.rows, matrix.cols, channels)) {
        cv::medianBlur(matrix, matrix, static_cast<int>(2 * reach + 1));
        return returnImage(images, matrix, result, pixelType, colorSpace);
    }
    cv::Mat median = resultMatrix();
    largeMedian(matrix, median, reach);
    return returnImage(images, median, result, pixelType, colorSpace);
}

} // namespace miravex
