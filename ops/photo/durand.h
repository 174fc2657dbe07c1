#pragma once

#include <opencv2/core.hpp>

namespace miravex {

/// Parameters of the bilateral-filter display of pictures of high dynamic range.
struct DurandParameters {
    float gamma;
    float contrast; ///< range of the base layer's logarithm in the result
    float saturation;
    float colorSigma; ///< of the bilateral filter, over the logarithm of luminance
    float spaceSigma; ///< of the bilateral filter, in pixels
};

/// Compresses the base layer of a picture, what a bilateral filter leaves of its log luminance, and keeps
/// the rest, its detail. Source: 3 channels of 32-bit floats, of which the luminance is 0.299, 0.587, 0.114
/// parts. The result is not clamped; pixels without luminance become 0. An empty picture is an OpenCV error.
///
/// OpenCV's own operator left its main modules in version 3.4.5 and is disabled where it may not be built.
/// Source: F. Durand, J. Dorsey, "Fast bilateral filtering for the display of high-dynamic-range images",
/// 2002.
void tonemapDurand(const cv::Mat& source, cv::Mat& result, const DurandParameters& parameters);

} // namespace miravex
