#include "ops/photo/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/result_image.h"
#include "ops/photo/bounds.h"
#include "ops/photo/exposures.h"
#include "ops/photo/frames.h"

#include <opencv2/photo.hpp>

namespace miravex {

namespace {

/// The response that a host passes back, or nothing for an empty list.
cv::Mat responseOf(std::span<const double> elements)
{
    if (elements.empty()) return {};
    cv::Mat response(bounds::responseLevels, 1, CV_32FC3);
    std::ranges::transform(elements, response.ptr<float>(),
                           [](double element) { return static_cast<float>(element); });
    return response;
}

/// Debevec's and Robertson's merges are alike but for OpenCV's object.
template <typename Merger>
HostErrorCode merge(LibraryData data, KImage image, KTensor exposures, KTensor response,
                    cv::Ptr<Merger> (*create)(), KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const int64_t slices = images.imageGetSliceCount(image);
    const PixelType pixelType = images.imageGetPixelType(image);
    const ColorSpace colorSpace = images.imageGetColorSpace(image);
    const int64_t channels = images.imageGetChannels(image);
    const Exposures bracket(data, exposures);
    const auto curve = realElements(data, response);
    if (pixelType != PixelTypeByte || colorSpace != ColorSpaceRGB || channels != 3)
        return StatusFunctionError;
    if (!bracket.count(slices)) return StatusFunctionError;
    if (!curve || (!curve->empty() && curve->size() != bounds::responseLength)) return StatusFunctionError;
    if (!bracket.positive()) return StatusFunctionError;

    const cv::Ptr<Merger> merger = create();
    const BorrowedSlices frames(images, image, CV_8U);
    if (!framesFit(frames)) return StatusFunctionError;
    ResultImage merged(images, frames->front().size(), CV_32FC3);
    if (!merged) return StatusFunctionError;
    if (curve->empty())
        merger->process(*frames, *merged, bracket.times());
    else
        merger->process(*frames, *merged, bracket.times(), responseOf(*curve));
    return merged.release(result);
}

} // namespace

/// Merges a bracket into one image of 32-bit reals by the weighted mean of logarithmic radiances.
///
/// Image: 3D, bytes, 3 channels of ColorSpaceRGB. Exposures: one positive real per frame, the reciprocal of
/// its exposure time. Response: bounds::responseLength reals as the calibrations give them, or empty for a
/// linear camera. Source: P. Debevec, J. Malik, "Recovering high dynamic range radiance maps from
/// photographs", 1997.
HostErrorCode mergeDebevec(LibraryData data, KImage image, KTensor exposures, KTensor response,
                           KImage* result)
{
    return merge(data, image, exposures, response, cv::createMergeDebevec, result);
}

/// Merges a bracket into one image of 32-bit reals by the weighted mean of plain radiances.
///
/// Image: 3D, bytes, 3 channels of ColorSpaceRGB. Exposures: one positive real per frame, the reciprocal of
/// its exposure time. Response: bounds::responseLength reals as the calibrations give them, or empty for a
/// linear camera. Source: M. Robertson, S. Borman, R. Stevenson, "Dynamic range improvement through multiple
/// exposures", 1999.
HostErrorCode mergeRobertson(LibraryData data, KImage image, KTensor exposures, KTensor response,
                             KImage* result)
{
    return merge(data, image, exposures, response, cv::createMergeRobertson, result);
}

} // namespace miravex
