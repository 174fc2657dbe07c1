#include "convert/borrowed_mat.h"

#include "convert/pixel_types.h"
#include "host/services.h"
#include "tests/convert/recording_host.h"
#include "tests/support/host_check.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace miravex::test {

// What is lent is compared with the host's own samples, by address where nothing may be copied.

namespace {

using Calls = std::vector<std::string>;

/// 0, 1, 2, ...
std::vector<double> ramp(std::size_t count)
{
    std::vector<double> values(count);
    std::iota(values.begin(), values.end(), 0.0);
    return values;
}

FakeImage sequenceOfBytes(int64_t slices)
{
    return { .rows = 2,
             .columns = 3,
             .slices = slices,
             .rank = 3,
             .samples = ramp(static_cast<std::size_t>(6 * std::max<int64_t>(slices, 0))) };
}

/// Copies what is lent; false when nothing is.
bool lent(const ImageServices& images, KImage image, cv::Mat& copy, int depth)
{
    const BorrowedMat matrix(images, image, depth);
    if (!matrix) return false;
    copy.create(matrix->dims, matrix->size.p,
                matrix->type()); // copyTo() would drop the sides of an empty one
    if (!matrix->empty()) matrix->copyTo(copy);
    return true;
}

bool lent(const ImageServices& images, KImage image, std::vector<cv::Mat>& copies, int depth, int slice)
{
    const BorrowedSlices slices(images, image, depth, slice);
    copies.clear();
    for (const cv::Mat& matrix : *slices) copies.push_back(matrix.clone());
    return static_cast<bool>(slices);
}

std::vector<cv::Mat> framesOf(int type, int count, int rows = 6, int columns = 5)
{
    std::vector<cv::Mat> frames;
    for (int i = 0; i < count; ++i)
        frames.push_back(noise(rows, columns, type, static_cast<uint64_t>(i) + 1));
    return frames;
}

FakeImage fakeSequence(PixelType type, int64_t channels, bool interleaved)
{
    FakeImage image { .pixelType = type,
                      .rows = 2,
                      .columns = 3,
                      .channels = channels,
                      .slices = 4,
                      .rank = 3,
                      .interleaved = interleaved };
    image.samples.resize(static_cast<std::size_t>(24 * channels));
    std::iota(image.samples.begin(), image.samples.end(), 0.0);
    return image;
}

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

TEST(BorrowedMat, AsksItsQuestionsInOrder)
{
    RecordingHost host;
    const KImage image = host.own({ .rows = 2, .columns = 3, .samples = ramp(6) });
    cv::Mat out;
    ASSERT_TRUE(lent(host.services, image, out, anyType));
    EXPECT_EQ(host.calls,
              (Calls { "GetPixelType", "GetChannels", "GetRowCount", "GetSliceCount", "GetColumnCount",
                       "GetRank", "GetByteData" }));
}

TEST(BorrowedMat, ConvertsPlanarChannelsOnceAndFreesTheCopy)
{
    RecordingHost host;
    const KImage image =
        host.own({ .rows = 2, .columns = 3, .channels = 3, .interleaved = false, .samples = ramp(18) });
    cv::Mat out;
    ASSERT_TRUE(lent(host.services, image, out, anyType));
    EXPECT_EQ(host.calls,
              (Calls { "GetPixelType", "GetChannels", "GetRowCount", "GetSliceCount", "GetColumnCount",
                       "IsInterleaved", "ConvertType 1 1", "GetRank", "GetByteData", "Free" }));
    EXPECT_EQ(host.freed, 1);
    EXPECT_EQ(out.data[0], 1); // the copy's samples, not the image's
}

TEST(BorrowedMat, AsksForTheMatchingTypeAndLayout)
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
                    ASSERT_TRUE(lent(host.services, image, out, depth));
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

TEST(BorrowedMat, RefusesUnknownTypesAndDepthsAtOnce)
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
        const KImage image = host.own({ .pixelType = type, .samples = { 1 } });
        EXPECT_FALSE(BorrowedMat(host.services, image, depth)) << type << " as " << depth;
        EXPECT_EQ(host.calls.size(), 5U); // the questions alone
    }
}

