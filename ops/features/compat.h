#pragma once

#include <opencv2/imgproc.hpp>

#include <type_traits>
#include <vector>

/// The differences between OpenCV 3.4 and 4.x that this room meets, and the defects of either that it works
/// around with the same result; elsewhere the code reads the same for both.
namespace miravex::compat {

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

} // namespace miravex::compat
