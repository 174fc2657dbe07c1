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

/// Finds line segments among the nonzero pixels by random sampling (with a fixed seed).
///
/// Image: 2D, one channel of bits or bytes. Rho and theta: resolutions, above 0. Result: x1, y1, x2, y2 per
/// segment. Accumulators beyond bounds::houghCounters are refused, and what OpenCV crashes on: a rho beyond
/// bounds::houghDistances and sides beyond bounds::houghSide. Source: J. Matas, C. Galambos, J. Kittler,
/// "Robust detection of lines using the progressive probabilistic Hough transform", 2000.
HostErrorCode houghLinesP(LibraryData data, KImage image, double rho, double theta, int64_t threshold,
                          double minLineLength, double maxLineGap, KTensor* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2 || images.imageGetPixelType(image) > PixelTypeByte)
        return StatusFunctionError;
    if (images.imageGetChannels(image) != 1) return StatusFunctionError;
    const int64_t rows = images.imageGetRowCount(image);
    const int64_t columns = images.imageGetColumnCount(image);
    if (!bounds::accumulatorFits(rows, columns, rho, theta)) return StatusFunctionError;
    if (rho > bounds::houghDistances(rows, columns)) return StatusFunctionError;
    if (std::max(rows, columns) > bounds::houghSide) return StatusFunctionError;

    const BorrowedMat picture(images, image, CV_8U);
    if (!picture) return StatusFunctionError;
    std::vector<cv::Vec4i> lines;
    cv::HoughLinesP(*picture, lines, rho, theta, clippedInt32(threshold), minLineLength, maxLineGap);
    if (rows < 1 || columns < 1) return StatusFunctionError;
    FlatResult<double> list(data, { 4 * countOf(lines) });
    for (const cv::Vec4i& line : lines) {
        const cv::Point2d from = inHostFrame(cv::Point2d(line[0], line[1]), rows);
        const cv::Point2d to = inHostFrame(cv::Point2d(line[2], line[3]), rows);
        list.add({ from.x, from.y, to.x, to.y });
    }
    return list.finish(result);
}

} // namespace miravex
