#pragma once

#include "convert/name_table.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <string>

namespace miravex {

/// Resampling methods by the names that hosts use.
inline constexpr std::array interpolationMethods {
    Named<int> { "Nearest", cv::INTER_NEAREST },   Named<int> { "Linear", cv::INTER_LINEAR },
    Named<int> { "Cubic", cv::INTER_CUBIC },       Named<int> { "Area", cv::INTER_AREA },
    Named<int> { "Lanczos4", cv::INTER_LANCZOS4 },
};

/// Ways to continue an image beyond its edge, by the names that hosts use.
inline constexpr std::array paddingMethods {
    Named<int> { "Constant", cv::BORDER_CONSTANT },     Named<int> { "Fixed", cv::BORDER_REPLICATE },
    Named<int> { "Reversed", cv::BORDER_REFLECT },      Named<int> { "Periodic", cv::BORDER_WRAP },
    Named<int> { "Reflected", cv::BORDER_REFLECT_101 }, Named<int> { "None", cv::BORDER_ISOLATED },
};

inline constexpr auto interpolationNames = namesOf(interpolationMethods);
inline constexpr auto paddingNames = namesOf(paddingMethods);

/// What an unknown name gives. OpenCV would read 5 as a method of its own, so every caller refuses it; 17 is
/// no OpenCV border mode.
inline constexpr int unknownInterpolation = 5;
inline constexpr int unknownPadding = 17;

/// The OpenCV flag of an interpolation or padding name, compared exactly, or the value for unknown names.
int interpolationFlagFromName(std::string name);
int borderTypeFromName(std::string name);

/// Measures of how far a kernel is from the image below it, and the scores of OpenCV they are made of.
inline constexpr std::array correlationDistances {
    Named<int> { "SquaredEuclideanDistance", cv::TM_SQDIFF },
    Named<int> { "CosineDistance", cv::TM_CCORR_NORMED },
    Named<int> { "CorrelationDistance", cv::TM_CCOEFF_NORMED },
    Named<int> { "Dot", cv::TM_CCORR },
};
inline constexpr auto correlationDistanceNames = namesOf(correlationDistances);
inline constexpr int unknownDistance = -1;

/// Bayer mosaics by the colours of their first two rows. OpenCV names them by the second row and column.
inline constexpr std::array bayerPatterns {
    Named<int> { "RGGB", cv::COLOR_BayerBG2RGB },
    Named<int> { "GBRG", cv::COLOR_BayerGR2RGB },
    Named<int> { "GRBG", cv::COLOR_BayerGB2RGB },
    Named<int> { "BGGR", cv::COLOR_BayerRG2RGB },
};
inline constexpr auto bayerPatternNames = namesOf(bayerPatterns);
inline constexpr int unknownBayerPattern = -1;

} // namespace miravex
