#include "tests/support/host_check.h"
#include "tools/miravex/fit.h"

#include <opencv2/imgproc.hpp>

namespace miravex::test {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using tool::fitted;
using tool::Notes;

namespace {

using namespace records;

constexpr Argument grayOnly = image("image", "").channels({ 1 });
constexpr Argument graySpace = image("image", "").colors({ ColorSpaceGray });
constexpr Argument colorOnly = image("image", "").channels({ 3 });
constexpr Argument bytesOnly = image("image", "").pixels({ PixelTypeByte });
constexpr Argument bitsOnly = image("mask", "").pixels({ PixelTypeBit });
constexpr Argument frames = sequence("frames", "");
constexpr Argument anything = image("image", "").rank(0);

} // namespace

TEST(Fit, LeavesAloneWhatIsAccepted)
{
    Notes notes;
    const ImagePointer picture = imageOf(noise(5, 6, CV_32FC4));
    EXPECT_EQ(fitted(picture, anything, notes), picture);
    const ImagePointer sequence = sequenceOf({ noise(5, 6, CV_8U), noise(5, 6, CV_8U) });
    EXPECT_EQ(fitted(sequence, anything, notes), sequence);
    EXPECT_EQ(fitted(sequence, frames, notes), sequence);
    EXPECT_THAT(notes, IsEmpty());
}

TEST(Fit, MakesColoursGray) // OpenCV called directly; doubles against the weights
{
    for (const int depth : { CV_8U, CV_16U, CV_32F }) {
        for (const int channels : { 3, 4 }) {
            Notes notes;
            const cv::Mat picture = noise(5, 6, CV_MAKETYPE(depth, channels));
            cv::Mat expected;
            cv::cvtColor(picture, expected, channels == 3 ? cv::COLOR_RGB2GRAY : cv::COLOR_RGBA2GRAY);
            EXPECT_TRUE(sameBits(matrixOf(*fitted(imageOf(picture), grayOnly, notes)), expected));
            EXPECT_THAT(notes, ElementsAre(HasSubstr("gray")));
        }
    }
    Notes notes;
    const cv::Mat pixel(1, 1, CV_64FC3, cv::Scalar(1, 0.5, 0.25));
    const ImagePointer gray = fitted(imageOf(pixel), graySpace, notes);
    EXPECT_EQ(gray->colorSpace, ColorSpaceGray);
    EXPECT_DOUBLE_EQ(gray->samples<double>()[0], 0.299 + 0.587 * 0.5 + 0.114 * 0.25);
}

TEST(Fit, MakesGrayColoursAndDropsAlpha)
{
    Notes notes;
    const cv::Mat gray = (cv::Mat_<uchar>(1, 2) << 7, 9);
    EXPECT_THAT(fitted(imageOf(gray), colorOnly, notes)->samples<uint8_t>(), ElementsAre(7, 7, 7, 9, 9, 9));
    EXPECT_THAT(notes, IsEmpty());
    const cv::Mat alpha(1, 1, CV_8UC4, cv::Scalar(1, 2, 3, 4));
    EXPECT_THAT(fitted(imageOf(alpha), colorOnly, notes)->samples<uint8_t>(), ElementsAre(1, 2, 3));
    EXPECT_THAT(fitted(planarImageOf(alpha), colorOnly, notes)->samples<uint8_t>(), ElementsAre(1, 2, 3));
    EXPECT_THAT(notes, ElementsAre(HasSubstr("alpha"), HasSubstr("alpha")));
}

TEST(Fit, ConvertsSamples)
{
    Notes notes;
    const cv::Mat reals = (cv::Mat_<float>(1, 3) << 0.0F, 0.5F, 2.0F);
    EXPECT_THAT(fitted(imageOf(reals), bytesOnly, notes)->samples<uint8_t>(), ElementsAre(0, 128, 255));
    EXPECT_THAT(notes, ElementsAre(HasSubstr("real32")));
    const cv::Mat bytes = (cv::Mat_<uchar>(1, 3) << 0, 100, 255);
    const ImagePointer bits = fitted(imageOf(bytes), bitsOnly, notes);
    EXPECT_EQ(bits->pixelType, PixelTypeBit);
    EXPECT_THAT(bits->samples<uint8_t>(), ElementsAre(0, 0, 1));
}

TEST(Fit, ChangesRank)
{
    Notes notes;
    EXPECT_EQ(fitted(imageOf(noise(5, 6, CV_8U)), frames, notes)->shape.slices, 1);
    EXPECT_THAT(notes, IsEmpty());
    const cv::Mat first = noise(5, 6, CV_8U, 1);
    const ImagePointer still = fitted(sequenceOf({ first, noise(5, 6, CV_8U, 2) }), grayOnly, notes);
    EXPECT_EQ(still->rank(), 2);
    EXPECT_TRUE(sameBits(matrixOf(*still), first));
    EXPECT_THAT(notes, ElementsAre(HasSubstr("first frame")));
}

} // namespace miravex::test
