#include "photo/photo.h"

#include "exchange/image_to_mat.h"
#include "photo/filter_names.h"
#include "photo/results.h"

#include <opencv2/photo.hpp>

namespace miravex {

namespace {

constexpr int unknownFilter = 0;

bool acceptsSigmas(float spatialSigma, float rangeSigma)
{
    return spatialSigma >= 0 && spatialSigma <= 200 && rangeSigma >= 0 && rangeSigma <= 1;
}

/// The queries and checks that all three operations make after the check of the rank.
bool accepts(const ImageServices& images, KImage image, float spatialSigma, float rangeSigma)
{
    const PixelType pixelType = images.imageGetPixelType(image);
    const int64_t channels = images.imageGetChannels(image);
    return pixelType == PixelTypeByte && channels == 3 && acceptsSigmas(spatialSigma, rangeSigma);
}

} // namespace

HostErrorCode detailEnhance(LibraryData data, KImage image, double spatialSigma, double rangeSigma,
                            KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2) return StatusFunctionError;
    const float spatial = static_cast<float>(spatialSigma);
    const float range = static_cast<float>(rangeSigma);
    if (!accepts(images, image, spatial, range)) return StatusFunctionError;

    cv::Mat source, enhanced;
    if (!imageToMat(images, image, source, anyType)) return StatusFunctionError;
    cv::detailEnhance(source, enhanced, spatial, range);
    return returnImage(images, enhanced, result);
}

HostErrorCode edgePreservingFilter(LibraryData data, KImage image, const char* filter, double spatialSigma,
                                   double rangeSigma, KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2) return StatusFunctionError;
    const float spatial = static_cast<float>(spatialSigma);
    const float range = static_cast<float>(rangeSigma);
    if (!accepts(images, image, spatial, range)) return StatusFunctionError;
    const int flag = valueOf(edgeFilters, filter, unknownFilter);
    if (flag == unknownFilter) return StatusFunctionError;

    cv::Mat matrix;
    if (!imageToMat(images, image, matrix, anyType)) return StatusFunctionError;
    cv::edgePreservingFilter(matrix, matrix, flag, spatial, range);
    return returnImage(images, matrix, result);
}

HostErrorCode stylization(LibraryData data, KImage image, double spatialSigma, double rangeSigma,
                          KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2) return StatusFunctionError;
    const float spatial = static_cast<float>(spatialSigma);
    const float range = static_cast<float>(rangeSigma);
    if (!accepts(images, image, spatial, range)) return StatusFunctionError;

    cv::Mat source, stylized;
    if (!imageToMat(images, image, source, anyType)) return StatusFunctionError;
    cv::stylization(source, stylized, spatial, range);
    return returnImage(images, stylized, result);
}

} // namespace miravex
