#include "ops/filters/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/integers.h"
#include "convert/own_kernels.h"
#include "convert/result_image.h"
#include "ops/filters/bounds.h"
#include "ops/filters/mean_shift.h"

#include <opencv2/imgproc.hpp>

namespace miravex {

namespace {

/// Largest distance between two 8-bit colours, rounded: 255 times the square root of 3.
constexpr double colorDistanceRange = 441.0;

/// In place on purpose: with a separate destination OpenCV's result differs.
void meanShiftByOpenCv(const cv::Mat& source, cv::Mat& flattened, const MeanShift& by)
{
    source.copyTo(flattened);
    cv::pyrMeanShiftFiltering(flattened, flattened, by.spatialRadius, by.colorRadius, by.levels,
                              cv::TermCriteria(cv::TermCriteria::COUNT, by.steps, 0.0));
}

} // namespace

/// Flattens colours by mean-shift filtering over position and colour, coarse to fine.
///
/// Image: 2D, 3 byte channels; the result has ColorSpaceUnspecified. Spatial radius in pixels, colour radius
/// as a fraction of the largest colour distance, both at least 0; maximum pyramid level and iterations at
/// least 0 and cut to 32 bits (levels above bounds::meanShiftLevels are refused and
/// bounds::meanShiftIterations run at most, as OpenCV does). Calls beyond bounds::meanShiftFits, and images
/// of more than 2^31 - 1 samples, are refused. Source: D. Comaniciu, P. Meer, "Mean shift: a robust approach
/// toward feature space analysis", 2002.
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

    const BorrowedMat source(images, image, CV_8U);
    if (!source || !bounds::isIndexed(source->rows, source->cols, source->channels()))
        return StatusFunctionError;
    ResultImage flattened(images, source->size(), source->type());
    if (!flattened) return StatusFunctionError;
    const MeanShift by { .spatialRadius = spatialRadius,
                         .colorRadius = colorRadius * colorDistanceRange,
                         .levels = lowInt32(maxLevel),
                         .steps = lowInt32(iterations) };
    if (ownKernels() && !(spatialRadius > meanShiftReach))
        meanShift(*source, *flattened, by);
    else
        meanShiftByOpenCv(*source, *flattened, by);
    return flattened.release(result);
}

} // namespace miravex
