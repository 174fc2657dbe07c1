#pragma once

#include "convert/instruction_sets.h"

#include <opencv2/core.hpp>

#include <span>

namespace miravex {

/// What non-local means compares, averages and takes for alike.
struct NonLocalMeans {
    float strength; ///< any, also infinite and NaN; the more, the less alike are templates that still count
    int templateSide; ///< of the squares that are compared, odd
    int searchSide; ///< of the square of pixels that are averaged, odd
};

/// Replaces every pixel of the middle one of some frames by the mean of the pixels of its search windows
/// there and in the others, weighted by how alike the templates around them are. A picture is a film of one
/// frame.
///
/// Frames: an odd number, of one size and type, not empty, bytes in 1 to 4 channels that are compared as a
/// whole; rows may lie apart, and nothing beyond the edges is looked at. Windows: within
/// bounds::denoisingTemplateFits and bounds::denoisingSearchFits. `denoised` must not share samples with a
/// frame, and is created anew where its size or type differs.
///
/// The same bits as cv::fastNlMeansDenoising and cv::fastNlMeansDenoisingMulti, on OpenCV's threads. Each of
/// them keeps some 12 bytes a channel for every pixel of a tile of 64 x 256, widened by the windows; nothing
/// grows with the frames.
///
/// Sources: A. Buades, B. Coll, J.-M. Morel, "A non-local algorithm for image denoising", 2005; distances of
/// templates in a time that does not depend on their side: J. Darbon, A. Cunha, T. F. Chan, S. Osher, G. J.
/// Jensen, "Fast nonlocal filtering applied to electron cryomicroscopy", 2008, and J. Froment,
/// "Parameter-free fast pixelwise non-local means denoising", 2014.
void nonLocalMeans(std::span<const cv::Mat> frames, cv::Mat& denoised, const NonLocalMeans& parameters,
                   InstructionSet instructions = instructionSet());

} // namespace miravex
