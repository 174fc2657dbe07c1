#include "ops/filters/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/result_image.h"
#include "ops/filters/bounds.h"
#include "ops/filters/compat.h"
#include "ops/filters/option_names.h"

namespace miravex {

/// Makes an image of red, green and blue from a mosaic with one colour per pixel.
///
/// Image: 2D, 1 byte channel, ColorSpaceGray. Pattern: the colours of the top left 2 x 2 pixels, "RGGB",
/// "GBRG", "GRBG" or "BGGR". The result has 3 byte channels and ColorSpaceUnspecified; it is black for
/// mosaics of fewer than 3 rows or columns. Rows longer than bounds::demosaics accepts are refused. Source:
/// B. Bayer, US patent 3971065, 1976.
HostErrorCode imageDemosaic(LibraryData data, KImage image, const char* pattern, KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetChannels(image) != 1 || images.imageGetPixelType(image) != PixelTypeByte
        || images.imageGetColorSpace(image) != ColorSpaceGray)
        return StatusFunctionError;
    const BorrowedMat mosaic(images, image, CV_8U);
    if (!mosaic.isPlane()) return StatusFunctionError;
    const int code = valueOf(bayerPatterns, pattern, unknownBayerPattern);
    if (code == unknownBayerPattern) return StatusFunctionError;
    if (!bounds::demosaics(mosaic->cols)) return StatusFunctionError;
    ResultImage colors(images, mosaic->size(), CV_8UC3);
    if (!colors) return StatusFunctionError;
    compat::demosaic(*mosaic, *colors, code);
    return colors.release(result);
}

} // namespace miravex
