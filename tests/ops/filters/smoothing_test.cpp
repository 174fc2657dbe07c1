#include "tests/support/host_check.h"

#include <opencv2/imgproc.hpp>

namespace miravex::test {

// Expected values: OpenCV called directly with the stated arguments, or worked by hand where said so.

namespace {

Values median(ImagePointer image, int64_t radius) { return { std::move(image), radius }; }
Values pyrDown(ImagePointer image, std::string padding, int64_t width, int64_t height)
{
    return { std::move(image), std::move(padding), width, height };
}

} // namespace

TEST(MedianFilter, MatchesOpenCvOnBytes)
{
    for (const int channels : { 1, 3, 4 }) {
        for (const int radius : { 1, 2, 3, 20 }) {
            const cv::Mat picture = noise(37, 53, CV_8UC(channels));
            cv::Mat expected;
            cv::medianBlur(picture, expected, 2 * radius + 1);
            const Outcome outcome = succeed("MedianFilter", median(imageOf(picture), radius));
            EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected))
                << channels << " channels, radius " << radius;
            EXPECT_EQ(outcome.image().colorSpace, imageOf(picture)->colorSpace);
        }
    }
}

TEST(MedianFilter, TakesTheMiddleValue) // by hand
{
    const cv::Mat picture = (cv::Mat_<uchar>(3, 3) << 9, 8, 7, 1, 200, 6, 2, 3, 4);
    EXPECT_EQ(matrixOf(succeed("MedianFilter", median(imageOf(picture), 1)).image()).at<uchar>(1, 1), 6);
}

TEST(MedianFilter, FiltersOtherTypesAsBytesAndReturnsTheirOwn)
{
    const cv::Mat reals = noise(20, 30, CV_32F);
    cv::Mat bytes;
    reals.convertTo(bytes, CV_8U, 255);
    cv::medianBlur(bytes, bytes, 3);
    cv::Mat expected;
    bytes.convertTo(expected, CV_32F, 1.0 / 255);
    const Outcome outcome = succeed("MedianFilter", median(imageOf(reals, 5), 1));
    EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected));
    EXPECT_EQ(outcome.image().colorSpace, 5);

    EXPECT_EQ(succeed("MedianFilter", median(imageOf(noise(9, 9, CV_16U)), 1)).image().pixelType,
              PixelTypeBit16);
    const Outcome bits = succeed("MedianFilter", median(bitImageOf(noise(9, 9, CV_8U) > 128), 1));
    EXPECT_EQ(bits.image().pixelType, PixelTypeBit);
    EXPECT_EQ(bits.image().colorSpace, ColorSpaceUnspecified);
}

TEST(MedianFilter, ReturnsBytesOnTheScaleOfTheirTypes) // by hand: 13107 and 0.2 are the byte 51
{
    const auto filtered = [](const cv::Mat& picture) {
        return matrixOf(succeed("MedianFilter", median(imageOf(picture), 1)).image());
    };
    // Bytes become words times 255, not times 257.
    EXPECT_TRUE(sameBits(filtered(cv::Mat(4, 5, CV_16U, cv::Scalar(13107))),
                         cv::Mat(4, 5, CV_16U, cv::Scalar(51 * 255))));
    EXPECT_TRUE(sameBits(filtered(cv::Mat(4, 5, CV_64F, cv::Scalar(0.2))),
                         cv::Mat(4, 5, CV_64F, cv::Scalar(51 * (1 / 255.0)))));
    // Five bits of nine are set, the middle one is not.
    const cv::Mat bits = (cv::Mat_<uchar>(3, 3) << 1, 1, 1, 1, 0, 1, 0, 0, 0);
    EXPECT_EQ(matrixOf(succeed("MedianFilter", median(bitImageOf(bits), 1)).image()).at<uchar>(1, 1), 1);
}

