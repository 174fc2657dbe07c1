#include "ops/filters/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/result_image.h"
#include "convert/tensors.h"
#include "ops/filters/bounds.h"
#include "ops/filters/cleared_matrix.h"
#include "ops/filters/log_polar_tables.h"
#include "ops/filters/option_names.h"
#include "ops/filters/padding_color.h"
#include "ops/filters/remap.h"

#include <optional>

namespace miravex {

namespace {

/// What both operations check and read first.
struct LogPolar {
    cv::Point2d centre;
    int interpolation;
};

/// The centre that the host gives, or the middle of the image for the empty list.
std::optional<cv::Point2d> centreOf(LibraryData data, KTensor centre, int64_t rows, int64_t columns)
{
    if (data->tensorGetFlattenedLength(centre) == 0)
        return cv::Point2d(static_cast<double>(columns) * 0.5, static_cast<double>(rows) * 0.5);
    if (!hasDimensions(data, centre, { 2 })) return std::nullopt;
    const auto given = realElements(data, centre);
    if (!given) return std::nullopt;
    return cv::Point2d((*given)[0], (*given)[1]);
}

std::optional<LogPolar> checkLogPolar(LibraryData data, KImage image, KTensor centre, double magnitude,
                                      const char* interpolation)
{
    if (!data || !image || !centre) return std::nullopt;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2) return std::nullopt;
    const int64_t rows = images.imageGetRowCount(image);
    const int64_t columns = images.imageGetColumnCount(image);
    const int64_t channels = images.imageGetChannels(image);
    const auto point = centreOf(data, centre, rows, columns);
    if (!point || !(magnitude > 0) || channels > 4) return std::nullopt;
    const int flag = interpolationFlagFromName(interpolation);
    if (flag == unknownInterpolation) return std::nullopt;
    return LogPolar { *point, flag };
}

} // namespace

/// Resamples an image to log-polar form or back with cv::logPolar.
///
/// Image: 2D, at most 4 channels; the result has its size and ColorSpaceUnspecified (bit images become
/// bytes). Centre: {x, y} in OpenCV's coordinates, y downward, or the empty list for the middle. Magnitude:
/// above 0, and like the centre within single precision. Interpolation: any known name. `fillOutliers` makes
/// what comes from outside the image 0; without it the image's own pixel stays in its place (0 in the
/// inverse). Source: E. Schwartz, "Spatial mapping in the primate sensory projection", 1977.
HostErrorCode logPolarCV(LibraryData data, KImage image, KTensor centre, double magnitude,
                         const char* interpolation, HostBoolean fillOutliers, HostBoolean inverse,
                         KImage* result)
{
    const auto checked = checkLogPolar(data, image, centre, magnitude, interpolation);
    if (!checked) return StatusFunctionError;
    const int flags = checked->interpolation + (fillOutliers ? int { cv::WARP_FILL_OUTLIERS } : 0)
        + (inverse ? int { cv::WARP_INVERSE_MAP } : 0);
    if (!bounds::fitsFloat(checked->centre.x) || !bounds::fitsFloat(checked->centre.y)
        || !bounds::fitsFloat(magnitude))
        return StatusFunctionError;

    const ImageServices& images = *data->imageServices;
    const BorrowedMat source(images, image, anyType);
    if (!source.isPlane()) return StatusFunctionError;
    ResultImage polar(images, source->size(), source->type());
    if (!polar) return StatusFunctionError;
    // OpenCV leaves pixels from outside the image that are not filled as it finds them: what the image has in
    // their places. The inverse finds memory of its own, which is to be 0.
    if (inverse)
        *polar = clearedMatrix();
    else if (!fillOutliers)
        source->copyTo(*polar);
    cv::logPolar(*source, *polar, cv::Point2f(checked->centre), static_cast<float>(magnitude), flags);
    return polar.release(result);
}

/// Resamples an image to log-polar form or back, in the host's coordinates: columns are angles, rows
/// logarithms of radii from 0 at the bottom, radius = exp(height / magnitude) - 1.
///
/// Image: 2D, at most 4 channels; the result has its size and ColorSpaceUnspecified (bit images become
/// bytes). Centre: {x, y} with y upward from the bottom edge, or the empty list for the middle. Magnitude:
/// above 0. Interpolation and padding: any known name (OpenCV refuses "None" where something lies outside);
/// color: exactly 3 components. OpenCV takes sides of bounds::remappedSide pixels at most. Source:
/// E. Schwartz, "Spatial mapping in the primate sensory projection", 1977.
HostErrorCode logPolarRemap(LibraryData data, KImage image, KTensor centre, double magnitude,
                            const char* interpolation, const char* padding, KTensor color,
                            HostBoolean inverse, KImage* result)
{
    if (!color) return StatusFunctionError;
    const auto checked = checkLogPolar(data, image, centre, magnitude, interpolation);
    if (!checked) return StatusFunctionError;
    const int border = borderTypeFromName(padding);
    if (border == unknownPadding) return StatusFunctionError;
    const auto fill = paddingColor(data, color);
    if (!fill) return StatusFunctionError;

    const ImageServices& images = *data->imageServices;
    const BorrowedMat source(images, image, anyType);
    if (!source.isPlane()) return StatusFunctionError;
    ResultImage polar(images, source->size(), source->type());
    if (!polar) return StatusFunctionError;
    const auto remapBy = [&](auto tables) {
        remapByStrips(*source, *polar, checked->interpolation, border, *fill, tables);
    };
    if (inverse)
        remapBy(InverseLogPolarTables(source->size(), checked->centre, magnitude));
    else
        remapBy(ForwardLogPolarTables(source->size(), checked->centre, magnitude));
    return polar.release(result);
}

} // namespace miravex
