#pragma once

#include <opencv2/core.hpp>

namespace miravex {

/// Makes OpenCV give this matrix its samples in large pages (see large_pages.h) whenever it is created anew,
/// by us or by an operation that writes into it.
void useLargePages(cv::Mat& matrix);

/// An empty matrix for OpenCV to write a result into, in large pages.
cv::Mat resultMatrix();

/// The same whose samples start as 0, for what OpenCV leaves unwritten in some places.
cv::Mat clearedResultMatrix();

} // namespace miravex
