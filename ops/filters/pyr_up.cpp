#include "ops/filters/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/integers.h"
#include "convert/result_image.h"
#include "ops/filters/bounds.h"
#include "ops/filters/compat.h"

namespace miravex {

/// Doubles the size by inserting zeros and blurring with four times the kernel of pyrDown, edges reflected.
///
/// Image: 2D, its type and colour space kept. Width and height, cut to 32 bits: twice the image's; an odd
/// value may be one off. Source: P. Burt, E. Adelson, "The Laplacian pyramid as a compact image code", 1983.
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

    const BorrowedMat source(images, image, anyType);
    if (!source) return StatusFunctionError;
    ResultImage doubled(images, size, source->type(), pixelType, colorSpace);
    if (!doubled) return StatusFunctionError;
    compat::pyrUp(*source, *doubled, size);
    return doubled.release(result);
}

} // namespace miravex
