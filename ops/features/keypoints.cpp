#include "ops/features/keypoints.h"

#include "convert/image_to_mat.h"
#include "convert/tensors.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace miravex {

namespace {

bool isFinite(const cv::KeyPoint& keypoint)
{
    return std::isfinite(keypoint.pt.x) && std::isfinite(keypoint.pt.y) && std::isfinite(keypoint.size)
        && std::isfinite(keypoint.angle) && std::isfinite(keypoint.response);
}

/// True when cutting off the fraction leaves an int.
bool holdsInt(double value)
{
    constexpr double beyond = 2147483648.0;
    return value > -beyond - 1 && value < beyond;
}

/// A keypoint from its row, still in the host's frame; false for rows that no detector takes.
bool readRow(std::span<const double, keypointColumns> row, double diagonal, cv::KeyPoint& keypoint)
{
    if (!holdsInt(row[5]) || !holdsInt(row[6])) return false;
    keypoint.pt.x = static_cast<float>(row[0]);
    keypoint.pt.y = static_cast<float>(row[1]);
    keypoint.size = static_cast<float>(row[2]);
    keypoint.angle = static_cast<float>(row[3]);
    keypoint.response = static_cast<float>(row[4]);
    keypoint.octave = static_cast<int>(row[5]);
    keypoint.class_id = static_cast<int>(row[6]);
    return keypoint.size > 0 && keypoint.octave >= 0 && isFinite(keypoint) && keypoint.size <= diagonal;
}

double* writeRow(const cv::KeyPoint& keypoint, double* target)
{
    for (const float value :
         { keypoint.pt.x, keypoint.pt.y, keypoint.size, keypoint.angle, keypoint.response })
        *target++ = static_cast<double>(value);
    *target++ = keypoint.octave;
    *target++ = keypoint.class_id;
    return target;
}

template <typename Element> double* writeDescriptor(const cv::Mat& descriptors, int row, double* target)
{
    const Element* elements = descriptors.ptr<Element>(row);
    return std::copy(elements, elements + descriptors.cols, target);
}

} // namespace

bool checkPicture(LibraryData data, KImage image, HostBoolean useMask, KImage mask, int64_t smallestSide,
                  PictureSize& size)
{
    if (!data || !image || (useMask && !mask)) return false;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2) return false;
    if (useMask && images.imageGetRank(mask) != 2) return false;
    if (images.imageGetPixelType(image) != PixelTypeByte || images.imageGetChannels(image) != 1) return false;
    size.rows = images.imageGetRowCount(image);
    size.columns = images.imageGetColumnCount(image);
    if (size.rows < smallestSide || size.columns < smallestSide) return false;
    if (!useMask) return true;
    return images.imageGetPixelType(mask) == PixelTypeBit && images.imageGetRowCount(mask) == size.rows
        && images.imageGetColumnCount(mask) == size.columns;
}

bool convertPicture(LibraryData data, KImage image, HostBoolean useMask, KImage mask, cv::Mat& picture,
                    cv::Mat& allowed)
{
    const ImageServices& images = *data->imageServices;
    if (!imageToMat(images, image, picture, anyType)) return false;
    // OpenCV would read the bytes of several channels as those of as many pixels.
    return !useMask || (imageToMat(images, mask, allowed, anyType) && allowed.channels() == 1);
}

template <typename Position>
bool convertCoordinates(std::span<Position> positions, int64_t columns, int64_t rows, Direction direction,
                        bool check, bool clamp)
{
    using Coordinate = decltype(Position::x);
    if (columns < 1 || rows < 1) return false;
    const double width = static_cast<double>(columns);
    const double height = static_cast<double>(rows);
    // Pixel centres start at 0 in the matrix and at one half in the host; the edges lie one half further out.
    const bool toHost = direction == Direction::ToHost;
    const double first = toHost ? 0.0 : 0.5;
    const double shift = toHost ? 0.5 : -0.5;
    const auto outside = [&](double value, double side) {
        return value < first - 0.5 || value > side + first - 0.5;
    };
    if (check && std::ranges::any_of(positions, [&](const Position& at) {
            return outside(static_cast<double>(at.x), width) || outside(static_cast<double>(at.y), height);
        }))
        return false;
    for (Position& at : positions) {
        double x = static_cast<double>(at.x);
        double y = static_cast<double>(at.y);
        if (clamp) {
            x = std::clamp(x, first, width - 1 + first);
            y = std::clamp(y, first, height - 1 + first);
        }
        at.x = static_cast<Coordinate>(x + shift);
        at.y = static_cast<Coordinate>(height - y - 0.5);
    }
    return true;
}

