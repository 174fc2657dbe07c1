#include "ops/filters/operations.h"

#include "convert/mat_to_image.h"
#include "ops/filters/flat_image.h"

#include <opencv2/photo.hpp>

namespace miravex {

namespace {

/// The two images that contrast-preserving decolorization makes of one.
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

/// Boosts the colours of an image along with the contrasts that its decolorization finds.
///
/// Image: 2D, 3 byte channels, ColorSpaceRGB. The result has 3 byte channels and ColorSpaceUnspecified.
/// Source: C. Lu, L. Xu, J. Jia, "Contrast preserving decolorization", 2012.
HostErrorCode colorBoost(LibraryData data, KImage image, KImage* result)
{
    Decolored pictures;
    if (!decolor(data, image, pictures)) return StatusFunctionError;
    return returnImage(*data->imageServices, pictures.boosted, result);
}

/// Makes a gray image that keeps the contrasts of the colours.
///
/// Image: 2D, 3 byte channels, ColorSpaceRGB. The result has 1 byte channel and ColorSpaceUnspecified.
/// Source: C. Lu, L. Xu, J. Jia, "Contrast preserving decolorization", 2012.
HostErrorCode decolor(LibraryData data, KImage image, KImage* result)
{
    Decolored pictures;
    if (!decolor(data, image, pictures)) return StatusFunctionError;
    return returnImage(*data->imageServices, pictures.gray, result);
}

} // namespace miravex
