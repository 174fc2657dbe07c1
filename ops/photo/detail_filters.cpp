#include "ops/photo/operations.h"

#include "convert/image_to_mat.h"
#include "convert/matrix_memory.h"
#include "ops/photo/option_names.h"
#include "convert/mat_to_image.h"

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

    [[nodiscard]] bool bounded() const { return spatial >= 0 && spatial <= 200 && range >= 0 && range <= 1; }
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

} // namespace

/// Strengthens the detail of a picture, smooths it while it keeps its edges, or makes it look painted.
///
/// Image: 2D, bytes, 3 channels. Spatial sigma: 0 to 200 pixels; range sigma: 0 to 1 of the sample range;
/// both compared after rounding to float. Filter: "RECURS_FILTER" or "NORMCONV_FILTER". Source: E. Gastal,
/// M. Oliveira, "Domain transform for edge-aware image and video processing", 2011.
HostErrorCode detailEnhance(LibraryData data, KImage image, double spatialSigma, double rangeSigma,
                            KImage* result)
{
    const Sigmas sigmas(spatialSigma, rangeSigma);
    if (!accepts(data, image, sigmas)) return StatusFunctionError;
    cv::Mat source, enhanced = resultMatrix();
    if (!imageToMat(*data->imageServices, image, source, anyType)) return StatusFunctionError;
    cv::detailEnhance(source, enhanced, sigmas.spatial, sigmas.range);
    return returnImage(*data->imageServices, enhanced, result);
}

HostErrorCode edgePreservingFilter(LibraryData data, KImage image, const char* filter, double spatialSigma,
                                   double rangeSigma, KImage* result)
{
    const Sigmas sigmas(spatialSigma, rangeSigma);
    if (!accepts(data, image, sigmas)) return StatusFunctionError;
    const int flag = valueOf(edgeFilters, filter, unknownFilter);
    if (flag == unknownFilter) return StatusFunctionError;
    cv::Mat matrix;
    if (!imageToMat(*data->imageServices, image, matrix, anyType)) return StatusFunctionError;
    cv::edgePreservingFilter(matrix, matrix, flag, sigmas.spatial, sigmas.range);
    return returnImage(*data->imageServices, matrix, result);
}

HostErrorCode stylization(LibraryData data, KImage image, double spatialSigma, double rangeSigma,
                          KImage* result)
{
    const Sigmas sigmas(spatialSigma, rangeSigma);
    if (!accepts(data, image, sigmas)) return StatusFunctionError;
    cv::Mat source, stylized = resultMatrix();
    if (!imageToMat(*data->imageServices, image, source, anyType)) return StatusFunctionError;
    cv::stylization(source, stylized, sigmas.spatial, sigmas.range);
    return returnImage(*data->imageServices, stylized, result);
}

} // namespace miravex
