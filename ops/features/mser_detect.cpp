#include "ops/features/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/flat_result.h"
#include "convert/integers.h"
#include "ops/features/bounds.h"
#include "ops/features/option_names.h"

#include <opencv2/features2d.hpp>

#include <algorithm>
#include <cstring>
#include <vector>

namespace miravex {

namespace {

/// True when all pixels are the same.
bool isUniform(const cv::Mat& picture)
{
    const std::size_t bytes = picture.elemSize();
    const std::size_t length = picture.total() * bytes;
    return picture.isContinuous() && std::memcmp(picture.data, picture.data + bytes, length - bytes) == 0;
}

/// Every point of region k becomes k; later regions overwrite earlier ones.
HostErrorCode paintRegions(LibraryData data, const std::vector<std::vector<cv::Point>>& regions, int64_t rows,
                           int64_t columns, KTensor* result)
{
    NewTensor tensor(data, TensorTypeReal, { rows, columns });
    double* labels = tensor ? tensor.reals() : nullptr;
    if (!labels || columns < 1) return StatusFunctionError;
    for (std::size_t k = 0; k < regions.size(); ++k)
        for (const cv::Point& point : regions[k])
            labels[point.y * columns + point.x] = static_cast<double>(k + 1);
    *result = tensor.release();
    return StatusOk;
}

/// Rows of number, left, top, right, bottom; y from the bottom edge, without the half pixel of other results.
HostErrorCode writeRectangles(LibraryData data, const std::vector<cv::Rect>& boxes, int64_t rows,
                              KTensor* result)
{
    FlatResult<double> list(data, { countOf(boxes), 5 });
    double number = 0;
    for (const cv::Rect& box : boxes) {
        const double right = box.x + box.width;
        const double bottom = static_cast<double>(rows - (box.y + box.height));
        list.add({ ++number, static_cast<double>(box.x), static_cast<double>(rows - box.y), right, bottom });
    }
    return list.finish(result);
}

} // namespace

/// Finds regions that stay stable while a threshold runs through the grey levels (or, of colours, while
/// similar neighbours merge).
///
/// Image: 2D, 1, 3 or 4 byte channels, both sides at least 2 (OpenCV wants 3); one colour has no regions.
/// Areas, variation and margin: at least 0; diversity: above 0; area threshold: above 1; evolution: at
/// least 1; edge blur: odd; of colours both are bounded by bounds::mserFits. Images beyond
/// bounds::indexedPixels are refused. "Rectangle" gives n x 5: number
/// from 1, left, top, right, bottom, with y from the bottom edge and no half pixel. "LabelMatrix" gives rows
/// x columns, top row first: the number of the last region at each pixel, 0 for none. Source: J. Matas et
/// al., "Robust wide baseline stereo from maximally stable extremal regions", 2002; P.-E. Forssen, "Maximally
/// stable colour regions", 2007.
HostErrorCode mserDetect(LibraryData data, KImage image, int64_t delta, int64_t minArea, int64_t maxArea,
                         double maxVariation, double minDiversity, int64_t maxEvolution, double areaThreshold,
                         double minMargin, int64_t edgeBlurSize, const char* formName, KTensor* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2) return StatusFunctionError;
    const int64_t channels = images.imageGetChannels(image);
    if (channels != 1 && channels != 3 && channels != 4) return StatusFunctionError;
    if (images.imageGetPixelType(image) != PixelTypeByte) return StatusFunctionError;
    const int64_t rows = images.imageGetRowCount(image);
    const int64_t columns = images.imageGetColumnCount(image);
    if (rows < 2 || columns < 2) return StatusFunctionError;
    const MserForm form = valueOf(mserForms, formName, MserForm::Unknown);
    if (form == MserForm::Unknown) return StatusFunctionError;
    if (maxArea < 0 || minArea < 0 || minMargin < 0 || maxVariation < 0) return StatusFunctionError;
    if (edgeBlurSize < 0 || edgeBlurSize % 2 == 0 || !(areaThreshold > 1.0)) return StatusFunctionError;
    if (maxEvolution < 1 || !(minDiversity > 0)) return StatusFunctionError;
    if (!bounds::isIndexable(rows, columns) || !bounds::mserFits(channels, maxEvolution, edgeBlurSize))
        return StatusFunctionError;

    const BorrowedMat picture(images, image, anyType);
    if (!picture) return StatusFunctionError;
    // Grey levels differ by 255 at most, and a delta of 256 already excludes every region.
    const auto detector =
        cv::MSER::create(static_cast<int>(std::clamp<int64_t>(delta, -256, 256)), clippedInt32(minArea),
                         clippedInt32(maxArea), maxVariation, minDiversity, clippedInt32(maxEvolution),
                         areaThreshold, minMargin, clippedInt32(edgeBlurSize));
    std::vector<std::vector<cv::Point>> regions;
    std::vector<cv::Rect> boxes;
    detector->detectRegions(*picture, regions, boxes);
    // OpenCV calls the whole of a small uniform picture a region, although nothing borders on it.
    if (isUniform(*picture)) {
        regions.clear();
        boxes.clear();
    }
    return form == MserForm::LabelMatrix ? paintRegions(data, regions, rows, columns, result)
                                         : writeRectangles(data, boxes, rows, result);
}

} // namespace miravex
