#include "ops/features/keypoints.h"

#include "convert/tensors.h"
#include "ops/features/bounds.h"
#include "ops/features/host_frame.h"

#include <algorithm>

namespace miravex {

namespace {

constexpr int keypointColumns = 7;

/// A keypoint of the host, moved onto the nearest pixel centre's range and into the matrix frame.
cv::KeyPoint keypointOf(std::span<const double, keypointColumns> row, int64_t rows, int64_t columns)
{
    const double width = static_cast<double>(columns);
    const double height = static_cast<double>(rows);
    const double x = std::clamp(static_cast<double>(static_cast<float>(row[0])), 0.5, width - 0.5);
    const double y = std::clamp(static_cast<double>(static_cast<float>(row[1])), 0.5, height - 0.5);
    return { cv::Point2f(static_cast<float>(x - 0.5), static_cast<float>(height - y - 0.5)),
             static_cast<float>(row[2]),
             static_cast<float>(row[3]),
             static_cast<float>(row[4]),
             static_cast<int>(row[5]),
             static_cast<int>(row[6]) };
}

bool readKeypoints(LibraryData data, KTensor tensor, int64_t highestOctave, DetectorInput& input)
{
    if (input.rows < 1 || input.columns < 1) return false;
    const auto dimensions = dimensionsOf(data, tensor);
    if (dimensions.size() != 2 || dimensions[1] != keypointColumns) return false;
    const auto elements = realElements(data, tensor);
    if (!elements) return false;
    for (std::size_t i = 0; i < elements->size() / keypointColumns; ++i) {
        const auto row = elements->subspan(i * keypointColumns).first<keypointColumns>();
        if (!bounds::keypointFits(row, input.rows, input.columns, highestOctave)) return false;
        input.keypoints.push_back(keypointOf(row, input.rows, input.columns));
    }
    return true;
}

void writeRow(const cv::KeyPoint& keypoint, int64_t rows, double* target)
{
    const cv::Point2f at = inHostFrame(keypoint.pt, rows);
    for (const float value : { at.x, at.y, keypoint.size, keypoint.angle, keypoint.response })
        *target++ = static_cast<double>(value);
    *target++ = keypoint.octave;
    *target = keypoint.class_id;
}

} // namespace

bool checkImages(LibraryData data, KImage image, HostBoolean useMask, KImage mask, int64_t smallestSide,
                 DetectorInput& input)
{
    if (!data || !image || (useMask && !mask)) return false;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2) return false;
    if (useMask && images.imageGetRank(mask) != 2) return false;
    if (images.imageGetPixelType(image) != PixelTypeByte || images.imageGetChannels(image) != 1) return false;
    input.rows = images.imageGetRowCount(image);
    input.columns = images.imageGetColumnCount(image);
    if (input.rows < smallestSide || input.columns < smallestSide) return false;
    if (!useMask) return true;
    return images.imageGetPixelType(mask) == PixelTypeBit && images.imageGetRowCount(mask) == input.rows
        && images.imageGetColumnCount(mask) == input.columns;
}

bool readInput(LibraryData data, KImage image, HostBoolean useMask, KImage mask, KeypointMode mode,
               KTensor keypointRows, int64_t highestOctave, DetectorInput& input)
{
    const ImageServices& images = *data->imageServices;
    input.picture.emplace(images, image, anyType);
    if (!*input.picture) return false;
    if (useMask) {
        input.mask.emplace(images, mask, anyType);
        // OpenCV would read the bytes of several channels as those of as many pixels.
        if (!*input.mask || (*input.mask)->channels() != 1) return false;
        input.allowed = **input.mask;
    }
    return mode != KeypointMode::Compute || readKeypoints(data, keypointRows, highestOctave, input);
}

HostErrorCode writeKeypoints(LibraryData data, KeypointMode mode, const DetectorInput& found,
                             const cv::Mat& descriptors, KTensor* result)
{
    if (found.rows < 1 || found.columns < 1) return StatusFunctionError;
    const int first = mode == KeypointMode::Compute ? 0 : keypointColumns;
    const int length = mode == KeypointMode::Detect ? 0 : descriptors.cols;
    const int count = static_cast<int>(found.keypoints.size());
    NewTensor tensor(data, TensorTypeReal, { count, first + length });
    if (!tensor) return StatusFunctionError;
    double* target = tensor.reals();
    if (!target && int64_t { count } * (first + length) > 0) return StatusFunctionError;
    if (mode != KeypointMode::Detect && count != descriptors.rows) return StatusFunctionError;
    if (length > 0 && count > 0) {
        // Of the host's memory: nothing is allocated.
        cv::Mat described = cv::Mat(count, first + length, CV_64F, target).colRange(first, first + length);
        descriptors.convertTo(described, CV_64F);
    }
    if (first > 0) {
        for (const cv::KeyPoint& keypoint : found.keypoints) {
            writeRow(keypoint, found.rows, target);
            target += first + length;
        }
    }
    *result = tensor.release();
    return StatusOk;
}

HostErrorCode runDetector(LibraryData data, cv::Feature2D& detector, KeypointMode mode, DetectorInput& input,
                          KTensor* result)
{
    cv::Mat descriptors;
    const cv::Mat& picture = **input.picture;
    if (mode == KeypointMode::Detect)
        detector.detectAndCompute(picture, input.allowed, input.keypoints, cv::noArray(), false);
    else
        detector.detectAndCompute(picture, input.allowed, input.keypoints, descriptors,
                                  mode == KeypointMode::Compute);
    return writeKeypoints(data, mode, input, descriptors, result);
}

} // namespace miravex
