#include "ops/photo/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/result_image.h"
#include "convert/tensors.h"
#include "ops/photo/bounds.h"
#include "ops/photo/compat.h"
#include "ops/photo/durand.h"
#include "ops/photo/option_names.h"

#include <opencv2/photo.hpp>

#include <vector>

namespace miravex {

namespace {

/// The host's parameters as floats, or the defaults where it gives none.
std::vector<float> parametersOf(ToneMapping mapping, std::span<const double> given)
{
    const std::span<const float> defaults = toneDefaults(mapping);
    if (given.empty()) return { defaults.begin(), defaults.end() };
    std::vector<float> parameters;
    for (const double value : given) parameters.push_back(static_cast<float>(value));
    return parameters;
}

void map(ToneMapping mapping, const std::vector<float>& p, const cv::Mat& source, cv::Mat& mapped)
{
    switch (mapping) {
    case ToneMapping::Basic: cv::createTonemap(p[0])->process(source, mapped); return;
    case ToneMapping::Durand: tonemapDurand(source, mapped, { p[0], p[1], p[2], p[3], p[4] }); return;
    case ToneMapping::Drago:
        compat::tonemapByLuminance(*cv::createTonemapDrago(p[0], p[1], p[2]), p[1], source, mapped);
        return;
    case ToneMapping::Reinhard:
        compat::tonemapByRange(*cv::createTonemapReinhard(p[0], p[1], p[2], p[3]), source, mapped);
        return;
    case ToneMapping::Mantiuk:
        compat::tonemapByLuminance(*cv::createTonemapMantiuk(p[0], p[1], p[2]), p[2], source, mapped);
        return;
    case ToneMapping::None: return;
    }
}

} // namespace

/// Maps an image of high dynamic range to the range of a display.
///
/// Image: 2D, 32-bit reals, 3 channels of ColorSpaceRGB. Method and parameters: toneMappings and
/// acceptsToneParameters() in option_names.h; no parameters stand for the defaults. The space sigma of
/// "Durand" is at most bounds::toneSpaceSigma, and pixels times its window at most bounds::work.
HostErrorCode tonemap(LibraryData data, KImage image, const char* method, KTensor parameters, KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const ColorSpace colorSpace = images.imageGetColorSpace(image);
    const PixelType pixelType = images.imageGetPixelType(image);
    const int64_t channels = images.imageGetChannels(image);
    const auto given = realElements(data, parameters);
    if (channels != 3 || colorSpace != ColorSpaceRGB || pixelType != PixelTypeReal32)
        return StatusFunctionError;
    const ToneMapping mapping = valueOf(toneMappings, method, ToneMapping::None);
    if (mapping == ToneMapping::None || !given) return StatusFunctionError;
    if (!given->empty()
        && (given->size() != toneDefaults(mapping).size() || !acceptsToneParameters(mapping, *given)))
        return StatusFunctionError;

    const BorrowedMat source(images, image, anyType);
    if (!source || source->dims != 2) return StatusFunctionError;
    if (!bounds::frameFits(source->rows, source->cols, source->channels())) return StatusFunctionError;
    const std::vector<float> numbers = parametersOf(mapping, *given);
    if (mapping == ToneMapping::Durand && !bounds::toneFilterEnds(source->rows, source->cols, numbers[4]))
        return StatusFunctionError;
    ResultImage mapped(images, source->size(), source->type());
    if (!mapped) return StatusFunctionError;
    map(mapping, numbers, *source, *mapped);
    return mapped.release(result);
}

} // namespace miravex