template bool convertCoordinates(std::span<cv::Point2f>, int64_t, int64_t, Direction, bool, bool);
template bool convertCoordinates(std::span<cv::Point2d>, int64_t, int64_t, Direction, bool, bool);

bool convertKeypointCoordinates(std::vector<cv::KeyPoint>& keypoints, int64_t columns, int64_t rows,
                                Direction direction, bool check, bool clamp)
{
    std::vector<cv::Point2f> positions;
    positions.reserve(keypoints.size());
    for (const cv::KeyPoint& keypoint : keypoints) positions.push_back(keypoint.pt);
    if (!convertCoordinates(std::span(positions), columns, rows, direction, check, clamp)) return false;
    for (std::size_t i = 0; i < keypoints.size(); ++i) keypoints[i].pt = positions[i];
    return true;
}

bool readKeypointTensor(LibraryData data, KTensor tensor, PictureSize size,
                        std::vector<cv::KeyPoint>& keypoints)
{
    keypoints = {};
    if (!data || size.rows < 1 || size.columns < 1) return false;
    const auto dimensions = dimensionsOf(data, tensor);
    if (dimensions.size() != 2 || dimensions[1] != keypointColumns) return false;
    const auto elements = realElements(data, tensor);
    if (!elements) return false;

    const double diagonal = std::hypot(static_cast<double>(size.rows), static_cast<double>(size.columns));
    std::vector<cv::KeyPoint> read(elements->size() / keypointColumns);
    for (std::size_t i = 0; i < read.size(); ++i) {
        const auto row = elements->subspan(i * keypointColumns).first<keypointColumns>();
        if (!readRow(row, diagonal, read[i])) return false;
    }
    if (!convertKeypointCoordinates(read, size.columns, size.rows, Direction::FromHost, true, true))
        return false;
    keypoints = std::move(read);
    return true;
}

template <typename Element>
HostErrorCode writeKeypointResult(LibraryData data, KeypointMode mode, std::vector<cv::KeyPoint>& keypoints,
                                  const cv::Mat& descriptors, PictureSize size, KTensor* result)
{
    if (!data || size.rows < 1 || size.columns < 1 || mode == KeypointMode::Unknown)
        return StatusFunctionError;
    const bool positions = mode != KeypointMode::Compute;
    const bool describes = mode != KeypointMode::Detect;
    const int64_t count = static_cast<int64_t>(keypoints.size());
    const int64_t columns = (positions ? keypointColumns : 0) + (describes ? descriptors.cols : 0);

    NewTensor tensor(data, TensorTypeReal, { count, columns });
    if (!tensor) return StatusFunctionError;
    double* target = tensor.reals();
    if (!target && count * columns > 0) return StatusFunctionError;
    if (describes && count != descriptors.rows) return StatusFunctionError;
    if (positions
        && !convertKeypointCoordinates(keypoints, size.columns, size.rows, Direction::ToHost, false, false))
        return StatusFunctionError;
    for (int i = 0; i < static_cast<int>(count); ++i) {
        if (positions) target = writeRow(keypoints[static_cast<std::size_t>(i)], target);
        if (describes) target = writeDescriptor<Element>(descriptors, i, target);
    }
    *result = tensor.release();
    return StatusOk;
}

template HostErrorCode writeKeypointResult<std::uint8_t>(LibraryData, KeypointMode,
                                                         std::vector<cv::KeyPoint>&, const cv::Mat&,
                                                         PictureSize, KTensor*);
template HostErrorCode writeKeypointResult<float>(LibraryData, KeypointMode, std::vector<cv::KeyPoint>&,
                                                  const cv::Mat&, PictureSize, KTensor*);
template HostErrorCode writeKeypointResult<double>(LibraryData, KeypointMode, std::vector<cv::KeyPoint>&,
                                                   const cv::Mat&, PictureSize, KTensor*);

void runDetector(cv::Feature2D& detector, KeypointMode mode, const cv::Mat& picture, const cv::Mat& allowed,
                 std::vector<cv::KeyPoint>& keypoints, cv::Mat& descriptors)
{
    if (mode == KeypointMode::Detect)
        detector.detectAndCompute(picture, allowed, keypoints, cv::noArray(), false);
    else
        detector.detectAndCompute(picture, allowed, keypoints, descriptors, mode == KeypointMode::Compute);
}

int saturated(int64_t value) noexcept
{
    return static_cast<int>(
        std::clamp<int64_t>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

} // namespace miravex