TEST(MedianFilter, CutsTheRadiusToItsLow32Bits)
{
    const cv::Mat picture = noise(12, 15, CV_8U);
    const int64_t beyond = int64_t { 1 } << 32;
    EXPECT_TRUE(sameBits(matrixOf(succeed("MedianFilter", median(imageOf(picture), beyond + 2)).image()),
                         matrixOf(succeed("MedianFilter", median(imageOf(picture), 2)).image())));
    expectRefused("MedianFilter", median(imageOf(picture), beyond));
}

TEST(MedianFilter, RefusesHugeRadii)
{
    for (const int64_t radius : { int64_t { 1000000 }, int64_t { 1073741823 }, int64_t { INT32_MAX } })
        EXPECT_REFUSED_IN_CHILD("MedianFilter", median(imageOf(noise(20, 20, CV_8U)), radius));
}

TEST(MedianFilter, RefusesWhatItCannotFilter)
{
    const ImagePointer gray = imageOf(noise(8, 8, CV_8U));
    for (const int64_t radius : { int64_t { 0 }, int64_t { -1 }, INT64_MIN, int64_t { 128 }, INT64_MAX })
        expectRefused("MedianFilter", median(gray, radius));
    expectRefused("MedianFilter", median(imageOf(noise(8, 8, CV_8UC2)), 1));
    expectRefused("MedianFilter", median(imageOf(noise(8, 8, CV_8UC(5))), 1));
    expectRefused("MedianFilter", median(sequenceOf({ noise(8, 8, CV_8U), noise(8, 8, CV_8U) }), 1));
    expectRefused("MedianFilter", median(nullptr, 1));
}

TEST(MedianFilter, SurvivesFaults)
{
    expectSurvivesFaults("MedianFilter", median(imageOf(noise(8, 9, CV_32FC3)), 1));
    expectSurvivesFaults("MedianFilter", median(planarImageOf(noise(8, 9, CV_8UC3)), 1));
}

TEST(PyrDown, AcceptsSizesWithinTwoOfHalf)
{
    const cv::Mat picture = noise(51, 101, CV_8UC3);
    for (const auto& [width, height, accepted] :
         std::vector<std::tuple<int, int, bool>> { { 50, 25, true },
                                                   { 51, 26, true },
                                                   { 50, 26, true },
                                                   { 51, 25, true },
                                                   { 52, 25, false },
                                                   { 52, 27, false },
                                                   { 49, 25, false },
                                                   { 50, 27, false },
                                                   { 50, 24, false },
                                                   { -50, 25, false } }) {
        const Values values = pyrDown(imageOf(picture), "Reflected", width, height);
        if (!accepted) {
            expectRefused("PyrDown", values);
            continue;
        }
        cv::Mat expected;
        cv::pyrDown(picture, expected, cv::Size(width, height), cv::BORDER_REFLECT_101);
        EXPECT_TRUE(sameBits(matrixOf(succeed("PyrDown", values).image()), expected))
            << width << " x " << height;
    }
}

TEST(PyrDown, KnowsItsPaddings)
{
    const cv::Mat picture = noise(20, 30, CV_16U);
    for (const auto& [name, border] :
         std::vector<std::pair<std::string, int>> { { "Fixed", cv::BORDER_REPLICATE },
                                                    { "Reversed", cv::BORDER_REFLECT },
                                                    { "Periodic", cv::BORDER_WRAP },
                                                    { "Reflected", cv::BORDER_REFLECT_101 } }) {
        cv::Mat expected;
        cv::pyrDown(picture, expected, cv::Size(15, 10), border);
        const Outcome outcome = succeed("PyrDown", pyrDown(imageOf(picture), name, 15, 10));
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected)) << name;
    }
    for (const char* name : { "Constant", "reflected", "Reflecte", "Reflected ", "" }) {
        const Outcome outcome = invoke("PyrDown", pyrDown(imageOf(picture), name, 15, 10));
        EXPECT_EQ(outcome.status, StatusFunctionError) << name;
        EXPECT_TRUE(outcome.openCvError.empty()) << "refused before OpenCV is called";
    }
}

