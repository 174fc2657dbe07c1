#include "ops/photo/operations.h"

#include "ops/photo/bounds.h"
#include "ops/photo/compat.h"
#include "ops/photo/exposures.h"

#include <opencv2/photo.hpp>

#include <cmath>

namespace miravex {

namespace {

/// True when OpenCV can lay its grid of samples over the frames; it divides by the points of a row.
bool gridFits(const cv::Mat& frame, int samples)
{
    const double perRow = std::sqrt(static_cast<double>(samples) * frame.cols / frame.rows);
    if (!(perRow >= 1 && perRow < frame.cols + 1.0)) return false;
    const int rowsOfPoints = samples / static_cast<int>(perRow);
    return rowsOfPoints >= 1 && rowsOfPoints <= frame.rows;
}

/// Steps of the three dense least-squares systems: equations x unknowns x unknowns.
int64_t systemWork(int64_t samples, int64_t frames)
{
    const int64_t unknowns = responseLevels + samples;
    return bounds::product({ 3, samples * frames + responseLevels + 1, unknowns, unknowns });
}

} // namespace

/// Estimates the camera's response: 256 intensities x 3 channels, flat, intensity by intensity.
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
    cv::Mat response(responseLevels, 1, CV_32FC3);
    const Exposures bracket(data, exposures);
    if (!bracket.count(slices)) return StatusFunctionError;
    NewTensor curve(data, TensorTypeReal, { responseLength });
    if (!curve) return StatusFunctionError;
    const int count = static_cast<int>(samples);
    if (!bracket.positive() || count < 2) return StatusFunctionError;
    if (count > bounds::calibrationSamples || systemWork(count, slices) > bounds::work)
        return StatusFunctionError;
    if (!(std::abs(lambda) <= bounds::calibrationSmoothness)) return StatusFunctionError;

    const cv::Ptr<cv::CalibrateDebevec> calibrator =
        cv::createCalibrateDebevec(count, static_cast<float>(lambda), random != 0);
    std::vector<cv::Mat> frames;
    if (!bracketToMats(images, image, frames)) return StatusFunctionError;
    if (!random && !gridFits(frames.front(), count)) return StatusFunctionError;
    calibrator->process(frames, response, bracket.times());

    double* target = curve.reals();
    if (!target) return StatusFunctionError;
    const float* source = response.ptr<float>();
    for (int64_t i = 0; i < responseLength; ++i) {
        if (std::isnan(target[i])) return StatusFunctionError; // the guard is on what is overwritten
        target[i] = source[i];
    }
    *result = curve.release();
    return StatusOk;
}

/// The same from all pixels, by turns estimating radiances and the curve, scaled to 1 at intensity 128.
/// Intensities that occur nowhere get 0.
///
/// Image: 3D, bytes, 3 channels of ColorSpaceRGB. Iterations: at most bounds::calibrationIterations (none for
/// 0 and less) and bounds::work. Threshold: ends the iterations when the curve changes less. Source: M.
/// Robertson, S. Borman, R. Stevenson, "Dynamic range improvement through multiple exposures", 1999.
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
    cv::Mat response(responseLevels, 1, CV_32FC3);
    const Exposures bracket(data, exposures);
    if (!bracket.count(slices)) return StatusFunctionError;
    // Created this early and looked at only in the end, as hosts see it; a refused tensor is not written to.
    NewTensor curve(data, TensorTypeReal, { responseLength });
    const int count = static_cast<int>(iterations);
    if (!bracket.positive() || count > bounds::calibrationIterations) return StatusFunctionError;

    const cv::Ptr<cv::CalibrateRobertson> calibrator =
        cv::createCalibrateRobertson(count, static_cast<float>(threshold));
    std::vector<cv::Mat> frames;
    if (!bracketToMats(images, image, frames)) return StatusFunctionError;
    const auto pixels = static_cast<int64_t>(frames.front().total());
    if (bounds::product({ std::max(count, 0), slices, pixels, 3 }) > bounds::work) return StatusFunctionError;
    calibrator->process(frames, response, bracket.times());
    compat::clearAbsentIntensities(response);

    double* target = curve ? curve.reals() : nullptr;
    if (!target) return StatusFunctionError;
    std::copy_n(response.ptr<float>(), responseLength, target);
    *result = curve.release();
    return StatusOk;
}

} // namespace miravex
