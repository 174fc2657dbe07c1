#include "tests/support/host_check.h"

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace miravex::test {

// Expected values: worked by hand, or the maximum over the square taken pixel by pixel.

namespace {

Values dilate(ImagePointer image, int64_t radius) { return { std::move(image), radius }; }

cv::Mat maximaOf(const cv::Mat& picture, int radius)
{
    cv::Mat result = picture.clone();
    const cv::Rect whole(cv::Point(), picture.size());
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < picture.cols; ++x) {
            const cv::Rect square = cv::Rect(x - radius, y - radius, 2 * radius + 1, 2 * radius + 1) & whole;
            std::vector<cv::Mat> planes;
            cv::split(picture(square), planes);
            cv::Scalar most;
            for (std::size_t c = 0; c < planes.size(); ++c)
                cv::minMaxLoc(planes[c], nullptr, &most[static_cast<int>(c)]);
            result(cv::Rect(x, y, 1, 1)) = most;
        }
    }
    return result;
}

} // namespace

TEST(Dilation, SpreadsABrightPixelIntoASquare) // by hand
{
    cv::Mat picture(7, 7, CV_8U, cv::Scalar(0)), expected = picture.clone();
    picture.at<uchar>(1, 5) = 9;
    expected(cv::Rect(3, 0, 4, 4)) = cv::Scalar(9);
    EXPECT_TRUE(sameBits(matrixOf(succeed("Dilation", dilate(imageOf(picture), 2)).image()), expected));
}

TEST(Dilation, TakesTheMaximumOfEveryChannel) // pixel by pixel
{
    for (const int type : { CV_8U, CV_8UC3, CV_16UC4, CV_32F, CV_64FC2 }) {
        cv::Mat picture = noise(13, 17, type);
        if (CV_MAT_DEPTH(type) >= CV_32F) picture -= cv::Scalar::all(2); // all below 0, as beyond no edge
        for (const int radius : { 1, 2, 5, 12, 13, 16, 17, 40 }) {
            const Outcome outcome = succeed("Dilation", dilate(imageOf(picture, 7), radius));
            EXPECT_TRUE(sameBits(matrixOf(outcome.image()), maximaOf(picture, radius)))
                << "type " << type << ", radius " << radius;
            EXPECT_EQ(outcome.image().colorSpace, 7);
        }
    }
}

TEST(Dilation, TakesManyChannelsBitsAndPlanarPictures)
{
    const cv::Mat many = noise(6, 7, CV_8UC(6));
    cv::Mat last, expected;
    cv::extractChannel(many, last, 5);
    cv::extractChannel(matrixOf(succeed("Dilation", dilate(imageOf(many), 1)).image()), expected, 5);
    EXPECT_TRUE(sameBits(expected, maximaOf(last, 1)));

    const cv::Mat colors = noise(6, 7, CV_8UC3);
    const Outcome planar = succeed("Dilation", dilate(planarImageOf(colors), 1));
    EXPECT_TRUE(sameBits(matrixOf(planar.image()), maximaOf(colors, 1)));

    const Outcome bits = succeed("Dilation", dilate(bitImageOf(last > 200), 1));
    EXPECT_EQ(bits.image().pixelType, PixelTypeBit);
    const cv::Mat spread = maximaOf(last > 200, 1) / 255;
    EXPECT_TRUE(sameBits(matrixOf(bits.image()), spread));
}

TEST(Dilation, LargeRadiiReachTheWholePicture)
{
    const cv::Mat picture = noise(9, 200, CV_8U);
    double most = 0;
    cv::minMaxLoc(picture, nullptr, &most);
    const cv::Mat expected(picture.size(), CV_8U, cv::Scalar(most));
    for (const int64_t radius : { int64_t { 199 }, int64_t { 30000 }, int64_t { INT32_MAX } })
        EXPECT_TRUE(
            sameBits(matrixOf(succeed("Dilation", dilate(imageOf(picture), radius)).image()), expected))
            << radius;
    EXPECT_EQ(succeed("Dilation", dilate(imageOf(noise(1, 1, CV_8U)), 1)).image().shape.rows, 1);
}

TEST(Dilation, OfLargeRadiiTakesNoMoreThanThePicture)
{
    // OpenCV alone takes 3.6 GB for this element, and never ends with the next.
    for (const int64_t radius : { int64_t { 30000 }, int64_t { 1000000 }, int64_t { INT32_MAX } })
        EXPECT_ACCEPTED_IN_CHILD("Dilation", dilate(imageOf(noise(60, 80, CV_8UC3)), radius));
}

TEST(Dilation, CutsTheRadiusToItsLow32Bits)
{
    const cv::Mat picture = noise(9, 11, CV_8U);
    const int64_t radius = (int64_t { 1 } << 32) + 2;
    EXPECT_TRUE(sameBits(matrixOf(succeed("Dilation", dilate(imageOf(picture), radius)).image()),
                         maximaOf(picture, 2)));
}

TEST(Dilation, RefusesWhatItCannotDilate)
{
    const ImagePointer good = imageOf(noise(8, 8, CV_8U));
    for (const int64_t radius :
         { int64_t { 0 }, int64_t { -1 }, INT64_MIN, INT64_MAX, int64_t { 1 } << 31, int64_t { 1 } << 32 })
        expectRefused("Dilation", dilate(good, radius));
    expectRefused("Dilation", dilate(nullptr, 1));
    expectRefused("Dilation", dilate(sequenceOf({ noise(8, 8, CV_8U) }), 1));
    expectRefused("Dilation", dilate(imageOf(cv::Mat(3, 0, CV_8U)), 1));
}

TEST(Dilation, SurvivesFaults)
{
    expectSurvivesFaults("Dilation", dilate(planarImageOf(noise(8, 9, CV_32FC3)), 2));
    expectSurvivesFaults("Dilation", dilate(bitImageOf(noise(8, 9, CV_8U) > 99), 2));
}

} // namespace miravex::test
