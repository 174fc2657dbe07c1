#include "ops/photo/durand.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>

#include <array>

namespace miravex {

namespace {

/// Keeps the logarithm of darkness finite.
constexpr double leastLuminance = 1e-4;

/// Luminance after compression: exp(base (s - 1) + log), where s takes the range of the base to `contrast`.
cv::Mat compressed(const cv::Mat& logLuminance, const DurandParameters& parameters)
{
    constexpr int diameterFromSigma = -1;
    cv::Mat base;
    cv::bilateralFilter(logLuminance, base, diameterFromSigma, parameters.colorSigma, parameters.spaceSigma);
    double least = 0, greatest = 0;
    cv::minMaxLoc(base, &least, &greatest);
    const float scale = parameters.contrast / static_cast<float>(greatest - least);
    cv::Mat luminance = base * (scale - 1.0F) + logLuminance;
    cv::exp(luminance, luminance);
    return luminance;
}

} // namespace

void tonemapDurand(const cv::Mat& source, cv::Mat& result, const DurandParameters& parameters)
{
    cv::Mat rescaled, luminance, logLuminance;
    cv::createTonemap(1.0F)->process(source, rescaled);
    cv::cvtColor(rescaled, luminance, cv::COLOR_RGB2GRAY);
    cv::max(luminance, leastLuminance, logLuminance);
    cv::log(logLuminance, logLuminance);
    const cv::Mat target = compressed(logLuminance, parameters);

    const cv::Mat dark = luminance == 0;
    std::array<cv::Mat, 3> channels;
    cv::split(rescaled, channels.data());
    for (cv::Mat& channel : channels) {
        cv::divide(channel, luminance, channel);
        channel.setTo(0, dark); // OpenCV 4 divides by 0
        cv::pow(channel, parameters.saturation, channel);
        cv::multiply(channel, target, channel);
    }
    cv::merge(channels.data(), channels.size(), result);
    cv::pow(result, 1.0F / parameters.gamma, result);
}

} // namespace miravex
