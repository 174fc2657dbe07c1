#include "ops/filters/operations.h"

#include "convert/mat_to_image.h"
#include "ops/filters/flat_image.h"
#include "ops/filters/option_names.h"

#include <opencv2/imgproc.hpp>

namespace miravex {

/// Makes a image of red, green and blue from a mosaic with one colour per pixel.
///
/// Image: 2D, 1 byte channel, ColorSpaceGray. Pattern: the colours of the top left 2 x 2 pixels, "RGGB",
/// "GBRG", "GRBG" or "BGGR". The result has 3 byte channels and ColorSpaceUnspecified; it is black for
/// mosaics of fewer than 3 rows or columns. Source: B. Bayer, US patent 3971065, 1976.
HostErrorCode imageDemosaic(LibraryData data, KImage image, const char* pattern, KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetChannels(image) != 1 || images.imageGetPixelType(image) != PixelTypeByte
        || images.imageGetColorSpace(image) != ColorSpaceGray)
        return StatusFunctionError;
    cv::Mat matrix;
    if (!flatImageToMat(images, image, matrix, CV_8U)) return StatusFunctionError;
    const int code = valueOf(bayerPatterns, pattern, unknownBayerPattern);
    if (code == unknownBayerPattern) return StatusFunctionError;
    cv::cvtColor(matrix, matrix, code, 0);
    return returnImage(images, matrix, result);
}

} // namespace miravex
