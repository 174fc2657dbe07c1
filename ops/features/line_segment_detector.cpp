#include "ops/features/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/flat_result.h"
#include "ops/features/bounds.h"
#include "ops/features/host_frame.h"

#include <opencv2/imgproc.hpp>

#include <vector>

namespace miravex {

/// Finds line segments by growing regions of like gradient direction.
///
/// Image: 2D, one channel of bits or bytes. Result: x1, y1, x2, y2, width per segment. Images beyond
/// bounds::indexedPixels are refused. Source: R. Grompone von Gioi et al., "LSD: a line segment detector",
/// 2012.
HostErrorCode lineSegmentDetector(LibraryData data, KImage image, KTensor* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2 || images.imageGetChannels(image) != 1) return StatusFunctionError;
    if (images.imageGetPixelType(image) > PixelTypeByte) return StatusFunctionError;
    const int64_t rows = images.imageGetRowCount(image);
    const int64_t columns = images.imageGetColumnCount(image);
    if (!bounds::isIndexable(rows, columns)) return StatusFunctionError;

    const BorrowedMat picture(images, image, CV_8U);
    if (!picture) return StatusFunctionError;
    const auto detector =
        cv::createLineSegmentDetector(cv::LSD_REFINE_STD, 0.8, 0.6, 2.0, 22.5, 0.0, 0.7, 1024);
    std::vector<cv::Vec4f> lines;
    std::vector<double> widths;
    detector->detect(*picture, lines, widths, cv::noArray(), cv::noArray());
    if (rows < 1 || columns < 1) return StatusFunctionError;
    FlatResult<double> list(data, { 5 * countOf(lines) });
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const cv::Point2d from = inHostFrame(cv::Point2d(lines[i][0], lines[i][1]), rows);
        const cv::Point2d to = inHostFrame(cv::Point2d(lines[i][2], lines[i][3]), rows);
        list.add({ from.x, from.y, to.x, to.y, widths.at(i) });
    }
    return list.finish(result);
}

} // namespace miravex
