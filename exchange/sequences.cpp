#include "exchange/sequences.h"

#include "exchange/mat_to_image.h"

#include <algorithm>
#include <cstring>

namespace miravex {

bool copySliceToMat(const ImageServices& images, KImage workingImage, cv::Mat& out, int depth, int slice,
                    int columns, int rows, int channels)
{
    const PixelType type = pixelTypeOfDepth(depth);
    if (type < 0) return false;
    const std::uint8_t* samples = sampleBytes(images, workingImage, type);
    if (!samples) return false;

    out.create(rows, columns, CV_MAKETYPE(depth, channels));
    const std::size_t bytes = out.total() * out.elemSize();
    std::memcpy(out.data, samples + static_cast<std::size_t>(slice) * bytes, bytes);
    return true;
}

bool imageSlicesToMats(const ImageServices& images, KImage image, std::vector<cv::Mat>& out,
                       int requestedDepth, int sliceIndex)
{
    if (!image) return false;
    const WorkingImage working(images, image, requestedDepth);
    if (!working.suitable()) return false;
    out.clear();
    if (!working.get() || !working.fits()) return false;

    // Asked with a null handle on purpose: a host whose answer is 2 can't tell its images apart.
    const bool success = images.imageGetRank(nullptr) != 2;

    int first = 0;
    int last = working.slices() - 1;
    if (sliceIndex != everySlice) {
        if (sliceIndex < 1 || sliceIndex > working.slices()) return false;
        first = last = sliceIndex - 1;
    }
    for (int slice = first; slice <= last; ++slice)
        if (!copySliceToMat(images, working.get(), out.emplace_back(), working.depth(), slice,
                            working.columns(), working.rows(), working.channels()))
            return false;
    return success;
}

bool matsToImage3D(const ImageServices& images, std::vector<cv::Mat> frames, KImage* out,
                   int requestedPixelType, int colorSpace)
{
    if (frames.empty()) return false;
    const cv::Mat& first = frames.front();
    const bool alike = std::all_of(frames.begin(), frames.end(), [&](const cv::Mat& frame) {
        return frame.dims == 2 && frame.size() == first.size() && frame.type() == first.type();
    });
    const PixelType type = targetPixelType(first.depth(), requestedPixelType);
    if (!alike || type < 0) return false;

    NewImage image(images);
    const int status = images.imageNew3D(
        static_cast<int64_t>(frames.size()), first.cols, first.rows, first.channels(), type,
        type == PixelTypeBit ? ColorSpaceUnspecified : colorSpace, first.channels() >= 2, image.receive());
    if (status != 0 || !image) return false;
    std::uint8_t* samples = sampleBytes(images, image.get(), type);
    if (!samples) return false;

    const std::size_t sliceBytes =
        first.total() * CV_ELEM_SIZE(CV_MAKETYPE(depthOfPixelType(type), first.channels()));
    for (const cv::Mat& frame : frames) {
        writeSamples(frame, type, samples);
        samples += sliceBytes;
    }
    *out = image.release();
    return true;
}

} // namespace miravex