TEST(PyrDown, PassesNoneOnToOpenCvWhichRefusesIt)
{
    const Outcome outcome = invoke("PyrDown", pyrDown(imageOf(noise(20, 30, CV_8U)), "None", 15, 10));
    EXPECT_EQ(outcome.status, StatusFunctionError);
    EXPECT_THAT(outcome.openCvError, ::testing::HasSubstr("border")) << "refused before OpenCV was asked";
}

TEST(PyrDown, CutsSizesToTheirLow32Bits)
{
    constexpr int64_t beyond = int64_t { 1 } << 32;
    const Outcome outcome =
        succeed("PyrDown", pyrDown(imageOf(noise(20, 30, CV_8U)), "Fixed", beyond + 15, beyond + 10));
    EXPECT_EQ(outcome.image().shape, (ImageShape { .rows = 10, .columns = 15 }));
}

TEST(PyrDown, RefusesNullAnd3D)
{
    expectRefused("PyrDown", pyrDown(nullptr, "Fixed", 4, 4));
    expectRefused("PyrDown", pyrDown(sequenceOf({ noise(8, 8, CV_8U) }), "Fixed", 4, 4));
}

TEST(PyrDown, SurvivesFaults)
{
    expectSurvivesFaults("PyrDown", pyrDown(planarImageOf(noise(8, 8, CV_8UC3)), "Fixed", 4, 4));
}

TEST(PyrUp, AcceptsTwiceTheSizeAndOddSizesOneOff)
{
    const cv::Mat picture = noise(30, 50, CV_8U);
    for (const int width : { 98, 99, 100, 101, 102 }) {
        for (const int height : { 59, 60, 61, 62 }) {
            const Values values { imageOf(picture), int64_t { width }, int64_t { height } };
            const bool accepted = width != 98 && width != 102 && height != 62;
            if (!accepted) {
                expectRefused("PyrUp", values);
                continue;
            }
            cv::Mat expected;
            cv::pyrUp(picture, expected, cv::Size(width, height));
            EXPECT_TRUE(sameBits(matrixOf(succeed("PyrUp", values).image()), expected))
                << width << " x " << height;
        }
    }
    expectRefused("PyrUp", { imageOf(picture), int64_t { -100 }, int64_t { 60 } });
}

TEST(PyrUp,
     FillsTheLastColumnOfColoursAtOddWidths) // OpenCV leaves it unwritten unless channels go one by one
{
    const cv::Mat picture = noise(6, 9, CV_8UC3);
    for (const int width : { 17, 19 }) {
        std::vector<cv::Mat> planes;
        cv::split(picture, planes);
        for (cv::Mat& plane : planes) {
            cv::Mat doubled;
            cv::pyrUp(plane, doubled, cv::Size(width, 12));
            plane = doubled;
        }
        cv::Mat expected;
        cv::merge(planes, expected);
        const Outcome outcome = succeed("PyrUp", { imageOf(picture), int64_t { width }, int64_t { 12 } });
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected)) << width;
    }
}

TEST(PyrUp, CutsSizesToTheirLow32Bits)
{
    constexpr int64_t beyond = int64_t { 1 } << 32;
    const Outcome outcome = succeed("PyrUp", { imageOf(noise(5, 6, CV_8U)), beyond + 13, 3 * beyond + 10 });
    EXPECT_EQ(outcome.image().shape, (ImageShape { .rows = 10, .columns = 13 }));
}

TEST(PyrUp, KeepsTypeAndColourSpaceAndSurvivesFaults)
{
    const Outcome outcome =
        succeed("PyrUp", { imageOf(noise(5, 6, CV_64FC3), 7), int64_t { 12 }, int64_t { 10 } });
    EXPECT_EQ(outcome.image().pixelType, PixelTypeReal);
    EXPECT_EQ(outcome.image().colorSpace, 7);
    expectSurvivesFaults("PyrUp", { planarImageOf(noise(5, 6, CV_8UC3)), int64_t { 12 }, int64_t { 10 } });
    expectRefused("PyrUp", { ImagePointer(), int64_t { 12 }, int64_t { 10 } });
    expectRefused("PyrUp", { sequenceOf({ noise(5, 6, CV_8U) }), int64_t { 12 }, int64_t { 10 } });
}

