#pragma once

#include "ops/photo/option_names.h"

#include <opencv2/core.hpp>

namespace miravex {

/// The second frame of a film, enlarged `factor` times by what its neighbours add; see superResolution().
/// Throws cv::Exception, for films that OpenCV can't open or does not survive as well.
void enlargeSecondFrame(const cv::String& film, FlowMethod method, int factor, cv::Mat& enlarged);

} // namespace miravex
