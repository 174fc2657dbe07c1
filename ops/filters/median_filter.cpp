#include "ops/filters/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/result_image.h"
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

    const BorrowedMat source(images, image, CV_8U);
    if (!source) return StatusFunctionError;
    ResultImage median(images, source->size(), source->type(), pixelType, colorSpace);
    if (!median) return StatusFunctionError;
    if (reach <= bounds::openCvMedianRadius && bounds::isIndexed(source->rows, source->cols, channels))
        cv::medianBlur(*source, *median, static_cast<int>(2 * reach + 1));
    else
        largeMedian(*source, *median, reach);
    return median.release(result);
}

} // namespace miravex
