#include "ops/filters/bounds.h"

#include "ops/filters/compat.h"
#include "tests/support/host_check.h"

namespace miravex::test {

// Bounds that no test can reach with samples of its own: the sizes are forged, and only the record is asked.

namespace {

/// An image that says it is larger than its samples are, for those who only look at its size.
ImagePointer saidToBe(int64_t rows, int64_t columns, const ImagePointer& image)
{
    image->shape.rows = rows;
    image->shape.columns = columns;
    return image;
}

::testing::AssertionResult objects(std::string_view operation, const Values& values,
                                   std::string_view argument, std::string_view expected)
{
    const std::vector<Refusal> refusals = check(record(operation), values);
    for (const Refusal& refusal : refusals)
        if (refusal.argument == argument && !refusal.value.empty()
            && refusal.expected.find(expected) != std::string::npos)
            return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
        << operation << ": " << (refusals.empty() ? "no objection" : refusals.front().message());
}

} // namespace

TEST(FilterBounds, ForetellImagesThatOpenCvCannotIndex)
{
    constexpr int64_t rows = 50000, columns = 45000; // 2.25e9 samples
    const auto gray = [] { return saidToBe(rows, columns, imageOf(cv::Mat(2, 2, CV_8U))); };
    const auto reals = [] { return saidToBe(rows, columns, imageOf(cv::Mat(2, 2, CV_32F))); };
    const auto colors = [] { return saidToBe(30000, 25000, imageOf(cv::Mat(2, 2, CV_8UC3))); };
    const char* const text = "2^31 - 1 samples";
    EXPECT_TRUE(objects("Color_Boost", { colors() }, "image", text));
    EXPECT_TRUE(objects("Decolor", { colors() }, "image", text));
    EXPECT_TRUE(
        objects("PyrMeanShiftFilter", { colors(), 1.0, 0.1, int64_t { 0 }, int64_t { 1 } }, "image", text));
    EXPECT_TRUE(objects("PhaseCorrelate", { reals(), reals(), emptyList() }, "first", text));
    EXPECT_TRUE(
        objects("ImageCorrelate",
                { gray(), imageOf(cv::Mat(2, 2, CV_8U)), std::string("Dot"), std::string("None"), 0.0 },
                "image", text));
    EXPECT_TRUE(
        objects("imageDemosaic",
                { saidToBe(4, INT32_MAX / 18 + 1, imageOf(cv::Mat(2, 2, CV_8U))), std::string("RGGB") },
                "image", "rows of at most 119304647 pixels"));
    // These go through bands, or through code of our own.
    EXPECT_TRUE(check(record("imageDemosaic"), Values { gray(), std::string("RGGB") }).empty());
    EXPECT_TRUE(check(record("MedianFilter"), Values { colors(), int64_t { 1 } }).empty());
}

TEST(FilterBounds, ForetellWhatKernelsAndWindowsTake)
{
    const ImagePointer photo = imageOf(cv::Mat(300, 400, CV_8U));
    const auto taps = [](int64_t count) { return makeRealTensor({ count }); };
    const std::string padding = "Fixed";
    EXPECT_TRUE(objects("ImageConvolve", { photo, taps(32769), taps(1), padding }, "horizontal",
                        "at most 32768 elements"));
    EXPECT_TRUE(objects("ImageConvolve", { photo, taps(1), taps(32769), padding }, "vertical",
                        "at most 32768 elements"));
    EXPECT_TRUE(
        objects("ImageConvolve", { photo, taps(32768), taps(32768), padding }, "vertical", "2^28 samples"));
    EXPECT_TRUE(objects("LocalAdaptiveBinarize",
                        { photo, int64_t { 9000 }, realList({ 1, 0, 0 }), padding, 0.0 }, "radius",
                        "2^28 samples"));
    EXPECT_TRUE(objects("ImagePad",
                        { photo, int64_t { 1 } << 30, int64_t { 1 } << 30, int64_t { 0 }, int64_t { 0 },
                          padding, emptyList() },
                        "bottom", "2^30 samples"));
}

TEST(FilterBounds, OfMeanShiftLookAtAPixelAlone)
{
    // Whole windows inside photos of any size, and what would never end.
    EXPECT_TRUE(bounds::meanShiftFits(4000, 6000, 30, 100));
    EXPECT_TRUE(bounds::meanShiftFits(40000, 60000, 30, 100));
    EXPECT_TRUE(bounds::meanShiftFits(4000, 6000, 280, 100));
    EXPECT_TRUE(bounds::meanShiftFits(300, 300, 1e9, 1000000)); // never more than the image
    EXPECT_TRUE(bounds::meanShiftFits(4000, 6000, std::nan(""), 100));
    EXPECT_FALSE(bounds::meanShiftFits(4000, 6000, 500, 100));
    EXPECT_FALSE(bounds::meanShiftFits(4000, 6000, INFINITY, 100));
    EXPECT_TRUE(bounds::meanShiftFits(4000, 6000, 500, 1));
}

TEST(FilterBounds, OfMedianRadiiAreReckonedIn32Bits)
{
    constexpr int64_t beyond = int64_t { 1 } << 32;
    EXPECT_EQ(bounds::medianRadius(3), 3);
    EXPECT_EQ(bounds::medianRadius(beyond), 0);
    EXPECT_EQ(bounds::medianRadius(beyond + 5), 5);
    EXPECT_EQ(bounds::medianRadius(beyond / 2), 0);
    EXPECT_EQ(bounds::medianRadius(beyond / 2 + 5), 5);
    EXPECT_EQ(bounds::medianRadius(beyond / 4), beyond / 4);
    EXPECT_EQ(bounds::medianRadius(INT32_MAX), INT32_MAX);
    EXPECT_LT(bounds::medianRadius(beyond - 1), 0);
    EXPECT_LT(bounds::medianRadius(INT64_MAX), 0);
}

TEST(Demosaic, InBandsGivesTheSameBits)
{
    for (const cv::Size size : { cv::Size(40, 61), cv::Size(7, 30), cv::Size(3, 9), cv::Size(90, 3) }) {
        const cv::Mat mosaic = noise(size.height, size.width, CV_8U);
        for (const int code :
             { cv::COLOR_BayerBG2RGB, cv::COLOR_BayerGR2RGB, cv::COLOR_BayerGB2RGB, cv::COLOR_BayerRG2RGB }) {
            cv::Mat expected;
            cv::cvtColor(mosaic, expected, code);
            for (const int rows : { 6, 7, 9, 20 }) {
                cv::Mat banded;
                compat::demosaic(mosaic, banded, code, int64_t { rows } * 3 * size.width);
                EXPECT_TRUE(sameBits(banded, expected))
                    << size << ", code " << code << ", " << rows << " rows";
            }
        }
    }
}

} // namespace miravex::test
