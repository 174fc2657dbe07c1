#include "ops/photo/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/integers.h"
#include "convert/result_image.h"
#include "ops/photo/bounds.h"
#include "ops/photo/denoise.h"

#include <algorithm>

namespace miravex {

namespace {

/// Sides of the windows as OpenCV takes them.
struct Windows {
    int patch; ///< the template, a word that C++ keeps for itself
    int search;
    int temporal = 1;

    Windows(int64_t templateWindow, int64_t searchWindow, int64_t temporalWindow = 1)
        : patch(lowInt32(templateWindow))
        , search(lowInt32(searchWindow))
        , temporal(lowInt32(temporalWindow))
    {
    }

    [[nodiscard]] bool odd() const { return (patch & 1) != 0 && (search & 1) != 0 && (temporal & 1) != 0; }

    /// True when they are within our bounds on a frame, templates compared over `channels` channels at a
    /// time.
    [[nodiscard]] bool bounded(const cv::Mat& frame, int channels) const
    {
        if (frame.dims != 2 || frame.empty()) return false;
        if (patch < 1 || search < 1 || temporal < 1) return false;
        if (!bounds::frameFits(frame.rows, frame.cols, frame.channels())) return false;
        return bounds::denoisingTemplateFits(patch, channels) && bounds::denoisingSearchFits(temporal, search)
            && bounds::denoisingEnds(frame.rows, frame.cols, temporal, search, patch);
    }
};

/// Strengths travel as the nearest float.
float strengthOf(double value) { return static_cast<float>(value); }

bool isRgbBytes(PixelType pixelType, int64_t channels, ColorSpace colorSpace)
{
    return pixelType == PixelTypeByte && channels == 3 && colorSpace == ColorSpaceRGB;
}

/// What both sequence operations ask of the host and check first; the channels are left to them.
struct Sequence {
    PixelType pixelType;
    int64_t rows, columns, slices, channels;

    Sequence(const ImageServices& images, KImage image)
        : pixelType(images.imageGetPixelType(image))
        , rows(images.imageGetRowCount(image))
        , columns(images.imageGetColumnCount(image))
        , slices(images.imageGetSliceCount(image))
        , channels(images.imageGetChannels(image))
    {
    }

