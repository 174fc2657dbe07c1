#include "ops/photo/operations.h"

#include "convert/matrix_memory.h"
#include "ops/photo/exposures.h"
#include "convert/mat_to_image.h"

#include <opencv2/photo.hpp>

namespace miravex {

namespace {

/// The response that a host passes back, or nothing for an empty list.
cv::Mat responseOf(std::span<const double> elements)
{
    if (elements.empty()) return {};
    cv::Mat response(responseLevels, 1, CV_32FC3);
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
    if (!curve || (!curve->empty() && curve->size() != responseLength)) return StatusFunctionError;
    if (!bracket.positive()) return StatusFunctionError;

    const cv::Ptr<Merger> merger = create();
    std::vector<cv::Mat> frames;
    if (!bracketToMats(images, image, frames)) return StatusFunctionError;
    cv::Mat merged = resultMatrix();
    if (curve->empty())
        merger->process(frames, merged, bracket.times());
    else
        merger->process(frames, merged, bracket.times(), responseOf(*curve));
    return returnImage(images, merged, result);
}

} // namespace

/// Merges a bracket into one picture of 32-bit reals, by the weighted mean of logarithmic or of plain
/// radiances.
///
/// Image: 3D, bytes, 3 channels of ColorSpaceRGB. Exposures: as above. Response: 768 reals as the
/// calibrations give them, or empty for a linear camera. Sources as of the calibrations.
HostErrorCode mergeDebevec(LibraryData data, KImage image, KTensor exposures, KTensor response,
                           KImage* result)
{
    return merge(data, image, exposures, response, cv::createMergeDebevec, result);
}

HostErrorCode mergeRobertson(LibraryData data, KImage image, KTensor exposures, KTensor response,
                             KImage* result)
{
    return merge(data, image, exposures, response, cv::createMergeRobertson, result);
}

/// Fuses a bracket into one displayable picture of 32-bit reals, weighing pixels by contrast and saturation.
///
/// Image: 3D, bytes, ColorSpaceGray or ColorSpaceRGB, 1 or 3 channels. Source: T. Mertens, J. Kautz, F. Van
/// Reeth, "Exposure fusion", 2007.
HostErrorCode mergeMertens(LibraryData data, KImage image, KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const ColorSpace colorSpace = images.imageGetColorSpace(image);
    const PixelType pixelType = images.imageGetPixelType(image);
    images.imageGetSliceCount(image); // asked, although nothing depends on it
    if (pixelType != PixelTypeByte) return StatusFunctionError;
    if (colorSpace != ColorSpaceGray && colorSpace != ColorSpaceRGB) return StatusFunctionError;

    constexpr float contrastWeight = 1, saturationWeight = 1, exposureWeight = 0;
    const cv::Ptr<cv::MergeMertens> merger =
        cv::createMergeMertens(contrastWeight, saturationWeight, exposureWeight);
    std::vector<cv::Mat> frames;
    if (!bracketToMats(images, image, frames, anyType)) return StatusFunctionError;
    cv::Mat merged = resultMatrix();
    merger->process(frames, merged);
    return returnImage(images, merged, result, PixelTypeReal32);
}

} // namespace miravex
