#pragma once

#include "convert/instruction_sets.h"

#include <opencv2/core.hpp>

namespace miravex {

/// Energies closer than this to where the search for weights ends are computed as OpenCV computes them; of
/// others a tenth of it is known, which is enough to tell on which side they are.
inline constexpr double energyMargin = 1e-6;

/// Makes a gray picture that keeps the contrasts of the colours: bit for bit the one of cv::decolor, on
/// OpenCV's threads.
///
/// `picture` has pixels of 3 byte channels, blue first; `gray` is created anew where its size or type
/// differs. False, with nothing of use in `gray`, where the weights are no numbers. Tests pass an endless
/// `margin`, to have all energies computed. Source: C. Lu, L. Xu, J. Jia, "Contrast preserving
/// decolorization", 2012.
bool decolorize(const cv::Mat& picture, cv::Mat& gray, double margin = energyMargin,
                InstructionSet instructions = instructionSet());

/// The other picture of cv::decolor: `picture` with `gray` in place of its lightness.
void boostColors(const cv::Mat& picture, const cv::Mat& gray, cv::Mat& boosted);

/// True where decolorize() has the bits of the OpenCV that runs, by one small picture that is tried when this
/// is first asked: a build of OpenCV that fuses products with sums rounds otherwise.
bool decolorizesAsOpenCv();

} // namespace miravex
