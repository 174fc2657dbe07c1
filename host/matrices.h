#pragma once

#include "host/objects.h"

#include <opencv2/core.hpp>

#include <optional>
#include <span>
#include <vector>

/// The embedded host's images and OpenCV's matrices, for what stands on the host's side: the tools, the
/// benchmarks, the tests. Channels keep their order.
namespace miravex {

/// The pixel type whose samples are those of a matrix depth. Throws std::invalid_argument for others.
PixelType pixelTypeOfMatrix(const cv::Mat& matrix);

/// Gray for one channel, RGB for three, unspecified otherwise.
ColorSpace usualColorSpace(int64_t channels);

/// An interleaved image that holds a copy of a matrix, in the usual colour space unless told otherwise.
ImagePointer imageOfMatrix(const cv::Mat& matrix, std::optional<ColorSpace> colorSpace = {});

/// A 3D image whose slices are copies of the matrices, which all have the type and size of the first.
ImagePointer imageOfFrames(std::span<const cv::Mat> frames, std::optional<ColorSpace> colorSpace = {});

/// Matrices over the slices of an interleaved image, or over the whole of a 2D one; valid as long as the
/// image is. Bits are bytes of 0 and 1.
std::vector<cv::Mat> framesOf(const Image& image);

} // namespace miravex
