#pragma once

#include "convert/mat_to_image.h"

namespace miravex {

/// Status of an operation that ends by making an image of `matrix`, of its own depth and without a colour
/// space.
inline HostErrorCode returnImage(const ImageServices& images, const cv::Mat& matrix, KImage* result,
                                 int requestedPixelType = anyType)
{
    return matToImage(images, matrix, result, requestedPixelType, ColorSpaceUnspecified)
        ? StatusOk
        : StatusFunctionError;
}

} // namespace miravex
