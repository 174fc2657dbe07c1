#pragma once

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

/// The differences between OpenCV 3.4 and 4.x that this room meets, and the defects of either that it works
/// around with the same result; elsewhere the code reads the same for both.
namespace miravex::compat {

/// How OpenCV's allocators are told what memory is for: a plain int in 3.4.
#if CV_VERSION_MAJOR < 4
using AccessFlags = int;
#else
using AccessFlags = cv::AccessFlag;
#endif

/// cv::pyrUp with its default border. One column beyond twice the width OpenCV repeats the last one, but
/// leaves it unwritten in images of several channels, so these go through it channel by channel, and in
/// images of a single column, so these are completed here.
inline void pyrUp(const cv::Mat& source, cv::Mat& destination, cv::Size size)
{
    const bool oneBeyond = size.width == 2 * int64_t { source.cols } + 1;
    if (oneBeyond && source.cols == 1) {
        cv::Mat doubled;
        cv::pyrUp(source, doubled, cv::Size(2, size.height), cv::BORDER_DEFAULT);
        cv::copyMakeBorder(doubled, destination, 0, 0, 0, 1, cv::BORDER_REPLICATE);
        return;
    }
    if (source.channels() == 1 || !oneBeyond) {
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

/// cv::cvtColor of a Bayer mosaic to three channels. OpenCV counts the bytes of the result in int; a mosaic
/// whose result has more than `most` of them goes through it in bands of rows, with the rows above and below
/// that the pixels of a band are made of, for the same result.
inline void demosaic(const cv::Mat& mosaic, cv::Mat& colors, int code,
                     int64_t most = std::numeric_limits<int>::max())
{
    const int64_t rowBytes = 3 * int64_t { mosaic.cols };
    if (mosaic.rows * rowBytes <= most) {
        cv::cvtColor(mosaic, colors, code);
        return;
    }
    constexpr int margin = 2; // as long as the pattern, so that every band begins as the mosaic does
    const int band = static_cast<int>(std::max<int64_t>(most / rowBytes - int64_t { 2 } * margin, 2)) / 2 * 2;
    colors.create(mosaic.size(), CV_8UC3);
    for (int first = 0; first < mosaic.rows; first += band) {
        const int end = static_cast<int>(std::min<int64_t>(int64_t { first } + band, mosaic.rows));
        const int above = std::max(first - margin, 0), below = std::min(mosaic.rows - end, margin) + end;
        cv::Mat part;
        cv::cvtColor(mosaic.rowRange(above, below), part, code);
        part.rowRange(first - above, end - above).copyTo(colors.rowRange(first, end));
    }
}

/// cv::copyMakeBorder. OpenCV folds reflected positions back one reflection at a time, so that a
/// margin of many times the image takes forever: such images are first completed to one period of their
/// reflections and then repeated.
inline void copyMakeBorder(const cv::Mat& source, cv::Mat& padded, int top, int bottom, int left, int right,
                           int border, const cv::Scalar& value)
{
    const bool reflects = border == cv::BORDER_REFLECT || border == cv::BORDER_REFLECT_101;
    const bool far = std::max(top, bottom) > source.rows || std::max(left, right) > source.cols;
    if (!reflects || !far) {
        cv::copyMakeBorder(source, padded, top, bottom, left, right, border, value);
        return;
    }
    const int repeated = border == cv::BORDER_REFLECT ? 0 : 2; // of the edge samples
    const int below = std::max(source.rows - repeated, 0);
    const int beside = std::max(source.cols - repeated, 0);
    cv::Mat period, repetitions;
    cv::copyMakeBorder(source, period, 0, below, 0, beside, border, value);
    cv::copyMakeBorder(period, repetitions, top, std::max(bottom - below, 0), left,
                       std::max(right - beside, 0), cv::BORDER_WRAP, value);
    const cv::Size whole(left + source.cols + right, top + source.rows + bottom);
    repetitions(cv::Rect(cv::Point(), whole)).copyTo(padded);
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
