#pragma once

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>
#include <vector>

/// Every difference between OpenCV 3.4 and 4.x that this library meets, and every defect of either that it
/// works around with the same result, stands here; elsewhere the code reads the same for both.
namespace miravex::compat {

// --- shared ---------------------------------------------------------------------------------------------

/// How OpenCV's allocators are told what memory is for: a plain int in 3.4.
#if CV_VERSION_MAJOR < 4
using AccessFlags = int;
#else
using AccessFlags = cv::AccessFlag;
#endif

// --- filters --------------------------------------------------------------------------------------------

/// cv::pyrUp with its default border. At an odd width OpenCV leaves the last column of pictures with several
/// channels uninitialised, so such pictures go through it channel by channel.
inline void pyrUp(const cv::Mat& source, cv::Mat& destination, cv::Size size)
{
    if (source.channels() == 1 || size.width % 2 == 0) {
        cv::pyrUp(source, destination, size, cv::BORDER_DEFAULT);
        return;
    }
    std::vector<cv::Mat> planes;
    cv::split(source, planes);
    for (cv::Mat& plane : planes) {
        cv::Mat doubled;
        cv::pyrUp(plane, doubled, size, cv::BORDER_DEFAULT);
        plane = doubled;
    }
    cv::merge(planes, destination);
}

/// cv::copyMakeBorder in place. OpenCV folds reflected positions back one reflection at a time, so that a
/// margin of many times the picture takes forever: such pictures are first completed to one period of their
/// reflections and then repeated.
inline void copyMakeBorder(cv::Mat& matrix, int top, int bottom, int left, int right, int border,
                           const cv::Scalar& value)
{
    const bool reflects = border == cv::BORDER_REFLECT || border == cv::BORDER_REFLECT_101;
    const bool far = std::max(top, bottom) > matrix.rows || std::max(left, right) > matrix.cols;
    if (!reflects || !far) {
        cv::copyMakeBorder(matrix, matrix, top, bottom, left, right, border, value);
        return;
    }
    const cv::Size whole(left + matrix.cols + right, top + matrix.rows + bottom);
    const int repeated = border == cv::BORDER_REFLECT ? 0 : 2; // of the edge samples
    const int below = std::max(matrix.rows - repeated, 0);
    const int beside = std::max(matrix.cols - repeated, 0);
    cv::copyMakeBorder(matrix, matrix, 0, below, 0, beside, border, value);
    cv::copyMakeBorder(matrix, matrix, top, std::max(bottom - below, 0), left, std::max(right - beside, 0),
                       cv::BORDER_WRAP, value);
    matrix = matrix(cv::Rect(cv::Point(), whole));
}

/// cv::sepFilter2D that also takes BORDER_WRAP, and any number of channels with every border.
inline void sepFilter2D(const cv::Mat& source, cv::Mat& destination, const cv::Mat& kernelX,
                        const cv::Mat& kernelY, int border)
{
    if (source.channels() > 4) {
        std::vector<cv::Mat> planes;
        cv::split(source, planes);
        for (cv::Mat& plane : planes) sepFilter2D(plane, plane, kernelX, kernelY, border);
        cv::merge(planes, destination);
        return;
    }
    const cv::Point centre(-1, -1);
    if (border != cv::BORDER_WRAP) {
        cv::sepFilter2D(source, destination, -1, kernelX, kernelY, centre, 0.0, border);
        return;
    }
    // What lies around a view into a larger matrix is read as it is, and no border is ever asked for.
    const int left = kernelX.cols / 2, top = kernelY.cols / 2;
    cv::Mat wrapped;
    cv::copyMakeBorder(source, wrapped, top, kernelY.cols - 1 - top, left, kernelX.cols - 1 - left,
                       cv::BORDER_WRAP);
    const cv::Mat inside = wrapped(cv::Rect(cv::Point(left, top), source.size()));
    cv::sepFilter2D(inside, destination, -1, kernelX, kernelY, centre, 0.0, cv::BORDER_DEFAULT);
}

// --- photo ----------------------------------------------------------------------------------------------

/// OpenCV 3.4 gives 0 where a matrix of floats is divided by 0, OpenCV 4 infinity or NaN. The tone mappers
/// and the Robertson calibration rely on the former.
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

/// Sets the response of intensities that occur in no exposure to 0. OpenCV 4 divides by how often they occur
/// and answers NaN. A channel without the middle intensity is scaled by its absence and stays as it is.
inline void clearAbsentIntensities(cv::Mat& response)
{
    if (divisionByZeroGivesZero) return;
    for (int channel = 0; channel < 3; ++channel) {
        if (std::isnan(response.at<cv::Vec3f>(128)[channel])) continue;
        for (int value = 0; value < response.rows; ++value) {
            float& entry = response.at<cv::Vec3f>(value)[channel];
            if (std::isnan(entry)) entry = 0;
        }
    }
}

// --- features -------------------------------------------------------------------------------------------

/// A parameter of the feature detectors that is an int in OpenCV 3.4 and an enum in 4.x.
class Option {
public:
    constexpr explicit Option(int value)
        : value_(value)
    {
    }
    template <typename Target>
    requires(std::is_enum_v<Target> || std::is_same_v<Target, int>) constexpr operator Target() const
    {
        return static_cast<Target>(value_);
    }

private:
    int value_;
};

/// cv::findContours of a byte picture. The flood-fill mode takes only 32-bit labels, so there every nonzero
/// pixel becomes the label 1 first, as OpenCV itself does in the other modes.
inline void findContours(const cv::Mat& picture, std::vector<std::vector<cv::Point>>& contours,
                         std::vector<cv::Vec4i>& hierarchy, int mode, int method)
{
    if (mode != cv::RETR_FLOODFILL) {
        cv::findContours(picture, contours, hierarchy, mode, method, cv::Point(0, 0));
        return;
    }
    cv::Mat labels;
    cv::Mat(picture != 0).convertTo(labels, CV_32S, 1.0 / 255);
    cv::findContours(labels, contours, hierarchy, mode, method, cv::Point(0, 0));
}

// --- importops ------------------------------------------------------------------------------------------

/// Exchanges the first and third channels of a picture. Of one channel OpenCV 3.4 refuses it; 4.x would widen
/// gray to colour instead, so the refusal is ours.
inline void swapRedAndBlue(const cv::Mat& source, cv::Mat& destination)
{
    if (source.channels() < 3)
        CV_Error(cv::Error::BadNumChannels, "Invalid number of channels in input image: a swap needs 3 or 4");
    cv::cvtColor(source, destination, cv::COLOR_BGR2RGB);
}

} // namespace miravex::compat
