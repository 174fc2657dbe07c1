#pragma once

#include "convert/name_table.h"

#include <opencv2/imgproc.hpp>

namespace miravex::importops {

/// Colour spaces of the batch loader by the names that hosts use, with OpenCV's conversion from BGR.
inline constexpr std::array colorConversions {
    Named<int> { "RGB", cv::COLOR_BGR2RGB },        Named<int> { "XYZ", cv::COLOR_BGR2XYZ },
    Named<int> { "LAB", cv::COLOR_BGR2Lab },        Named<int> { "LUV", cv::COLOR_BGR2Luv },
    Named<int> { "Grayscale", cv::COLOR_BGR2GRAY },
};

inline constexpr auto colorNames = namesOf(colorConversions);

/// What an unknown name gives; no conversion has this code.
inline constexpr int unknownColor = -1;

} // namespace miravex::importops
