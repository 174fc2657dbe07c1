#include "ops/features/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/opencv_compat.h"
#include "ops/features/bounds.h"
#include "ops/features/face_boxes.h"

#include <opencv2/dnn.hpp>
#include <opencv2/imgproc.hpp>

#include <stdexcept>

namespace miravex {

namespace {

constexpr int blobSide = 300;
constexpr int candidateColumns = 7;

/// The mean colours, in the network's order, that the two usual networks were trained with.
const cv::Scalar usualMean(104.0, 177.0, 123.0);
const cv::Scalar alternativeMean(152.5, 152.5, 152.5);

void require(bool holds, const char* message)
{
    if (!holds) throw std::runtime_error(message);
}

cv::dnn::Net readNetwork(const char* description, const char* weights)
{
    cv::dnn::Net network = cv::dnn::readNetFromCaffe(description, weights);
    require(!network.empty(), "The neural network is not loading properly.");
    network.setPreferableBackend(cv::dnn::DNN_BACKEND_DEFAULT);
    network.setPreferableTarget(cv::dnn::DNN_TARGET_CPU);
    return network;
}

/// The candidates of a picture, one row each: image, class, confidence, left, top, right, bottom.
cv::Mat candidates(cv::dnn::Net& network, const cv::Mat& picture, const cv::Scalar& mean, int side)
{
    const cv::Mat blob =
        cv::dnn::blobFromImage(picture, 1.0, cv::Size(side, side), mean, false, false, CV_32F);
    require(!blob.empty(), "The blob is empty.");
    network.setInput(blob, "data", 1.0, cv::Scalar());
    const cv::Mat output = network.forward("detection_out");
    // A valid network may answer anything.
    const bool isList = output.dims == 4 && output.size[3] == candidateColumns && output.type() == CV_32F;
    require(isList, "The network's output is not a list of detections.");
    if (output.empty()) return cv::Mat(0, candidateColumns, CV_32F);
    return cv::Mat(output.size[2], candidateColumns, CV_32F, const_cast<float*>(output.ptr<float>())).clone();
}

/// A fraction of a side in whole pixels, cut toward zero; false where no int holds it.
bool inPixels(int64_t side, float fraction, int& pixels)
{
    constexpr float beyond = 2147483648.0F;
    const float product = static_cast<float>(side) * fraction;
    if (!(product > -beyond && product < beyond)) return false;
    pixels = static_cast<int>(product);
    return true;
}

/// True when the candidate lies inside the picture, but for the bottom: nothing bounds that on purpose.
bool readCandidate(const float* row, int64_t rows, int64_t columns, Face& face)
{
    int left = 0, top = 0, right = 0, bottom = 0;
    if (!inPixels(columns, row[3], left) || !inPixels(rows, row[4], top)) return false;
    if (!inPixels(columns, row[5], right) || !inPixels(rows, row[6], bottom)) return false;
    if (left < 1 || top < 1 || right >= columns || bottom == 0) return false;
    const auto difference = [](int a, int b) { return static_cast<double>(a) - static_cast<double>(b); };
    face = { static_cast<double>(left), static_cast<double>(top), difference(right, left),
             difference(bottom, top), static_cast<double>(row[2]) };
    return true;
}

} // namespace

/// Finds faces with a single-shot detector network read from two Caffe files, with input "data" and output
/// "detection_out" (four dimensions, the last of 7).
///
/// Image: 2D, 3 or 4 channels of bits, bytes or 32-bit reals (OpenCV refuses others), both sides at least 2.
/// Threshold: 0 to 1; candidates of a higher confidence
/// count. Size ratio: 1 to 4 times 300 pixels. Candidates that touch the left or top edge or reach the right
/// one are dropped, and so are those whose corners no 32-bit integer holds; the bottom is not checked.
/// Result: n, n boxes (left, bottom, right, top), then n confidences. Failures throw std::runtime_error.
/// Source: W. Liu et al., "SSD: single shot multibox detector", 2016.
HostErrorCode faceDetectionDnn(LibraryData data, KImage image, const char* descriptionPath,
                               const char* weightsPath, double confidenceThreshold,
                               int64_t useAlternativeMean, int64_t sizeRatio, KTensor* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    require(images.imageGetRank(image) == 2, "Input image is expected to have 2 dimensions.");
    const int64_t rows = images.imageGetRowCount(image);
    const int64_t columns = images.imageGetColumnCount(image);
    require(rows >= bounds::faceSide && columns >= bounds::faceSide,
            "At least one dimension of the input image is equal or smaller than 1.");
    require(sizeRatio >= 1 && sizeRatio <= bounds::networkSizeRatio,
            "Input size Ratio cannot be < 1 or > 4.");
    const float threshold = static_cast<float>(confidenceThreshold);
    require(!(threshold > 1 || threshold < 0), "Confidence threshold cannot be  > 1 or < 0.");

    const BorrowedMat source(images, image, anyType);
    require(static_cast<bool>(source), "Image is not loaded properly.");
    cv::Mat picture;
    compat::swapRedAndBlue(*source, picture);
    require(!picture.empty(), "The problem with changing image color space.");
    cv::dnn::Net network = readNetwork(descriptionPath, weightsPath);
    const cv::Mat found = candidates(network, picture, useAlternativeMean != 0 ? alternativeMean : usualMean,
                                     blobSide * static_cast<int>(sizeRatio));

    std::vector<Face> faces;
    for (int i = 0; i < found.rows; ++i) {
        const float* row = found.ptr<float>(i);
        Face face;
        if (row[2] > threshold && readCandidate(row, rows, columns, face)) faces.push_back(face);
    }
    const HostErrorCode status = writeFaces(data, faces, rows, 1.0, result);
    require(status == StatusOk, "KTensor_new is not created properly.");
    return status;
}

} // namespace miravex
