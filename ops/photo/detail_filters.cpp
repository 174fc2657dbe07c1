#include "ops/photo/photo.h"

#include "convert/image_to_mat.h"
#include "convert/matrix_memory.h"
#include "ops/photo/filter_names.h"
#include "ops/photo/results.h"

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
