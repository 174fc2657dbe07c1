#include "ops/features/operations.h"

#include "convert/tensors.h"
#include "ops/features/bounds.h"
#include "ops/features/option_names.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <vector>

namespace miravex {

namespace {

using Contour = std::vector<cv::Point>;

/// The rows of an n x 2 tensor as points, rounded as floats with ties to even; false for other shapes and for
/// coordinates that no int holds.
bool readContour(LibraryData data, KTensor tensor, Contour& contour)
{
    // Compared before they are narrowed.
    const auto fits = [](double value) {
        return value >= bounds::leastCoordinate && value <= bounds::greatestCoordinate;
    };
    const auto elements = realElements(data, tensor);
    if (!elements || !std::ranges::all_of(*elements, fits)) return false;
    contour.reserve(elements->size() / 2);
    for (std::size_t i = 0; i + 1 < elements->size(); i += 2)
        contour.emplace_back(cvRound(static_cast<float>((*elements)[i])),
                             cvRound(static_cast<float>((*elements)[i + 1])));
    return true;
}

} // namespace

/// Compares two contours (n x 2 reals, rounded to integers with ties to even) by their Hu moments.
///
/// The result is 0 for equal shapes. Coordinates that no 32-bit integer holds are refused. Source: M.-K. Hu,
/// "Visual pattern recognition by moment invariants", 1962.
HostErrorCode matchShapes(LibraryData data, KTensor contour1, KTensor contour2, const char* methodName,
                          double* result)
{
    if (!data || !contour1 || !contour2) return StatusFunctionError;
    const int method = valueOf(shapeMethods, methodName, unknownName);
    if (method == unknownName) return StatusFunctionError;
    const auto shape1 = dimensionsOf(data, contour1);
    const auto shape2 = dimensionsOf(data, contour2);
    if (shape1.size() != 2 || shape2.size() != 2 || shape1[1] != 2 || shape2[1] != 2)
        return StatusFunctionError;

    Contour first, second;
    if (!readContour(data, contour1, first) || !readContour(data, contour2, second))
        return StatusFunctionError;
    *result = cv::matchShapes(first, second, method, 1.0);
    return StatusOk;
}

} // namespace miravex
