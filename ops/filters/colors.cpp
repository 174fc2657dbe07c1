#include "ops/filters/operations.h"

#include "convert/mat_to_image.h"
#include "ops/filters/flat_image.h"
#include "ops/filters/option_names.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>

namespace miravex {

namespace {

/// The two pictures that contrast-preserving decolorization makes of one.
struct Decolored {
    cv::Mat gray;
    cv::Mat boosted;
};

bool decolor(LibraryData data, KImage image, Decolored& out)
{
    if (!data || !image) return false;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetPixelType(image) != PixelTypeByte || images.imageGetColorSpace(image) != ColorSpaceRGB
        || images.imageGetChannels(image) != 3)
        return false;
    cv::Mat matrix;
    if (!flatImageToMat(images, image, matrix, anyType)) return false;
    cv::decolor(matrix, out.gray, out.boosted);
    return true;
}

} // namespace

/// Makes a picture of red, green and blue from a mosaic with one colour per pixel.
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
    return matToImage(images, matrix, result, anyType, ColorSpaceUnspecified) ? StatusOk
                                                                              : StatusFunctionError;
}

/// Contrast-preserving decolorization: decolor gives the gray picture, colorBoost the picture with its
/// colours boosted by it.
///
/// Image: 2D, 3 byte channels, ColorSpaceRGB. The results are bytes with ColorSpaceUnspecified. Source:
/// C. Lu, L. Xu, J. Jia, "Contrast preserving decolorization", 2012.
HostErrorCode colorBoost(LibraryData data, KImage image, KImage* result)
{
    Decolored pictures;
    if (!decolor(data, image, pictures)) return StatusFunctionError;
    return matToImage(*data->imageServices, pictures.boosted, result, anyType, ColorSpaceUnspecified)
        ? StatusOk
        : StatusFunctionError;
}

HostErrorCode decolor(LibraryData data, KImage image, KImage* result)
{
    Decolored pictures;
    if (!decolor(data, image, pictures)) return StatusFunctionError;
    return matToImage(*data->imageServices, pictures.gray, result, anyType, ColorSpaceUnspecified)
        ? StatusOk
        : StatusFunctionError;
}

} // namespace miravex
