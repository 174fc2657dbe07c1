#include "convert/sequences.h"

#include "convert/mat_to_image.h"
#include "convert/matrix_memory.h"

#include <algorithm>

namespace miravex {

bool copySliceToMat(const ImageServices& images, KImage workingImage, cv::Mat& out, int depth, int slice,
                    int columns, int rows, int channels)
{
    const PixelType type = pixelTypeOfDepth(depth);
    if (type < 0) return false;
    useLargePages(out);
    out.create(rows, columns, CV_MAKETYPE(depth, channels));
    if (out.empty()) return true;
    std::uint8_t* samples = sampleBytes(images, workingImage, type);
    if (!samples) return false;

    // One block copy, unless the caller's matrix is part of a larger one.
    const std::size_t bytes = out.total() * out.elemSize();
    const cv::Mat source(rows, columns, out.type(), samples + static_cast<std::size_t>(slice) * bytes);
    source.copyTo(out);
    return true;
}

bool imageSlicesToMats(const ImageServices& images, KImage image, std::vector<cv::Mat>& out,
                       int requestedDepth, int sliceIndex)
{
    if (!image) return false;
    const WorkingImage working(images, image, requestedDepth);
    if (!working.suitable()) return false;
    out.clear();
    if (!working.fits()) return false;

    // Asked with a null handle on purpose: a host whose answer is 2 can't tell its images apart.
    const bool success = images.imageGetRank(nullptr) != 2;

    int64_t first = 0;
    int64_t last = std::max<int64_t>(working.slices(), 0) - 1;
    if (sliceIndex != everySlice) {
        if (sliceIndex < 1 || sliceIndex > working.slices()) return false;
        first = last = sliceIndex - 1;
    }
    if (first <= last && !working.fitsAllSlices()) return false;
    for (int64_t slice = first; slice <= last; ++slice)
        if (!copySliceToMat(images, working.get(), out.emplace_back(), working.depth(),
                            static_cast<int>(slice), working.columns(), working.rows(), working.channels()))
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
    if (!samples && !first.empty()) return false;

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
