#include "ops/filters/operations.h"

#include "abi/host_objects.h"
#include "convert/borrowed_mat.h"
#include "convert/tensors.h"
#include "ops/filters/bounds.h"

#include <opencv2/imgproc.hpp>

namespace miravex {

namespace {

/// The window's weights as a matrix over the host's tensor, or an empty matrix for the empty list. False for
/// any other shape.
bool windowOver(LibraryData data, KTensor tensor, int64_t rows, int64_t columns, cv::Mat& window)
{
    const int64_t rank = data->tensorGetRank(tensor);
    const bool isMatrix = hasDimensions(data, tensor, { rows, columns });
    const auto weights = realElements(data, tensor);
    if (!weights) return false;
    if (!isMatrix) return rank == 1 && weights->empty();
    window = cv::Mat(static_cast<int>(rows), static_cast<int>(columns), CV_64F, weights->data());
    return true;
}

} // namespace

/// Measures by how much the second image is shifted against the first, in pixels, as a tensor {x, y} with y
/// upward.
///
/// Images: 2D, 1 channel, of the same size and at most 2^31 - 1 samples, both real32 or both real. Window:
/// rows x columns weights, or the empty list for none; OpenCV takes one with real images only. Source: C.
/// Kuglin, D. Hines, "The phase correlation image alignment method", 1975.
HostErrorCode phaseCorrelate(LibraryData data, KImage first, KImage second, KTensor window, KTensor* result)
{
    if (!data || !first || !second || !window) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(second) != 2) return StatusFunctionError;
    const PixelType pixelType = images.imageGetPixelType(first);
    if (pixelType != images.imageGetPixelType(second)) return StatusFunctionError;
    if (pixelType != PixelTypeReal32 && pixelType != PixelTypeReal) return StatusFunctionError;
    if (images.imageGetChannels(first) != 1 || images.imageGetChannels(second) != 1)
        return StatusFunctionError;
    const int64_t rows = images.imageGetRowCount(first);
    const int64_t columns = images.imageGetColumnCount(first);
    if (images.imageGetRowCount(second) != rows || images.imageGetColumnCount(second) != columns)
        return StatusFunctionError;

    cv::Mat weights;
    if (!windowOver(data, window, rows, columns, weights)) return StatusFunctionError;
    const BorrowedMat a(images, first, anyType);
    if (!a.isPlane()) return StatusFunctionError;
    const BorrowedMat b(images, second, anyType);
    if (!b.isPlane()) return StatusFunctionError;
    if (!bounds::isIndexed(rows, columns, 1)) return StatusFunctionError;
    // OpenCV applies the window in place to images of sides that suit its transform.
    const cv::Point2d shift =
        weights.empty() ? cv::phaseCorrelate(*a, *b) : cv::phaseCorrelate(a->clone(), b->clone(), weights);

    NewTensor tensor(data, TensorTypeReal, { 2 });
    double* elements = tensor ? tensor.reals() : nullptr;
    if (!elements) return StatusFunctionError;
    elements[0] = shift.x;
    elements[1] = -shift.y; // the host's y points up
    *result = tensor.release();
    return StatusOk;
}

} // namespace miravex
