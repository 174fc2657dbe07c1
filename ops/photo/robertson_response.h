#pragma once

#include <opencv2/core.hpp>

#include <vector>

namespace miravex {

/// The response of a camera by Robertson's method: radiances are estimated from the curve and the curve from
/// the radiances by turns, `iterations` times at most, or until the entries of the curve change by less than
/// `threshold` in all, as a mean over the channels. Each channel is scaled to 1 at intensity 128, the first
/// curve is linear. 256 x 1, 3 channels of 32-bit floats.
///
/// Intensities that occur nowhere get 0, as OpenCV 3.4 had it. OpenCV 4 divides by how often they occur: the
/// curve becomes NaN there, its change too, and no threshold ends the iterations. A channel without the
/// middle intensity has nothing to be scaled by and comes out infinite or NaN.
///
/// Frames: of one size, bytes, 3 channels; as many times. Source: M. Robertson, S. Borman, R. Stevenson,
/// "Dynamic range improvement through multiple exposures", 1999.
cv::Mat robertsonResponse(const std::vector<cv::Mat>& frames, const std::vector<float>& times, int iterations,
                          float threshold);

} // namespace miravex
