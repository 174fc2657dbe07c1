#pragma once

#include <opencv2/core.hpp>

#include <array>

namespace miravex {

/// Edge-aware smoothing along rows and columns in turn, thrice. Both filters measure how far apart neighbours
/// are in a transformed domain: 1 and `spatialSigma / rangeSigma` times the difference of their colours.
///
/// `image` has 32-bit floats and 1 or 3 channels; it is worked on in place, on OpenCV's threads. Source: E.
/// Gastal, M. Oliveira, "Domain transform for edge-aware image and video processing", 2011.
namespace domain_transform {

/// Draws each sample towards the one before it, and then towards the one behind it, less the further it is.
void filterRecursively(cv::Mat& image, float spatialSigma, float rangeSigma);

/// Replaces each pixel by the mean of those within a radius, of 3 channels.
///
/// Bit for bit what OpenCV makes, but for what goes wrong in it:
///
/// - The first pixel of a row or column that lies within the radius as a whole is divided by zero, and so is
///   every pixel when the range sigma is 0. What is divided OpenCV reads from the 4 bytes behind a block of
///   memory. Whatever stands there, the quotient is not finite and comes out black. It is NaN here.
/// - OpenCV counts the samples of an image in floats, which from 2^24 on miss rows and may miss the image.
///   Here such images are filtered like smaller ones.
void convolveNormalized(cv::Mat& image, float spatialSigma, float rangeSigma);

/// True when OpenCV's normalized convolution of such an image would read outside its own memory, or elsewhere
/// in it than it means to.
bool misleadsOpenCv(const cv::Mat& image, float spatialSigma, float rangeSigma);

} // namespace domain_transform

} // namespace miravex