TEST(BorrowedMat, LendsNothingOfOtherRanks)
{
    RecordingHost host;
    for (const int64_t rank : { int64_t { 0 }, int64_t { 1 }, int64_t { 4 }, int64_t { -2 } }) {
        cv::Mat out;
        EXPECT_FALSE(lent(host.services, host.own({ .rank = rank, .samples = { 1 } }), out, anyType));
    }
    // A converted copy is freed then, too.
    cv::Mat out;
    const KImage real = host.own({ .pixelType = PixelTypeReal, .rank = 1, .samples = { 1 } });
    EXPECT_FALSE(lent(host.services, real, out, CV_8U));
    EXPECT_EQ(host.freed, 1);
    EXPECT_TRUE(host.alive.empty());
}

TEST(BorrowedMat, LooksAtTheCopyForRank2AndAtTheImageForRank3)
{
    RecordingHost host;
    const FakeImage planar {
        .pixelType = PixelTypeReal, .rows = 2, .columns = 3, .slices = 4, .rank = 3, .samples = ramp(24)
    };
    cv::Mat out;
    host.convertedRank = 7; // the copy's other ranks do not matter
    ASSERT_TRUE(lent(host.services, host.own(planar), out, CV_8U));
    EXPECT_EQ(out.dims, 3);
    host.convertedRank = 2; // the copy says 2: one slice
    ASSERT_TRUE(lent(host.services, host.own(planar), out, CV_8U));
    EXPECT_EQ(out.dims, 2);
    EXPECT_EQ(out.size(), cv::Size(3, 2));
}

TEST(BorrowedMat, FailsWithoutConversionOrSamples)
{
    RecordingHost host;
    const FakeImage real { .pixelType = PixelTypeReal, .samples = { 1 } };
    cv::Mat out;
    host.converts = false;
    EXPECT_FALSE(lent(host.services, host.own(real), out, CV_8U));
    EXPECT_EQ(host.freed, 0);

    host.converts = true;
    host.givesSamples = false;
    EXPECT_FALSE(lent(host.services, host.own(real), out, CV_8U));
    EXPECT_FALSE(lent(host.services, host.own(real), out, CV_64F));
    EXPECT_TRUE(host.alive.empty());
}

TEST(BorrowedMat, DoesNotFreeAnImageThatWasConvertedInPlace)
{
    RecordingHost host;
    host.convertsInPlace = true;
    const KImage image = host.own({ .rows = 2, .columns = 3, .samples = ramp(6) });
    cv::Mat out;
    ASSERT_TRUE(lent(host.services, image, out, CV_32F));
    EXPECT_EQ(out.at<float>(1, 2), 5);
    EXPECT_EQ(std::ranges::count(host.calls, "Free"), 0);
}

TEST(BorrowedMat, RefusesSizesThatNoMatrixHas)
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
        cv::Mat out;
        EXPECT_FALSE(lent(host.services, host.own(image), out, anyType));
    }
    // What a 2D image says of its slices does not matter.
    cv::Mat out;
    EXPECT_TRUE(lent(host.services, host.own({ .slices = -1, .samples = { 5 } }), out, anyType));
}

TEST(BorrowedMat, TakesEmptyImagesWithoutSamples)
{
    RecordingHost host;
    host.givesSamples = false;
    cv::Mat out;
    EXPECT_TRUE(lent(host.services, host.own({ .rows = 0, .columns = 7 }), out, anyType));
    EXPECT_EQ(out.size(), cv::Size(7, 0));
}

TEST(BorrowedMat, MakesBytesOfBits) // the embedded host's bits become 0 and 255
{
    const cv::Mat picture = (cv::Mat_<uchar>(2, 3) << 0, 1, 0, 7, 0, 9);
    const Ledger ledger;
    cv::Mat out;
    ASSERT_TRUE(lent(*hostServices().imageServices, bitImageOf(picture).get(), out, anyType));
    EXPECT_TRUE(sameBits(out, (cv::Mat_<uchar>(2, 3) << 0, 255, 0, 255, 0, 255)));
}

TEST(BorrowedMat, KeepsSamplesOfEveryTypeChannelsAndLayout)
{
    Ledger ledger;
    for (const int depth : allDepths) {
        for (int channels = 1; channels <= 5; ++channels) {
            const cv::Mat picture = noise(5, 7, CV_MAKETYPE(depth, channels));
            for (const ImagePointer& image : { imageOf(picture), planarImageOf(picture) }) {
                cv::Mat out;
                ASSERT_TRUE(lent(*hostServices().imageServices, image.get(), out, anyType));
                EXPECT_TRUE(sameBits(out, picture)) << depth << " with " << channels << " channels";
            }
        }
    }
    EXPECT_TRUE(ledger.close().clean());
}

