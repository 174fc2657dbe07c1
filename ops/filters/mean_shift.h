#pragma once

#include "convert/instruction_sets.h"

#include <opencv2/core.hpp>

namespace miravex {

/// What mean shift looks at.
struct MeanShift {
    double spatialRadius; ///< in pixels of the picture itself; each pyramid level halves it, down to 1
    double colorRadius; ///< distance of two colours, in values of a byte
    int levels; ///< of the pyramid above the picture, 0 to bounds::meanShiftLevels; others are refused with a
                ///< cv::Exception
    int steps; ///< of each pixel; 1 at least and bounds::meanShiftIterations at most are made
};

/// Spatial radius up to which the sums over one row of a window fit 16 bits a lane, and all of them 32.
inline constexpr double meanShiftReach = 500;

/// Moves every pixel to the mean of the pixels near it in place and colour, over and over, and gives it the
/// colour where it comes to rest: bit for bit what cv::pyrMeanShiftFiltering computes in place, on OpenCV's
/// threads.
///
/// `source` has pixels of 3 byte channels; `flattened` must be another matrix and is created anew where its
/// size or type differs. The spatial radius is at most meanShiftReach, or no number. Takes 12 bytes of memory
/// for a pixel. Source: D. Comaniciu, P. Meer, "Mean shift: a robust approach toward feature space analysis",
/// 2002.
void meanShift(const cv::Mat& source, cv::Mat& flattened, const MeanShift& by,
               InstructionSet instructions = instructionSet());

} // namespace miravex
