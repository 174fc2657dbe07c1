#include "ops/filters/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/integers.h"
#include "convert/result_image.h"
#include "convert/tensors.h"
#include "ops/filters/bounds.h"
#include "ops/filters/compat.h"
#include "ops/filters/option_names.h"

#include <algorithm>
#include <string_view>

namespace miravex {

/// Grows an image by so many rows and columns on each side.
///
/// Image: 2D, 1 to 4 channels, its type and colour space kept. Margins: at least 0 pixels, also after they
/// are cut to 32 bits; together they may add bounds::resultSamples at most. Padding: any known name;
/// "Constant" takes one value per channel in the units of the samples, which are looked at for no other
/// padding; "None" is zero fill.
HostErrorCode imagePad(LibraryData data, KImage image, int64_t top, int64_t bottom, int64_t left,
                       int64_t right, const char* padding, KTensor values, KImage* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;

    // Before anything else: a constant colour has as many components as the image has channels. With any
    // other padding the values are never looked at.
    cv::Scalar fill;
    if (std::string_view(padding) == "Constant") {
        const auto given = realElements(data, values);
        if (!given || static_cast<int64_t>(given->size()) != images.imageGetChannels(image))
            return StatusFunctionError;
        std::copy_n(given->begin(), std::min<std::size_t>(given->size(), 4), fill.val);
    }

    const PixelType pixelType = images.imageGetPixelType(image);
    const ColorSpace colorSpace = images.imageGetColorSpace(image);
    const int64_t channels = images.imageGetChannels(image);
    if (images.imageGetRank(image) != 2) return StatusFunctionError;
    const int border = borderTypeFromName(padding);
    if (border == unknownPadding || channels > 4) return StatusFunctionError;
    if (top < 0 || bottom < 0 || left < 0 || right < 0) return StatusFunctionError;

    const BorrowedMat source(images, image, anyType);
    if (!source.isPlane()) return StatusFunctionError;
    const int above = lowInt32(top), below = lowInt32(bottom);
    const int before = lowInt32(left), behind = lowInt32(right);
    if (std::min({ above, below, before, behind }) < 0) return StatusFunctionError;
    if (!bounds::padsTo(source->rows, source->cols, channels, int64_t { above } + below,
                        int64_t { before } + behind))
        return StatusFunctionError;
    const cv::Size size(before + source->cols + behind, above + source->rows + below);
    ResultImage padded(images, size, source->type(), pixelType, colorSpace);
    if (!padded) return StatusFunctionError;
    compat::copyMakeBorder(*source, *padded, above, below, before, behind, border, fill);
    return padded.release(result);
}

} // namespace miravex