TEST(BorrowedMat, KeepsA3DImageInTheHostsOrder)
{
    RecordingHost host;
    const KImage image =
        host.own({ .rows = 10, .columns = 20, .slices = 4, .rank = 3, .samples = ramp(800) });
    cv::Mat out;
    ASSERT_TRUE(lent(host.services, image, out, anyType));
    ASSERT_EQ(out.dims, 3);
    EXPECT_EQ(out.size[0], 10);
    EXPECT_EQ(out.size[1], 20);
    EXPECT_EQ(out.size[2], 4);
    EXPECT_EQ(std::memcmp(out.data, RecordingHost::of(image).bytes.data(), 800), 0);
}

TEST(BorrowedMat, LetsTheHostConvertReals) // by the embedded host's rules: 1.0 is 255
{
    const cv::Mat reals = (cv::Mat_<double>(1, 4) << 0, 0.5, 1, 2);
    const Ledger ledger;
    const ImageServices& images = *hostServices().imageServices;
    cv::Mat out;
    ASSERT_TRUE(lent(images, imageOf(reals).get(), out, CV_32F));
    EXPECT_TRUE(sameBits(out, (cv::Mat_<float>(1, 4) << 0, 0.5F, 1, 2)));
    ASSERT_TRUE(lent(images, imageOf(reals).get(), out, CV_8U));
    EXPECT_TRUE(sameBits(out, (cv::Mat_<uchar>(1, 4) << 0, 128, 255, 255)));
}

TEST(BorrowedMat, LiesOverTheImageWhereItFits)
{
    Ledger ledger;
    const ImageServices& images = *hostServices().imageServices;
    for (const int type : { CV_8U, CV_8UC3, CV_16UC4, CV_32FC2, CV_64F }) {
        const ImagePointer image = imageOf(noise(6, 5, type));
        const BorrowedMat lent(images, image.get(), anyType);
        ASSERT_TRUE(lent);
        EXPECT_TRUE(lent.isPlane());
        EXPECT_EQ(static_cast<const void*>(lent->data), image->block.data());
        EXPECT_EQ(lent->type(), type);
        EXPECT_EQ(lent->size(), cv::Size(5, 6));
    }
    EXPECT_TRUE(ledger.close().clean());
}

TEST(BorrowedMat, LiesOverTheHostsCopyOtherwiseAndFreesIt)
{
    RecordingHost host;
    const KImage image =
        host.own({ .rows = 2, .columns = 3, .channels = 3, .interleaved = false, .samples = ramp(18) });
    {
        const BorrowedMat lent(host.services, image, anyType);
        ASSERT_TRUE(lent);
        EXPECT_EQ(lent->data[0], 1); // the copy's samples, not the image's
        EXPECT_EQ(host.alive.size(), 1U);
    }
    EXPECT_EQ(host.calls,
              (Calls { "GetPixelType", "GetChannels", "GetRowCount", "GetSliceCount", "GetColumnCount",
                       "IsInterleaved", "ConvertType 1 1", "GetRank", "GetByteData", "Free" }));
    EXPECT_TRUE(host.alive.empty());
}

TEST(BorrowedMat, TakesSequencesWholeAndImagesWithoutPixels)
{
    RecordingHost host;
    const BorrowedMat film(host.services, host.own(sequenceOfBytes(4)), anyType);
    ASSERT_TRUE(film);
    EXPECT_FALSE(film.isPlane());
    EXPECT_EQ(film->dims, 3);
    EXPECT_EQ(film->size[2], 4);

    host.givesSamples = false; // nobody asks for samples that are not there
    const BorrowedMat nothing(host.services, host.own({ .rows = 0, .columns = 3 }), anyType);
    ASSERT_TRUE(nothing);
    EXPECT_FALSE(nothing.isPlane());
    EXPECT_EQ(nothing->cols, 3);
}

