#pragma once

#include "convert/borrowed_mat.h"
#include "ops/features/option_names.h"

#include <opencv2/core.hpp>
#include <opencv2/features2d.hpp>

#include <cstdint>
#include <optional>
#include <vector>

/// What the keypoint operations share: their picture and mask, and tensors of keypoints, each a row of x, y,
/// size, angle, response, octave, class_id in the host's frame.
namespace miravex {

/// What a detector works on.
struct DetectorInput {
    int64_t rows = 0;
    int64_t columns = 0;
    std::optional<BorrowedMat> picture;
    std::optional<BorrowedMat> mask;
    cv::Mat allowed; ///< of the mask: where keypoints may lie; empty: everywhere
    std::vector<cv::KeyPoint> keypoints; ///< those to describe, or those found
};

/// Checks what every keypoint detector asks of its image (2D, one byte channel, both sides at least
/// `smallestSide`) and, when `useMask`, of its mask (2D, bits, of the image's size), in the order in which
/// hosts see the queries. Fills the input's size.
bool checkImages(LibraryData data, KImage image, HostBoolean useMask, KImage mask, int64_t smallestSide,
                 DetectorInput& input);

/// Borrows image and mask and, in the mode "compute", copies an n x 7 tensor of keypoints. Fails for other
/// shapes and for any keypoint that bounds::keypointFits() refuses.
bool readInput(LibraryData data, KImage image, HostBoolean useMask, KImage mask, KeypointMode mode,
               KTensor keypointRows, int64_t highestOctave, DetectorInput& input);

/// Makes the result of a detector: n keypoints ("detect"), n descriptors ("compute") or both side by side,
/// all as reals.
HostErrorCode writeKeypoints(LibraryData data, KeypointMode mode, const DetectorInput& found,
                             const cv::Mat& descriptors, KTensor* result);

/// Asks a detector for what the mode names, and makes its result.
HostErrorCode runDetector(LibraryData data, cv::Feature2D& detector, KeypointMode mode, DetectorInput& input,
                          KTensor* result);

} // namespace miravex
