#include "ops/filters/operations.h"

#include "convert/image_to_mat.h"
#include "convert/integers.h"
#include "convert/mat_to_image.h"
#include "convert/matrix_memory.h"
#include "ops/filters/bounds.h"
#include "ops/filters/option_names.h"

#include <opencv2/imgproc.hpp>

namespace miravex {

/// Blurs with the 5-tap binomial kernel and drops every second row and column.
///
/// Image: 2D, its type and colour space kept. Width and height: half of the image's, with doubled values at
/// most 2 off. Padding: any known name but "Constant"; OpenCV itself refuses "None" on most images.
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
    const cv::Size size(lowInt32(width), lowInt32(height));
    if (!bounds::isHalfOf(size.width, images.imageGetColumnCount(image))) return StatusFunctionError;
    if (!bounds::isHalfOf(size.height, images.imageGetRowCount(image))) return StatusFunctionError;

    cv::Mat source, half = resultMatrix();
    if (!imageToMat(images, image, source, anyType)) return StatusFunctionError;
    cv::pyrDown(source, half, size, border);
    return returnImage(images, half, result, pixelType, colorSpace);
}

} // namespace miravex
