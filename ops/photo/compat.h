#pragma once

#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>

#include <limits>

/// The differences between OpenCV 3.4 and 4.x that this room meets, and the defects of either that it works
/// around with the same result; elsewhere the code reads the same for both.
namespace miravex::compat {

/// OpenCV 3.4 gives 0 where a matrix of floats is divided by 0, OpenCV 4 infinity or NaN. The tone mappers
/// rely on the former.
inline constexpr bool divisionByZeroGivesZero = CV_VERSION_MAJOR < 4;

namespace detail {

/// Luminance of a picture after the rescaling to [0, 1] that every tone mapper starts with.
inline cv::Mat toneLuminance(const cv::Mat& source, cv::Mat& rescaled)
{
    cv::createTonemap(1.0F)->process(source, rescaled);
    cv::Mat luminance;
    cv::cvtColor(rescaled, luminance, cv::COLOR_RGB2GRAY);
    return luminance;
}

/// False when no pixel can come out black: none has all its samples near the least of the picture. A glance
/// that saves most pictures the full look.
inline bool mayHoldBlack(const cv::Mat& source)
{
    double least = 0, most = 0;
    cv::minMaxLoc(source.reshape(1), &least, &most);
    const double dark = least + 1e-5 * (most - least);
    for (int y = 0; y < source.rows; ++y) {
        const auto* row = source.ptr<cv::Vec3f>(y);
        for (int x = 0; x < source.cols; ++x)
            if (!(row[x][0] > dark) && !(row[x][1] > dark) && !(row[x][2] > dark)) return true;
    }
    return false;
}

/// True when some pixel has a positive, finite luminance.
inline bool hasLight(const cv::Mat& luminance)
{
    return cv::countNonZero((luminance > 0) & (luminance <= std::numeric_limits<float>::max())) > 0;
}

} // namespace detail

/// Runs "Drago" or "Mantiuk", which divide by the luminance: black pixels stay black. OpenCV 4 makes NaN of
/// them, which spoils the rescaling of all others. They take part as the faintest light instead, whose blue
/// keeps the picture's least sample at 0, and are blackened afterwards. With saturation 0 nothing is divided,
/// and a picture without any light is refused by both versions.
inline void tonemapByLuminance(cv::Tonemap& mapper, float saturation, const cv::Mat& source, cv::Mat& result)
{
    if (divisionByZeroGivesZero || saturation == 0 || !detail::mayHoldBlack(source)) {
        mapper.process(source, result);
        return;
    }
    cv::Mat rescaled;
    const cv::Mat luminance = detail::toneLuminance(source, rescaled);
    const cv::Mat black = luminance == 0;
    if (cv::countNonZero(black) == 0 || !detail::hasLight(luminance)) {
        mapper.process(source, result);
        return;
    }
    rescaled.setTo(cv::Scalar(1e-20, 1e-20, 0), black);
    mapper.process(rescaled, result);
    result.setTo(cv::Scalar::all(0), black);
}

/// Runs "Reinhard", which divides by the range of the luminance: a picture without any finite light gives 0.
inline void tonemapByRange(cv::Tonemap& mapper, const cv::Mat& source, cv::Mat& result)
{
    mapper.process(source, result);
    if (divisionByZeroGivesZero || cv::checkRange(result)) return;
    cv::Mat rescaled;
    if (!detail::hasLight(detail::toneLuminance(source, rescaled))) cv::patchNaNs(result, 0);
}

} // namespace miravex::compat