    /// `index` is counted from 0. One frame too many at the end passes: denoising refuses it.
    [[nodiscard]] bool accepts(const Windows& windows, int64_t index) const
    {
        if (windows.search > rows || windows.search > columns) return false;
        if (windows.patch > rows || windows.patch > columns) return false;
        const int64_t half = windows.temporal / 2;
        if (windows.temporal < 1 || index < half || index > slices - half) return false;
        return windows.odd() && pixelType == PixelTypeByte;
    }
};

/// Hosts count frames from 1, OpenCV from 0. No frame precedes the first, whatever its number.
int64_t indexOfFrame(int64_t frame) { return std::max<int64_t>(frame, 0) - 1; }

} // namespace

/// Replaces every pixel by the mean of the pixels of its search window, weighted by how alike the templates
/// around them are.
///
/// Image: 2D, bytes, 1 or 2 channels or 3 of ColorSpaceRGB. Strength: any; larger removes more. Template and
/// search window: odd sides in pixels, from 1 to bounds::denoisingTemplate(channels) and
/// bounds::denoisingSearch. Calls beyond bounds::work are refused. Source: A. Buades, B. Coll, J.-M. Morel,
/// "A non-local algorithm for image denoising", 2005.
HostErrorCode fastNlMeansDenoising(LibraryData data, KImage image, double strength, int64_t templateWindow,
                                   int64_t searchWindow, KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const int64_t channels = images.imageGetChannels(image);
    const PixelType pixelType = images.imageGetPixelType(image);
    const ColorSpace colorSpace = images.imageGetColorSpace(image);
    const Windows windows(templateWindow, searchWindow);
    if (!windows.odd() || pixelType != PixelTypeByte) return StatusFunctionError;
    if (channels == 3 ? colorSpace != ColorSpaceRGB : channels != 1 && channels != 2)
        return StatusFunctionError;

    const BorrowedMat source(images, image, CV_8U);
    if (!source || !windows.bounded(*source, source->channels())) return StatusFunctionError;
    ResultImage denoised(images, source->size(), source->type());
    if (!denoised) return StatusFunctionError;
    denoise(*source, *denoised, strengthOf(strength), windows.patch, windows.search);
    return denoised.release(result);
}

/// Replaces every pixel by the weighted mean of the pixels of its search window, apart for lightness and,
/// with a strength of its own, for the two colour components of CIE L*a*b*.
///
/// Image: 2D, bytes, 3 channels of ColorSpaceRGB. Strengths: any; larger remove more. Template and search
/// window: odd sides in pixels, from 1 to bounds::denoisingTemplate(2) and bounds::denoisingSearch. Calls
/// beyond bounds::work are refused. Source: A. Buades, B. Coll, J.-M. Morel, "A non-local algorithm for image
/// denoising", 2005.
HostErrorCode fastNlMeansDenoisingColored(LibraryData data, KImage image, double strength,
                                          double colorStrength, int64_t templateWindow, int64_t searchWindow,
                                          KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const int64_t channels = images.imageGetChannels(image);
    const PixelType pixelType = images.imageGetPixelType(image);
    const ColorSpace colorSpace = images.imageGetColorSpace(image);
    const Windows windows(templateWindow, searchWindow);
    if (!windows.odd() || !isRgbBytes(pixelType, channels, colorSpace)) return StatusFunctionError;

    const BorrowedMat source(images, image, CV_8U);
    // Lightness alone is denoised, then both colours.
    if (!source || !windows.bounded(*source, 2)) return StatusFunctionError;
    ResultImage denoised(images, source->size(), source->type());
    if (!denoised) return StatusFunctionError;
    denoiseColored(*source, *denoised, strengthOf(strength), strengthOf(colorStrength), windows.patch,
                   windows.search);
    return denoised.release(result);
}

/// Replaces every pixel of one frame by the weighted mean of the pixels of its search window there and in the
/// frames around it.
///
/// Image: 3D, bytes, 1 to 4 channels; no side shorter than the windows. Frame: counted from 1. Temporal
/// window: odd, at least 1, and within the sequence around the frame. Strength: any; larger removes more.
/// Template: an odd side in pixels, at most bounds::denoisingTemplate(channels). Search window: an odd side
/// in pixels, all of them together at most bounds::denoisingWeights. Calls beyond bounds::work are
/// refused. Source: A. Buades, B. Coll, J.-M. Morel, "A non-local algorithm for image denoising", 2005.
HostErrorCode fastNlMeansDenoisingMulti(LibraryData data, KImage image, int64_t frame, int64_t temporalWindow,
                                        double strength, int64_t templateWindow, int64_t searchWindow,
                                        KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const Windows windows(templateWindow, searchWindow, temporalWindow);
    const int64_t index = indexOfFrame(frame);
    const Sequence sequence(images, image);
    if (!sequence.accepts(windows, index)) return StatusFunctionError;
    if (sequence.channels < 1 || sequence.channels > 4) return StatusFunctionError;

    const BorrowedSlices frames(images, image, anyType);
    if (!frames || frames->empty()) return StatusFunctionError;
    const cv::Mat& first = frames->front();
    if (!windows.bounded(first, first.channels())) return StatusFunctionError;
    ResultImage denoised(images, first.size(), first.type());
    if (!denoised) return StatusFunctionError;
    denoiseFrame(*frames, *denoised, static_cast<int>(index), windows.temporal, strengthOf(strength),
                 windows.patch, windows.search);
    return denoised.release(result);
}

/// Replaces every pixel of one frame by the weighted mean of the pixels of its search window there and in the
/// frames around it, apart for lightness and, with a strength of its own, for colour.
///
/// Image: 3D, bytes, 3 channels; no side shorter than the windows. Frame: counted from 1. Temporal window:
/// odd, at least 1, and within the sequence around the frame. Strengths: any; larger remove more. Template:
/// an odd side in pixels, at most bounds::denoisingTemplate(2). Search window: an odd side in pixels, all of
/// them together at most bounds::denoisingWeights. Calls beyond bounds::work are refused.
/// Source: A. Buades, B. Coll, J.-M. Morel, "A non-local algorithm for image denoising", 2005.
HostErrorCode fastNlMeansDenoisingColoredMulti(LibraryData data, KImage image, int64_t frame,
                                               int64_t temporalWindow, double strength, double colorStrength,
                                               int64_t templateWindow, int64_t searchWindow, KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const Windows windows(templateWindow, searchWindow, temporalWindow);
    const int64_t index = indexOfFrame(frame);
    const Sequence sequence(images, image);
    if (!sequence.accepts(windows, index) || sequence.channels != 3) return StatusFunctionError;

    const BorrowedSlices frames(images, image, CV_8U);
    if (!frames || frames->empty()) return StatusFunctionError;
    const cv::Mat& first = frames->front();
    if (!windows.bounded(first, 2)) return StatusFunctionError;
    ResultImage denoised(images, first.size(), first.type());
    if (!denoised) return StatusFunctionError;
    denoiseColoredFrame(*frames, *denoised, static_cast<int>(index), windows.temporal, strengthOf(strength),
                        strengthOf(colorStrength), windows.patch, windows.search);
    return denoised.release(result);
}

} // namespace miravex
