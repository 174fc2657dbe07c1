#pragma once

#include <opencv2/core.hpp>

#include <cstdint>

namespace miravex {

/// Replaces every sample by the median of the (2 radius + 1)-sided square around it, channel by channel,
/// edges replicated, as cv::medianBlur does, but exact for every radius from 0 to 2^31 - 1: counters are as
/// wide as the window needs.
///
/// `source` holds bytes in 2 dimensions with any number of channels; `median` must be another matrix and is
/// created anew where its size or type differs. Takes constant time per sample whatever the radius, on
/// OpenCV's threads. Each thread keeps one pair of histograms for every column that its windows reach, or row
/// where these are fewer and columns above 16384: some 550 bytes a column up to radius 32767, twice that
/// beyond, and so less than 60 MB for an image of 2^31 samples. Source: S. Perreault, P. Hebert, "Median
/// filtering in constant time", 2007.
void largeMedian(const cv::Mat& source, cv::Mat& median, int64_t radius);

} // namespace miravex
