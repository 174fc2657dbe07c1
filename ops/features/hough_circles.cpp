#include "ops/features/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/flat_result.h"
#include "convert/integers.h"
#include "ops/features/bounds.h"
#include "ops/features/host_frame.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <vector>

namespace miravex {

/// Finds circles by the gradients of their edges.
///
/// Image: 2D, one byte channel. dp, minDist, param1 (upper edge threshold), param2 (votes): above 0. Radii:
/// at least 0, the smaller not above the larger unless one is 0. Result: x, y, radius per circle. Images
/// beyond bounds::indexedPixels are refused. Source: H. Yuen et al., "Comparative study of Hough transform
/// methods for circle finding", 1990.
HostErrorCode houghCircles(LibraryData data, KImage image, double dp, double minDist, double param1,
                           double param2, int64_t minRadius, int64_t maxRadius, KTensor* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const int64_t columns = images.imageGetColumnCount(image);
    const int64_t rows = images.imageGetRowCount(image);
    const PixelType pixelType = images.imageGetPixelType(image);
    const int64_t channels = images.imageGetChannels(image);
    if (!(dp > 0) || maxRadius < 0 || minRadius < 0) return StatusFunctionError;
    if (!(minDist > 0) || !(param1 > 0) || !(param2 > 0)) return StatusFunctionError;
    if (minRadius != 0 && maxRadius != 0 && minRadius > maxRadius) return StatusFunctionError;
    if (images.imageGetRank(image) == 3 || channels != 1 || pixelType != PixelTypeByte)
        return StatusFunctionError;
    if (!bounds::isIndexable(rows, columns)) return StatusFunctionError;

    const BorrowedMat picture(images, image, CV_8U);
    if (!picture) return StatusFunctionError;
    // No circle with its centre in the picture is wider than this; OpenCV steps through every radius.
    const int64_t widest = rows + columns;
    std::vector<cv::Vec3f> circles;
    cv::HoughCircles(*picture, circles, cv::HOUGH_GRADIENT, dp, minDist, param1, param2,
                     clippedInt32(std::min(minRadius, widest)), clippedInt32(std::min(maxRadius, widest)));
    if (rows < 1 || columns < 1) return StatusFunctionError;
    FlatResult<double> list(data, { 3 * countOf(circles) });
    for (const cv::Vec3f& circle : circles) {
        const cv::Point2f centre = inHostFrame(cv::Point2f(circle[0], circle[1]), rows);
        list.add({ centre.x, centre.y, circle[2] });
    }
    return list.finish(result);
}

} // namespace miravex
