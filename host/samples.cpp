#include "host/samples.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstring>
#include <limits>

namespace miravex {

namespace {

enum Axis { slice, row, column, channel };

std::array<int64_t, 4> sizesOf(const ImageShape& shape)
{
    return { std::max<int64_t>(shape.slices, 1), shape.rows, shape.columns, shape.channels };
}

int64_t bytesOf(const Samples& samples) { return static_cast<int64_t>(bytesPerSample(samples.pixelType)); }

std::array<int64_t, 4> denseSteps(const ImageShape& shape, int64_t bytes, bool interleaved)
{
    const int64_t pixel = interleaved ? shape.channels * bytes : bytes;
    const int64_t plane = interleaved ? bytes : shape.rows * shape.columns * bytes;
    return { shape.rows * shape.columns * shape.channels * bytes, shape.columns * pixel, pixel, plane };
}

/// Steps along an axis of one entry are never taken.
bool stepsAre(const Samples& samples, const std::array<int64_t, 4>& wanted)
{
    const auto sizes = sizesOf(samples.shape);
    for (std::size_t axis = 0; axis < sizes.size(); ++axis)
        if (sizes[axis] > 1 && samples.steps[axis] != wanted[axis]) return false;
    return true;
}

bool isAligned(const Samples& samples)
{
    const auto bytes = static_cast<std::uintptr_t>(bytesOf(samples));
    bool aligned = reinterpret_cast<std::uintptr_t>(samples.data) % bytes == 0;
    for (const int64_t step : samples.steps) aligned &= step % static_cast<int64_t>(bytes) == 0;
    return aligned;
}

Samples at(const Samples& samples, Axis axis, int64_t index)
{
    Samples part = samples;
    part.data += index * samples.steps[axis];
    return part;
}

// --- transposed bands -----------------------------------------------------------------------------------

/// Rows that are transposed at once: few enough that both sides of a band stay in the cache.
constexpr int64_t bandRows = 64;

bool fitsMatrix(const Samples& samples)
{
    constexpr int64_t largest = std::numeric_limits<int>::max();
    return samples.shape.rows <= largest && samples.shape.columns <= largest && samples.shape.channels <= 4;
}

/// One plane after the other, each column by column.
bool isColumnMajor(const Samples& samples)
{
    const int64_t bytes = bytesOf(samples);
    return samples.steps[row] == bytes && samples.steps[column] >= samples.shape.rows * bytes
        && fitsMatrix(samples) && isAligned(samples);
}

/// Row by row, channels together.
bool isRowMajor(const Samples& samples)
{
    const int64_t bytes = bytesOf(samples);
    const int64_t pixel = bytes * samples.shape.channels;
    return samples.steps[column] == pixel && (samples.shape.channels == 1 || samples.steps[channel] == bytes)
        && samples.steps[row] >= samples.shape.columns * pixel && fitsMatrix(samples) && isAligned(samples);
}

int depthOf(PixelType type)
{
    switch (type) {
    case PixelTypeBit16: return CV_16U;
    case PixelTypeReal32: return CV_32F;
    case PixelTypeReal: return CV_64F;
    default: return CV_8U;
    }
}

/// Rows `first` to `first + count` of one slice as they lie in row-major samples.
cv::Mat rowsOf(const Samples& samples, int64_t first, int64_t count)
{
    const int type = CV_MAKETYPE(depthOf(samples.pixelType), static_cast<int>(samples.shape.channels));
    return { static_cast<int>(count), static_cast<int>(samples.shape.columns), type,
             samples.data + first * samples.steps[row], static_cast<std::size_t>(samples.steps[row]) };
}

/// The same rows of one plane of column-major samples, as columns.
cv::Mat columnsOf(const Samples& samples, int64_t plane, int64_t first, int64_t count)
{
    return { static_cast<int>(samples.shape.columns), static_cast<int>(count), depthOf(samples.pixelType),
             samples.data + plane * samples.steps[channel] + first * samples.steps[row],
             static_cast<std::size_t>(samples.steps[column]) };
}

/// One slice between column-major samples and row-major ones.
void transposeIn(const Samples& from, const Samples& to)
{
    std::vector<cv::Mat> planes(static_cast<std::size_t>(from.shape.channels));
    for (int64_t first = 0; first < from.shape.rows; first += bandRows) {
        const int64_t count = std::min(bandRows, from.shape.rows - first);
        cv::Mat target = rowsOf(to, first, count);
        if (planes.size() == 1) {
            cv::transpose(columnsOf(from, 0, first, count), target);
            continue;
        }
        for (std::size_t plane = 0; plane < planes.size(); ++plane)
            cv::transpose(columnsOf(from, static_cast<int64_t>(plane), first, count), planes[plane]);
        cv::merge(planes, target);
    }
}

void transposeOut(const Samples& from, const Samples& to)
{
    std::vector<cv::Mat> planes;
    for (int64_t first = 0; first < from.shape.rows; first += bandRows) {
        const int64_t count = std::min(bandRows, from.shape.rows - first);
        cv::split(rowsOf(from, first, count), planes);
        for (std::size_t plane = 0; plane < planes.size(); ++plane) {
            cv::Mat target = columnsOf(to, static_cast<int64_t>(plane), first, count);
            cv::transpose(planes[plane], target);
        }
    }
}

// --- any steps ------------------------------------------------------------------------------------------

template <std::size_t bytes> void copyOneByOne(const Samples& from, const Samples& to)
{
    for (int64_t i = 0; i < from.shape.rows; ++i) {
        for (int64_t j = 0; j < from.shape.columns; ++j) {
            const std::byte* source = from.data + i * from.steps[row] + j * from.steps[column];
            std::byte* target = to.data + i * to.steps[row] + j * to.steps[column];
            for (int64_t k = 0; k < from.shape.channels; ++k)
                std::memcpy(target + k * to.steps[channel], source + k * from.steps[channel], bytes);
        }
    }
}

void copySlice(const Samples& from, const Samples& to)
{
    if (isColumnMajor(from) && isRowMajor(to)) return transposeIn(from, to);
    if (isRowMajor(from) && isColumnMajor(to)) return transposeOut(from, to);
    switch (bytesOf(from)) {
    case 1: return copyOneByOne<1>(from, to);
    case 2: return copyOneByOne<2>(from, to);
    case 4: return copyOneByOne<4>(from, to);
    default: return copyOneByOne<8>(from, to);
    }
}

} // namespace

Samples Samples::of(const Image& image)
{
    const auto bytes = static_cast<int64_t>(bytesPerSample(image.pixelType));
    const bool interleaved = image.interleaved || image.shape.channels == 1;
    return { image.block.data(), image.shape, image.pixelType, denseSteps(image.shape, bytes, interleaved) };
}

ImagePointer imageOver(const Samples& samples, ColorSpace colorSpace)
{
    const int64_t bytes = bytesOf(samples);
    const bool several = samples.shape.channels > 1;
    if (bytes > 0 && isAligned(samples))
        for (const bool interleaved : { several, false })
            if (stepsAre(samples, denseSteps(samples.shape, bytes, interleaved || !several)))
                return wrapImage(samples.shape, samples.pixelType, colorSpace, interleaved, samples.data, {});
    ImagePointer copy = makeImage(samples.shape, samples.pixelType, colorSpace);
    copySamples(samples, Samples::of(*copy));
    return copy;
}

void copySamples(const Samples& from, const Samples& to)
{
    for (int64_t i = 0; i < std::max<int64_t>(from.shape.slices, 1); ++i)
        copySlice(at(from, slice, i), at(to, slice, i));
}

} // namespace miravex
