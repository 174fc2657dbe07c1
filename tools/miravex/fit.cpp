#include "tools/miravex/fit.h"

#include "catalog/catalog.h"
#include "files/pictures.h"
#include "host/arguments.h"

#include <opencv2/imgproc.hpp>

#include <fmt/format.h>

#include <cstring>

namespace miravex::tool {

namespace {

/// Applies a change of channels to every slice.
template <typename Change> ImagePointer withFrames(const Image& image, Change change)
{
    const ImagePointer source = convertImage(image, image.pixelType, image.shape.channels > 1);
    std::vector<cv::Mat> frames;
    for (const cv::Mat& frame : framesOf(*source)) frames.push_back(change(frame));
    ImagePointer changed = files::imageOf(frames, image.rank() == 3);
    changed->pixelType = image.pixelType;
    return changed;
}

cv::Mat luminance(const cv::Mat& frame)
{
    cv::Mat gray;
    cv::extractChannel(frame, gray, 0);
    if (frame.channels() < 3) return gray;
    if (frame.depth() == CV_64F) {
        cv::Mat weights = cv::Mat::zeros(1, frame.channels(), CV_64F);
        cv::Mat((cv::Mat_<double>(1, 3) << 0.299, 0.587, 0.114)).copyTo(weights.colRange(0, 3));
        cv::transform(frame, gray, weights);
        return gray;
    }
    cv::cvtColor(frame, gray, frame.channels() == 4 ? cv::COLOR_RGBA2GRAY : cv::COLOR_RGB2GRAY);
    return gray;
}

cv::Mat firstChannels(const cv::Mat& frame, int count)
{
    std::vector<cv::Mat> planes;
    cv::split(frame, planes);
    planes.resize(static_cast<std::size_t>(count));
    cv::Mat merged;
    cv::merge(planes, merged);
    return merged;
}

cv::Mat tripled(const cv::Mat& frame)
{
    cv::Mat merged;
    cv::merge(std::vector<cv::Mat>(3, firstChannels(frame, 1)), merged);
    return merged;
}

bool acceptsGray(const ImageRule& rule)
{
    return rule.acceptsChannels(1) && rule.acceptsColorSpace(ColorSpaceGray);
}
bool acceptsColor(const ImageRule& rule)
{
    return rule.acceptsChannels(3) && rule.acceptsColorSpace(ColorSpaceRGB);
}

ImagePointer withChannels(ImagePointer image, const Argument& argument, Notes& notes)
{
    const ImageRule& rule = argument.image;
    const int64_t channels = image->shape.channels;
    if (rule.acceptsChannels(channels) && rule.acceptsColorSpace(image->colorSpace)) return image;
    if (channels == 4 && acceptsColor(rule)) {
        notes.push_back(fmt::format("{}: the alpha channel is dropped", argument.name));
        return withFrames(*image, [](const cv::Mat& frame) { return firstChannels(frame, 3); });
    }
    if (channels <= 2 && acceptsColor(rule))
        return withFrames(*image, [](const cv::Mat& frame) { return tripled(frame); });
    if (channels >= 2 && acceptsGray(rule)) {
        notes.push_back(fmt::format("{}: converted to gray", argument.name));
        return grayOf(std::move(image));
    }
    return image;
}

ImagePointer withRank(ImagePointer image, const Argument& argument, Notes& notes)
{
    if (argument.image.rank == 3 && image->rank() == 2) {
        auto sequence = std::make_shared<Image>(*image);
        sequence->shape.slices = 1;
        return sequence;
    }
    if (argument.image.rank != 2 || image->rank() == 2) return image;
    notes.push_back(fmt::format("{}: only the first frame is used", argument.name));
    return files::firstFrame(*image);
}

} // namespace

ImagePointer grayOf(ImagePointer image)
{
    if (image->shape.channels == 1) return image;
    return withFrames(*image, luminance);
}

PixelType pixelTypeOf(const std::string& name)
{
    for (PixelType type = PixelTypeBit; type <= PixelTypeReal; ++type)
        if (pixelTypeName(type) == name) return type;
    throw Failure(ExitStatus::Usage,
                  fmt::format("--type is \"{}\", expected one of bit, byte, bit16, real32, real", name));
}

ImagePointer fitted(ImagePointer image, const Argument& argument, Notes& notes)
{
    image = withRank(std::move(image), argument, notes);
    image = withChannels(std::move(image), argument, notes);
    return withPixelTypeFor(argument, std::move(image), notes);
}

} // namespace miravex::tool
