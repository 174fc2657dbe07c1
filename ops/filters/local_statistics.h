#pragma once

#include <opencv2/core.hpp>

namespace miravex {

/// The square window of local means and deviations, and how the image goes on beyond its edge.
struct LocalWindow {
    int radius = 1;
    int border = cv::BORDER_DEFAULT; ///< any named padding
    double fill = 0; ///< what "Constant" padding is made of
};

/// The image less meanWeight * (local mean) and deviationWeight * (local standard deviation), by the stated
/// calls of OpenCV. A weight of 0 leaves its term out, a weight of 1 multiplies nothing; one of them is not
/// 0. The image is CV_64F with one channel.
///
/// With the paddings "Constant" and "Periodic" the mean sees the padding and the deviation's mean of squares
/// sees reflections at the edge instead; hosts expect it so.
cv::Mat differencesByBlurs(const cv::Mat& image, const LocalWindow& window, double meanWeight,
                           double deviationWeight);

/// The same result, bit for bit, from running sums that add and subtract in the order of OpenCV's own, one
/// row at a time from sums to differences, so that nothing leaves the cache.
cv::Mat differencesByRunningSums(const cv::Mat& image, const LocalWindow& window, double meanWeight,
                                 double deviationWeight);

} // namespace miravex
