#include "tests/support/host_check.h"

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace miravex::test {

// Expected values: worked by hand, or the definitions summed independently.

namespace {

Values correlate(ImagePointer image, ImagePointer kernel, std::string distance, std::string padding,
                 double value = 0)
{
    return { std::move(image), std::move(kernel), std::move(distance), std::move(padding), value };
}

const char* const distances[] = { "SquaredEuclideanDistance", "Dot", "CosineDistance",
                                  "CorrelationDistance" };

/// The four distances by their definitions, at one position; samples from 0 to 1.
double distanceAt(const cv::Mat& picture, const cv::Mat& kernel, cv::Point at, const std::string& name)
{
    const cv::Mat below = picture(cv::Rect(at, kernel.size()));
    if (name == "SquaredEuclideanDistance") return cv::norm(below, kernel, cv::NORM_L2SQR);
    if (name == "Dot") return below.dot(kernel);
    cv::Mat a = below.clone(), b = kernel.clone();
    if (name == "CorrelationDistance") {
        a -= cv::mean(a)[0];
        b -= cv::mean(b)[0];
    }
    return 1 - a.dot(b) / (cv::norm(a) * cv::norm(b));
}

cv::Mat distancesOf(cv::Mat picture, cv::Mat kernel, const std::string& name, double scale)
{
    picture.convertTo(picture, CV_64F, scale);
    kernel.convertTo(kernel, CV_64F, scale);
    cv::Mat result(picture.rows - kernel.rows + 1, picture.cols - kernel.cols + 1, CV_32F);
    for (int y = 0; y < result.rows; ++y)
        for (int x = 0; x < result.cols; ++x)
            result.at<float>(y, x) = static_cast<float>(distanceAt(picture, kernel, cv::Point(x, y), name));
    return result;
}

} // namespace

TEST(ImageCorrelate, SumsBytesAsIfBelowOne) // by hand
{
    const cv::Mat picture = (cv::Mat_<uchar>(1, 3) << 255, 0, 51), kernel = (cv::Mat_<uchar>(1, 1) << 51);
    const cv::Mat dot = (cv::Mat_<float>(1, 3) << 0.2F, 0, 0.04F);
    const cv::Mat squares = (cv::Mat_<float>(1, 3) << 0.64F, 0.04F, 0);
    const auto result = [&](const char* distance) {
        return matrixOf(
            succeed("ImageCorrelate", correlate(imageOf(picture), imageOf(kernel), distance, "None"))
                .image());
    };
    EXPECT_LE(largestDifference(result("Dot"), dot), 1e-6);
    EXPECT_LE(largestDifference(result("SquaredEuclideanDistance"), squares), 1e-6);
}

TEST(ImageCorrelate, FollowsTheDefinitions) // independent
{
    for (const int type : { CV_8U, CV_32F }) {
        const cv::Mat picture = noise(20, 24, type, 1), kernel = noise(5, 4, type, 2);
        const double scale = type == CV_8U ? 1.0 / 255 : 1.0;
        for (const char* distance : distances) {
            const Outcome outcome =
                succeed("ImageCorrelate", correlate(imageOf(picture), imageOf(kernel), distance, "None"));
            EXPECT_LE(
                largestDifference(matrixOf(outcome.image()), distancesOf(picture, kernel, distance, scale)),
                2e-5)
                << distance << ", type " << type;
            EXPECT_EQ(outcome.image().pixelType, PixelTypeReal32);
            EXPECT_EQ(outcome.image().colorSpace, ColorSpaceUnspecified);
        }
    }
}

TEST(ImageCorrelate, PadsToTheSizeOfThePicture) // padded by hand, then the definitions
{
    const cv::Mat picture = noise(8, 10, CV_8U);
    for (const auto& [rows, columns, top, bottom, left, right] :
         std::vector<std::tuple<int, int, int, int, int, int>> {
             { 3, 3, 1, 1, 1, 1 }, { 4, 4, 2, 1, 2, 1 }, { 1, 2, 0, 0, 1, 0 }, { 8, 10, 4, 3, 5, 4 } }) {
        const cv::Mat kernel = noise(rows, columns, CV_8U, 7);
        for (const auto& [padding, border] :
             std::vector<std::pair<std::string, int>> { { "Constant", cv::BORDER_CONSTANT },
                                                        { "Fixed", cv::BORDER_REPLICATE },
                                                        { "Reversed", cv::BORDER_REFLECT },
                                                        { "Periodic", cv::BORDER_WRAP },
                                                        { "Reflected", cv::BORDER_REFLECT_101 } }) {
            cv::Mat padded;
            cv::copyMakeBorder(picture, padded, top, bottom, left, right, border, cv::Scalar(77));
            const Outcome outcome = succeed(
                "ImageCorrelate",
                correlate(imageOf(picture), imageOf(kernel), "SquaredEuclideanDistance", padding, 77));
            EXPECT_LE(largestDifference(matrixOf(outcome.image()),
                                        distancesOf(padded, kernel, "SquaredEuclideanDistance", 1.0 / 255)),
                      2e-5)
                << padding << ", kernel " << rows << " x " << columns;
        }
    }
    const ImagePointer small = imageOf(noise(3, 3, CV_8U));
    const Outcome inside = succeed("ImageCorrelate", correlate(imageOf(picture), small, "Dot", "None"));
    EXPECT_EQ(matrixOf(inside.image()).size(), cv::Size(8, 6));
    const Outcome whole = succeed("ImageCorrelate", correlate(imageOf(picture), small, "Dot", "Fixed"));
    EXPECT_EQ(matrixOf(whole.image()).size(), cv::Size(10, 8));
}

TEST(ImageCorrelate, GivesCosinesAndCorrelationsAsDistances) // by hand
{
    // Below the kernel (1, 2) come (2, 4), (4, 2) and (2, 1): their cosines are 1, 0.8 and 0.8; the first
    // pair rises as the kernel does, the others fall.
    const cv::Mat picture = (cv::Mat_<float>(1, 4) << 2, 4, 2, 1), kernel = (cv::Mat_<float>(1, 2) << 1, 2);
    const auto result = [&](const char* distance) {
        return matrixOf(
            succeed("ImageCorrelate", correlate(imageOf(picture), imageOf(kernel), distance, "None"))
                .image());
    };
    EXPECT_LE(largestDifference(result("CosineDistance"), (cv::Mat_<float>(1, 3) << 0, 0.2F, 0.2F)), 1e-6);
    EXPECT_LE(largestDifference(result("CorrelationDistance"), (cv::Mat_<float>(1, 3) << 0, 2, 2)), 1e-6);
    // Reals are summed as they are.
    EXPECT_LE(largestDifference(result("Dot"), (cv::Mat_<float>(1, 3) << 10, 8, 4)), 1e-6);
    EXPECT_LE(largestDifference(result("SquaredEuclideanDistance"), (cv::Mat_<float>(1, 3) << 5, 9, 2)),
              1e-6);
}

TEST(ImageCorrelate, FindsAPieceOfAPhoto)
{
    const cv::Mat picture = photo("home.jpg", true);
    SKIP_WITHOUT(picture);
    const cv::Mat piece = picture(cv::Rect(120, 90, 41, 31));
    for (const char* distance : { "SquaredEuclideanDistance", "CosineDistance", "CorrelationDistance" }) {
        cv::Point least;
        double value = 0;
        const Outcome outcome =
            succeed("ImageCorrelate", correlate(imageOf(picture), imageOf(piece), distance, "None"));
        cv::minMaxLoc(matrixOf(outcome.image()), &value, nullptr, &least);
        EXPECT_EQ(least, cv::Point(120, 90)) << distance;
        EXPECT_NEAR(value, 0, 1e-3) << distance;
    }
}

TEST(ImageCorrelate, RefusesWhatItCannotCompare)
{
    const ImagePointer bytes = imageOf(noise(8, 10, CV_8U)), kernel = imageOf(noise(3, 3, CV_8U));
    const auto refused = [](ImagePointer image, ImagePointer with, std::string distance = "Dot",
                            std::string padding = "Fixed") {
        expectRefused("ImageCorrelate",
                      correlate(std::move(image), std::move(with), std::move(distance), std::move(padding)));
    };
    refused(nullptr, kernel);
    refused(bytes, nullptr);
    refused(sequenceOf({ noise(8, 8, CV_8U) }), kernel);
    refused(bytes, sequenceOf({ noise(3, 3, CV_8U), noise(3, 3, CV_8U) }));
    refused(imageOf(noise(8, 8, CV_8UC3)), kernel);
    refused(bytes, imageOf(noise(3, 3, CV_8UC3)));
    refused(bytes, imageOf(noise(3, 3, CV_32F)));
    refused(imageOf(noise(8, 8, CV_16U)), imageOf(noise(3, 3, CV_16U)));
    refused(imageOf(noise(8, 8, CV_64F)), imageOf(noise(3, 3, CV_64F)));
    refused(bytes, imageOf(noise(3, 11, CV_8U)));
    refused(bytes, imageOf(noise(9, 3, CV_8U)));
    refused(bytes, imageOf(cv::Mat(0, 3, CV_8U)));
    refused(imageOf(cv::Mat(0, 3, CV_8U)), imageOf(cv::Mat(0, 3, CV_8U)));
    for (const char* name : { "dot", "Do", "Dot ", "", "Cosine", "SquaredEuclidean" })
        refused(bytes, kernel, name);
    for (const char* name : { "none", "fixed", "Non", "", "Replicate" }) refused(bytes, kernel, "Dot", name);
}

TEST(ImageCorrelate, CopesWithSmallAndStrangePictures)
{
    const ImagePointer pixel = imageOf(noise(1, 1, CV_32F));
    for (const char* distance : distances)
        for (const char* padding : { "None", "Periodic", "Reflected" })
            EXPECT_EQ(
                succeed("ImageCorrelate", correlate(pixel, pixel, distance, padding)).image().shape.rows, 1);
    const cv::Mat strange(6, 6, CV_32F, cv::Scalar(std::nan("")));
    succeed("ImageCorrelate", correlate(imageOf(strange), pixel, "Dot", "Constant", std::nan("")));
}

TEST(ImageCorrelate, SurvivesFaults)
{
    expectSurvivesFaults(
        "ImageCorrelate",
        correlate(imageOf(noise(8, 9, CV_8U)), imageOf(noise(3, 3, CV_8U)), "CosineDistance", "Fixed"));
}

} // namespace miravex::test
