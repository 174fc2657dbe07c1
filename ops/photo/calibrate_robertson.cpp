#include "ops/photo/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/integers.h"
#include "ops/photo/bounds.h"
#include "ops/photo/exposures.h"
#include "ops/photo/frames.h"
#include "ops/photo/robertson_response.h"

#include <algorithm>

namespace miravex {

/// Estimates the camera's response from all pixels, by turns estimating radiances and the curve, scaled to 1
/// at intensity 128: 256 intensities x 3 channels, flat, intensity by intensity. Intensities that occur
/// nowhere get 0.
///
/// Image: 3D, bytes, 3 channels of ColorSpaceRGB. Exposures: one positive real per frame, the reciprocal of
/// its exposure time. Iterations: at most bounds::calibrationIterations (none for 0 and less) and
/// bounds::work. Threshold: ends the iterations when the curve changes less. Source: M. Robertson, S. Borman,
/// R. Stevenson, "Dynamic range improvement through multiple exposures", 1999.
HostErrorCode calibrateRobertson(LibraryData data, KImage image, KTensor exposures, int64_t iterations,
                                 double threshold, KTensor* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const int64_t slices = images.imageGetSliceCount(image);
    const int64_t channels = images.imageGetChannels(image);
    const PixelType pixelType = images.imageGetPixelType(image);
    const ColorSpace colorSpace = images.imageGetColorSpace(image);
    if (pixelType != PixelTypeByte || channels != 3 || colorSpace != ColorSpaceRGB)
        return StatusFunctionError;
    const Exposures bracket(data, exposures);
    if (!bracket.count(slices)) return StatusFunctionError;
    // Created this early and looked at only in the end, as hosts see it; a refused tensor is not written to.
    NewTensor curve(data, TensorTypeReal, { bounds::responseLength });
    const int count = lowInt32(iterations);
    if (!bracket.positive() || count > bounds::calibrationIterations) return StatusFunctionError;

    const BorrowedSlices frames(images, image, CV_8U);
    if (!framesFit(frames)) return StatusFunctionError;
    const cv::Size size = frames->front().size();
    if (!bounds::calibrationIterationsEnd(count, slices, size.height, size.width)) return StatusFunctionError;
    const cv::Mat response =
        robertsonResponse(*frames, bracket.times(), count, static_cast<float>(threshold));

    double* target = curve ? curve.reals() : nullptr;
    if (!target) return StatusFunctionError;
    std::copy_n(response.ptr<float>(), bounds::responseLength, target);
    *result = curve.release();
    return StatusOk;
}

} // namespace miravex
