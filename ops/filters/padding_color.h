#pragma once

#include "convert/tensors.h"

#include <opencv2/core.hpp>

#include <optional>

namespace miravex {

/// A padding colour of three components, with 0 as the fourth; nothing for any other length.
inline std::optional<cv::Scalar> paddingColor(LibraryData data, KTensor tensor)
{
    const auto components = realElements(data, tensor);
    if (!components || components->size() != 3) return std::nullopt;
    return cv::Scalar((*components)[0], (*components)[1], (*components)[2]);
}

} // namespace miravex
