#include "convert/sequences.h"

#include "host/services.h"
#include "tests/convert/recording_host.h"
#include "tests/support/host_check.h"

#include <numeric>

namespace miravex::test {

namespace {

using Calls = std::vector<std::string>;

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

} // namespace

TEST(ImageSlicesToMats, KeepsTypeAndOrder)
{
    Ledger ledger;
    for (const int depth : { CV_8U, CV_16U, CV_32F, CV_64F }) {
        for (int channels = 1; channels <= 5; ++channels) {
            const std::vector<cv::Mat> frames = framesOf(CV_MAKETYPE(depth, channels), 5);
            const ImagePointer image = sequenceOf(frames);
            std::vector<cv::Mat> out { cv::Mat(1, 1, CV_8U) };
            ASSERT_TRUE(
                imageSlicesToMats(*hostServices().imageServices, image.get(), out, anyType, everySlice));
            ASSERT_EQ(out.size(), 5U);
            for (std::size_t i = 0; i < 5; ++i) EXPECT_TRUE(sameBits(out[i], frames[i])) << depth << " " << i;

            // Channels apart: the host puts them together before the slices are cut.
            const ImagePointer planar = convertImage(*image, image->pixelType, false);
            ASSERT_TRUE(
                imageSlicesToMats(*hostServices().imageServices, planar.get(), out, anyType, everySlice));
            for (std::size_t i = 0; i < 5; ++i) EXPECT_TRUE(sameBits(out[i], frames[i])) << depth << " " << i;
        }
    }
    EXPECT_TRUE(ledger.close().clean());
}

TEST(ImageSlicesToMats, PicksOneSliceCountedFromOne)
{
    const std::vector<cv::Mat> frames = framesOf(CV_8U, 5);
    const ImagePointer image = sequenceOf(frames);
    const ImageServices& images = *hostServices().imageServices;
    std::vector<cv::Mat> out;
    for (const int index : { 1, 3, 5 }) {
        ASSERT_TRUE(imageSlicesToMats(images, image.get(), out, anyType, index));
        ASSERT_EQ(out.size(), 1U);
        EXPECT_TRUE(sameBits(out[0], frames[static_cast<std::size_t>(index - 1)]));
    }
    for (const int index : { 0, 6, -2, INT_MAX, INT_MIN })
        EXPECT_FALSE(imageSlicesToMats(images, image.get(), out, anyType, index)) << index;
    EXPECT_TRUE(out.empty());
}

TEST(ImageSlicesToMats, AsksItsQuestionsInOrder)
{
    RecordingHost host;
    std::vector<cv::Mat> out;
    ASSERT_TRUE(
        imageSlicesToMats(host.services, host.own(fakeSequence(PixelTypeByte, 3, false)), out, anyType, 2));
    EXPECT_EQ(host.calls,
              (Calls { "GetPixelType", "GetChannels", "GetRowCount", "GetSliceCount", "GetColumnCount",
                       "IsInterleaved", "ConvertType 1 1", "GetRank of null", "GetByteData", "Free" }));
    EXPECT_EQ(out.at(0).data[0], 19); // third slice of the converted copy: 1 + 2 * 3 * 3
}

TEST(ImageSlicesToMats, AsksForTheMatchingTypeAndLayout)
{
    RecordingHost host;
    for (const PixelType type :
         { PixelTypeBit, PixelTypeByte, PixelTypeBit16, PixelTypeReal32, PixelTypeReal }) {
        for (const int depth : { CV_8U, CV_16U, CV_32F, CV_64F }) {
            for (const int64_t channels : { 1, 2, 4 }) {
                for (const bool interleaved : { false, true }) {
                    host.calls.clear();
                    std::vector<cv::Mat> out;
                    ASSERT_TRUE(imageSlicesToMats(host.services,
                                                  host.own(fakeSequence(type, channels, interleaved)), out,
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

TEST(ImageSlicesToMats, ReportsFailureToAHostThatGivesNullARank) // deliberate: hosts are asked about null
{
    RecordingHost host;
    host.nullRank = 2;
    std::vector<cv::Mat> out;
    EXPECT_FALSE(imageSlicesToMats(host.services, host.own(fakeSequence(PixelTypeByte, 1, false)), out,
                                   anyType, everySlice));
    EXPECT_EQ(out.size(), 4U); // the work is done all the same
    host.nullRank = 3;
    EXPECT_TRUE(imageSlicesToMats(host.services, host.own(fakeSequence(PixelTypeByte, 1, false)), out,
                                  anyType, everySlice));
}

TEST(ImageSlicesToMats, FindsNothingInImagesWithoutSlices)
{
    RecordingHost host;
    for (const int64_t slices : { int64_t { 0 }, int64_t { -1 }, INT64_MIN }) {
        FakeImage image = fakeSequence(PixelTypeByte, 1, false);
        image.slices = slices;
        std::vector<cv::Mat> out { cv::Mat(1, 1, CV_8U) };
        EXPECT_TRUE(imageSlicesToMats(host.services, host.own(image), out, anyType, everySlice)) << slices;
        EXPECT_TRUE(out.empty());
        EXPECT_FALSE(imageSlicesToMats(host.services, host.own(image), out, anyType, 1)) << slices;
    }
}

TEST(ImageSlicesToMats, RefusesWhatItCannotRead)
{
    RecordingHost host;
    std::vector<cv::Mat> out { cv::Mat(1, 1, CV_8U) };
    EXPECT_FALSE(imageSlicesToMats(host.services, nullptr, out, anyType, everySlice));
    EXPECT_TRUE(host.calls.empty());
    const KImage image = host.own(fakeSequence(PixelTypeReal, 2, true));
    for (const int depth : { CV_8S, CV_16S, CV_32S, 7 })
        EXPECT_FALSE(imageSlicesToMats(host.services, image, out, depth, everySlice)) << depth;
    for (const int type : { -1, 5 })
        EXPECT_FALSE(imageSlicesToMats(host.services, host.own(fakeSequence(type, 1, true)), out, anyType,
                                       everySlice));
    EXPECT_EQ(out.size(), 1U); // emptied only once type and depth are known to do

    host.converts = false;
    EXPECT_FALSE(imageSlicesToMats(host.services, image, out, CV_8U, everySlice));
    host.converts = true;
    host.givesSamples = false;
    EXPECT_FALSE(imageSlicesToMats(host.services, image, out, CV_8U, everySlice));
    EXPECT_FALSE(imageSlicesToMats(host.services, image, out, CV_64F, 2));
    EXPECT_TRUE(host.alive.empty());

    host.givesSamples = true;
    for (const int64_t slices : { int64_t { 1 } << 31, int64_t { 1 } << 40, INT64_MAX }) {
        FakeImage endless = fakeSequence(PixelTypeByte, 1, false);
        endless.slices = slices;
        EXPECT_FALSE(imageSlicesToMats(host.services, host.own(endless), out, anyType, everySlice)) << slices;
    }
}

TEST(CopySliceToMat, ReusesAMatrixOfTheSameSizeAndType)
{
    RecordingHost host;
    const KImage image = host.own(fakeSequence(PixelTypeByte, 1, true));
    cv::Mat out(2, 3, CV_8U);
    const uchar* const place = out.data;
    ASSERT_TRUE(copySliceToMat(host.services, image, out, CV_8U, 3, 3, 2, 1));
    EXPECT_EQ(out.data, place);
    EXPECT_TRUE(sameBits(out, (cv::Mat_<uchar>(2, 3) << 18, 19, 20, 21, 22, 23)));

    cv::Mat other(3, 2, CV_8U);
    ASSERT_TRUE(copySliceToMat(host.services, image, other, CV_8U, 0, 3, 2, 1));
    EXPECT_TRUE(sameBits(other, (cv::Mat_<uchar>(2, 3) << 0, 1, 2, 3, 4, 5)));
}

TEST(CopySliceToMat, StaysInsideARegionOfALargerMatrix)
{
    RecordingHost host;
    const KImage image = host.own(fakeSequence(PixelTypeByte, 1, true));
    cv::Mat whole(3, 5, CV_8U, cv::Scalar(99));
    cv::Mat region = whole(cv::Rect(1, 1, 3, 2));
    ASSERT_TRUE(copySliceToMat(host.services, image, region, CV_8U, 1, 3, 2, 1));
    EXPECT_TRUE(
        sameBits(whole, (cv::Mat_<uchar>(3, 5) << 99, 99, 99, 99, 99, 99, 6, 7, 8, 99, 99, 9, 10, 11, 99)));
}

TEST(CopySliceToMat, RefusesOtherDepths)
{
    RecordingHost host;
    const KImage image = host.own(fakeSequence(PixelTypeByte, 1, true));
    cv::Mat out;
    for (const int depth : { CV_8S, CV_16S, CV_32S, 7, -1 })
        EXPECT_FALSE(copySliceToMat(host.services, image, out, depth, 0, 3, 2, 1));
    EXPECT_TRUE(host.calls.empty());
}

TEST(MatsToImage3D, StacksFrames)
{
    for (const int type : { CV_8UC1, CV_16UC3, CV_32FC1, CV_64FC(5) }) {
        const std::vector<cv::Mat> frames = framesOf(type, 3, 10, 20);
        Ledger ledger;
        KImage out = nullptr;
        ASSERT_TRUE(matsToImage3D(*hostServices().imageServices, frames, &out, anyType, 7));
        const ImagePointer image = ledger.takeImage(out);
        EXPECT_EQ(image->shape,
                  (ImageShape { .rows = 10, .columns = 20, .channels = frames[0].channels(), .slices = 3 }));
        EXPECT_EQ(image->colorSpace, 7);
        EXPECT_EQ(image->interleaved, frames[0].channels() >= 2);
        for (int64_t i = 0; i < 3; ++i)
            EXPECT_TRUE(sameBits(sliceOf(*image, i), frames[static_cast<std::size_t>(i)]));
    }
}

TEST(MatsToImage3D, ConvertsByTheTableOfSingleImages)
{
    const std::vector<cv::Mat> frames(3, cv::Mat(2, 2, CV_8UC3, cv::Scalar::all(102)));
    RecordingHost host;
    KImage out = nullptr;
    ASSERT_TRUE(matsToImage3D(host.services, frames, &out, PixelTypeReal, ColorSpaceRGB));
    EXPECT_EQ(host.calls, (Calls { "New3D 3 2 2 3 4 1 1", "GetRealData" }));
    EXPECT_EQ(RecordingHost::of(out).bytes,
              encode(std::vector<double>(36, 102 * (1 / 255.0)), PixelTypeReal));
    ASSERT_TRUE(matsToImage3D(host.services, frames, &out, PixelTypeBit16, ColorSpaceRGB));
    EXPECT_EQ(RecordingHost::of(out).bytes, encode(std::vector<double>(36, 102 * 255), PixelTypeBit16));
    ASSERT_TRUE(matsToImage3D(host.services, frames, &out, PixelTypeBit, ColorSpaceRGB));
    EXPECT_EQ(RecordingHost::of(out).bytes, encode(std::vector<double>(36, 1), PixelTypeBit));
    EXPECT_EQ(RecordingHost::of(out).colorSpace, ColorSpaceUnspecified);
    const std::vector<cv::Mat> reals(2, cv::Mat(1, 1, CV_64F, cv::Scalar(299.6)));
    ASSERT_TRUE(matsToImage3D(host.services, reals, &out, PixelTypeByte, ColorSpaceGray));
    EXPECT_EQ(RecordingHost::of(out).bytes, encode({ 255, 255 }, PixelTypeByte));
}

TEST(MatsToImage3D, TakesRegionsOfLargerMatrices)
{
    const cv::Mat whole = noise(12, 12, CV_16UC3);
    const std::vector<cv::Mat> frames { whole(cv::Rect(1, 2, 4, 5)), whole(cv::Rect(6, 3, 4, 5)) };
    Ledger ledger;
    KImage out = nullptr;
    ASSERT_TRUE(matsToImage3D(*hostServices().imageServices, frames, &out, anyType, 1));
    const ImagePointer image = ledger.takeImage(out);
    EXPECT_TRUE(sameBits(sliceOf(*image, 0), frames[0]));
    EXPECT_TRUE(sameBits(sliceOf(*image, 1), frames[1]));
}

TEST(MatsToImage3D, RefusesWhatCannotBeStacked)
{
    RecordingHost host;
    const auto before = reinterpret_cast<KImage>(std::uintptr_t { 8 });
    KImage out = before;
    const auto refuses = [&](const std::vector<cv::Mat>& frames, int type = anyType) {
        return !matsToImage3D(host.services, frames, &out, type, 1) && out == before;
    };
    EXPECT_TRUE(refuses({}));
    EXPECT_TRUE(refuses({ cv::Mat() }));
    EXPECT_TRUE(refuses({ noise(4, 4, CV_8U), noise(4, 5, CV_8U) }));
    EXPECT_TRUE(refuses({ noise(4, 4, CV_8U), noise(4, 4, CV_8UC3) }));
    EXPECT_TRUE(refuses({ noise(4, 4, CV_8U), noise(4, 4, CV_16U) }));
    for (const int depth : { CV_8S, CV_16S, CV_32S }) EXPECT_TRUE(refuses({ cv::Mat::zeros(4, 4, depth) }));
    EXPECT_TRUE(refuses({ noise(4, 4, CV_16U) }, PixelTypeBit));
    EXPECT_TRUE(refuses({ noise(4, 4, CV_16U) }, 5));
    EXPECT_TRUE(host.calls.empty());

    host.creationStatus = 1;
    EXPECT_TRUE(refuses({ noise(4, 4, CV_8U) }));
    host.creationStatus = 0;
    host.givesSamples = false;
    EXPECT_TRUE(refuses({ noise(4, 4, CV_8U) }));
    EXPECT_TRUE(host.alive.empty());
    EXPECT_EQ(host.freed, 1);
}

} // namespace miravex::test
