#include "tests/support/host_check.h"

#include <opencv2/imgproc.hpp>

namespace miravex::test {

// Expected values: worked by hand, or positions folded back by the definition of each padding.

namespace {

Values pad(ImagePointer image, std::array<int64_t, 4> margins, std::string padding,
           TensorPointer values = emptyList())
{
    const auto [top, bottom, left, right] = margins;
    return { std::move(image), top, bottom, left, right, std::move(padding), std::move(values) };
}

cv::Mat padded(const cv::Mat& picture, std::array<int64_t, 4> margins, const std::string& padding,
               TensorPointer values = emptyList())
{
    return matrixOf(succeed("ImagePad", pad(imageOf(picture), margins, padding, std::move(values))).image());
}

/// Where position `i` beyond n samples reads, by the definition; -1 for nowhere.
int64_t positionOf(int64_t i, int64_t n, const std::string& padding)
{
    const auto modulo = [](int64_t a, int64_t b) { return ((a % b) + b) % b; };
    if (i >= 0 && i < n) return i;
    if (padding == "Fixed") return i < 0 ? 0 : n - 1;
    if (padding == "Periodic") return modulo(i, n);
    if (padding == "Reversed") {
        const int64_t within = modulo(i, 2 * n);
        return within < n ? within : 2 * n - 1 - within;
    }
    if (padding == "Reflected") {
        if (n == 1) return 0;
        const int64_t within = modulo(i, 2 * n - 2);
        return within < n ? within : 2 * n - 2 - within;
    }
    return -1;
}

} // namespace

TEST(ImagePad, KnowsItsPaddings) // by hand
{
    const cv::Mat row = (cv::Mat_<uchar>(1, 3) << 1, 2, 3);
    for (const auto& [padding, expected] : std::vector<std::pair<std::string, std::vector<uchar>>> {
             { "Fixed", { 1, 1, 1, 1, 2, 3, 3, 3 } },
             { "Reversed", { 3, 2, 1, 1, 2, 3, 3, 2 } },
             { "Reflected", { 2, 3, 2, 1, 2, 3, 2, 1 } },
             { "Periodic", { 1, 2, 3, 1, 2, 3, 1, 2 } },
             { "None", { 0, 0, 0, 1, 2, 3, 0, 0 } } })
        EXPECT_TRUE(sameBits(padded(row, { 0, 0, 3, 2 }, padding), cv::Mat(expected).reshape(1, 1)))
            << padding;
    const std::vector<uchar> expected { 7, 7, 7, 1, 2, 3, 7, 7 };
    EXPECT_TRUE(
        sameBits(padded(row, { 0, 0, 3, 2 }, "Constant", realList({ 7 })), cv::Mat(expected).reshape(1, 1)));
}

TEST(ImagePad, FollowsTheDefinitionsAtAnyMargin) // independent
{
    for (const cv::Size size :
         { cv::Size(5, 4), cv::Size(2, 2), cv::Size(1, 3), cv::Size(6, 1), cv::Size(1, 1) }) {
        const cv::Mat picture = noise(size.height, size.width, CV_16UC3);
        for (const char* padding : { "Fixed", "Reversed", "Reflected", "Periodic" }) {
            for (const auto& margins : std::vector<std::array<int64_t, 4>> { { 0, 0, 0, 0 },
                                                                             { 1, 2, 3, 1 },
                                                                             { 0, 30, 0, 0 },
                                                                             { 23, 0, 0, 1 },
                                                                             { 17, 40, 12, 33 },
                                                                             { 0, 3, 50, 2 } }) {
                const auto [top, bottom, left, right] = margins;
                const cv::Mat actual = padded(picture, margins, padding);
                ASSERT_EQ(actual.rows, picture.rows + top + bottom);
                ASSERT_EQ(actual.cols, picture.cols + left + right);
                int differences = 0;
                for (int y = 0; y < actual.rows; ++y)
                    for (int x = 0; x < actual.cols; ++x)
                        differences += actual.at<cv::Vec3w>(y, x)
                            != picture.at<cv::Vec3w>(
                                static_cast<int>(positionOf(y - top, picture.rows, padding)),
                                static_cast<int>(positionOf(x - left, picture.cols, padding)));
                EXPECT_EQ(differences, 0) << padding << " of " << size << " by " << top << ", " << bottom
                                          << ", " << left << ", " << right;
            }
        }
    }
}

TEST(ImagePad, ConstantTakesOneValuePerChannel) // by hand
{
    const cv::Mat colors = noise(3, 4, CV_8UC3);
    const cv::Mat framed = padded(colors, { 1, 2, 3, 4 }, "Constant", realList({ 300, 20, 7 }));
    EXPECT_EQ(framed.at<cv::Vec3b>(0, 0), cv::Vec3b(255, 20, 7));
    EXPECT_EQ(framed.at<cv::Vec3b>(5, 10), cv::Vec3b(255, 20, 7));
    EXPECT_TRUE(sameBits(framed(cv::Rect(3, 1, 4, 3)), colors));

    const cv::Mat reals =
        padded(noise(2, 2, CV_64FC2), { 1, 0, 0, 0 }, "Constant", realList({ -1.5, 1e300 }));
    EXPECT_EQ(reals.at<cv::Vec2d>(0, 1), cv::Vec2d(-1.5, 1e300));
    const cv::Mat four = padded(noise(2, 2, CV_32FC4), { 0, 1, 0, 0 }, "Constant", realList({ 1, 2, 3, 4 }));
    EXPECT_EQ(four.at<cv::Vec4f>(2, 1), cv::Vec4f(1, 2, 3, 4));
}

TEST(ImagePad, ConstantCountsItsValuesBeforeAnythingElse)
{
    const ImagePointer colors = imageOf(noise(3, 4, CV_8UC3));
    for (const auto& values : { realList({ 1, 2 }), realList({ 1, 2, 3, 4 }), emptyList(), TensorPointer() })
        expectRefused("ImagePad", pad(colors, { 1, 1, 1, 1 }, "Constant", values));
    for (const auto& values : { realList({ 1, 2 }), emptyList(), TensorPointer() })
        succeed("ImagePad", pad(colors, { 1, 1, 1, 1 }, "Periodic", values));
    expectRefused(
        "ImagePad",
        pad(imageOf(noise(3, 4, CV_8UC(5))), { 1, 1, 1, 1 }, "Constant", realList({ 1, 2, 3, 4, 5 })));
}

TEST(ImagePad, KeepsTypeAndColourSpace)
{
    for (const int type : { CV_8U, CV_16U, CV_32F, CV_64F }) {
        const ImagePointer source = imageOf(noise(3, 4, type), 6);
        const Outcome outcome = succeed("ImagePad", pad(source, { 0, 0, 0, 0 }, "Reflected"));
        EXPECT_EQ(outcome.image().pixelType, source->pixelType);
        EXPECT_EQ(outcome.image().colorSpace, 6);
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), matrixOf(*source)));
    }
    const Outcome bits =
        succeed("ImagePad", pad(bitImageOf(noise(3, 4, CV_8U) > 99), { 1, 1, 1, 1 }, "Fixed"));
    EXPECT_EQ(bits.image().pixelType, PixelTypeBit);
    const cv::Mat colors = noise(3, 4, CV_8UC3);
    const Outcome planar = succeed("ImagePad", pad(planarImageOf(colors), { 0, 0, 0, 0 }, "Fixed"));
    EXPECT_TRUE(sameBits(matrixOf(planar.image()), colors));
}

