#pragma once

#include <opencv2/core.hpp>

namespace miravex {

/// What OpenCV makes of its normalized convolution, but for what goes wrong in it:
///
/// - The first pixel of a row or column that lies within the radius of the filter as a whole is divided by
/// zero,
///   and so is every pixel when the range sigma is 0. What is divided OpenCV reads from the 4 bytes behind a
///   block of memory. Whatever stands there, the quotient is not finite and comes out black, here as there.
/// - OpenCV counts the samples of an image in floats, which from 2^24 on miss rows and may miss the image.
/// Here
///   such images are filtered like smaller ones.
///
/// In all other cases OpenCV itself is called. Source: bytes, 3 channels, not empty; may be the result.
/// E. Gastal, M. Oliveira, "Domain transform for edge-aware image and video processing", 2011.
void filterByNormalizedConvolution(const cv::Mat& source, cv::Mat& filtered, float spatialSigma,
                                   float rangeSigma);

/// cv::stylization, which darkens the edges that the same filter leaves.
void stylizeByNormalizedConvolution(cv::InputArray source, cv::OutputArray stylized, float spatialSigma,
                                    float rangeSigma);

} // namespace miravex
