#pragma once

#include <opencv2/core.hpp>

namespace miravex {

/// An empty matrix that starts as 0 whenever OpenCV creates it anew: for functions that change the size of
/// their destination on the way and leave some of its places unwritten in the end.
cv::Mat clearedMatrix();

} // namespace miravex
