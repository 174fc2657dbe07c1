#pragma once

#include "convert/image_to_mat.h"
#include "convert/tensors.h"

#include <opencv2/core.hpp>

#include <optional>

namespace miravex {

/// imageToMat for operations that take images with rows and columns alone: false also for a sequence and
/// for a image without pixels, which some of OpenCV's functions read beyond.
inline bool flatImageToMat(const ImageServices& images, KImage image, cv::Mat& out, int requestedDepth)
{
    return imageToMat(images, image, out, requestedDepth) && out.dims == 2 && !out.empty();
}

/// A padding colour of three components, with 0 as the fourth; nothing for any other length.
inline std::optional<cv::Scalar> paddingColor(LibraryData data, KTensor tensor)
{
    const auto components = realElements(data, tensor);
    if (!components || components->size() != 3) return std::nullopt;
    return cv::Scalar((*components)[0], (*components)[1], (*components)[2]);
}

} // namespace miravex
