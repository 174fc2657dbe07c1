#include "ops/photo/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/integers.h"
#include "ops/photo/bounds.h"
#include "ops/photo/exposures.h"
#include "ops/photo/frames.h"

#include <opencv2/photo.hpp>

#include <cmath>

namespace miravex {

/// Estimates the camera's response by least squares over sampled pixels: 256 intensities x 3 channels, flat,
/// intensity by intensity.
///
/// Image: 3D, bytes, 3 channels. Exposures: one positive real per frame, the reciprocal of its exposure time.
/// Samples: 2 to bounds::calibrationSamples; without `random` they form a grid that must fit the picture.
/// Lambda weighs the smoothness of the curve, at most bounds::calibrationSmoothness up or down. Source: P.
/// Debevec, J. Malik, "Recovering high dynamic range radiance maps from photographs", 1997.
HostErrorCode calibrateDebevec(LibraryData data, KImage image, KTensor exposures, int64_t samples,
                               double lambda, HostBoolean random, KTensor* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const int64_t slices = images.imageGetSliceCount(image);
    const int64_t channels = images.imageGetChannels(image);
    const PixelType pixelType = images.imageGetPixelType(image);
    if (pixelType != PixelTypeByte || channels != 3) return StatusFunctionError;
    cv::Mat response(bounds::responseLevels, 1, CV_32FC3);
    const Exposures bracket(data, exposures);
    if (!bracket.count(slices)) return StatusFunctionError;
    NewTensor curve(data, TensorTypeReal, { bounds::responseLength });
    if (!curve) return StatusFunctionError;
    const int count = lowInt32(samples);
    if (!bracket.positive() || count < 2) return StatusFunctionError;
    if (count > bounds::calibrationSamples || !bounds::calibrationEnds(count, slices))
        return StatusFunctionError;
    if (!(std::abs(lambda) <= bounds::calibrationSmoothness)) return StatusFunctionError;

    const cv::Ptr<cv::CalibrateDebevec> calibrator =
        cv::createCalibrateDebevec(count, static_cast<float>(lambda), random != 0);
    const BorrowedSlices frames(images, image, CV_8U);
    if (!framesFit(frames)) return StatusFunctionError;
    const cv::Size size = frames->front().size();
    if (!random && !bounds::calibrationGridFits(size.height, size.width, count)) return StatusFunctionError;
    calibrator->process(*frames, response, bracket.times());

    double* target = curve.reals();
    if (!target) return StatusFunctionError;
    const float* source = response.ptr<float>();
    for (int64_t i = 0; i < bounds::responseLength; ++i) {
        if (std::isnan(target[i])) return StatusFunctionError; // the guard is on what is overwritten
        target[i] = source[i];
    }
    *result = curve.release();
    return StatusOk;
}

} // namespace miravex
