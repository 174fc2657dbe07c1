#include "ops/filters/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/result_image.h"
#include "convert/tensors.h"
#include "ops/filters/option_names.h"
#include "ops/filters/padding_color.h"

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace miravex {

namespace {

/// Turns a homography of the host's coordinates into one that takes OpenCV's downward rows: on the right by
/// (1, 0, 0), (0, -1, height), (0, 0, 1).
void turnDownward(cv::Mat& homography, double height)
{
    for (int i = 0; i < 3; ++i) {
        double* row = homography.ptr<double>(i);
        row[2] += height * row[1];
        row[1] = -row[1];
    }
}

/// True for the identity and its multiples, which are the same homography.
bool isIdentity(const cv::Mat& homography)
{
    const double scale = homography.at<double>(0, 0);
    return scale != 0 && std::isfinite(scale)
        && cv::countNonZero(homography != scale * cv::Mat::eye(3, 3, CV_64F)) == 0;
}

} // namespace

/// Warps an image by a homography given in the host's coordinates, y upward from the bottom edge.
///
/// Image: 2D; the result has its size and ColorSpaceUnspecified. Homography: 3 x 3 reals that take points of
/// the image to points of the result; rewritten in place for downward rows (also when the warp fails, and
/// so to be given afresh for every call). The identity and its multiples return the image; any other moves it
/// up by one row besides. Interpolation: "Nearest" or "Linear"; padding: "Constant" or "Fixed"; color:
/// exactly 3 components. OpenCV takes sides of bounds::remappedSide pixels at most.
HostErrorCode imagePerspectiveTransformation(LibraryData data, KImage image, KTensor homography,
                                             const char* interpolation, const char* padding, KTensor color,
                                             KImage* result)
{
    if (!data || !image || !homography || !color) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) == 3) return StatusFunctionError;
    if (data->tensorGetRank(homography) != 2 || data->tensorGetRank(color) != 1) return StatusFunctionError;
    const int flag = interpolationFlagFromName(interpolation);
    const int border = borderTypeFromName(padding);
    if (flag > cv::INTER_LINEAR || border > cv::BORDER_REPLICATE) return StatusFunctionError;
    if (!hasDimensions(data, homography, { 3, 3 })) return StatusFunctionError;
    const auto fill = paddingColor(data, color);
    const auto elements = realElements(data, homography);
    if (!fill || !elements) return StatusFunctionError;
    cv::Mat transform(3, 3, CV_64F, elements->data());

    const BorrowedMat source(images, image, anyType);
    if (!source.isPlane()) return StatusFunctionError;
    const bool changesNothing = isIdentity(transform);
    // In the host's own tensor, as it expects, whatever comes of the warp.
    turnDownward(transform, static_cast<double>(images.imageGetRowCount(image)));
    ResultImage warped(images, source->size(), source->type());
    if (!warped) return StatusFunctionError;
    if (changesNothing) {
        // Rows are turned about the edge between pixels and flipped back about the middle of the image:
        // the detour would move this image by one row.
        source->copyTo(*warped);
    } else {
        cv::warpPerspective(*source, *warped, transform, source->size(), flag, border, *fill);
        cv::flip(*warped, *warped, 0);
    }
    return warped.release(result);
}

} // namespace miravex