TEST(BorrowedMat, LendsNothingOfOtherRanksTypesSizesOrWithoutSamples)
{
    RecordingHost host;
    const int64_t tooMany = int64_t { 1 } << 31;
    for (const FakeImage& image :
         { FakeImage { .rank = 0, .samples = { 1 } }, FakeImage { .rank = 4, .samples = { 1 } },
           FakeImage { .pixelType = 5, .samples = { 1 } }, FakeImage { .rows = tooMany },
           FakeImage { .columns = -1 }, FakeImage { .channels = 0 },
           FakeImage { .slices = tooMany, .rank = 3 } })
        EXPECT_FALSE(BorrowedMat(host.services, host.own(image), anyType));
    EXPECT_FALSE(BorrowedMat(host.services, host.own({ .samples = { 1 } }), CV_32S));
    host.givesSamples = false;
    EXPECT_FALSE(BorrowedMat(host.services, host.own({ .samples = { 1 } }), anyType));
    host.converts = false;
    EXPECT_FALSE(BorrowedMat(host.services, host.own({ .samples = { 1 } }), CV_32F));
    EXPECT_TRUE(host.alive.empty());
}

TEST(BorrowedSlices, LieOverTheSlicesInOrder)
{
    const std::vector<cv::Mat> frames { noise(4, 5, CV_16UC3), noise(4, 5, CV_16UC3, 2),
                                        noise(4, 5, CV_16UC3, 3) };
    const ImagePointer image = sequenceOf(frames);
    const ImageServices& images = *hostServices().imageServices;
    const BorrowedSlices all(images, image.get(), anyType);
    ASSERT_TRUE(all);
    ASSERT_EQ((*all).size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(sameBits((*all)[i], frames[i]));
        EXPECT_EQ(static_cast<const void*>((*all)[i].data),
                  image->block.data() + i * frames[i].total() * frames[i].elemSize());
    }
    const BorrowedSlices second(images, image.get(), anyType, 2);
    ASSERT_TRUE(second);
    ASSERT_EQ((*second).size(), 1U);
    EXPECT_TRUE(sameBits((*second)[0], frames[1]));
    for (const int index : { 0, 4, -2 }) EXPECT_FALSE(BorrowedSlices(images, image.get(), anyType, index));
}

TEST(BorrowedSlices, KeepsTypeAndOrder)
{
    Ledger ledger;
    for (const int depth : { CV_8U, CV_16U, CV_32F, CV_64F }) {
        for (int channels = 1; channels <= 5; ++channels) {
            const std::vector<cv::Mat> frames = framesOf(CV_MAKETYPE(depth, channels), 5);
            const ImagePointer image = sequenceOf(frames);
            std::vector<cv::Mat> out { cv::Mat(1, 1, CV_8U) };
            ASSERT_TRUE(lent(*hostServices().imageServices, image.get(), out, anyType, everySlice));
            ASSERT_EQ(out.size(), 5U);
            for (std::size_t i = 0; i < 5; ++i) EXPECT_TRUE(sameBits(out[i], frames[i])) << depth << " " << i;

            // Channels apart: the host puts them together before the slices are cut.
            const ImagePointer planar = convertImage(*image, image->pixelType, false);
            ASSERT_TRUE(lent(*hostServices().imageServices, planar.get(), out, anyType, everySlice));
            for (std::size_t i = 0; i < 5; ++i) EXPECT_TRUE(sameBits(out[i], frames[i])) << depth << " " << i;
        }
    }
    EXPECT_TRUE(ledger.close().clean());
}

TEST(BorrowedSlices, PicksOneSliceCountedFromOne)
{
    const std::vector<cv::Mat> frames = framesOf(CV_8U, 5);
    const ImagePointer image = sequenceOf(frames);
    const ImageServices& images = *hostServices().imageServices;
    std::vector<cv::Mat> out;
    for (const int index : { 1, 3, 5 }) {
        ASSERT_TRUE(lent(images, image.get(), out, anyType, index));
        ASSERT_EQ(out.size(), 1U);
        EXPECT_TRUE(sameBits(out[0], frames[static_cast<std::size_t>(index - 1)]));
    }
    for (const int index : { 0, 6, -2, INT_MAX, INT_MIN })
        EXPECT_FALSE(lent(images, image.get(), out, anyType, index)) << index;
}

