#pragma once

#include "host/objects.h"

#include <opencv2/core.hpp>

namespace miravex {

/// A field of motion as a picture: the direction of a vector is its hue on the colour wheel (right red, up
/// yellowish green, left cyan, down violet), its length how far the hue departs from white. Vectors that are
/// not finite, or marked as not valid, are black.
struct FlowPicture {
    ImagePointer picture; ///< RGB bytes, rows x columns
    double longest = 0; ///< length that has full colour: 99 of 100 vectors are no longer
    double meanU = 0; ///< over the vectors that are not black, in pixels, v upward
    double meanV = 0;
    int64_t unusable = 0; ///< how many vectors are black
};

/// Draws the flow of one pair, counted from 0. Throws std::invalid_argument for a tensor that is not of
/// pairs x rows x columns x 2 or 3, or lacks the pair.
FlowPicture drawFlow(const Tensor& flow, int64_t pair = 0);

/// The legend: a wheel with that many pixels across, on white, whose edge stands for the longest vector.
ImagePointer flowWheel(int64_t diameter);

namespace painters {

/// Covers a canvas of RGB bytes with the flow of the first pair, the wheel in the lower right corner. Throws
/// std::invalid_argument when the flow is not of the canvas's size.
void flow(cv::Mat& canvas, const Tensor& result);

} // namespace painters

} // namespace miravex
