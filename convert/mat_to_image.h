#pragma once

#include "abi/host_objects.h"
#include "convert/pixel_types.h"

#include <opencv2/core.hpp>

namespace miravex {

/// Makes a new host image of a matrix of 2 dimensions, or of 3 with sizes rows, columns, slices.
///
/// `requestedPixelType` is a host pixel type, or anyType for that of the matrix depth. Where depth and type
/// differ, samples are scaled by scaleFactor() and saturate; a bit image takes 1 for every nonzero byte and
/// always gets ColorSpaceUnspecified. Several channels are interleaved.
///
/// True when *out holds the image, which the caller owns. False, and *out untouched, for a depth or number
/// of dimensions that no host image has, a bit image asked of samples wider than a byte, or a host that
/// does not create the image or give its samples.
bool matToImage(const ImageServices& images, cv::Mat matrix, KImage* out, int requestedPixelType,
                int colorSpace);

/// The end of an operation whose result is an image of `matrix`: StatusOk with the image in *result, or
/// StatusFunctionError. Of the matrix's own depth and without a colour space unless told otherwise.
inline HostErrorCode returnImage(const ImageServices& images, const cv::Mat& matrix, KImage* result,
                                 int requestedPixelType = anyType, int colorSpace = ColorSpaceUnspecified)
{
    return matToImage(images, matrix, result, requestedPixelType, colorSpace) ? StatusOk
                                                                              : StatusFunctionError;
}

/// Pixel type that `requested` means for a matrix depth, or -1 when no image can be made of it.
PixelType targetPixelType(int depth, int requested) noexcept;

/// Writes the samples of a matrix, scaled and saturated, into `samples` of an image of type `target`.
/// The matrix must have a target by targetPixelType(), and `samples` room for all of it.
void writeSamples(const cv::Mat& matrix, PixelType target, std::uint8_t* samples);

} // namespace miravex
