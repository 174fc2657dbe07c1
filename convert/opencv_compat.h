#pragma once

#include <opencv2/imgproc.hpp>

/// The differences between OpenCV 3.4 and 4.x that the whole library meets, and the defects of either that it
/// works around with the same result; elsewhere the code reads the same for both.
namespace miravex::compat {

/// Exchanges the first and third channels of a picture. Of one channel OpenCV 3.4 refuses it; 4.x would widen
/// gray to colour instead, so the refusal is ours.
inline void swapRedAndBlue(const cv::Mat& source, cv::Mat& destination)
{
    if (source.channels() < 3)
        CV_Error(cv::Error::BadNumChannels, "Invalid number of channels in input image: a swap needs 3 or 4");
    cv::cvtColor(source, destination, cv::COLOR_BGR2RGB);
}

} // namespace miravex::compat
