#include "ops/filters/local_statistics.h"
#include "tests/support/host_check.h"

#include <cmath>

namespace miravex::test {

// The running sums are our own; the blurs are the calls that the result is defined by. Samples are what the
// host makes of bytes, so that the sums round.

namespace {

cv::Mat bytesAsReals(int rows, int columns, uint64_t seed)
{
    cv::Mat reals;
    noise(rows, columns, CV_8U, seed).convertTo(reals, CV_64F, 1.0 / 255);
    return reals;
}

::testing::AssertionResult sameBothWays(const cv::Mat& picture, const LocalWindow& window, double meanWeight,
                                        double deviationWeight)
{
    cv::Mat byBlurs = differencesByBlurs(picture, window, meanWeight, deviationWeight);
    cv::Mat bySums = differencesByRunningSums(picture, window, meanWeight, deviationWeight);
    // A negative square root is NaN either way; its sign bit means nothing.
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < picture.cols; ++x) {
            double& a = byBlurs.at<double>(y, x);
            double& b = bySums.at<double>(y, x);
            if (std::isnan(a) && std::isnan(b)) a = b = 0;
        }
    }
    return sameBits(bySums, byBlurs);
}

constexpr int borders[] = { cv::BORDER_CONSTANT, cv::BORDER_REPLICATE,   cv::BORDER_REFLECT,
                            cv::BORDER_WRAP,     cv::BORDER_REFLECT_101, cv::BORDER_ISOLATED };

} // namespace

TEST(LocalStatistics, AreThoseOfTheBlursBitForBit)
{
    for (const cv::Size size :
         { cv::Size(1, 1), cv::Size(2, 1), cv::Size(1, 7), cv::Size(9, 1), cv::Size(3, 3), cv::Size(16, 5),
           cv::Size(33, 47), cv::Size(64, 64), cv::Size(101, 20) }) {
        const cv::Mat picture = bytesAsReals(size.height, size.width, 3);
        for (const int border : borders)
            for (const int radius : { 1, 2, 3, 4, 7, 12, 30, 65 })
                EXPECT_TRUE(sameBothWays(picture, { radius, border, 0.3 }, 0.9, -0.2))
                    << size << ", border " << border << ", radius " << radius;
    }
}

TEST(LocalStatistics, LeaveOutAndKeepTermsByTheirWeights)
{
    const cv::Mat picture = bytesAsReals(23, 31, 5);
    for (const int border : borders)
        for (const double meanWeight : { 0.0, 1.0, -1.0, 0.37 })
            for (const double deviationWeight : { 0.0, 1.0, -1.0, 2.5 }) {
                if (meanWeight == 0 && deviationWeight == 0) continue;
                EXPECT_TRUE(sameBothWays(picture, { 4, border, 1.0 }, meanWeight, deviationWeight))
                    << "border " << border << ", weights " << meanWeight << ", " << deviationWeight;
            }
}

TEST(LocalStatistics, AgreeOnFlatPicturesAndPhotos) // where sums that round decide the sign
{
    for (const int level : { 0, 1, 77, 200, 255 }) {
        const cv::Mat flat(40, 60, CV_64F, cv::Scalar(level / 255.0));
        for (const int border : borders)
            EXPECT_TRUE(sameBothWays(flat, { 6, border, level / 255.0 }, 1, 1)) << level << ", " << border;
    }
    const cv::Mat page = photo("sudoku.png", true);
    SKIP_WITHOUT(page);
    cv::Mat reals;
    page.convertTo(reals, CV_64F, 1.0 / 255);
    for (const int border : borders)
        EXPECT_TRUE(sameBothWays(reals, { 15, border, 0.5 }, 1, 0.3)) << "border " << border;
}

} // namespace miravex::test
