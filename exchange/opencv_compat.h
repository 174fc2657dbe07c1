#pragma once

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <vector>

/// Every difference between OpenCV 3.4 and 4.x that this library meets, and every defect of either that it
/// works around with the same result, stands here; elsewhere the code reads the same for both.
namespace miravex::compat {

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

// --- photo ----------------------------------------------------------------------------------------------

// --- features -------------------------------------------------------------------------------------------

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
