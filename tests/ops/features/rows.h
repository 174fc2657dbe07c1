#pragma once

#include "tests/support/host_check.h"

#include <opencv2/features2d.hpp>
#include <opencv2/imgproc.hpp>

#include <initializer_list>

/// What the tests of this room share: results as matrices, keypoints as the rows that hosts see, pictures.
namespace miravex::test {

/// A tensor of two dimensions as a matrix of doubles.
inline cv::Mat matrixOf(const Tensor& tensor)
{
    const auto rows = static_cast<int>(tensor.dimensions.at(0));
    const auto columns = static_cast<int>(tensor.dimensions.at(1));
    cv::Mat matrix(rows, columns, CV_64F);
    if (tensor.length() > 0) std::ranges::copy(tensor.reals(), matrix.ptr<double>());
    return matrix;
}

/// A flat tensor's elements.
inline std::vector<double> listOf(const Tensor& tensor)
{
    EXPECT_EQ(tensor.dimensions.size(), 1U);
    if (tensor.elementType == TensorTypeReal) return { tensor.reals().begin(), tensor.reals().end() };
    return { tensor.integers().begin(), tensor.integers().end() };
}

/// Keypoints of OpenCV in a picture of so many rows, as hosts see them.
inline cv::Mat rowsOf(const std::vector<cv::KeyPoint>& keypoints, int pictureRows)
{
    cv::Mat rows(static_cast<int>(keypoints.size()), 7, CV_64F);
    for (int i = 0; i < rows.rows; ++i) {
        const cv::KeyPoint& at = keypoints[static_cast<std::size_t>(i)];
        const double values[] = { static_cast<double>(at.pt.x + 0.5F),
                                  static_cast<double>(
                                      static_cast<float>(pictureRows - static_cast<double>(at.pt.y) - 0.5)),
                                  static_cast<double>(at.size),
                                  static_cast<double>(at.angle),
                                  static_cast<double>(at.response),
                                  static_cast<double>(at.octave),
                                  static_cast<double>(at.class_id) };
        std::copy(std::begin(values), std::end(values), rows.ptr<double>(i));
    }
    return rows;
}

/// Keypoint rows and descriptors side by side, as doubles.
inline cv::Mat besides(const cv::Mat& rows, const cv::Mat& descriptors)
{
    cv::Mat doubles, both;
    descriptors.convertTo(doubles, CV_64F);
    cv::hconcat(rows, doubles, both);
    return both;
}

inline cv::Mat doublesOf(const cv::Mat& matrix)
{
    cv::Mat doubles;
    matrix.convertTo(doubles, CV_64F);
    return doubles;
}

/// Blocks of different grays with blurred noise: corners, edges and blobs at several scales.
inline cv::Mat scene(int rows, int columns)
{
    cv::Mat picture = noise(rows, columns, CV_8U, 7);
    cv::GaussianBlur(picture, picture, cv::Size(), 2.5);
    cv::normalize(picture, picture, 60, 150, cv::NORM_MINMAX);
    cv::RNG generator(11);
    for (int i = 0; i < rows * columns / 900 + 1; ++i) {
        const cv::Point corner(generator.uniform(0, columns), generator.uniform(0, rows));
        const cv::Size size(generator.uniform(4, 24), generator.uniform(4, 24));
        cv::rectangle(picture, cv::Rect(corner, size), cv::Scalar(generator.uniform(0, 256)), cv::FILLED);
    }
    return picture;
}

/// The values of a call whose argument `name` is another one.
inline Values with(std::string_view operation, Values values, std::string_view name, Value value)
{
    const int index = argumentIndex(record(operation), name);
    EXPECT_GE(index, 0) << operation << " has no argument " << name;
    values.at(static_cast<std::size_t>(index)) = std::move(value);
    return values;
}

inline TensorPointer realRows(std::vector<int64_t> dimensions, const std::vector<double>& elements)
{
    return makeRealTensor(std::move(dimensions), std::span<const double>(elements));
}

} // namespace miravex::test
