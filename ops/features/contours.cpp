#include "ops/features/operations.h"

#include "convert/image_to_mat.h"
#include "convert/tensors.h"
#include "ops/features/compat.h"
#include "ops/features/option_names.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <numeric>
#include <vector>

namespace miravex {

namespace {

using Contour = std::vector<cv::Point>;

/// Freeman's code of a step, y up; 8 for anything that is no step to one of the eight neighbours.
int64_t freemanCode(cv::Point step)
{
    constexpr int64_t noStep = 8;
    constexpr std::array<std::array<int64_t, 3>, 3> codes { { { 5, 6, 7 }, { 4, noStep, 0 }, { 3, 2, 1 } } };
    if (step.x < -1 || step.x > 1 || step.y < -1 || step.y > 1) return noStep;
    const int row = step.y + 1, column = step.x + 1;
    return codes[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)];
}

std::size_t pointCount(const std::vector<Contour>& contours)
{
    return std::accumulate(contours.begin(), contours.end(), std::size_t { 0 },
                           [](std::size_t sum, const Contour& contour) { return sum + contour.size(); });
}

HostErrorCode writePoints(LibraryData data, const std::vector<Contour>& contours,
                          const std::vector<cv::Vec4i>& hierarchy, KTensor* result)
{
    const std::size_t length = 1 + 5 * contours.size() + 2 * pointCount(contours);
    NewTensor tensor(data, TensorTypeInteger, { static_cast<int64_t>(length) });
    int64_t* target = tensor ? tensor.integers() : nullptr;
    if (!target) return StatusFunctionError;
    *target++ = static_cast<int64_t>(contours.size());
    for (const Contour& contour : contours) *target++ = static_cast<int64_t>(contour.size());
    for (const Contour& contour : contours) {
        for (const cv::Point& point : contour) {
            *target++ = point.x;
            *target++ = point.y;
        }
    }
    for (std::size_t i = 0; i < contours.size(); ++i)
        for (const int neighbour : hierarchy.at(i).val) *target++ = neighbour;
    *result = tensor.release();
    return StatusOk;
}

/// Codes of one contour, as many as points. The last is not that of the closing step but of the way from the
/// first point to the last, on purpose.
void addCodes(const Contour& contour, std::vector<int64_t>& codes)
{
    for (std::size_t i = 1; i < contour.size(); ++i)
        codes.push_back(freemanCode(contour[i] - contour[i - 1]));
    codes.push_back(freemanCode(contour.back() - contour.front()));
}

HostErrorCode writeChainCodes(LibraryData data, const std::vector<Contour>& contours, KTensor* result)
{
    constexpr int64_t separator = -1;
    std::vector<int64_t> codes { static_cast<int64_t>(contours.size()) };
    for (const Contour& contour : contours) {
        codes.push_back(separator);
        addCodes(contour, codes);
    }
    NewTensor tensor(data, TensorTypeInteger, { static_cast<int64_t>(codes.size()) });
    int64_t* target = tensor ? tensor.integers() : nullptr;
    if (!target) return StatusFunctionError;
    std::copy(codes.begin(), codes.end(), target);
    *result = tensor.release();
    return StatusOk;
}

/// The rows of an n x 2 tensor as points, rounded as floats with ties to even; false for other shapes and for
/// coordinates that no int holds.
bool readContour(LibraryData data, KTensor tensor, Contour& contour)
{
    // Compared before they are narrowed: a little more would round up to a float that no int holds.
    constexpr double least = -2147483648.0, greatest = 2147483520.0;
    const auto fits = [](double value) { return value >= least && value <= greatest; };
    const auto elements = realElements(data, tensor);
    if (!elements || !std::ranges::all_of(*elements, fits)) return false;
    contour.reserve(elements->size() / 2);
    for (std::size_t i = 0; i + 1 < elements->size(); i += 2)
        contour.emplace_back(cvRound(static_cast<float>((*elements)[i])),
                             cvRound(static_cast<float>((*elements)[i + 1])));
    return true;
}

} // namespace

/// Traces the borders of the regions of nonzero pixels.
///
/// Image: 2D, one byte channel. Points are columns and rows counted from the bottom, both from 0. Without
/// chainCode: the number of contours, their lengths, their points, then next, previous, first child and
/// parent of each (indices from 0, -1 for none). With it: the number of contours, then for each -1 and its
/// Freeman codes, the last of them from the first point to the last. "FloodFill" treats all nonzero pixels
/// alike, as the other modes do. Source: S. Suzuki, K. Abe, "Topological structural analysis of digitized
/// binary images by border following", 1985.
HostErrorCode findContours(LibraryData data, KImage image, const char* modeName, const char* methodName,
                           HostBoolean chainCode, KTensor* result)
{
    if (!data || !data->imageServices || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2) return StatusFunctionError;
    if (images.imageGetPixelType(image) != PixelTypeByte || images.imageGetChannels(image) != 1)
        return StatusFunctionError;
    const int bottom = static_cast<int>(images.imageGetRowCount(image)) - 1;
    const int mode = valueOf(contourModes, modeName, unknownName);
    if (mode == unknownName) return StatusFunctionError;
    const int method = valueOf(contourMethods, methodName, unknownName);
    if (method == unknownName) return StatusFunctionError;

    cv::Mat picture;
    if (!imageToMat(images, image, picture, anyType)) return StatusFunctionError;
    std::vector<Contour> contours;
    std::vector<cv::Vec4i> hierarchy;
    // Codes need every boundary pixel, so that steps lead from neighbour to neighbour.
    compat::findContours(picture, contours, hierarchy, mode, chainCode ? cv::CHAIN_APPROX_NONE : method);
    for (Contour& contour : contours)
        for (cv::Point& point : contour) point.y = bottom - point.y;
    return chainCode ? writeChainCodes(data, contours, result)
                     : writePoints(data, contours, hierarchy, result);
}

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
