#pragma once

#include "convert/name_table.h"

/// The words that hosts use for the options of this room, and OpenCV's values. Plain numbers, so that hosts
/// can read the words without OpenCV.
namespace miravex {

/// What a detector that also describes is asked for.
enum class KeypointMode { Unknown, Detect, Compute, DetectAndCompute };

inline constexpr std::array keypointModes {
    Named<KeypointMode> { "detect", KeypointMode::Detect },
    Named<KeypointMode> { "compute", KeypointMode::Compute },
    Named<KeypointMode> { "detectAndCompute", KeypointMode::DetectAndCompute },
};

/// What an unknown word gives in the tables of numbers. cv::DIST_USER is -1, but those names are looked up
/// in another way.
inline constexpr int unknownName = -1;

inline constexpr std::array diffusivities {
    Named<int> { "DIFF_PM_G1", 0 },
    Named<int> { "DIFF_PM_G2", 1 },
    Named<int> { "DIFF_WEICKERT", 2 },
    Named<int> { "DIFF_CHARBONNIER", 3 },
};

inline constexpr std::array akazeDescriptors {
    Named<int> { "DESCRIPTOR_KAZE_UPRIGHT", 2 },
    Named<int> { "DESCRIPTOR_KAZE", 3 },
    Named<int> { "DESCRIPTOR_MLDB_UPRIGHT", 4 },
    Named<int> { "DESCRIPTOR_MLDB", 5 },
};

/// AKAZE's descriptors are bits in bytes from this one on, and floats before it.
constexpr bool isBinary(int akazeDescriptor) { return akazeDescriptor >= 4; }

inline constexpr std::array orbScores {
    Named<int> { "HARRIS_SCORE", 0 },
    Named<int> { "FAST_SCORE", 1 },
};

enum class MserForm { Unknown, Rectangle, LabelMatrix };

inline constexpr std::array mserForms {
    Named<MserForm> { "Rectangle", MserForm::Rectangle },
    Named<MserForm> { "LabelMatrix", MserForm::LabelMatrix },
};

/// OpenCV takes the matchers by these very names.
inline constexpr std::array matcherNames {
    Named<bool> { "BruteForce", true },         Named<bool> { "BruteForce-L1", true },
    Named<bool> { "BruteForce-Hamming", true }, Named<bool> { "BruteForce-Hamming(2)", true },
    Named<bool> { "FlannBased", true },
};

enum class MatchMode { Unknown, Best, Radius };

inline constexpr std::array matchModes {
    Named<MatchMode> { "Best Match", MatchMode::Best },
    Named<MatchMode> { "Radius Match", MatchMode::Radius },
};

enum class LineForm { Unknown, Coordinates, Equation };

inline constexpr std::array lineForms {
    Named<LineForm> { "Coordinates", LineForm::Coordinates },
    Named<LineForm> { "Equation", LineForm::Equation },
};

inline constexpr std::array contourModes {
    Named<int> { "External", 0 }, Named<int> { "List", 1 },      Named<int> { "CComp", 2 },
    Named<int> { "Tree", 3 },     Named<int> { "FloodFill", 4 },
};

inline constexpr std::array contourMethods {
    Named<int> { "None", 1 },
    Named<int> { "Simple", 2 },
    Named<int> { "TC89_L1", 3 },
    Named<int> { "TC89_KCOS", 4 },
};

inline constexpr std::array shapeMethods {
    Named<int> { "I1", 1 },
    Named<int> { "I2", 2 },
    Named<int> { "I3", 3 },
};

/// Ground distances of the earth mover: cv::DIST_L1, DIST_L2, DIST_C, DIST_USER.
inline constexpr std::array groundDistances {
    Named<int> { "ManhattanDistance", 1 },
    Named<int> { "EuclideanDistance", 2 },
    Named<int> { "ChessboardDistance", 3 },
    Named<int> { "Custom", -1 },
};

} // namespace miravex
