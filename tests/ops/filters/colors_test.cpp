#include "tests/support/host_check.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>

namespace miravex::test {

// Expected values: mosaics made of known colours, worked by hand, or OpenCV called directly.

namespace {

Values demosaic(ImagePointer image, std::string pattern) { return { std::move(image), std::move(pattern) }; }

/// One colour of a picture per pixel, by a pattern's letters.
cv::Mat mosaicOf(const cv::Mat& picture, const std::string& pattern)
{
    cv::Mat result(picture.size(), CV_8U);
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < picture.cols; ++x) {
            const char letter = pattern[static_cast<std::size_t>(2 * (y % 2) + x % 2)];
            const int channel = letter == 'R' ? 0 : letter == 'G' ? 1 : 2;
            result.at<uchar>(y, x) = picture.at<cv::Vec3b>(y, x)[channel];
        }
    }
    return result;
}

const char* const patterns[] = { "RGGB", "GBRG", "GRBG", "BGGR" };

} // namespace

TEST(ImageDemosaic, RecoversAFlatColour) // by hand
{
    const cv::Mat flat(6, 8, CV_8UC3, cv::Scalar(200, 100, 50));
    for (const char* pattern : patterns) {
        const Outcome outcome = succeed("imageDemosaic", demosaic(imageOf(mosaicOf(flat, pattern)), pattern));
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), flat)) << pattern;
        EXPECT_EQ(outcome.image().colorSpace, ColorSpaceUnspecified);
        EXPECT_EQ(outcome.image().pixelType, PixelTypeByte);
    }
}

TEST(ImageDemosaic, RecoversAPhoto)
{
    const cv::Mat picture = photo("fruits.jpg");
    SKIP_WITHOUT(picture);
    for (const char* pattern : patterns) {
        const Outcome outcome =
            succeed("imageDemosaic", demosaic(imageOf(mosaicOf(picture, pattern)), pattern));
        EXPECT_GT(cv::PSNR(matrixOf(outcome.image()), picture), 28) << pattern;
    }
}

TEST(ImageDemosaic, MatchesOpenCv)
{
    for (const cv::Size size : { cv::Size(31, 22), cv::Size(3, 3), cv::Size(4, 3) }) {
        const cv::Mat mosaic = noise(size.height, size.width, CV_8U);
        for (const auto& [pattern, code] : std::vector<std::pair<std::string, int>> {
                 { "RGGB", 48 }, { "GBRG", 47 }, { "GRBG", 49 }, { "BGGR", 46 } }) {
            cv::Mat expected;
            cv::cvtColor(mosaic, expected, code);
            EXPECT_TRUE(sameBits(
                matrixOf(succeed("imageDemosaic", demosaic(imageOf(mosaic), pattern)).image()), expected))
                << pattern << ", " << size;
        }
    }
}

TEST(ImageDemosaic, MakesTinyMosaicsBlack)
{
    for (const cv::Size size : { cv::Size(1, 1), cv::Size(2, 2), cv::Size(2, 9), cv::Size(9, 1) }) {
        const Outcome outcome =
            succeed("imageDemosaic", demosaic(imageOf(cv::Mat(size, CV_8U, cv::Scalar(9))), "RGGB"));
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), cv::Mat(size, CV_8UC3, cv::Scalar()))) << size;
    }
}

TEST(ImageDemosaic, RefusesWhatIsNoMosaic)
{
    const ImagePointer good = imageOf(noise(8, 8, CV_8U));
    expectRefused("imageDemosaic", demosaic(nullptr, "RGGB"));
    expectRefused("imageDemosaic", demosaic(imageOf(noise(8, 8, CV_8UC3)), "RGGB"));
    expectRefused("imageDemosaic", demosaic(imageOf(noise(8, 8, CV_16U)), "RGGB"));
    expectRefused("imageDemosaic", demosaic(imageOf(noise(8, 8, CV_32F)), "RGGB"));
    expectRefused("imageDemosaic", demosaic(imageOf(noise(8, 8, CV_8U), ColorSpaceUnspecified), "RGGB"));
    expectRefused("imageDemosaic", demosaic(imageOf(noise(8, 8, CV_8U), ColorSpaceRGB), "RGGB"));
    expectRefused("imageDemosaic", demosaic(sequenceOf({ noise(8, 8, CV_8U), noise(8, 8, CV_8U) }), "RGGB"));
    expectRefused("imageDemosaic", demosaic(imageOf(cv::Mat(0, 8, CV_8U)), "RGGB"));
    for (const char* pattern : { "rggb", "RGG", "RGGB ", "RGBG", "" })
        expectRefused("imageDemosaic", demosaic(good, pattern));
}

TEST(ImageDemosaic, SurvivesFaults)
{
    expectSurvivesFaults("imageDemosaic", demosaic(imageOf(noise(8, 8, CV_8U)), "BGGR"));
}

TEST(Decolor, BothOutputsMatchOpenCv)
{
    cv::Mat small = photo("fruits.jpg");
    if (!small.empty()) cv::resize(small, small, cv::Size(96, 90), 0, 0, cv::INTER_AREA);
    for (const cv::Mat& picture :
         { noise(20, 30, CV_8UC3), noise(1, 1, CV_8UC3), noise(1, 9, CV_8UC3), small }) {
        if (picture.empty()) continue;
        cv::Mat gray, boosted;
        cv::decolor(picture, gray, boosted);
        const Outcome grayOutcome = succeed("Decolor", { imageOf(picture) });
        const Outcome boostOutcome = succeed("Color_Boost", { imageOf(picture) });
        EXPECT_TRUE(sameBits(matrixOf(grayOutcome.image()), gray)) << picture.size();
        EXPECT_TRUE(sameBits(matrixOf(boostOutcome.image()), boosted)) << picture.size();
        EXPECT_EQ(grayOutcome.image().shape.channels, 1);
        EXPECT_EQ(boostOutcome.image().shape.channels, 3);
        EXPECT_EQ(grayOutcome.image().colorSpace, ColorSpaceUnspecified);
        EXPECT_EQ(boostOutcome.image().colorSpace, ColorSpaceUnspecified);
    }
}

TEST(Decolor, TakesPlanarPictures)
{
    const cv::Mat picture = noise(20, 30, CV_8UC3);
    const Outcome planar = succeed("Decolor", { planarImageOf(picture) });
    EXPECT_TRUE(
        sameBits(matrixOf(planar.image()), matrixOf(succeed("Decolor", { imageOf(picture) }).image())));
}

TEST(Decolor, BothRefuseTheSameAndSurviveFaults)
{
    for (const char* name : { "Decolor", "Color_Boost" }) {
        expectRefused(name, { ImagePointer() });
        expectRefused(name, { imageOf(noise(8, 8, CV_8U)) });
        expectRefused(name, { imageOf(noise(8, 8, CV_8UC4), ColorSpaceRGB) });
        expectRefused(name, { imageOf(noise(8, 8, CV_16UC3)) });
        expectRefused(name, { imageOf(noise(8, 8, CV_32FC3)) });
        expectRefused(name, { imageOf(noise(8, 8, CV_8UC3), ColorSpaceUnspecified) });
        expectRefused(name, { sequenceOf({ noise(8, 8, CV_8UC3), noise(8, 8, CV_8UC3) }) });
        expectRefused(name, { imageOf(cv::Mat(0, 8, CV_8UC3)) });
        expectSurvivesFaults(name, { planarImageOf(noise(8, 8, CV_8UC3)) });
    }
}

} // namespace miravex::test
