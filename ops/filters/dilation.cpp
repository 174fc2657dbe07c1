#include "ops/filters/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/integers.h"
#include "convert/result_image.h"
#include "ops/filters/bounds.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace miravex {

/// Replaces every pixel by the maximum over the (2 radius + 1)-sided square around it, channel by channel;
/// nothing is assumed beyond the edge.
///
/// Image: 2D, its type and colour space kept. Radius: at least 1 pixel, cut to 32 bits; beyond the image's
/// sides it makes no difference. Source: J. Serra, "Image analysis and mathematical morphology", 1982.
HostErrorCode dilation(LibraryData data, KImage image, int64_t radius, KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const PixelType pixelType = images.imageGetPixelType(image);
    const ColorSpace colorSpace = images.imageGetColorSpace(image);
    if (images.imageGetRank(image) == 3 || radius < 1 || !bounds::reaches(radius)) return StatusFunctionError;
    const int reach = lowInt32(radius);

    const BorrowedMat source(images, image, anyType);
    if (!source.isPlane()) return StatusFunctionError;
    ResultImage dilated(images, source->size(), source->type(), pixelType, colorSpace);
    if (!dilated) return StatusFunctionError;
    // A square that reaches beyond the image finds nothing more there, but a radius of 30000 would take
    // 3.6 GB.
    const cv::Point centre(std::min(reach, source->cols), std::min(reach, source->rows));
    const cv::Mat square =
        cv::getStructuringElement(cv::MORPH_RECT, cv::Size(2 * centre.x + 1, 2 * centre.y + 1), centre);
    cv::dilate(*source, *dilated, square, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT,
               cv::morphologyDefaultBorderValue());
    return dilated.release(result);
}

} // namespace miravex