TEST(BorrowedSlices, AsksItsQuestionsInOrder)
{
    RecordingHost host;
    std::vector<cv::Mat> out;
    ASSERT_TRUE(lent(host.services, host.own(fakeSequence(PixelTypeByte, 3, false)), out, anyType, 2));
    EXPECT_EQ(host.calls,
              (Calls { "GetPixelType", "GetChannels", "GetRowCount", "GetSliceCount", "GetColumnCount",
                       "IsInterleaved", "ConvertType 1 1", "GetRank of null", "GetByteData", "Free" }));
    EXPECT_EQ(out.at(0).data[0], 19); // third slice of the converted copy: 1 + 2 * 3 * 3
}

TEST(BorrowedSlices, AsksForTheMatchingTypeAndLayout)
{
    RecordingHost host;
    for (const PixelType type :
         { PixelTypeBit, PixelTypeByte, PixelTypeBit16, PixelTypeReal32, PixelTypeReal }) {
        for (const int depth : { CV_8U, CV_16U, CV_32F, CV_64F }) {
            for (const int64_t channels : { 1, 2, 4 }) {
                for (const bool interleaved : { false, true }) {
                    host.calls.clear();
                    std::vector<cv::Mat> out;
                    ASSERT_TRUE(lent(host.services, host.own(fakeSequence(type, channels, interleaved)), out,
                                     depth, everySlice));
                    ASSERT_EQ(out.size(), 4U);
                    EXPECT_EQ(out[3].type(), CV_MAKETYPE(depth, static_cast<int>(channels)));
                    const PixelType matching = pixelTypeOfDepth(depth);
                    const bool fits = type == matching && (channels == 1 || interleaved);
                    const auto conversion =
                        "ConvertType " + std::to_string(matching) + (channels > 1 ? " 1" : " 0");
                    EXPECT_EQ(std::ranges::count(host.calls, conversion), fits ? 0 : 1);
                    EXPECT_TRUE(host.alive.empty());
                }
            }
        }
    }
}

TEST(BorrowedSlices, ReportsFailureToAHostThatGivesNullARank) // deliberate: hosts are asked about null
{
    RecordingHost host;
    host.nullRank = 2;
    std::vector<cv::Mat> out;
    EXPECT_FALSE(
        lent(host.services, host.own(fakeSequence(PixelTypeByte, 1, false)), out, anyType, everySlice));
    host.nullRank = 3;
    EXPECT_TRUE(
        lent(host.services, host.own(fakeSequence(PixelTypeByte, 1, false)), out, anyType, everySlice));
}

TEST(BorrowedSlices, FindsNothingInImagesWithoutSlices)
{
    RecordingHost host;
    for (const int64_t slices : { int64_t { 0 }, int64_t { -1 }, INT64_MIN }) {
        FakeImage image = fakeSequence(PixelTypeByte, 1, false);
        image.slices = slices;
        std::vector<cv::Mat> out { cv::Mat(1, 1, CV_8U) };
        EXPECT_TRUE(lent(host.services, host.own(image), out, anyType, everySlice)) << slices;
        EXPECT_TRUE(out.empty());
        EXPECT_FALSE(lent(host.services, host.own(image), out, anyType, 1)) << slices;
    }
}

TEST(BorrowedSlices, RefusesWhatItCannotRead)
{
    RecordingHost host;
    std::vector<cv::Mat> out { cv::Mat(1, 1, CV_8U) };
    const KImage image = host.own(fakeSequence(PixelTypeReal, 2, true));
    for (const int depth : { CV_8S, CV_16S, CV_32S, 7 })
        EXPECT_FALSE(lent(host.services, image, out, depth, everySlice)) << depth;
    for (const int type : { -1, 5 })
        EXPECT_FALSE(lent(host.services, host.own(fakeSequence(type, 1, true)), out, anyType, everySlice));

    host.converts = false;
    EXPECT_FALSE(lent(host.services, image, out, CV_8U, everySlice));
    host.converts = true;
    host.givesSamples = false;
    EXPECT_FALSE(lent(host.services, image, out, CV_8U, everySlice));
    EXPECT_FALSE(lent(host.services, image, out, CV_64F, 2));
    EXPECT_TRUE(host.alive.empty());

    host.givesSamples = true;
    for (const int64_t slices : { int64_t { 1 } << 31, int64_t { 1 } << 40, INT64_MAX }) {
        FakeImage endless = fakeSequence(PixelTypeByte, 1, false);
        endless.slices = slices;
        EXPECT_FALSE(lent(host.services, host.own(endless), out, anyType, everySlice)) << slices;
    }
}

} // namespace miravex::test
