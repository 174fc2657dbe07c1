#include "ops/filters/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/result_image.h"
#include "convert/tensors.h"
#include "ops/filters/option_names.h"
#include "ops/filters/padding_color.h"
#include "ops/filters/remap.h"

namespace miravex {

namespace {

/// A rows x columns table of positions as a matrix over the host's tensor; empty when it can't be had.
cv::Mat tableOver(LibraryData data, KTensor table, int64_t rows, int64_t columns)
{
    const auto positions = realElements(data, table);
    if (!positions || positions->empty()) return {};
    return { static_cast<int>(rows), static_cast<int>(columns), CV_64F, positions->data() };
}

} // namespace

/// Looks every pixel of the result up at a position of the image.
///
/// Image: 2D, at most 4 channels; the result has its size and ColorSpaceUnspecified. Tables: rows x columns
/// positions in OpenCV's coordinates, pixel centres at integers, y downward, narrowed to float; NaN and
/// infinity count as outside. Interpolation and padding: any known name (OpenCV refuses "None" where
/// something lies outside); color: exactly 3 components. OpenCV takes sides of bounds::remappedSide pixels at
/// most.
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

    const BorrowedMat source(images, image, anyType);
    if (!source.isPlane()) return StatusFunctionError;
    ResultImage remapped(images, source->size(), source->type());
    if (!remapped) return StatusFunctionError;
    remapByStrips(*source, *remapped, flag, border, *fill, [&](int first, cv::Mat& mapX, cv::Mat& mapY) {
        const cv::Range strip(first, first + mapX.rows);
        x.rowRange(strip).convertTo(mapX, CV_32F);
        y.rowRange(strip).convertTo(mapY, CV_32F);
    });
    return remapped.release(result);
}

} // namespace miravex
