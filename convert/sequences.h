#pragma once

#include "convert/pixel_types.h"
#include "convert/working_image.h"

#include <opencv2/core.hpp>

#include <vector>

namespace miravex {

/// "Every slice", in place of a slice index.
inline constexpr int everySlice = -1;

/// Copies the slices of a 3D image into matrices of rows x columns with interleaved channels, in order, or
/// the one slice of `sliceIndex`, counted from 1. `requestedDepth` as in imageToMat.
///
/// A converted copy made by the host is freed here. False for an unsuitable type or depth, an index outside
/// the slices, missing samples, or a host that claims rank 2 for a null image.
bool imageSlicesToMats(const ImageServices& images, KImage image, std::vector<cv::Mat>& out,
                       int requestedDepth, int sliceIndex);

/// Copies slice `slice`, counted from 0, of an image that already has interleaved samples of `depth` into
/// `out`, which is reused when it has that size and type. False for a depth that no host image has, or when
/// the host gives no samples.
bool copySliceToMat(const ImageServices& images, KImage workingImage, cv::Mat& out, int depth, int slice,
                    int columns, int rows, int channels);

/// Makes a new 3D host image whose slices are the matrices in order. All must be of the first one's size and
/// type. Types, scale factors and colour spaces as in matToImage. True when *out holds the image, which the
/// caller owns; false, and *out untouched, otherwise.
bool matsToImage3D(const ImageServices& images, std::vector<cv::Mat> frames, KImage* out,
                   int requestedPixelType, int colorSpace);

} // namespace miravex
