#include "convert/mat_to_image.h"

#include "convert/image_to_mat.h"
#include "host/services.h"
#include "tests/convert/recording_host.h"
#include "tests/support/host_check.h"

#include <cstring>

namespace miravex::test {

namespace {

using Calls = std::vector<std::string>;

/// The image that the embedded host gets of a matrix, or null after a refusal that left *out alone.
ImagePointer imageFrom(const cv::Mat& matrix, int pixelType, int colorSpace = ColorSpaceRGB)
{
    Ledger ledger;
    const auto before = reinterpret_cast<KImage>(std::uintptr_t { 8 });
    KImage out = before;
    ImagePointer image;
    if (matToImage(*hostServices().imageServices, matrix, &out, pixelType, colorSpace))
        image = ledger.takeImage(out);
    else
        EXPECT_EQ(out, before);
    EXPECT_TRUE(ledger.close().clean());
    return image;
}

template <typename Sample> std::vector<Sample> samplesOf(const ImagePointer& image)
{
    const auto samples = image->samples<Sample>();
    return { samples.begin(), samples.end() };
}

} // namespace

TEST(MatToImage, FollowsTheDepthWhenNothingIsAsked)
{
    const cv::Mat picture = noise(4, 6, CV_8UC3);
    EXPECT_EQ(imageFrom(picture, anyType)->pixelType, PixelTypeByte);
    EXPECT_EQ(imageFrom(noise(4, 6, CV_16U), anyType)->pixelType, PixelTypeBit16);
    EXPECT_EQ(imageFrom(noise(4, 6, CV_32F), anyType)->pixelType, PixelTypeReal32);
    EXPECT_EQ(imageFrom(noise(4, 6, CV_64F), anyType)->pixelType, PixelTypeReal);
    for (const int depth : { CV_8S, CV_16S, CV_32S })
        EXPECT_FALSE(imageFrom(cv::Mat::zeros(4, 6, depth), anyType)) << depth;
}

TEST(MatToImage, ScalesByTheTable) // by hand
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

TEST(MatToImage, DoesNotRescaleRealsOnTheWayDown) // by hand
{
    const cv::Mat reals = (cv::Mat_<float>(1, 5) << 0.6F, 300, -4, 70000, 0.4F);
    EXPECT_EQ(samplesOf<uint8_t>(imageFrom(reals, PixelTypeByte)),
              (std::vector<uint8_t> { 1, 255, 0, 255, 0 }));
    EXPECT_EQ(samplesOf<uint16_t>(imageFrom(reals, PixelTypeBit16)),
              (std::vector<uint16_t> { 1, 300, 0, 65535, 0 }));
}

TEST(MatToImage, ScalesBytesUpwards) // by hand
{
    const cv::Mat bytes = (cv::Mat_<uchar>(1, 3) << 0, 1, 255);
    EXPECT_EQ(samplesOf<uint16_t>(imageFrom(bytes, PixelTypeBit16)),
              (std::vector<uint16_t> { 0, 255, 65025 }));
    EXPECT_EQ(samplesOf<double>(imageFrom(bytes, PixelTypeReal)),
              (std::vector<double> { 0, 0.00392156862745098, 1 }));
    const cv::Mat words = (cv::Mat_<ushort>(1, 2) << 13107, 65535);
    EXPECT_EQ(samplesOf<float>(imageFrom(words, PixelTypeReal32)), (std::vector<float> { 0.2F, 1 }));
}

TEST(MatToImage, MakesBitsOfNonzeroBytes)
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

TEST(MatToImage, RefusesUnknownPixelTypes)
{
    for (const int type : { -2, 5, 100 }) EXPECT_FALSE(imageFrom(noise(2, 2, CV_8U), type));
}

TEST(MatToImage, CopiesRegionsOfLargerMatrices)
{
    for (const int type : { CV_8UC1, CV_8UC3, CV_32FC(5) }) {
        const cv::Mat region = noise(20, 30, type)(cv::Rect(3, 4, 11, 7));
        ASSERT_FALSE(region.isContinuous());
        EXPECT_TRUE(sameBits(matrixOf(*imageFrom(region, anyType)), region));
    }
    const cv::Mat region = noise(20, 30, CV_8UC3)(cv::Rect(3, 4, 11, 7));
    EXPECT_TRUE(sameBits(matrixOf(*imageFrom(region, PixelTypeReal)),
                         matrixOf(*imageFrom(region.clone(), PixelTypeReal))));
}

TEST(MatToImage, TellsTheHostSizesAndLayout)
{
    RecordingHost host;
    KImage out = nullptr;
    ASSERT_TRUE(matToImage(host.services, noise(10, 20, CV_16U), &out, anyType, 5));
    EXPECT_EQ(host.calls, (Calls { "New2D 20 10 1 2 5 0", "GetBit16Data" }));
    host.calls.clear();
    ASSERT_TRUE(matToImage(host.services, noise(10, 20, CV_8UC2), &out, PixelTypeBit, 5));
    EXPECT_EQ(host.calls, (Calls { "New2D 20 10 2 0 8 1", "GetBitData" }));
    host.calls.clear();
    const int sizes[] = { 10, 20, 4 };
    ASSERT_TRUE(matToImage(host.services, cv::Mat(3, sizes, CV_32FC3, cv::Scalar::all(1)), &out, anyType, 1));
    EXPECT_EQ(host.calls, (Calls { "New3D 4 20 10 3 3 1 1", "GetReal32Data" }));
}

TEST(MatToImage, Mirrors3DImages) // through both converters and back: unchanged
{
    for (const int type : { CV_8UC1, CV_16UC3, CV_32FC4, CV_64FC(5) }) {
        const std::vector<cv::Mat> frames { noise(6, 5, type, 1), noise(6, 5, type, 2),
                                            noise(6, 5, type, 3) };
        const ImagePointer source = sequenceOf(frames);
        const Ledger ledger;
        cv::Mat matrix;
        ASSERT_TRUE(imageToMat(*hostServices().imageServices, source.get(), matrix, anyType));
        const ImagePointer back = imageFrom(matrix, anyType);
        EXPECT_EQ(back->shape, source->shape);
        EXPECT_EQ(std::memcmp(back->block.data(), source->block.data(), source->block.size()), 0) << type;
    }
}

TEST(MatToImage, ConvertsSamplesOf3DMatrices)
{
    const int sizes[] = { 3, 4, 2 };
    const cv::Mat matrix(3, sizes, CV_8UC2, cv::Scalar::all(51));
    EXPECT_EQ(samplesOf<double>(imageFrom(matrix, PixelTypeReal)), std::vector<double>(48, 51 * (1 / 255.0)));
}

TEST(MatToImage, RefusesOtherNumbersOfDimensions)
{
    const int sizes[] = { 2, 2, 2, 2 };
    EXPECT_FALSE(imageFrom(cv::Mat(4, sizes, CV_8U, cv::Scalar(0)), anyType));
    EXPECT_FALSE(imageFrom(cv::Mat(), anyType));
}

TEST(MatToImage, LeavesNothingBehindWhenTheHostRefuses)
{
    RecordingHost host;
    const auto before = reinterpret_cast<KImage>(std::uintptr_t { 8 });
    KImage out = before;
    host.creationStatus = 3;
    EXPECT_FALSE(matToImage(host.services, noise(2, 2, CV_8U), &out, anyType, 0));
    host.creationStatus = 0;
    host.givesSamples = false;
    EXPECT_FALSE(matToImage(host.services, noise(2, 2, CV_8U), &out, anyType, 0));
    EXPECT_EQ(host.freed, 1);
    EXPECT_TRUE(host.alive.empty());
    EXPECT_EQ(out, before);
}

TEST(MatToImage, PassesEmptyMatricesOn)
{
    RecordingHost host;
    host.givesSamples = false;
    KImage out = nullptr;
    EXPECT_TRUE(matToImage(host.services, cv::Mat(0, 7, CV_8U), &out, anyType, 0));
    EXPECT_EQ(host.calls.front(), "New2D 7 0 1 1 0 0");
}

} // namespace miravex::test
