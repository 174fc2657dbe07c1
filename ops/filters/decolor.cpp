#include "ops/filters/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/own_kernels.h"
#include "convert/result_image.h"
#include "ops/filters/bounds.h"
#include "ops/filters/decolorization.h"

#include <opencv2/photo.hpp>

namespace miravex {

namespace {

/// False for images that neither operation takes.
bool accepts(LibraryData data, KImage image)
{
    if (!data || !image) return false;
    const ImageServices& images = *data->imageServices;
    return images.imageGetPixelType(image) == PixelTypeByte
        && images.imageGetColorSpace(image) == ColorSpaceRGB && images.imageGetChannels(image) == 3;
}

/// An image with pixels, few enough of them for OpenCV.
bool decolors(const BorrowedMat& source)
{
    return source.isPlane() && bounds::isIndexed(source->rows, source->cols, source->channels());
}

/// False where OpenCV is to do the work.
bool decolorizesByOwnKernel(const cv::Mat& source, cv::Mat& gray)
{
    return ownKernels() && decolorizesAsOpenCv() && decolorize(source, gray);
}

} // namespace

/// Boosts the colours of an image along with the contrasts that its decolorization finds.
///
/// Image: 2D, 3 byte channels, ColorSpaceRGB, at most 2^31 - 1 samples. The result has 3 byte channels and
/// ColorSpaceUnspecified. Source: C. Lu, L. Xu, J. Jia, "Contrast preserving decolorization", 2012.
HostErrorCode colorBoost(LibraryData data, KImage image, KImage* result)
{
    if (!accepts(data, image)) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const BorrowedMat source(images, image, anyType);
    if (!decolors(source)) return StatusFunctionError;
    ResultImage boosted(images, source->size(), CV_8UC3);
    if (!boosted) return StatusFunctionError;
    cv::Mat gray;
    if (decolorizesByOwnKernel(*source, gray))
        boostColors(*source, gray, *boosted);
    else
        cv::decolor(*source, gray, *boosted);
    return boosted.release(result);
}

/// Makes a gray image that keeps the contrasts of the colours.
///
/// Image: 2D, 3 byte channels, ColorSpaceRGB, at most 2^31 - 1 samples. The result has 1 byte channel and
/// ColorSpaceUnspecified. Source: C. Lu, L. Xu, J. Jia, "Contrast preserving decolorization", 2012.
HostErrorCode decolor(LibraryData data, KImage image, KImage* result)
{
    if (!accepts(data, image)) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const BorrowedMat source(images, image, anyType);
    if (!decolors(source)) return StatusFunctionError;
    ResultImage gray(images, source->size(), CV_8U);
    if (!gray) return StatusFunctionError;
    cv::Mat boosted;
    if (!decolorizesByOwnKernel(*source, *gray)) cv::decolor(*source, *gray, boosted);
    return gray.release(result);
}

} // namespace miravex
