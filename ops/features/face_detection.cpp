#include "ops/features/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/integers.h"
#include "ops/features/bounds.h"
#include "ops/features/face_boxes.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/objdetect.hpp>

#include <algorithm>
#include <cmath>
#include <tuple>

namespace miravex {

namespace {

/// The faces by position: which of OpenCV's threads found one first decides their order otherwise.
std::vector<Face> sortedFaces(const std::vector<cv::Rect>& boxes, const std::vector<int>& neighbours)
{
    std::vector<Face> faces;
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        const cv::Rect& box = boxes[i];
        faces.push_back({ static_cast<double>(box.x), static_cast<double>(box.y),
                          static_cast<double>(box.width), static_cast<double>(box.height),
                          static_cast<double>(neighbours.at(i)) });
    }
    std::ranges::sort(faces, {}, [](const Face& face) {
        return std::tuple(face.y, face.x, face.width, face.height, face.score);
    });
    return faces;
}

} // namespace

/// Finds faces with a boosted cascade read from a file.
///
/// Image: 2D, one byte channel, both sides at least 2. Face sizes: at least 0, the largest not below the
/// smallest. Scale factor: above 1. Equalize: 1 to equalise the histogram first. Target size: -1, or at least
/// 1 to search the picture shrunk by the integer quotient of its smaller side by it. Result: n, n boxes
/// (left, bottom, right, top) from the top of the picture down, then n counts of neighbours. Refused besides:
/// images beyond bounds::indexedPixels, a target size of 0, and scale factors so near to 1 that the sizes
/// searched exceed bounds::cascadeSamples. The file must be trusted: OpenCV does not check its indices.
/// Source: P. Viola, M. Jones, "Rapid object detection using a boosted cascade of simple features", 2001.
HostErrorCode faceDetection(LibraryData data, KImage image, int64_t minWidth, int64_t minHeight,
                            int64_t maxWidth, int64_t maxHeight, const char* cascadePath,
                            int64_t minNeighbors, double scaleFactor, int64_t equalize, int64_t targetSize,
                            KTensor* result)
{
    if (!data || !image) return StatusFunctionError;
    if (minWidth < 0 || minHeight < 0 || maxWidth < minWidth || maxHeight < minHeight)
        return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2 || images.imageGetChannels(image) != 1) return StatusFunctionError;
    if (images.imageGetPixelType(image) != PixelTypeByte) return StatusFunctionError;
    const int64_t rows = images.imageGetRowCount(image);
    const int64_t columns = images.imageGetColumnCount(image);
    if (rows < bounds::faceSide || columns < bounds::faceSide) return StatusFunctionError;
    if (!(scaleFactor > 1.0) || targetSize < bounds::keepSize || targetSize == 0) return StatusFunctionError;
    if (!bounds::isIndexable(rows, columns) || !bounds::searchFits(rows, columns, targetSize, scaleFactor))
        return StatusFunctionError;

    const BorrowedMat source(images, image, anyType);
    if (!source) return StatusFunctionError;
    cv::Mat picture = *source; // the host's own: each step makes a matrix of its own
    if (equalize == 1) {
        cv::Mat equalized;
        cv::equalizeHist(picture, equalized);
        picture = equalized;
    }
    const double scale = bounds::shrinkFactor(rows, columns, targetSize);
    if (targetSize != bounds::keepSize) {
        cv::Mat smaller;
        cv::resize(picture, smaller, cv::Size(), 1 / scale, 1 / scale, cv::INTER_LINEAR);
        picture = smaller;
    }
    cv::CascadeClassifier cascade;
    if (!cascade.load(cascadePath) || cascade.empty()) return StatusFunctionError;

    const auto shrunk = [&](int64_t side) {
        return clippedInt32(static_cast<int64_t>(std::ceil(static_cast<double>(clippedInt32(side)) / scale)));
    };
    const cv::Size smallest(shrunk(minWidth), shrunk(minHeight));
    const cv::Size largest(shrunk(maxWidth), shrunk(maxHeight));
    // One step of the whole picture's size ends the search; larger ones overflow OpenCV's window sizes.
    const double factor = std::min(scaleFactor, static_cast<double>(picture.rows + picture.cols));
    std::vector<cv::Rect> boxes;
    std::vector<int> neighbours;
    cascade.detectMultiScale(picture, boxes, neighbours, factor, clippedInt32(minNeighbors), 0, smallest,
                             largest);
    return writeFaces(data, sortedFaces(boxes, neighbours), picture.rows, scale, result);
}

} // namespace miravex
