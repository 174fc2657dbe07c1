#pragma once

#include "convert/pixel_types.h"

#include <opencv2/core.hpp>

namespace miravex {

/// Copies a host image into a matrix of its own: rank 2 becomes rows x columns, rank 3 becomes a
/// three-dimensional matrix of sizes rows, columns, slices that holds the samples in the host's order.
/// Channels are interleaved.
///
/// `requestedDepth` is CV_8U, CV_16U, CV_32F, CV_64F, or anyType for the depth of the pixel type. Where the
/// image's type or layout differs, the host converts it first, by its own rules; that copy is freed here.
///
/// False when the type, depth, rank, sizes or channels can't be held by a matrix or the host gives no copy
/// or no samples. An unsuitable type or depth leaves `out` alone; a wrong rank empties it.
bool imageToMat(const ImageServices& images, KImage image, cv::Mat& out, int requestedDepth);

} // namespace miravex
