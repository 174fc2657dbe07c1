#include "convert/borrowed_mat.h"

#include "host/services.h"
#include "tests/convert/recording_host.h"
#include "tests/support/host_check.h"

#include <numeric>

namespace miravex::test {

// What is lent is compared with the host's own samples, by address where nothing may be copied.

namespace {

using Calls = std::vector<std::string>;

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

} // namespace

TEST(BorrowedMat, LiesOverTheImageWhereItFits)
{
    Ledger ledger;
    const ImageServices& images = *hostServices().imageServices;
    for (const int type : { CV_8U, CV_8UC3, CV_16UC4, CV_32FC2, CV_64F }) {
        const ImagePointer image = imageOf(noise(6, 5, type));
        const BorrowedMat lent(images, image.get(), anyType);
        ASSERT_TRUE(lent);
        EXPECT_TRUE(lent.isPlane());
        EXPECT_EQ(static_cast<const void*>(lent.matrix().data), image->block.data());
        EXPECT_EQ(lent.matrix().type(), type);
        EXPECT_EQ(lent.matrix().size(), cv::Size(5, 6));
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
        EXPECT_EQ(lent.matrix().data[0], 1); // the copy's samples, not the image's
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
    EXPECT_EQ(film.matrix().dims, 3);
    EXPECT_EQ(film.matrix().size[2], 4);

    host.givesSamples = false; // nobody asks for samples that are not there
    const BorrowedMat nothing(host.services, host.own({ .rows = 0, .columns = 3 }), anyType);
    ASSERT_TRUE(nothing);
    EXPECT_FALSE(nothing.isPlane());
    EXPECT_EQ(nothing.matrix().cols, 3);
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
    ASSERT_EQ(all.matrices().size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(sameBits(all.matrices()[i], frames[i]));
        EXPECT_EQ(static_cast<const void*>(all.matrices()[i].data),
                  image->block.data() + i * frames[i].total() * frames[i].elemSize());
    }
    const BorrowedSlices second(images, image.get(), anyType, 2);
    ASSERT_TRUE(second);
    ASSERT_EQ(second.matrices().size(), 1U);
    EXPECT_TRUE(sameBits(second.matrices()[0], frames[1]));
    for (const int index : { 0, 4, -2 }) EXPECT_FALSE(BorrowedSlices(images, image.get(), anyType, index));
}

TEST(BorrowedSlices, LendNothingOfAHostThatMistakesNull)
{
    RecordingHost host;
    host.nullRank = 2;
    EXPECT_FALSE(BorrowedSlices(host.services, host.own(sequenceOfBytes(2)), anyType));
    host.nullRank = 0;
    EXPECT_TRUE(BorrowedSlices(host.services, host.own(sequenceOfBytes(2)), anyType));
    host.givesSamples = false;
    EXPECT_FALSE(BorrowedSlices(host.services, host.own(sequenceOfBytes(2)), anyType));
}

} // namespace miravex::test
