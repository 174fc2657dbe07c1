#include "convert/mat_to_image.h"

#include <algorithm>

namespace miravex {

namespace {

int createImage(const ImageServices& images, const cv::Mat& matrix, PixelType type, int colorSpace,
                KImage* out)
{
    const ColorSpace space = type == PixelTypeBit ? ColorSpaceUnspecified : colorSpace;
    const HostBoolean interleaved = matrix.channels() >= 2;
    if (matrix.dims == 3)
        return images.imageNew3D(matrix.size[2], matrix.size[1], matrix.size[0], matrix.channels(), type,
                                 space, interleaved, out);
    return images.imageNew2D(matrix.cols, matrix.rows, matrix.channels(), type, space, interleaved, out);
}

} // namespace

PixelType targetPixelType(int depth, int requested) noexcept
{
    if (requested == anyType) return pixelTypeOfDepth(depth);
    if (requested < PixelTypeBit || requested > PixelTypeReal) return -1;
    if (requested == PixelTypeBit && depth != CV_8U && depth != CV_8S) return -1;
    return requested;
}

void writeSamples(const cv::Mat& matrix, PixelType target, std::uint8_t* samples)
{
    if (matrix.empty()) return;
    // A header over the host's memory: OpenCV writes straight into it, whole or not continuous alike.
    const int type = CV_MAKETYPE(depthOfPixelType(target), matrix.channels());
    cv::Mat destination(matrix.dims, matrix.size.p, type, samples);
    if (matrix.depth() == destination.depth())
        matrix.copyTo(destination);
    else if (target == PixelTypeBit)
        cv::convertScaleAbs(matrix, destination); // signed bytes: nonzero stays nonzero
    else
        matrix.convertTo(destination, destination.depth(), scaleFactor(matrix.depth(), target), 0.0);
    CV_Assert(destination.data == samples);

    if (target == PixelTypeBit)
        std::transform(samples, samples + matrix.total() * matrix.elemSize(), samples,
                       [](std::uint8_t sample) -> std::uint8_t { return sample != 0; });
}

bool matToImage(const ImageServices& images, cv::Mat matrix, KImage* out, int requestedPixelType,
                int colorSpace)
{
    const PixelType type = targetPixelType(matrix.depth(), requestedPixelType);
    if (type < 0 || (matrix.dims != 2 && matrix.dims != 3)) return false;

    NewImage image(images);
    if (createImage(images, matrix, type, colorSpace, image.receive()) != 0 || !image) return false;
    std::uint8_t* samples = sampleBytes(images, image.get(), type);
    if (!samples && !matrix.empty()) return false;
    writeSamples(matrix, type, samples);
    *out = image.release();
    return true;
}

} // namespace miravex
