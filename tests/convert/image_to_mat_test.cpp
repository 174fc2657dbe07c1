#include "convert/image_to_mat.h"

#include "convert/pixel_types.h"
#include "host/services.h"
#include "tests/convert/recording_host.h"
#include "tests/support/host_check.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace miravex::test {

namespace {

using Calls = std::vector<std::string>;

/// 0, 1, 2, ...
std::vector<double> ramp(std::size_t count)
{
    std::vector<double> values(count);
    std::iota(values.begin(), values.end(), 0.0);
    return values;
}

cv::Mat untouched() { return (cv::Mat_<float>(1, 2) << 3, 4); }

constexpr PixelType allTypes[] = { PixelTypeBit, PixelTypeByte, PixelTypeBit16, PixelTypeReal32,
                                   PixelTypeReal };
constexpr int allDepths[] = { CV_8U, CV_16U, CV_32F, CV_64F };

} // namespace

TEST(PixelTypes, AnswerToDepthsByHand)
{
    EXPECT_EQ(depthOfPixelType(PixelTypeBit), 0);
    EXPECT_EQ(depthOfPixelType(PixelTypeByte), 0);
    EXPECT_EQ(depthOfPixelType(PixelTypeBit16), 2);
    EXPECT_EQ(depthOfPixelType(PixelTypeReal32), 5);
    EXPECT_EQ(depthOfPixelType(PixelTypeReal), 6);
    EXPECT_EQ(depthOfPixelType(-1), -1);
    EXPECT_EQ(depthOfPixelType(5), -1);
    EXPECT_EQ(pixelTypeOfDepth(CV_8U), 1);
    EXPECT_EQ(pixelTypeOfDepth(CV_16U), 2);
    EXPECT_EQ(pixelTypeOfDepth(CV_32F), 3);
    EXPECT_EQ(pixelTypeOfDepth(CV_64F), 4);
    for (const int depth : { CV_8S, CV_16S, CV_32S, 7, -1, 8 }) EXPECT_EQ(pixelTypeOfDepth(depth), -1);
}

TEST(ImageToMat, AsksItsQuestionsInOrder)
{
    RecordingHost host;
    const KImage image = host.own({ .rows = 2, .columns = 3, .samples = ramp(6) });
    cv::Mat out;
    ASSERT_TRUE(imageToMat(host.services, image, out, anyType));
    EXPECT_EQ(host.calls,
              (Calls { "GetPixelType", "GetChannels", "GetRowCount", "GetSliceCount", "GetColumnCount",
                       "GetRank", "GetByteData" }));
}

TEST(ImageToMat, ConvertsPlanarChannelsOnceAndFreesTheCopy)
{
    RecordingHost host;
    const KImage image =
        host.own({ .rows = 2, .columns = 3, .channels = 3, .interleaved = false, .samples = ramp(18) });
    cv::Mat out;
    ASSERT_TRUE(imageToMat(host.services, image, out, anyType));
    EXPECT_EQ(host.calls,
              (Calls { "GetPixelType", "GetChannels", "GetRowCount", "GetSliceCount", "GetColumnCount",
                       "IsInterleaved", "ConvertType 1 1", "GetRank", "GetByteData", "Free" }));
    EXPECT_EQ(host.freed, 1);
    EXPECT_EQ(out.data[0], 1); // the copy's samples, not the image's
}

TEST(ImageToMat, AsksForTheMatchingTypeAndLayout)
{
    RecordingHost host;
    for (const PixelType type : allTypes) {
        for (const int depth : allDepths) {
            for (int64_t channels = 1; channels <= 5; ++channels) {
                for (const bool interleaved : { false, true }) {
                    host.calls.clear();
                    const KImage image = host.own(
                        { .pixelType = type,
                          .rows = 2,
                          .columns = 2,
                          .channels = channels,
                          .interleaved = interleaved,
                          .samples = std::vector<double>(static_cast<std::size_t>(4 * channels), 0) });
                    cv::Mat out;
                    ASSERT_TRUE(imageToMat(host.services, image, out, depth));
                    EXPECT_EQ(out.type(), CV_MAKETYPE(depth, static_cast<int>(channels)));

                    const PixelType matching = pixelTypeOfDepth(depth);
                    const bool fits = type == matching && (channels == 1 || interleaved);
                    const auto conversion =
                        "ConvertType " + std::to_string(matching) + (channels >= 2 ? " 1" : " 0");
                    EXPECT_EQ(std::ranges::count(host.calls, conversion), fits ? 0 : 1)
                        << type << " as " << depth << " with " << channels << " channels";
                    EXPECT_EQ(std::ranges::count(host.calls, "Free"), fits ? 0 : 1);
                    EXPECT_TRUE(host.alive.empty());
                }
            }
        }
    }
}

