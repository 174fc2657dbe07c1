#pragma once

#include "convert/borrowed_mat.h"
#include "ops/photo/bounds.h"

namespace miravex {

/// True for one frame and more that have pixels and are within bounds::frameSamples, beyond which OpenCV does
/// not survive them.
inline bool framesFit(const BorrowedSlices& frames)
{
    if (!frames || frames->empty() || frames->front().empty()) return false;
    const cv::Mat& first = frames->front();
    return bounds::frameFits(first.rows, first.cols, first.channels());
}

} // namespace miravex
