#include "convert/result_image.h"

#include "host/services.h"
#include "tests/convert/recording_host.h"
#include "tests/support/host_check.h"

#include <opencv2/imgproc.hpp>

namespace miravex::test {

namespace {

using Calls = std::vector<std::string>;

const ImageServices& images() { return *hostServices().imageServices; }

/// The image that `made` hands over.
template <typename Made> ImagePointer released(Ledger& ledger, Made& made)
{
    KImage image = nullptr;
    EXPECT_EQ(made.release(&image), StatusOk);
    return ledger.takeImage(image);
}

/// The image of a matrix that was written where OpenCV writes or, `elsewhere`, left in its own memory; null
/// when the host was not asked for one.
ImagePointer imageFrom(const cv::Mat& matrix, int pixelType, int colorSpace = ColorSpaceRGB,
                       bool elsewhere = false)
{
    Ledger ledger;
    ImagePointer image;
    ResultImage result(images(), matrix.size(), matrix.type(), pixelType, colorSpace);
    if (result) {
        if (elsewhere)
            *result = matrix;
        else
            matrix.copyTo(*result);
        image = released(ledger, result);
    }
    EXPECT_TRUE(ledger.close().clean());
    return image;
}

template <typename Sample> std::vector<Sample> samplesOf(const ImagePointer& image)
{
    const auto samples = image->samples<Sample>();
    return { samples.begin(), samples.end() };
}

std::vector<cv::Mat> framesOf(int type, int count, int rows = 6, int columns = 5)
{
    std::vector<cv::Mat> frames;
    for (int i = 0; i < count; ++i)
        frames.push_back(noise(rows, columns, type, static_cast<uint64_t>(i) + 1));
    return frames;
}

} // namespace

TEST(ResultImage, FollowsTheDepthWhenNothingIsAsked)
{
    const cv::Mat picture = noise(4, 6, CV_8UC3);
    EXPECT_EQ(imageFrom(picture, anyType)->pixelType, PixelTypeByte);
    EXPECT_EQ(imageFrom(noise(4, 6, CV_16U), anyType)->pixelType, PixelTypeBit16);
    EXPECT_EQ(imageFrom(noise(4, 6, CV_32F), anyType)->pixelType, PixelTypeReal32);
    EXPECT_EQ(imageFrom(noise(4, 6, CV_64F), anyType)->pixelType, PixelTypeReal);
    for (const int depth : { CV_8S, CV_16S, CV_32S })
        EXPECT_FALSE(imageFrom(cv::Mat::zeros(4, 6, depth), anyType)) << depth;
}

TEST(ResultImage, ScalesByTheTable) // by hand
{
    struct Case {
        int depth;
        PixelType target;
        double factor;
    };
    for (const Case& c : std::vector<Case> {
             { CV_8U, PixelTypeByte, 1 },
             { CV_8U, PixelTypeBit16, 255 },
             { CV_8U, PixelTypeReal32, 1 / 255.0 },
             { CV_8U, PixelTypeReal, 1 / 255.0 },
             { CV_16U, PixelTypeByte, 1 },
             { CV_16U, PixelTypeBit16, 1 },
             { CV_16U, PixelTypeReal32, 1 / 65535.0 },
             { CV_16U, PixelTypeReal, 1 / 65535.0 },
             { CV_32F, PixelTypeByte, 1 },
             { CV_32F, PixelTypeBit16, 1 },
             { CV_32F, PixelTypeReal32, 1 },
             { CV_32F, PixelTypeReal, 1 },
             { CV_64F, PixelTypeByte, 1 },
             { CV_64F, PixelTypeBit16, 1 },
             { CV_64F, PixelTypeReal32, 1 },
             { CV_64F, PixelTypeReal, 1 },
             { CV_8S, PixelTypeBit16, 1 },
             { CV_16S, PixelTypeReal, 1 },
             { CV_32S, PixelTypeReal32, 1 },
             { CV_32S, PixelTypeByte, 1 },
         }) {
        EXPECT_EQ(scaleFactor(c.depth, c.target), c.factor) << c.depth << " to " << c.target;
        for (int channels = 1; channels <= 5; ++channels) {
            const cv::Mat hundreds = cv::Mat(2, 3 * channels, c.depth, cv::Scalar(100)).reshape(channels);
            const ImagePointer image = imageFrom(hundreds, c.target);
            ASSERT_TRUE(image) << c.depth << " to " << c.target;
            cv::Mat all;
            matrixOf(*image).reshape(1).convertTo(all, CV_64F);
            // OpenCV multiplies floats by the factor as a float.
            const double value =
                c.target == PixelTypeReal32 ? 100.0F * static_cast<float>(c.factor) : 100 * c.factor;
            EXPECT_TRUE(sameBits(all, cv::Mat(2, 3 * channels, CV_64F, cv::Scalar(value))))
                << c.depth << " to " << c.target << " with " << channels << " channels";
            EXPECT_EQ(image->interleaved, channels >= 2);
        }
    }
}

TEST(ResultImage, DoesNotRescaleRealsOnTheWayDown) // by hand
{
    const cv::Mat reals = (cv::Mat_<float>(1, 5) << 0.6F, 300, -4, 70000, 0.4F);
    EXPECT_EQ(samplesOf<uint8_t>(imageFrom(reals, PixelTypeByte)),
              (std::vector<uint8_t> { 1, 255, 0, 255, 0 }));
    EXPECT_EQ(samplesOf<uint16_t>(imageFrom(reals, PixelTypeBit16)),
              (std::vector<uint16_t> { 1, 300, 0, 65535, 0 }));
}

TEST(ResultImage, ScalesBytesUpwards) // by hand
{
    const cv::Mat bytes = (cv::Mat_<uchar>(1, 3) << 0, 1, 255);
    EXPECT_EQ(samplesOf<uint16_t>(imageFrom(bytes, PixelTypeBit16)),
              (std::vector<uint16_t> { 0, 255, 65025 }));
    EXPECT_EQ(samplesOf<double>(imageFrom(bytes, PixelTypeReal)),
              (std::vector<double> { 0, 0.00392156862745098, 1 }));
    const cv::Mat words = (cv::Mat_<ushort>(1, 2) << 13107, 65535);
    EXPECT_EQ(samplesOf<float>(imageFrom(words, PixelTypeReal32)), (std::vector<float> { 0.2F, 1 }));
}

TEST(ResultImage, MakesBitsOfNonzeroBytes)
{
    const cv::Mat bytes = (cv::Mat_<uchar>(2, 2) << 0, 1, 128, 255);
    const ImagePointer bits = imageFrom(bytes, PixelTypeBit, ColorSpaceGray);
    EXPECT_EQ(samplesOf<uint8_t>(bits), (std::vector<uint8_t> { 0, 1, 1, 1 }));
    EXPECT_EQ(bits->colorSpace, ColorSpaceUnspecified);

    const cv::Mat colours(1, 2, CV_8UC3, cv::Scalar(0, 5, 0));
    EXPECT_EQ(samplesOf<uint8_t>(imageFrom(colours, PixelTypeBit)),
              (std::vector<uint8_t> { 0, 1, 0, 0, 1, 0 }));
    const cv::Mat signedBytes = (cv::Mat_<schar>(1, 3) << -128, 0, -1);
    EXPECT_EQ(samplesOf<uint8_t>(imageFrom(signedBytes, PixelTypeBit)), (std::vector<uint8_t> { 1, 0, 1 }));
    EXPECT_EQ(samplesOf<uint8_t>(imageFrom(noise(9, 9, CV_8U)(cv::Rect(1, 1, 2, 2)), PixelTypeBit)),
              (std::vector<uint8_t> { 1, 1, 1, 1 }));

    for (const int depth : { CV_16U, CV_16S, CV_32S, CV_32F, CV_64F })
        EXPECT_FALSE(imageFrom(cv::Mat::ones(2, 2, depth), PixelTypeBit)) << depth;
}

TEST(ResultImage, RefusesUnknownPixelTypes)
{
    for (const int type : { -2, 5, 100 }) EXPECT_FALSE(imageFrom(noise(2, 2, CV_8U), type));
}

TEST(ResultImage, CopiesRegionsOfLargerMatrices)
{
    for (const int type : { CV_8UC1, CV_8UC3, CV_32FC(5) }) {
        const cv::Mat region = noise(20, 30, type)(cv::Rect(3, 4, 11, 7));
        ASSERT_FALSE(region.isContinuous());
        EXPECT_TRUE(sameBits(matrixOf(*imageFrom(region, anyType, ColorSpaceRGB, true)), region));
    }
    const cv::Mat region = noise(20, 30, CV_8UC3)(cv::Rect(3, 4, 11, 7));
    EXPECT_TRUE(sameBits(matrixOf(*imageFrom(region, PixelTypeReal)),
                         matrixOf(*imageFrom(region.clone(), PixelTypeReal))));
}

TEST(ResultImage, TellsTheHostSizesAndLayout)
{
    RecordingHost host;
    EXPECT_TRUE(ResultImage(host.services, cv::Size(20, 10), CV_16U, anyType, 5));
    EXPECT_EQ(host.calls, (Calls { "New2D 20 10 1 2 5 0", "GetBit16Data", "Free" }));
    host.calls.clear();
    EXPECT_TRUE(ResultImage(host.services, cv::Size(20, 10), CV_8UC2, PixelTypeBit, 5));
    EXPECT_EQ(host.calls, (Calls { "New2D 20 10 2 0 8 1", "GetBitData", "Free" }));
}

TEST(ResultImage, LetsOpenCvWriteIntoTheHostsSamples)
{
    Ledger ledger;
    const cv::Mat picture = noise(6, 7, CV_8UC3);
    ResultImage result(images(), picture.size(), picture.type(), anyType, ColorSpaceRGB);
    ASSERT_TRUE(result);
    const uchar* before = result->data;
    ASSERT_NE(before, nullptr);
    cv::flip(picture, *result, 0);
    EXPECT_EQ(result->data, before);
    const ImagePointer image = released(ledger, result);
    cv::Mat flipped;
    cv::flip(picture, flipped, 0);
    EXPECT_EQ(image->as<uchar>(), before);
    EXPECT_TRUE(sameBits(matrixOf(*image), flipped));
    EXPECT_EQ(image->colorSpace, ColorSpaceRGB);
    EXPECT_TRUE(ledger.close().clean());
}

TEST(ResultImage, CopiesWhatOpenCvPutElsewhere)
{
    Ledger ledger;
    ResultImage result(images(), cv::Size(3, 2), CV_8U);
    ASSERT_TRUE(result);
    *result = cv::Mat(2, 3, CV_8U, cv::Scalar(9));
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
            *result = left;
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

TEST(ResultImage, TakesMatricesWithoutPixels)
{
    RecordingHost host;
    host.givesSamples = false;
    ResultImage result(host.services, cv::Size(7, 0), CV_8U);
    ASSERT_TRUE(result);
    result->create(0, 7, CV_8U);
    KImage image = nullptr;
    EXPECT_EQ(result.release(&image), StatusOk);
    EXPECT_EQ(host.calls.front(), "New2D 7 0 1 1 8 0");
}

TEST(ResultSlices, StackFrames)
{
    for (const int type : { CV_8UC1, CV_16UC3, CV_32FC1, CV_64FC(5) }) {
        for (const bool elsewhere : { false, true }) {
            const std::vector<cv::Mat> frames = framesOf(type, 3, 10, 20);
            Ledger ledger;
            ResultSlices result(images(), 3, cv::Size(20, 10), type);
            ASSERT_TRUE(result);
            for (std::size_t i = 0; i < 3; ++i)
                if (elsewhere)
                    (*result)[i] = frames[i];
                else
                    frames[i].copyTo((*result)[i]);
            const ImagePointer image = released(ledger, result);
            EXPECT_EQ(
                image->shape,
                (ImageShape { .rows = 10, .columns = 20, .channels = frames[0].channels(), .slices = 3 }));
            EXPECT_EQ(image->colorSpace, ColorSpaceUnspecified);
            EXPECT_EQ(image->interleaved, frames[0].channels() >= 2);
            for (int64_t i = 0; i < 3; ++i)
                EXPECT_TRUE(sameBits(sliceOf(*image, i), frames[static_cast<std::size_t>(i)]));
            EXPECT_TRUE(ledger.close().clean());
        }
    }
}

TEST(ResultSlices, CopyRegionsOfLargerMatrices)
{
    const cv::Mat whole = noise(12, 12, CV_16UC3);
    const std::vector<cv::Mat> frames { whole(cv::Rect(1, 2, 4, 5)), whole(cv::Rect(6, 3, 4, 5)) };
    Ledger ledger;
    ResultSlices result(images(), 2, cv::Size(4, 5), CV_16UC3);
    *result = frames;
    const ImagePointer image = released(ledger, result);
    EXPECT_TRUE(sameBits(sliceOf(*image, 0), frames[0]));
    EXPECT_TRUE(sameBits(sliceOf(*image, 1), frames[1]));
}

TEST(ResultSlices, ThrowWhenOpenCvLeftOthers)
{
    const cv::Mat right(4, 4, CV_8U, cv::Scalar(1));
    for (const std::vector<cv::Mat>& left : { std::vector<cv::Mat> { right },
                                              { right, right, right },
                                              { right, cv::Mat(4, 5, CV_8U) },
                                              { right, cv::Mat(4, 4, CV_8UC3) },
                                              { right, cv::Mat() } }) {
        RecordingHost host;
        KImage image = nullptr;
        {
            ResultSlices result(host.services, 2, right.size(), right.type());
            *result = left;
            EXPECT_THROW(static_cast<void>(result.release(&image)), cv::Exception);
        }
        EXPECT_EQ(image, nullptr);
        EXPECT_TRUE(host.alive.empty());
    }
}

TEST(ResultSlices, AreRefusedByHostsAndForImpossibleTypes)
{
    RecordingHost host;
    EXPECT_FALSE(ResultSlices(host.services, 2, cv::Size(3, 2), CV_32S));
    EXPECT_TRUE(host.calls.empty());
    host.creationStatus = 1;
    EXPECT_FALSE(ResultSlices(host.services, 2, cv::Size(3, 2), CV_8U));
    host.creationStatus = 0;
    host.givesSamples = false;
    EXPECT_FALSE(ResultSlices(host.services, 2, cv::Size(3, 2), CV_8U));
    EXPECT_TRUE(host.alive.empty());
}

} // namespace miravex::test