TEST(ImageToMat, RefusesUnknownTypesAndDepthsAtOnce)
{
    RecordingHost host;
    for (const auto& [type, depth] : std::vector<std::pair<int, int>> { { -1, anyType },
                                                                        { 5, anyType },
                                                                        { PixelTypeByte, CV_8S },
                                                                        { PixelTypeByte, CV_16S },
                                                                        { PixelTypeByte, CV_32S },
                                                                        { PixelTypeByte, 7 },
                                                                        { PixelTypeByte, -2 } }) {
        host.calls.clear();
        cv::Mat out = untouched();
        const KImage image = host.own({ .pixelType = type, .samples = { 1 } });
        EXPECT_FALSE(imageToMat(host.services, image, out, depth)) << type << " as " << depth;
        EXPECT_TRUE(sameBits(out, untouched()));
        EXPECT_EQ(host.calls.size(), 5U); // the questions alone
    }
}

TEST(ImageToMat, EmptiesTheMatrixOfOtherRanks)
{
    RecordingHost host;
    for (const int64_t rank : { int64_t { 0 }, int64_t { 1 }, int64_t { 4 }, int64_t { -2 } }) {
        cv::Mat out = untouched();
        EXPECT_FALSE(imageToMat(host.services, host.own({ .rank = rank, .samples = { 1 } }), out, anyType));
        EXPECT_TRUE(out.empty());
    }
    // A converted copy is freed then, too.
    cv::Mat out = untouched();
    const KImage real = host.own({ .pixelType = PixelTypeReal, .rank = 1, .samples = { 1 } });
    EXPECT_FALSE(imageToMat(host.services, real, out, CV_8U));
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(host.freed, 1);
    EXPECT_TRUE(host.alive.empty());
}

TEST(ImageToMat, LooksAtTheCopyForRank2AndAtTheImageForRank3)
{
    RecordingHost host;
    const FakeImage planar {
        .pixelType = PixelTypeReal, .rows = 2, .columns = 3, .slices = 4, .rank = 3, .samples = ramp(24)
    };
    cv::Mat out;
    host.convertedRank = 7; // the copy's other ranks do not matter
    ASSERT_TRUE(imageToMat(host.services, host.own(planar), out, CV_8U));
    EXPECT_EQ(out.dims, 3);
    host.convertedRank = 2; // the copy says 2: one slice
    ASSERT_TRUE(imageToMat(host.services, host.own(planar), out, CV_8U));
    EXPECT_EQ(out.dims, 2);
    EXPECT_EQ(out.size(), cv::Size(3, 2));
}

TEST(ImageToMat, FailsWithoutConversionOrSamples)
{
    RecordingHost host;
    const FakeImage real { .pixelType = PixelTypeReal, .samples = { 1 } };
    cv::Mat out = untouched();
    host.converts = false;
    EXPECT_FALSE(imageToMat(host.services, host.own(real), out, CV_8U));
    EXPECT_EQ(host.freed, 0);

    host.converts = true;
    host.givesSamples = false;
    EXPECT_FALSE(imageToMat(host.services, host.own(real), out, CV_8U));
    EXPECT_FALSE(imageToMat(host.services, host.own(real), out, CV_64F));
    EXPECT_TRUE(out.empty());
    EXPECT_TRUE(host.alive.empty());
}

TEST(ImageToMat, DoesNotFreeAnImageThatWasConvertedInPlace)
{
    RecordingHost host;
    host.convertsInPlace = true;
    const KImage image = host.own({ .rows = 2, .columns = 3, .samples = ramp(6) });
    cv::Mat out;
    ASSERT_TRUE(imageToMat(host.services, image, out, CV_32F));
    EXPECT_EQ(out.at<float>(1, 2), 5);
    EXPECT_EQ(std::ranges::count(host.calls, "Free"), 0);
}

