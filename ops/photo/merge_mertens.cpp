#include "ops/photo/operations.h"

#include "convert/mat_to_image.h"
#include "convert/matrix_memory.h"
#include "ops/photo/exposures.h"

#include <opencv2/photo.hpp>

namespace miravex {

/// Fuses a bracket into one displayable image of 32-bit reals, weighing pixels by contrast and saturation.
///
/// Image: 3D, bytes, ColorSpaceGray or ColorSpaceRGB, 1 or 3 channels. Source: T. Mertens, J. Kautz, F. Van
/// Reeth, "Exposure fusion", 2007.
HostErrorCode mergeMertens(LibraryData data, KImage image, KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const ColorSpace colorSpace = images.imageGetColorSpace(image);
    const PixelType pixelType = images.imageGetPixelType(image);
    images.imageGetSliceCount(image); // asked, although nothing depends on it
    if (pixelType != PixelTypeByte) return StatusFunctionError;
    if (colorSpace != ColorSpaceGray && colorSpace != ColorSpaceRGB) return StatusFunctionError;

    constexpr float contrastWeight = 1, saturationWeight = 1, exposureWeight = 0;
    const cv::Ptr<cv::MergeMertens> merger =
        cv::createMergeMertens(contrastWeight, saturationWeight, exposureWeight);
    std::vector<cv::Mat> frames;
    if (!bracketToMats(images, image, frames, anyType)) return StatusFunctionError;
    cv::Mat merged = resultMatrix();
    merger->process(frames, merged);
    return returnImage(images, merged, result, PixelTypeReal32);
}

} // namespace miravex