TEST(ImagePad, RefusesWhatItCannotPad)
{
    const ImagePointer good = imageOf(noise(8, 8, CV_8U));
    expectRefused("ImagePad", pad(nullptr, { 1, 1, 1, 1 }, "Fixed"));
    expectRefused("ImagePad", pad(sequenceOf({ noise(8, 8, CV_8U) }), { 1, 1, 1, 1 }, "Fixed"));
    expectRefused("ImagePad", pad(imageOf(noise(8, 8, CV_8UC(5))), { 1, 1, 1, 1 }, "Fixed"));
    expectRefused("ImagePad", pad(imageOf(cv::Mat(0, 4, CV_8U)), { 1, 1, 1, 1 }, "Reflected"));
    for (std::size_t side = 0; side < 4; ++side) {
        for (const int64_t margin : { int64_t { -1 }, INT64_MIN, INT64_MAX, int64_t { 1 } << 31 }) {
            std::array<int64_t, 4> margins { 1, 1, 1, 1 };
            margins[side] = margin;
            expectRefused("ImagePad", pad(good, margins, "Fixed"));
        }
    }
    for (const char* padding : { "constant", "Fixe", "Fixed ", "", "Wrap" })
        expectRefused("ImagePad", pad(good, { 1, 1, 1, 1 }, padding, realList({ 1 })));
}

TEST(ImagePad, RefusesEndlessAndHugeMargins)
{
    constexpr int64_t most = INT32_MAX;
    const ImagePointer tiny = imageOf(noise(2, 2, CV_8U)), pixel = imageOf(noise(1, 1, CV_8U));
    for (const char* padding : { "Fixed", "Reflected", "None" }) {
        EXPECT_REFUSED_IN_CHILD("ImagePad", pad(tiny, { most, most, 0, 0 }, padding));
        EXPECT_REFUSED_IN_CHILD("ImagePad", pad(tiny, { 20000000, 20000000, 20000000, 20000000 }, padding));
        EXPECT_REFUSED_IN_CHILD("ImagePad", pad(pixel, { most, 0, 0, 0 }, padding));
    }
    for (const char* padding : { "Reflected", "Reversed" })
        EXPECT_ACCEPTED_IN_CHILD("ImagePad", pad(tiny, { 0, 0, 20000000, 0 }, padding));
    // What fits is made, and at once.
    const cv::Mat wide = padded((cv::Mat_<uchar>(1, 2) << 3, 5), { 0, 0, 20000000, 1 }, "Reflected");
    EXPECT_EQ(wide.cols, 20000003);
    EXPECT_EQ(wide.at<uchar>(0, 0), 3);
    EXPECT_EQ(wide.at<uchar>(0, 1), 5);
}

TEST(ImagePad, CutsMarginsToTheirLow32Bits)
{
    constexpr int64_t beyond = int64_t { 1 } << 32;
    const cv::Mat picture = noise(3, 4, CV_8U);
    EXPECT_TRUE(sameBits(padded(picture, { beyond + 1, beyond, 2 * beyond + 3, beyond + 2 }, "Fixed"),
                         padded(picture, { 1, 0, 3, 2 }, "Fixed")));
}

TEST(ImagePad, SurvivesFaults)
{
    expectSurvivesFaults("ImagePad", pad(planarImageOf(noise(8, 9, CV_8UC3)), { 1, 2, 3, 4 }, "Reflected"));
    expectSurvivesFaults(
        "ImagePad", pad(bitImageOf(noise(8, 9, CV_8U) > 9), { 1, 2, 3, 4 }, "Constant", realList({ 1 })));
}

} // namespace miravex::test
