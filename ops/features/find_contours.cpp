#include "ops/features/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/flat_result.h"
#include "ops/features/compat.h"
#include "ops/features/option_names.h"

#include <opencv2/imgproc.hpp>

#include <array>
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

HostErrorCode writePoints(LibraryData data, const std::vector<Contour>& contours,
                          const std::vector<cv::Vec4i>& hierarchy, KTensor* result)
{
    int64_t points = 0;
    for (const Contour& contour : contours) points += countOf(contour);
    FlatResult<int64_t> list(data, { 1 + 5 * countOf(contours) + 2 * points });
    list.add({ countOf(contours) });
    for (const Contour& contour : contours) list.add({ countOf(contour) });
    for (const Contour& contour : contours)
        for (const cv::Point& point : contour) list.add({ point.x, point.y });
    for (std::size_t i = 0; i < contours.size(); ++i)
        for (const int neighbour : hierarchy.at(i).val) list.add({ neighbour });
    return list.finish(result);
}

/// Codes of a contour, as many as points. The last is not that of the closing step but of the way from the
/// first point to the last, on purpose.
HostErrorCode writeChainCodes(LibraryData data, const std::vector<Contour>& contours, KTensor* result)
{
    constexpr int64_t separator = -1;
    int64_t length = 1;
    for (const Contour& contour : contours) length += 1 + countOf(contour);
    FlatResult<int64_t> list(data, { length });
    list.add({ countOf(contours) });
    for (const Contour& contour : contours) {
        list.add({ separator });
        for (std::size_t i = 1; i < contour.size(); ++i)
            list.add({ freemanCode(contour[i] - contour[i - 1]) });
        list.add({ freemanCode(contour.back() - contour.front()) });
    }
    return list.finish(result);
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

    const BorrowedMat picture(images, image, anyType);
    if (!picture) return StatusFunctionError;
    std::vector<Contour> contours;
    std::vector<cv::Vec4i> hierarchy;
    // Codes need every boundary pixel, so that steps lead from neighbour to neighbour.
    compat::findContours(*picture, contours, hierarchy, mode, chainCode ? cv::CHAIN_APPROX_NONE : method);
    for (Contour& contour : contours)
        for (cv::Point& point : contour) point.y = bottom - point.y;
    return chainCode ? writeChainCodes(data, contours, result)
                     : writePoints(data, contours, hierarchy, result);
}

} // namespace miravex
