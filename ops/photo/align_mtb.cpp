#include "ops/photo/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/integers.h"
#include "convert/result_image.h"
#include "ops/photo/bounds.h"
#include "ops/photo/frames.h"

#include <opencv2/photo.hpp>

#include <algorithm>

namespace miravex {

/// Shifts the frames of a bracket onto the middle one by comparing bitmaps above and below the median.
///
/// Image: 3D, bytes, 3 channels of ColorSpaceRGB. Levels: from 1 to the base-2 logarithm of the shorter side.
/// Excluded range: 1 to the longer side, in intensities around the median. The result is 3D. Source: G. Ward,
/// "Fast, robust image registration for compositing high dynamic range photographs", 2003.
HostErrorCode alignMtb(LibraryData data, KImage image, int64_t levels, int64_t excludedRange, KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const PixelType pixelType = images.imageGetPixelType(image);
    const ColorSpace colorSpace = images.imageGetColorSpace(image);
    const int64_t channels = images.imageGetChannels(image);
    if (pixelType != PixelTypeByte || colorSpace != ColorSpaceRGB || channels != 3)
        return StatusFunctionError;
    const int64_t rows = images.imageGetRowCount(image);
    const int64_t columns = images.imageGetColumnCount(image);
    const int64_t slices = images.imageGetSliceCount(image);
    const int count = lowInt32(levels), range = lowInt32(excludedRange);
    if (count < 1 || range < 1 || range > std::max(rows, columns)) return StatusFunctionError;
    if (static_cast<double>(count) > bounds::alignmentLevels(rows, columns)) return StatusFunctionError;
    if (!result || slices < 1 || rows < 1 || columns < 1) return StatusFunctionError;

    constexpr bool cut = false;
    const cv::Ptr<cv::AlignMTB> aligner = cv::createAlignMTB(count, range, cut);
    const BorrowedSlices frames(images, image, CV_8U);
    if (!aligner || !framesFit(frames)) return StatusFunctionError;
    ResultSlices aligned(images, frames->size(), frames->front().size(), frames->front().type());
    if (!aligned) return StatusFunctionError;
    aligner->process(*frames, *aligned);
    return aligned.release(result);
}

} // namespace miravex
