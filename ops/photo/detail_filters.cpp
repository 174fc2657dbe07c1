#include "ops/photo/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/result_image.h"
#include "ops/photo/bounds.h"
#include "ops/photo/edge_preserving.h"
#include "ops/photo/option_names.h"

#include <opencv2/photo.hpp>

namespace miravex {

namespace {

constexpr int unknownFilter = 0;

/// How far a filter reaches, in pixels and in samples, as OpenCV takes it.
struct Sigmas {
    float spatial;
    float range;

    Sigmas(double spatialSigma, double rangeSigma)
        : spatial(static_cast<float>(spatialSigma))
        , range(static_cast<float>(rangeSigma))
    {
    }

    [[nodiscard]] bool bounded() const
    {
        return spatial >= 0 && spatial <= bounds::detailSpatialSigma && range >= 0
            && range <= bounds::detailRangeSigma;
    }
};

/// What all three operations ask and check first: a 2D image of three channels of bytes, sigmas in range.
bool accepts(LibraryData data, KImage image, const Sigmas& sigmas)
{
    if (!data || !image) return false;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2) return false;
    const PixelType pixelType = images.imageGetPixelType(image);
    const int64_t channels = images.imageGetChannels(image);
    return pixelType == PixelTypeByte && channels == 3 && sigmas.bounded();
}

bool fits(const BorrowedMat& source)
{
    return source && bounds::frameFits(source->rows, source->cols, source->channels());
}

/// Detail enhancement and stylization are alike but for what they make of the samples.
template <typename Filter>
HostErrorCode filtered(LibraryData data, KImage image, double spatialSigma, double rangeSigma, Filter filter,
                       KImage* result)
{
    const Sigmas sigmas(spatialSigma, rangeSigma);
    if (!accepts(data, image, sigmas)) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const BorrowedMat source(images, image, anyType);
    if (!fits(source)) return StatusFunctionError;
    ResultImage target(images, source->size(), source->type());
    if (!target) return StatusFunctionError;
    filter(*source, *target, sigmas.spatial, sigmas.range);
    return target.release(result);
}

} // namespace

/// Strengthens the detail of an image: what an edge-preserving filter takes away comes back threefold.
///
/// Image: 2D, bytes, 3 channels. Spatial sigma: 0 to bounds::detailSpatialSigma pixels; range sigma: 0 to
/// bounds::detailRangeSigma of the range of samples; both compared after rounding to float. Source: E.
/// Gastal, M. Oliveira, "Domain transform for edge-aware image and video processing", 2011.
HostErrorCode detailEnhance(LibraryData data, KImage image, double spatialSigma, double rangeSigma,
                            KImage* result)
{
    return filtered(data, image, spatialSigma, rangeSigma, enhanceDetail, result);
}

/// Smooths an image while it keeps its edges.
///
/// Image: 2D, bytes, 3 channels. Filter: "RECURS_FILTER" or "NORMCONV_FILTER". Spatial sigma: 0 to
/// bounds::detailSpatialSigma pixels; range sigma: 0 to bounds::detailRangeSigma of the range of samples;
/// both compared after rounding to float. Source: E. Gastal, M. Oliveira, "Domain transform for edge-aware
/// image and video processing", 2011.
HostErrorCode edgePreservingFilter(LibraryData data, KImage image, const char* filter, double spatialSigma,
                                   double rangeSigma, KImage* result)
{
    const Sigmas sigmas(spatialSigma, rangeSigma);
    if (!accepts(data, image, sigmas)) return StatusFunctionError;
    const int flag = valueOf(edgeFilters, filter, unknownFilter);
    if (flag == unknownFilter) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const BorrowedMat source(images, image, anyType);
    if (!fits(source)) return StatusFunctionError;
    ResultImage smoothed(images, source->size(), source->type());
    if (!smoothed) return StatusFunctionError;
    preserveEdges(*source, *smoothed, flag, sigmas.spatial, sigmas.range);
    return smoothed.release(result);
}

/// Makes an image look painted: smooths it while it keeps its edges, and draws those dark.
///
/// Image: 2D, bytes, 3 channels. Spatial sigma: 0 to bounds::detailSpatialSigma pixels; range sigma: 0 to
/// bounds::detailRangeSigma of the range of samples; both compared after rounding to float. Source: E.
/// Gastal, M. Oliveira, "Domain transform for edge-aware image and video processing", 2011.
HostErrorCode stylization(LibraryData data, KImage image, double spatialSigma, double rangeSigma,
                          KImage* result)
{
    return filtered(data, image, spatialSigma, rangeSigma, stylize, result);
}

} // namespace miravex
