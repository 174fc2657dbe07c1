#include "ops/filters/decolorization.h"

#include "tests/support/host_check.h"
#include "tests/support/own_kernels.h"

#include <opencv2/photo.hpp>

#include <limits>

namespace miravex::test {

// Expected values: both pictures of cv::decolor.

namespace {

constexpr double endless = std::numeric_limits<double>::infinity();

void expectSame(const cv::Mat& picture)
{
    cv::Mat expectedGray, expectedBoosted;
    cv::decolor(picture, expectedGray, expectedBoosted);
    for (const InstructionSet instructions : instructionSets()) {
        for (const double margin : { energyMargin, endless }) {
            cv::Mat gray, boosted;
            ASSERT_TRUE(decolorize(picture, gray, margin, instructions)) << picture.size();
            boostColors(picture, gray, boosted);
            EXPECT_TRUE(sameBits(gray, expectedGray) && sameBits(boosted, expectedBoosted))
                << picture.size() << ", margin " << margin << ", instructions "
                << static_cast<int>(instructions) << ", threads " << cv::getNumThreads();
        }
    }
}

} // namespace

TEST(Decolorization, IsOpenCvs)
{
    if (!decolorizesAsOpenCv()) GTEST_SKIP() << "this OpenCV rounds otherwise";
    sweep(1000, [](cv::RNG& random) { expectSame(drawnPicture(random, 48)); });
}

TEST(Decolorization, IsOpenCvsOnPhotos) // more than 800 rows and columns are made small
{
    if (!decolorizesAsOpenCv()) GTEST_SKIP() << "this OpenCV rounds otherwise";
    const cv::Mat picture = photo("fruits.jpg");
    SKIP_WITHOUT(picture);
    for (const int threads : { 1, 5 }) {
        const Threads limited(threads);
        for (const cv::Size size : { cv::Size(400, 400), cv::Size(401, 400), cv::Size(30, 900) }) {
            cv::Mat resized;
            cv::resize(picture, resized, size, 0, 0, cv::INTER_AREA);
            expectSame(resized);
        }
    }
}

TEST(Decolorization, IsThatOfTheOpenCvThatTestsRunWith) // so that none of these tests is skipped unnoticed
{
#if defined(__x86_64__)
    EXPECT_TRUE(decolorizesAsOpenCv());
#else
    GTEST_SKIP() << "only on x86-64 it is known to be";
#endif
}

TEST(Decolorization, RefusesWhatItCannotDo)
{
    cv::Mat gray;
    EXPECT_THROW(decolorize(noise(8, 8, CV_8U), gray), cv::Exception);
    EXPECT_THROW(decolorize(cv::Mat(0, 8, CV_8UC3), gray), cv::Exception);
    // As OpenCV refuses what would be no row when it is made small.
    cv::Mat boosted;
    const cv::Mat thread = noise(1, 2000, CV_8UC3);
    EXPECT_THROW(cv::decolor(thread, gray, boosted), cv::Exception);
    EXPECT_THROW(decolorize(thread, gray), cv::Exception);
}

} // namespace miravex::test
