#include "ops/features/operations.h"

#include "convert/flat_result.h"
#include "convert/tensors.h"
#include "ops/features/bounds.h"
#include "ops/features/option_names.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <string_view>

namespace miravex {

namespace {

/// One side of the transport: a weight per element, and its coordinates unless `points` is null.
struct Side {
    KTensor points;
    KTensor weights;
};

/// Copies reals into the columns of a float matrix from `first` on, row by row; false unless there are as
/// many.
bool copyColumns(std::span<const double> elements, int64_t columns, int first, cv::Mat& out)
{
    if (static_cast<int64_t>(elements.size()) != out.rows * columns) return false;
    auto next = elements.begin();
    for (int row = 0; row < out.rows; ++row)
        for (int column = 0; column < columns; ++column)
            out.at<float>(row, first + column) = static_cast<float>(*next++);
    return true;
}

/// The signature that OpenCV takes: per element its weight, then its coordinates.
bool makeSignature(LibraryData data, const Side& side, int64_t rows, int64_t dimension, cv::Mat& out)
{
    const auto weights = realElements(data, side.weights);
    if (!weights || !hasDimensions(data, side.weights, { rows })) return false;
    if (!bounds::signatureFits(rows, dimension)) return false;
    out.create(static_cast<int>(rows), static_cast<int>(dimension) + 1, CV_32F);
    if (!copyColumns(*weights, 1, 0, out)) return false;
    if (!side.points) return true;
    const auto points = realElements(data, side.points);
    return points && copyColumns(*points, dimension, 1, out);
}

HostErrorCode writeFlow(LibraryData data, const cv::Mat& flow, int64_t rows, int64_t columns, KTensor* result)
{
    if (flow.rows != rows || flow.cols != columns) return StatusFunctionError;
    FlatResult<double> list(data, { rows, columns });
    for (int row = 0; row < flow.rows; ++row)
        for (int column = 0; column < flow.cols; ++column)
            list.add({ static_cast<double>(flow.at<float>(row, column)) });
    return list.finish(result);
}

/// Moves the mass of one side to the other at the least cost and answers the flow, the distance, or both.
HostErrorCode earthMoverWorker(LibraryData data, Side side1, Side side2, std::string_view name, KTensor cost,
                               KTensor* flowResult, float* distanceResult)
{
    if (!data) return StatusFunctionError;
    // An unknown name gives 0, which OpenCV refuses as no distance.
    const int distanceType = valueOf(groundDistances, name, 0);
    const auto costs = realElements(data, cost);
    if (!costs || !side1.weights || !side2.weights) return StatusFunctionError;
    const bool hasCost = !costs->empty();

    const auto costShape = dimensionsOf(data, cost);
    if (hasCost && costShape.size() != 2) return StatusFunctionError;
    const bool hasPoints = side1.points && side2.points;
    const auto shape1 = dimensionsOf(data, hasPoints ? side1.points : side1.weights);
    const auto shape2 = dimensionsOf(data, hasPoints ? side2.points : side2.weights);
    if (shape1.empty() || shape2.empty()) return StatusFunctionError;
    if (hasPoints && (shape1.size() != 2 || shape2.size() != 2)) return StatusFunctionError;

    if (hasCost && distanceType == 0) return StatusFunctionError;
    if (hasCost && (shape1[0] != costShape[0] || shape2[0] != costShape[1])) return StatusFunctionError;
    if (!hasPoints && (name != "Custom" || !hasCost)) return StatusFunctionError;
    if (hasPoints && shape1[1] != shape2[1]) return StatusFunctionError;
    const int64_t rows1 = shape1[0];
    const int64_t rows2 = shape2[0];
    if (!bounds::transportFits(rows1, rows2)) return StatusFunctionError;

    cv::Mat costMatrix, signature1, signature2, flow;
    if (hasCost) {
        costMatrix.create(static_cast<int>(rows1), static_cast<int>(rows2), CV_32F);
        if (!copyColumns(*costs, rows2, 0, costMatrix)) return StatusFunctionError;
    }
    const int64_t dimension = hasPoints ? shape1[1] : 0;
    if (!hasPoints) side1.points = side2.points = nullptr;
    if (!makeSignature(data, side1, rows1, dimension, signature1)) return StatusFunctionError;
    if (!makeSignature(data, side2, rows2, dimension, signature2)) return StatusFunctionError;
    const float distance = cv::EMD(signature1, signature2, distanceType, costMatrix, nullptr, flow);
    if (distanceResult) *distanceResult = distance;
    return flowResult ? writeFlow(data, flow, rows1, rows2, flowResult) : StatusOk;
}

} // namespace

/// The least cost per unit of mass that turns one weighted set of points into another.
///
/// Points: n x d; weights: a list of n; distance: "ManhattanDistance", "EuclideanDistance",
/// "ChessboardDistance", or "Custom" with a cost of n1 x n2. The cost is empty, or of that size, for the
/// named distances, which ignore it. Sizes with n1 n2 (n1 + n2) beyond bounds::transportSteps are refused.
/// Source: Y. Rubner, C. Tomasi, L. Guibas, "The earth mover's distance as a metric for image retrieval",
/// 2000.
HostErrorCode earthMoverDistance(LibraryData data, KTensor points1, KTensor weights1, KTensor points2,
                                 KTensor weights2, const char* name, KTensor cost, double* result)
{
    float distance = -1.0F;
    const HostErrorCode status =
        earthMoverWorker(data, { points1, weights1 }, { points2, weights2 }, name, cost, nullptr, &distance);
    if (status == StatusOk) *result = static_cast<double>(distance);
    return status;
}

/// The flow of mass, n1 x n2, that turns one weighted set of points into another at the least cost.
///
/// Arguments, refusals and source are those of earthMoverDistance(), which answers that cost: points n x d,
/// weights a list of n, the name of a distance, and n1 x n2 costs for "Custom".
HostErrorCode earthMoverDistanceFlowMatrix(LibraryData data, KTensor points1, KTensor weights1,
                                           KTensor points2, KTensor weights2, const char* name, KTensor cost,
                                           KTensor* result)
{
    return earthMoverWorker(data, { points1, weights1 }, { points2, weights2 }, name, cost, result, nullptr);
}

/// The flow of mass, n1 x n2, that turns one list of weights into another at the least of given costs.
///
/// Weights: lists of n1 and n2; cost: n1 x n2, of moving one unit of mass from element to element. Sizes with
/// n1 n2 (n1 + n2) beyond bounds::transportSteps are refused. Source: Y. Rubner, C. Tomasi, L. Guibas, "The
/// earth mover's distance as a metric for image retrieval", 2000.
HostErrorCode earthMoverDistanceWeightsFlowMatrix(LibraryData data, KTensor weights1, KTensor weights2,
                                                  KTensor cost, KTensor* result)
{
    return earthMoverWorker(data, { nullptr, weights1 }, { nullptr, weights2 }, "Custom", cost, result,
                            nullptr);
}

} // namespace miravex
