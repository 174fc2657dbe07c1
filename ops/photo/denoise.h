#pragma once

#include <opencv2/core.hpp>

#include <vector>

/// The four denoising operations on matrices, in the shapes of the OpenCV functions that they stand for and
/// with the same bits: by our own non-local means (see non_local_means.h, which says what windows may be), or
/// by those functions themselves where own kernels are switched off. These throw a cv::Exception on windows
/// that OpenCV does not survive. Results are created anew where their size or type differs.
namespace miravex {

/// Denoises a picture of bytes in 1 to 4 channels that are compared as a whole.
void denoise(const cv::Mat& picture, cv::Mat& denoised, float strength, int templateSide, int searchSide);

/// Denoises a picture of bytes in 3 channels, apart in lightness and in the colour components of CIE L*a*b*.
void denoiseColored(const cv::Mat& picture, cv::Mat& denoised, float strength, float colorStrength,
                    int templateSide, int searchSide);

/// Denoises one of some frames of a size and type, with the help of as many before and after it as make
/// `temporal` of them. Throws a cv::Exception when there are not as many.
void denoiseFrame(const std::vector<cv::Mat>& frames, cv::Mat& denoised, int index, int temporal,
                  float strength, int templateSide, int searchSide);

/// The same as denoiseColored() does it.
void denoiseColoredFrame(const std::vector<cv::Mat>& frames, cv::Mat& denoised, int index, int temporal,
                         float strength, float colorStrength, int templateSide, int searchSide);

} // namespace miravex
