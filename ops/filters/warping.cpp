#include "ops/filters/operations.h"

#include "convert/mat_to_image.h"
#include "convert/matrix_memory.h"
#include "ops/filters/flat_image.h"
#include "ops/filters/option_names.h"
#include "ops/filters/remap.h"

#include <opencv2/imgproc.hpp>

namespace miravex {

namespace {

/// Turns a homography of the host's coordinates into one that takes OpenCV's downward rows: on the right by
/// (1, 0, 0), (0, -1, height), (0, 0, 1).
void turnDownward(cv::Mat& homography, double height)
{
    for (int i = 0; i < 3; ++i) {
        double* row = homography.ptr<double>(i);
        row[2] += height * row[1];
        row[1] = -row[1];
    }
}

bool isIdentity(const cv::Mat& homography)
{
    return cv::countNonZero(homography != cv::Mat::eye(3, 3, CV_64F)) == 0;
}

/// A rows x columns table of positions as a matrix over the host's tensor; empty when it can't be had.
cv::Mat tableOver(LibraryData data, KTensor table, int64_t rows, int64_t columns)
{
    const auto positions = realElements(data, table);
    if (!positions || positions->empty()) return {};
    return { static_cast<int>(rows), static_cast<int>(columns), CV_64F, positions->data() };
}

} // namespace

/// Warps a picture by a homography given in the host's coordinates, y upward from the bottom edge.
///
/// Image: 2D; the result has its size and ColorSpaceUnspecified. Homography: 3 x 3 reals that take points of
/// the picture to points of the result; rewritten in place for downward rows (also when the warp fails, and
/// so to be given afresh for every call). The identity returns the picture; any other moves it up by one row
/// besides. Interpolation: "Nearest" or "Linear"; padding: "Constant" or "Fixed"; color: exactly 3
/// components. OpenCV takes sides of 32766 pixels at most.
HostErrorCode imagePerspectiveTransformation(LibraryData data, KImage image, KTensor homography,
                                             const char* interpolation, const char* padding, KTensor color,
                                             KImage* result)
{
    if (!data || !image || !homography || !color) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) == 3) return StatusFunctionError;
    if (data->tensorGetRank(homography) != 2 || data->tensorGetRank(color) != 1) return StatusFunctionError;
    const int flag = interpolationFlagFromName(interpolation);
    const int border = borderTypeFromName(padding);
    if (flag > cv::INTER_LINEAR || border > cv::BORDER_REPLICATE) return StatusFunctionError;
    if (!hasDimensions(data, homography, { 3, 3 })) return StatusFunctionError;
    const auto fill = paddingColor(data, color);
    const auto elements = realElements(data, homography);
    if (!fill || !elements) return StatusFunctionError;
    cv::Mat transform(3, 3, CV_64F, elements->data());

    cv::Mat matrix, warped = resultMatrix();
    if (!flatImageToMat(images, image, matrix, anyType)) return StatusFunctionError;
    const bool changesNothing = isIdentity(transform);
    // In the host's own tensor, as it expects, whatever comes of the warp.
    turnDownward(transform, static_cast<double>(images.imageGetRowCount(image)));
    if (changesNothing) {
        // Rows are turned about the edge between pixels and flipped back about the middle of the picture:
        // the detour would move this picture by one row.
        warped = matrix;
    } else {
        cv::warpPerspective(matrix, warped, transform, matrix.size(), flag, border, *fill);
        cv::flip(warped, warped, 0);
    }
    return matToImage(images, warped, result, anyType, ColorSpaceUnspecified) ? StatusOk
                                                                              : StatusFunctionError;
}

/// Looks every pixel of the result up at a position of the picture.
///
/// Image: 2D, at most 4 channels; the result has its size and ColorSpaceUnspecified. Tables: rows x columns
/// positions in OpenCV's coordinates, pixel centres at integers, y downward, narrowed to float; NaN and
/// infinity count as outside. Interpolation and padding: any known name (OpenCV refuses "None" where
/// something lies outside); color: exactly 3 components. OpenCV takes sides of 32766 pixels at most.
HostErrorCode remapTensor(LibraryData data, KImage image, const char* interpolation, const char* padding,
                          KTensor color, KTensor xTable, KTensor yTable, KImage* result)
{
    if (!data || !image || !xTable || !yTable || !color) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2) return StatusFunctionError;
    const int64_t rows = images.imageGetRowCount(image);
    const int64_t columns = images.imageGetColumnCount(image);
    if (images.imageGetChannels(image) > 4) return StatusFunctionError;
    if (!hasDimensions(data, xTable, { rows, columns }) || !hasDimensions(data, yTable, { rows, columns }))
        return StatusFunctionError;
    const int flag = interpolationFlagFromName(interpolation);
    if (flag == unknownInterpolation) return StatusFunctionError;
    const int border = borderTypeFromName(padding);
    if (border == unknownPadding) return StatusFunctionError;
    const auto fill = paddingColor(data, color);
    const cv::Mat x = tableOver(data, xTable, rows, columns);
    const cv::Mat y = tableOver(data, yTable, rows, columns);
    if (!fill || x.empty() || y.empty()) return StatusFunctionError;

    cv::Mat matrix;
    if (!flatImageToMat(images, image, matrix, anyType)) return StatusFunctionError;
    matrix = remapByStrips(matrix, flag, border, *fill, [&](int first, cv::Mat& mapX, cv::Mat& mapY) {
        const cv::Range strip(first, first + mapX.rows);
        x.rowRange(strip).convertTo(mapX, CV_32F);
        y.rowRange(strip).convertTo(mapY, CV_32F);
    });
    return matToImage(images, matrix, result, anyType, ColorSpaceUnspecified) ? StatusOk
                                                                              : StatusFunctionError;
}

} // namespace miravex
