#include "ops/filters/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/integers.h"
#include "convert/result_image.h"
#include "ops/filters/bounds.h"
#include "ops/filters/option_names.h"

#include <opencv2/imgproc.hpp>

namespace miravex {

/// Blurs with the 5-tap binomial kernel and drops every second row and column.
///
/// Image: 2D, its type and colour space kept. Width and height, cut to 32 bits: half of the image's, with
/// doubled values at most 2 off. Padding: any known name but "Constant"; OpenCV itself refuses "None" on most
/// images. Source: P. Burt, E. Adelson, "The Laplacian pyramid as a compact image code", 1983.
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
    const cv::Size size(lowInt32(width), lowInt32(height));
    if (!bounds::isHalfOf(size.width, images.imageGetColumnCount(image))) return StatusFunctionError;
    if (!bounds::isHalfOf(size.height, images.imageGetRowCount(image))) return StatusFunctionError;

    const BorrowedMat source(images, image, anyType);
    if (!source) return StatusFunctionError;
    // Asked for no pixels, OpenCV halves by itself.
    const cv::Size made = size.area() > 0 ? size : cv::Size((source->cols + 1) / 2, (source->rows + 1) / 2);
    ResultImage half(images, made, source->type(), pixelType, colorSpace);
    if (!half) return StatusFunctionError;
    cv::pyrDown(*source, *half, size, border);
    return half.release(result);
}

} // namespace miravex
