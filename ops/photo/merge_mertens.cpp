#include "ops/photo/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/result_image.h"
#include "ops/photo/frames.h"

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
    const BorrowedSlices frames(images, image, anyType);
    if (!framesFit(frames)) return StatusFunctionError;
    const cv::Mat& first = frames->front();
    ResultImage merged(images, first.size(), CV_MAKETYPE(CV_32F, first.channels()));
    if (!merged) return StatusFunctionError;
    merger->process(*frames, *merged);
    return merged.release(result);
}

} // namespace miravex
