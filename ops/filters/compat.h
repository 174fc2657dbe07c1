#pragma once

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <vector>

/// The differences between OpenCV 3.4 and 4.x that this room meets, and the defects of either that it works
/// around with the same result; elsewhere the code reads the same for both.
namespace miravex::compat {

/// cv::pyrUp with its default border. At an odd width OpenCV leaves the last column of images with several
/// channels uninitialised, so such images go through it channel by channel.
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
/// margin of many times the image takes forever: such images are first completed to one period of their
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

} // namespace miravex::compat
