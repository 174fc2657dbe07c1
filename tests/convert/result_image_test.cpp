#include "convert/result_image.h"

#include "convert/mat_to_image.h"
#include "host/services.h"
#include "tests/convert/recording_host.h"
#include "tests/support/host_check.h"

#include <opencv2/imgproc.hpp>

namespace miravex::test {

// Samples are compared with those that matToImage() makes of the same matrix, which has tests of its own.

namespace {

const ImageServices& images() { return *hostServices().imageServices; }

/// The image that `made` hands over.
ImagePointer released(Ledger& ledger, ResultImage& made)
{
    KImage image = nullptr;
    EXPECT_EQ(made.release(&image), StatusOk);
    return ledger.takeImage(image);
}

} // namespace

TEST(ResultImage, LetsOpenCvWriteIntoTheHostsSamples)
{
    Ledger ledger;
    const cv::Mat picture = noise(6, 7, CV_8UC3);
    ResultImage result(images(), picture.size(), picture.type(), anyType, ColorSpaceRGB);
    ASSERT_TRUE(result);
    const uchar* before = result.matrix().data;
    ASSERT_NE(before, nullptr);
    cv::flip(picture, result.matrix(), 0);
    EXPECT_EQ(result.matrix().data, before);
    const ImagePointer image = released(ledger, result);
    cv::Mat flipped;
    cv::flip(picture, flipped, 0);
    EXPECT_EQ(image->as<uchar>(), before);
    EXPECT_TRUE(sameBits(matrixOf(*image), flipped));
    EXPECT_EQ(image->colorSpace, ColorSpaceRGB);
    EXPECT_TRUE(ledger.close().clean());
}

TEST(ResultImage, ScalesAsMatToImageDoesForEveryTypeAndDepth)
{
    for (const int depth : { CV_8U, CV_16U, CV_32F, CV_64F }) {
        for (const int channels : { 1, 2, 3, 5 }) {
            for (const PixelType type :
                 { PixelTypeBit, PixelTypeByte, PixelTypeBit16, PixelTypeReal32, PixelTypeReal }) {
                const cv::Mat picture = noise(4, 5, CV_MAKETYPE(depth, channels));
                Ledger ledger;
                KImage expected = nullptr;
                const bool possible = matToImage(images(), picture, &expected, type, 7);
                ResultImage result(images(), picture.size(), picture.type(), type, 7);
                ASSERT_EQ(static_cast<bool>(result), possible) << depth << " as " << type;
                if (!possible) continue;
                picture.copyTo(result.matrix());
                const ImagePointer image = released(ledger, result), plain = ledger.takeImage(expected);
                EXPECT_TRUE(sameBits(matrixOf(*image), matrixOf(*plain))) << depth << " as " << type;
                EXPECT_EQ(image->colorSpace, plain->colorSpace);
                EXPECT_TRUE(ledger.close().clean());
            }
        }
    }
}

TEST(ResultImage, CopiesWhatOpenCvPutElsewhere)
{
    Ledger ledger;
    ResultImage result(images(), cv::Size(3, 2), CV_8U);
    ASSERT_TRUE(result);
    result.matrix() = cv::Mat(2, 3, CV_8U, cv::Scalar(9));
    EXPECT_TRUE(sameBits(matrixOf(*released(ledger, result)), cv::Mat(2, 3, CV_8U, cv::Scalar(9))));
    EXPECT_TRUE(ledger.close().clean());
}

TEST(ResultImage, ThrowsWhenOpenCvLeftAnotherSizeOrType)
{
    for (const cv::Mat& left : { cv::Mat(2, 4, CV_8U), cv::Mat(2, 3, CV_16U), cv::Mat() }) {
        RecordingHost host;
        KImage image = nullptr;
        {
            ResultImage result(host.services, cv::Size(3, 2), CV_8U);
            ASSERT_TRUE(result);
            result.matrix() = left;
            EXPECT_THROW(static_cast<void>(result.release(&image)), cv::Exception);
        }
        EXPECT_EQ(image, nullptr);
        EXPECT_TRUE(host.alive.empty()); // freed on the way out
        EXPECT_EQ(host.freed, 1);
    }
}

TEST(ResultImage, IsRefusedByHostsAndForImpossibleTypes)
{
    RecordingHost host;
    EXPECT_FALSE(ResultImage(host.services, cv::Size(3, 2), CV_32S));
    EXPECT_FALSE(ResultImage(host.services, cv::Size(3, 2), CV_32F, PixelTypeBit));
    EXPECT_TRUE(host.calls.empty());
    host.creationStatus = 1;
    EXPECT_FALSE(ResultImage(host.services, cv::Size(3, 2), CV_8U));
    host.creationStatus = 0;
    host.givesSamples = false;
    EXPECT_FALSE(ResultImage(host.services, cv::Size(3, 2), CV_8U));
    EXPECT_TRUE(host.alive.empty());
}

} // namespace miravex::test
