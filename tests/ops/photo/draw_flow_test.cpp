#include "draw/draw_flow.h"

#include "draw/draw.h"
#include "tests/support/host_check.h"

#include <cmath>

namespace miravex::test {

namespace {

/// One row of vectors as a flow of a single pair.
TensorPointer row(const std::vector<double>& numbers, int64_t each)
{
    const auto columns = static_cast<int64_t>(numbers.size()) / each;
    return makeRealTensor({ 1, 1, columns, each }, numbers);
}

cv::Vec3b colour(const Image& picture, int column) { return matrixOf(picture).at<cv::Vec3b>(0, column); }

} // namespace

TEST(DrawFlow, GivesDirectionsTheirHuesAndLengthsTheirStrength) // by hand
{
    const double r = std::sqrt(0.75);
    const FlowPicture drawn = drawFlow(*row({ 2, 0, -2, 0, -1, 2 * r, -1, -2 * r, 1, 0, 0, 0 }, 2));
    EXPECT_DOUBLE_EQ(drawn.longest, 2);
    EXPECT_EQ(colour(*drawn.picture, 0), cv::Vec3b(255, 0, 0)); // right
    EXPECT_EQ(colour(*drawn.picture, 1), cv::Vec3b(0, 255, 255)); // left
    EXPECT_EQ(colour(*drawn.picture, 2), cv::Vec3b(0, 255, 0)); // up, to the left
    EXPECT_EQ(colour(*drawn.picture, 3), cv::Vec3b(0, 0, 255)); // down, to the left
    EXPECT_EQ(colour(*drawn.picture, 4), cv::Vec3b(255, 128, 128)); // right, half as long
    EXPECT_EQ(colour(*drawn.picture, 5), cv::Vec3b(255, 255, 255)); // nothing moves
    EXPECT_EQ(drawn.picture->colorSpace, ColorSpaceRGB);
}

TEST(DrawFlow, MeansUsableVectorsAndBlackensOthers) // by hand
{
    const FlowPicture drawn =
        drawFlow(*row({ 1, 2, 1, 3, 4, 1, 50, 50, 0, std::nan(""), 1, 1, 1, HUGE_VAL, 1 }, 3));
    EXPECT_DOUBLE_EQ(drawn.meanU, 2);
    EXPECT_DOUBLE_EQ(drawn.meanV, 3);
    EXPECT_EQ(drawn.unusable, 3);
    for (const int column : { 2, 3, 4 }) EXPECT_EQ(colour(*drawn.picture, column), cv::Vec3b(0, 0, 0));
}

TEST(DrawFlow, TakesAnyPairAndNoOtherTensor)
{
    const TensorPointer flow = makeRealTensor({ 2, 1, 1, 2 }, std::vector<double> { 1, 0, 0, 5 });
    EXPECT_DOUBLE_EQ(drawFlow(*flow, 1).meanV, 5);
    EXPECT_THROW(drawFlow(*flow, 2), std::invalid_argument);
    EXPECT_THROW(drawFlow(*flow, -1), std::invalid_argument);
    EXPECT_THROW(drawFlow(*makeRealTensor({ 1, 1, 2 })), std::invalid_argument);
    EXPECT_THROW(drawFlow(*makeRealTensor({ 1, 1, 2, 4 })), std::invalid_argument);
    EXPECT_THROW(drawFlow(*makeIntegerTensor({ 1, 1, 1, 2 })), std::invalid_argument);
}

TEST(DrawFlow, HasALegend)
{
    const cv::Mat wheel = matrixOf(*flowWheel(101));
    EXPECT_EQ(wheel.at<cv::Vec3b>(50, 50), cv::Vec3b(255, 255, 255));
    EXPECT_EQ(wheel.at<cv::Vec3b>(0, 0), cv::Vec3b(255, 255, 255));
    EXPECT_LT(wheel.at<cv::Vec3b>(50, 99)[1], 10); // red at the right
    EXPECT_LT(wheel.at<cv::Vec3b>(50, 1)[0], 10); // cyan at the left
    EXPECT_LT(wheel.at<cv::Vec3b>(1, 50)[2], 10); // between yellow and green at the top

    const ImagePointer drawn =
        draw(*imageOf(noise(60, 60, CV_8U)), Layout::Flow, *makeRealTensor({ 1, 60, 60, 2 }));
    EXPECT_LT(matrixOf(*drawn).at<cv::Vec3b>(54, 59)[1], 60);
    EXPECT_TRUE(canDraw(Layout::FlowAndValidity));
}

} // namespace miravex::test
