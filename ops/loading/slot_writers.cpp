#include "convert/opencv_compat.h"
#include "ops/loading/parallel_load.h"
#include "ops/loading/scale_into.h"

#include <opencv2/imgproc.hpp>

namespace miravex::importops {

namespace {

const float* offset(const float* samples, std::size_t by) { return samples ? samples + by : nullptr; }

/// Scales all samples of a picture, in memory order, into consecutive floats that start `first` into the
/// slot.
void scalePicture(float* slot, std::size_t first, const SlotFormat& format, const cv::Mat& picture)
{
    const std::size_t rowSamples =
        static_cast<std::size_t>(picture.cols) * static_cast<std::size_t>(picture.channels());
    const bool whole = picture.isContinuous();
    const std::size_t count = whole ? rowSamples * static_cast<std::size_t>(picture.rows) : rowSamples;
    const int runs = whole ? 1 : picture.rows;
    for (int run = 0; run < runs; ++run, first += count)
        scaleInto(slot + first, picture.ptr(run), offset(format.mean, first),
                  offset(format.reciprocalDeviation, first), count);
}

std::vector<cv::Mat> slotPlanes(float* slot, const SlotFormat& format)
{
    std::vector<cv::Mat> planes;
    for (int c = 0; c < format.channels; ++c)
        planes.emplace_back(format.height, format.width, CV_32F,
                            slot + static_cast<std::size_t>(c) * format.planeSamples());
    return planes;
}

/// The three channels of an RGB slot: split as bytes, last channel of BGR first.
void writeRedGreenBlue(float* slot, const SlotFormat& format, const cv::Mat& picture, Scratch& scratch)
{
    cv::split(picture, scratch.planes);
    for (std::size_t c = 0; c < 3; ++c)
        scalePicture(slot, c * format.planeSamples(), format, scratch.planes[2 - c]);
}

/// Colour spaces that OpenCV converts as floats.
void writeConverted(float* slot, const SlotFormat& format, const cv::Mat& picture, Scratch& scratch)
{
    scratch.reals.create(format.height, format.width, CV_32FC3);
    scalePicture(scratch.reals.ptr<float>(), 0, { .channels = format.channels }, picture);
    cv::cvtColor(scratch.reals, scratch.converted, format.colorCode);
    // A gray picture has one plane: splitting it shortens the list to what was written.
    std::vector<cv::Mat> planes = slotPlanes(slot, format);
    cv::split(scratch.converted, planes);
    normalize(slot, format.mean, format.reciprocalDeviation, planes.size() * format.planeSamples());
}

} // namespace

void writeInterleaved(float* slot, const SlotFormat& format, const cv::Mat& picture, Scratch& scratch)
{
    if (format.colorCode != cv::COLOR_BGR2RGB) return scalePicture(slot, 0, format, picture);
    compat::swapRedAndBlue(picture, scratch.swapped);
    scalePicture(slot, 0, format, scratch.swapped);
}

void writePlanar(float* slot, const SlotFormat& format, const cv::Mat& picture, Scratch& scratch)
{
    if (format.channels == 1)
        scalePicture(slot, 0, format, picture);
    else if (format.colorCode == cv::COLOR_BGR2RGB)
        writeRedGreenBlue(slot, format, picture, scratch);
    else
        writeConverted(slot, format, picture, scratch);
}

} // namespace miravex::importops
