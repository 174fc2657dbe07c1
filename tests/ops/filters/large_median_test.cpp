#include "ops/filters/large_median.h"

#include "tests/support/host_check.h"
#include "tests/support/opencv_threads.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <vector>

namespace miravex::test {

// Expected values: OpenCV as far as it counts right, and the definition by brute force beyond.

namespace {

cv::Mat largeMedianOf(const cv::Mat& picture, int64_t radius)
{
    cv::Mat median;
    largeMedian(picture, median, radius);
    return median;
}

/// How often each place of a side is looked at from `centre`: those at the edge stand for all beyond.
std::vector<uint64_t> weights(int64_t centre, int64_t radius, int length)
{
    std::vector<uint64_t> times(static_cast<std::size_t>(length));
    for (int64_t place = 0; place < length; ++place) {
        const int64_t least = place == 0 ? centre - radius : std::max(place, centre - radius);
        const int64_t most = place == length - 1 ? centre + radius : std::min(place, centre + radius);
        times[static_cast<std::size_t>(place)] =
            static_cast<uint64_t>(std::max<int64_t>(most - least + 1, 0));
    }
    return times;
}

/// By the definition: the value that half of the window, each pixel as often as it is looked at, lies below.
cv::Mat weightedMedians(const cv::Mat& picture, int64_t radius)
{
    cv::Mat medians(picture.size(), CV_8U);
    for (int y = 0; y < picture.rows; ++y) {
        const auto down = weights(y, radius, picture.rows);
        for (int x = 0; x < picture.cols; ++x) {
            const auto across = weights(x, radius, picture.cols);
            std::array<uint64_t, 256> counts {};
            uint64_t all = 0;
            for (int j = 0; j < picture.rows; ++j) {
                for (int i = 0; i < picture.cols; ++i) {
                    const uint64_t times =
                        down[static_cast<std::size_t>(j)] * across[static_cast<std::size_t>(i)];
                    counts[picture.at<uchar>(j, i)] += times;
                    all += times;
                }
            }
            uint64_t below = 0;
            std::size_t value = 0;
            while (below + counts[value] <= all / 2) below += counts[value++];
            medians.at<uchar>(y, x) = static_cast<uchar>(value);
        }
    }
    return medians;
}

} // namespace

TEST(LargeMedian, IsOpenCvsAsFarAsThatCounts)
{
    for (const int channels : { 1, 3, 4 }) {
        for (const cv::Size size : { cv::Size(1, 1), cv::Size(1, 40), cv::Size(40, 1), cv::Size(53, 37),
                                     cv::Size(300, 420), cv::Size(700, 90), cv::Size(20000, 3) }) {
            for (const int radius : { 0, 1, 2, 3, 20, 64, 126, 127 }) {
                const cv::Mat picture = noise(size.height, size.width, CV_8UC(channels));
                cv::Mat expected;
                cv::medianBlur(picture, expected, 2 * radius + 1);
                EXPECT_TRUE(sameBits(largeMedianOf(picture, radius), expected))
                    << size << ", " << channels << " channels, radius " << radius;
            }
        }
    }
}

TEST(LargeMedian, IsOpenCvsOnAPhoto)
{
    const cv::Mat picture = photo("fruits.jpg");
    SKIP_WITHOUT(picture);
    cv::Mat expected;
    cv::medianBlur(picture, expected, 2 * 90 + 1);
    EXPECT_TRUE(sameBits(largeMedianOf(picture, 90), expected));
}

TEST(LargeMedian, IsExactForEveryRadius)
{
    for (const cv::Size size : { cv::Size(1, 1), cv::Size(9, 7), cv::Size(7, 11), cv::Size(1, 30) }) {
        const cv::Mat picture = noise(size.height, size.width, CV_8U, 7);
        for (const int64_t radius : { int64_t { 5 }, int64_t { 128 }, int64_t { 500 }, int64_t { 32767 },
                                      int64_t { 32768 }, int64_t { 1000000 }, int64_t { INT32_MAX } })
            EXPECT_TRUE(sameBits(largeMedianOf(picture, radius), weightedMedians(picture, radius)))
                << size << ", radius " << radius;
    }
    const cv::Mat shared = noise(150, 140, CV_8U, 8); // among several stripes
    EXPECT_TRUE(sameBits(largeMedianOf(shared, 40), weightedMedians(shared, 40)));
}

TEST(LargeMedian, DoesNotDependOnThreads) // by which columns are shared out
{
    const cv::Mat picture = noise(500, 400, CV_8U);
    const cv::Mat expected = largeMedianOf(picture, 140);
    const Threads single(1);
    EXPECT_TRUE(sameBits(largeMedianOf(picture, 140), expected));
}

TEST(LargeMedian, RefusesWhatItCannotCount)
{
    cv::Mat median;
    EXPECT_THROW(largeMedian(cv::Mat(4, 4, CV_16U), median, 3), cv::Exception);
    EXPECT_THROW(largeMedian(cv::Mat(4, 4, CV_8U), median, -1), cv::Exception);
    EXPECT_THROW(largeMedian(cv::Mat(4, 4, CV_8U), median, int64_t { 1 } << 31), cv::Exception);
}

} // namespace miravex::test
