#include "ops/filters/operations.h"

#include "convert/image_to_mat.h"
#include "convert/integers.h"
#include "convert/mat_to_image.h"
#include "convert/matrix_memory.h"
#include "ops/filters/bounds.h"
#include "ops/filters/compat.h"

namespace miravex {

/// Doubles the size by inserting zeros and blurring with four times the kernel of pyrDown, edges reflected.
///
/// Image: 2D, its type and colour space kept. Width and height: twice the image's; an odd value may be one
/// off. Source: P. Burt, E. Adelson, "The Laplacian pyramid as a compact image code", 1983.
HostErrorCode pyrUp(LibraryData data, KImage image, int64_t width, int64_t height, KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2) return StatusFunctionError;
    const PixelType pixelType = images.imageGetPixelType(image);
    const ColorSpace colorSpace = images.imageGetColorSpace(image);
    const cv::Size size(lowInt32(width), lowInt32(height));
    if (!bounds::isDoubleOf(size.width, images.imageGetColumnCount(image))) return StatusFunctionError;
    if (!bounds::isDoubleOf(size.height, images.imageGetRowCount(image))) return StatusFunctionError;

    cv::Mat source, doubled = resultMatrix();
    if (!imageToMat(images, image, source, anyType)) return StatusFunctionError;
    compat::pyrUp(source, doubled, size);
    return returnImage(images, doubled, result, pixelType, colorSpace);
}

} // namespace miravex
