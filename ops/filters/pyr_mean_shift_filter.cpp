#include "ops/filters/operations.h"

#include "convert/image_to_mat.h"
#include "convert/integers.h"
#include "convert/mat_to_image.h"
#include "ops/filters/bounds.h"

#include <opencv2/imgproc.hpp>

namespace miravex {

namespace {

/// Largest distance between two 8-bit colours, rounded: 255 times the square root of 3.
constexpr double colorDistanceRange = 441.0;

} // namespace

/// Flattens colours by mean-shift filtering over position and colour, coarse to fine.
///
/// Image: 2D, 3 byte channels; the result has ColorSpaceUnspecified. Spatial radius in pixels, colour radius
/// as a fraction of the largest colour distance, both at least 0; maximum pyramid level and iterations at
/// least 0 (OpenCV refuses levels above 8 and runs 100 iterations at most). Calls beyond bounds::work are
/// refused. Source: D. Comaniciu, P. Meer, "Mean shift: a robust approach toward feature space analysis",
/// 2002.
HostErrorCode pyrMeanShiftFilter(LibraryData data, KImage image, double spatialRadius, double colorRadius,
                                 int64_t maxLevel, int64_t iterations, KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2) return StatusFunctionError;
    if (images.imageGetPixelType(image) != PixelTypeByte || images.imageGetChannels(image) != 3)
        return StatusFunctionError;
    // Written so that NaN passes: OpenCV copes with it.
    if (iterations < 0 || maxLevel < 0 || spatialRadius < 0 || colorRadius < 0) return StatusFunctionError;
    if (!bounds::meanShiftFits(images.imageGetRowCount(image), images.imageGetColumnCount(image),
                               spatialRadius, lowInt32(iterations)))
        return StatusFunctionError;

    cv::Mat matrix;
    if (!imageToMat(images, image, matrix, CV_8U)) return StatusFunctionError;
    // In place on purpose: with a separate destination OpenCV's result differs.
    cv::pyrMeanShiftFiltering(matrix, matrix, spatialRadius, colorRadius * colorDistanceRange,
                              lowInt32(maxLevel),
                              cv::TermCriteria(cv::TermCriteria::COUNT, lowInt32(iterations), 0.0));
    return returnImage(images, matrix, result);
}

} // namespace miravex