TEST(ImageToMat, RefusesSizesThatNoMatrixHas)
{
    RecordingHost host;
    const int64_t tooMany = int64_t { 1 } << 31;
    for (const FakeImage& image :
         { FakeImage { .rows = tooMany }, FakeImage { .columns = tooMany }, FakeImage { .rows = -1 },
           FakeImage { .channels = 0 }, FakeImage { .channels = 513, .interleaved = true },
           FakeImage { .slices = tooMany, .rank = 3 }, FakeImage { .slices = -1, .rank = 3 },
           // The product wraps around in 64 bits.
           FakeImage { .pixelType = PixelTypeReal,
                       .rows = int64_t { 1 } << 30,
                       .columns = int64_t { 1 } << 30,
                       .channels = 512,
                       .interleaved = true } }) {
        cv::Mat out = untouched();
        EXPECT_FALSE(imageToMat(host.services, host.own(image), out, anyType));
        EXPECT_TRUE(out.empty());
    }
    // What a 2D image says of its slices does not matter.
    cv::Mat out;
    EXPECT_TRUE(imageToMat(host.services, host.own({ .slices = -1, .samples = { 5 } }), out, anyType));
}

TEST(ImageToMat, TakesEmptyImagesWithoutSamples)
{
    RecordingHost host;
    host.givesSamples = false;
    cv::Mat out;
    EXPECT_TRUE(imageToMat(host.services, host.own({ .rows = 0, .columns = 7 }), out, anyType));
    EXPECT_EQ(out.size(), cv::Size(7, 0));
}

TEST(ImageToMat, MakesBytesOfBits) // the embedded host's bits become 0 and 255
{
    const cv::Mat picture = (cv::Mat_<uchar>(2, 3) << 0, 1, 0, 7, 0, 9);
    const Ledger ledger;
    cv::Mat out;
    ASSERT_TRUE(imageToMat(*hostServices().imageServices, bitImageOf(picture).get(), out, anyType));
    EXPECT_TRUE(sameBits(out, (cv::Mat_<uchar>(2, 3) << 0, 255, 0, 255, 0, 255)));
}

TEST(ImageToMat, KeepsSamplesOfEveryTypeChannelsAndLayout)
{
    Ledger ledger;
    for (const int depth : allDepths) {
        for (int channels = 1; channels <= 5; ++channels) {
            const cv::Mat picture = noise(5, 7, CV_MAKETYPE(depth, channels));
            for (const ImagePointer& image : { imageOf(picture), planarImageOf(picture) }) {
                cv::Mat out;
                ASSERT_TRUE(imageToMat(*hostServices().imageServices, image.get(), out, anyType));
                EXPECT_TRUE(sameBits(out, picture)) << depth << " with " << channels << " channels";
                EXPECT_NE(out.data, reinterpret_cast<uchar*>(image->block.data()));
            }
        }
    }
    EXPECT_TRUE(ledger.close().clean());
}

TEST(ImageToMat, KeepsA3DImageInTheHostsOrder)
{
    RecordingHost host;
    const KImage image =
        host.own({ .rows = 10, .columns = 20, .slices = 4, .rank = 3, .samples = ramp(800) });
    cv::Mat out;
    ASSERT_TRUE(imageToMat(host.services, image, out, anyType));
    ASSERT_EQ(out.dims, 3);
    EXPECT_EQ(out.size[0], 10);
    EXPECT_EQ(out.size[1], 20);
    EXPECT_EQ(out.size[2], 4);
    EXPECT_EQ(std::memcmp(out.data, RecordingHost::of(image).bytes.data(), 800), 0);
}

TEST(ImageToMat, LetsTheHostConvertReals) // by the embedded host's rules: 1.0 is 255
{
    const cv::Mat reals = (cv::Mat_<double>(1, 4) << 0, 0.5, 1, 2);
    const Ledger ledger;
    const ImageServices& images = *hostServices().imageServices;
    cv::Mat out;
    ASSERT_TRUE(imageToMat(images, imageOf(reals).get(), out, CV_32F));
    EXPECT_TRUE(sameBits(out, (cv::Mat_<float>(1, 4) << 0, 0.5F, 1, 2)));
    ASSERT_TRUE(imageToMat(images, imageOf(reals).get(), out, CV_8U));
    EXPECT_TRUE(sameBits(out, (cv::Mat_<uchar>(1, 4) << 0, 128, 255, 255)));
}

} // namespace miravex::test
