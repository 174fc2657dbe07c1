#pragma once

#include "miravex/host_interface.h"
#include "ops/features/option_names.h"

#include <opencv2/core.hpp>
#include <opencv2/features2d.hpp>

#include <cstdint>
#include <span>
#include <vector>

/// What the keypoint operations share: the row in which a keypoint travels, its coordinates in the host's
/// frame, and the reader and writer of tensors of such rows.
namespace miravex {

/// x, y, size, angle, response, octave, class_id.
inline constexpr int64_t keypointColumns = 7;

struct PictureSize {
    int64_t rows = 0;
    int64_t columns = 0;
};

/// Checks what every keypoint detector asks of its picture (2D, one byte channel, both sides at least
/// `smallestSide`) and, when `useMask`, of its mask (2D, bits, of the picture's size), in the order in which
/// hosts see the queries. Fills `size`.
bool checkPicture(LibraryData data, KImage image, HostBoolean useMask, KImage mask, int64_t smallestSide,
                  PictureSize& size);

/// Copies picture and mask; without `useMask` the mask is empty, which allows everything.
bool convertPicture(LibraryData data, KImage image, HostBoolean useMask, KImage mask, cv::Mat& picture,
                    cv::Mat& allowed);

enum class Direction { ToHost, FromHost };

/// Moves positions between the matrix frame (y down, pixel centres at integers) and the host's (y up from the
/// bottom edge, centres at halves). With `check` any position outside the picture fails; with `clamp` each is
/// moved onto the nearest pixel centre's range first. False also for a picture without pixels, and then
/// nothing has changed.
template <typename Position>
bool convertCoordinates(std::span<Position> positions, int64_t columns, int64_t rows, Direction direction,
                        bool check, bool clamp);

/// The same for keypoints.
bool convertKeypointCoordinates(std::vector<cv::KeyPoint>& keypoints, int64_t columns, int64_t rows,
                                Direction direction, bool check, bool clamp);

/// Reads an n x 7 tensor of keypoints in the host's frame. Fails, with an empty vector, for other shapes, a
/// size that is not above 0, a negative octave, a position outside the picture; and, because OpenCV crashes
/// on them, for numbers that no float or int holds and sizes beyond the picture's diagonal.
bool readKeypointTensor(LibraryData data, KTensor tensor, PictureSize size,
                        std::vector<cv::KeyPoint>& keypoints);

/// Makes the result of a detector: n keypoint rows ("detect"), n descriptors ("compute") or both side by
/// side, all as reals, positions in the host's frame. `Element` is the type of the descriptors' elements.
template <typename Element>
HostErrorCode writeKeypointResult(LibraryData data, KeypointMode mode, std::vector<cv::KeyPoint>& keypoints,
                                  const cv::Mat& descriptors, PictureSize size, KTensor* result);

/// Asks a detector for what the mode names; "compute" describes the keypoints that are given.
void runDetector(cv::Feature2D& detector, KeypointMode mode, const cv::Mat& picture, const cv::Mat& allowed,
                 std::vector<cv::KeyPoint>& keypoints, cv::Mat& descriptors);

/// The integer as OpenCV's int, or the nearest one that an int holds.
int saturated(int64_t value) noexcept;

} // namespace miravex
