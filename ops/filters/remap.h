#pragma once

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace miravex {

/// cv::remap with tables that are written strip by strip, so that they stay in the cache between the two;
/// the result is that of whole tables. `fillTables(firstRow, mapX, mapY)` writes the CV_32F entries of as
/// many rows of the result as the two strips have.
template <typename Fill>
void remapByStrips(const cv::Mat& source, cv::Mat& result, int interpolation, int border,
                   const cv::Scalar& color, Fill fillTables)
{
    // What one thread of cv::remap takes at a time, for each of the threads it may use.
    constexpr int pixelsPerThread = 1 << 16;
    const int pixels = pixelsPerThread * std::clamp(cv::getNumThreads(), 1, 64);
    const int height = std::clamp(pixels / std::max(source.cols, 1), 1, std::max(source.rows, 1));

    result.create(source.size(), source.type());
    cv::Mat mapX(height, source.cols, CV_32F), mapY(height, source.cols, CV_32F);
    for (int first = 0; first < source.rows; first += height) {
        const cv::Range strip(first, std::min(first + height, source.rows));
        cv::Mat x = mapX.rowRange(0, strip.size()), y = mapY.rowRange(0, strip.size());
        fillTables(first, x, y);
        cv::Mat rows = result.rowRange(strip);
        cv::remap(source, rows, x, y, interpolation, border, color);
    }
}

} // namespace miravex