TEST(PyrMeanShiftFilter, PassesTheColourRadiusInBytes)
{
    const cv::Mat picture = noise(24, 32, CV_8UC3);
    for (const auto& [spatial, color, level, iterations] :
         std::vector<std::tuple<double, double, int64_t, int64_t>> {
             { 5, 1.0, 1, 5 }, { 8, 0.1, 0, 0 }, { 3.5, 0.05, 2, 3 } }) {
        cv::Mat expected = picture.clone();
        cv::pyrMeanShiftFiltering(
            expected, expected, spatial, 441.0 * color, static_cast<int>(level),
            cv::TermCriteria(cv::TermCriteria::COUNT, static_cast<int>(iterations), 0.0));
        const Outcome outcome =
            succeed("PyrMeanShiftFilter", { imageOf(picture), spatial, color, level, iterations });
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected)) << spatial << " " << color;
        EXPECT_EQ(outcome.image().colorSpace, ColorSpaceUnspecified);
        EXPECT_EQ(outcome.image().pixelType, PixelTypeByte);
    }
}

TEST(PyrMeanShiftFilter, CutsCountsToTheirLow32Bits)
{
    const cv::Mat picture = noise(24, 32, CV_8UC3);
    constexpr int64_t beyond = int64_t { 1 } << 32;
    const auto filtered = [&](int64_t level, int64_t iterations) {
        return matrixOf(
            succeed("PyrMeanShiftFilter", { imageOf(picture), 4.0, 0.1, level, iterations }).image());
    };
    EXPECT_TRUE(sameBits(filtered(beyond + 1, beyond + 2), filtered(1, 2)));
}

TEST(PyrMeanShiftFilter, RefusesOtherImagesAndNegativeParameters)
{
    const auto with = [](ImagePointer image, double spatial = 5, double color = 0.1, int64_t level = 1,
                         int64_t iterations = 2) {
        return Values { std::move(image), spatial, color, level, iterations };
    };
    const ImagePointer good = imageOf(noise(16, 16, CV_8UC3));
    expectRefused("PyrMeanShiftFilter", with(imageOf(noise(16, 16, CV_8UC1))));
    expectRefused("PyrMeanShiftFilter", with(imageOf(noise(16, 16, CV_8UC4))));
    expectRefused("PyrMeanShiftFilter", with(imageOf(noise(16, 16, CV_32FC3))));
    expectRefused("PyrMeanShiftFilter", with(sequenceOf({ noise(16, 16, CV_8UC3) })));
    expectRefused("PyrMeanShiftFilter", with(nullptr));
    expectRefused("PyrMeanShiftFilter", with(good, -1));
    expectRefused("PyrMeanShiftFilter", with(good, 5, -0.1));
    expectRefused("PyrMeanShiftFilter", with(good, 5, 0.1, -1));
    expectRefused("PyrMeanShiftFilter", with(good, 5, 0.1, 9)); // OpenCV's own refusal
    expectRefused("PyrMeanShiftFilter", with(good, 5, 0.1, 1, -1));
    succeed("PyrMeanShiftFilter", with(good, std::nan(""), std::nan("")));
    expectSurvivesFaults("PyrMeanShiftFilter", with(planarImageOf(noise(16, 16, CV_8UC3))));
}

TEST(PyrMeanShiftFilter, RefusesEndlessWork)
{
    const ImagePointer large = imageOf(cv::Mat(1500, 1500, CV_8UC3, cv::Scalar::all(7)));
    EXPECT_REFUSED_IN_CHILD("PyrMeanShiftFilter",
                            Values { large, 1e9, 0.1, int64_t { 0 }, int64_t { 1000000 } });
}

} // namespace miravex::test
