#include "host/objects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

namespace miravex::test {

namespace {

using ::testing::Each;
using ::testing::ElementsAre;

/// A one-row image of these samples.
template <typename Sample> ImagePointer row(std::vector<Sample> samples, PixelType type)
{
    const ImageShape shape { .rows = 1, .columns = static_cast<int64_t>(samples.size()) };
    ImagePointer image = makeImage(shape, type, ColorSpaceGray);
    std::ranges::copy(samples, image->as<Sample>());
    return image;
}

template <typename Sample> std::vector<Sample> converted(const ImagePointer& image, PixelType type)
{
    const ImagePointer made = convertImage(*image, type, image->interleaved);
    const auto samples = made->samples<Sample>();
    return { samples.begin(), samples.end() };
}

const ImagePointer bits = row<uint8_t>({ 0, 1, 255 }, PixelTypeBit);
const ImagePointer bytes = row<uint8_t>({ 0, 1, 127, 128, 255 }, PixelTypeByte);
const ImagePointer words = row<uint16_t>({ 0, 257, 32767, 32768, 65535 }, PixelTypeBit16);

} // namespace

// Conversions, by hand.

TEST(Conversion, OfBits)
{
    EXPECT_THAT(converted<uint8_t>(bits, PixelTypeByte), ElementsAre(0, 255, 255));
    EXPECT_THAT(converted<uint16_t>(bits, PixelTypeBit16), ElementsAre(0, 65535, 65535));
    EXPECT_THAT(converted<float>(bits, PixelTypeReal32), ElementsAre(0, 1, 1));
    EXPECT_THAT(converted<double>(bits, PixelTypeReal), ElementsAre(0, 1, 1));
}

TEST(Conversion, OfBytes)
{
    EXPECT_THAT(converted<uint8_t>(bytes, PixelTypeBit), ElementsAre(0, 0, 0, 1, 1));
    EXPECT_THAT(converted<uint16_t>(bytes, PixelTypeBit16), ElementsAre(0, 257, 32639, 32896, 65535));
    EXPECT_THAT(converted<double>(bytes, PixelTypeReal),
                ElementsAre(0, 1 / 255.0, 127 / 255.0, 128 / 255.0, 1));
    EXPECT_THAT(converted<float>(bytes, PixelTypeReal32),
                ElementsAre(0, static_cast<float>(1 / 255.0), static_cast<float>(127 / 255.0),
                            static_cast<float>(128 / 255.0), 1));
}

TEST(Conversion, OfWords)
{
    EXPECT_THAT(converted<uint8_t>(words, PixelTypeBit), ElementsAre(0, 0, 0, 1, 1));
    EXPECT_THAT(converted<uint8_t>(words, PixelTypeByte), ElementsAre(0, 1, 127, 128, 255));
    EXPECT_THAT(converted<double>(words, PixelTypeReal),
                ElementsAre(0, 257 / 65535.0, 32767 / 65535.0, 32768 / 65535.0, 1));
}

TEST(Conversion, OfRealsRoundsSaturatesAndDropsNaN)
{
    const double inf = std::numeric_limits<double>::infinity();
    const ImagePointer reals = row<double>(
        { 0, 0.499, 0.5, 1, 1.5, -3, std::nan(""), inf, -inf, 0.4 / 255, 0.6 / 255 }, PixelTypeReal);
    EXPECT_THAT(converted<uint8_t>(reals, PixelTypeByte),
                ElementsAre(0, 127, 128, 255, 255, 0, 0, 255, 0, 0, 1));
    EXPECT_THAT(converted<uint16_t>(reals, PixelTypeBit16),
                ElementsAre(0, 32702, 32768, 65535, 65535, 0, 0, 65535, 0, 103, 154));
    EXPECT_THAT(converted<uint8_t>(reals, PixelTypeBit), ElementsAre(0, 0, 1, 1, 1, 0, 0, 1, 0, 0, 0));
    const std::vector<float> floats = converted<float>(reals, PixelTypeReal32);
    EXPECT_EQ(floats[4], 1.5F); // between reals nothing is cut off
    EXPECT_EQ(floats[5], -3.0F);
    EXPECT_TRUE(std::isnan(floats[6]));
}

TEST(Conversion, ThereAndBackKeepsEverySample)
{
    std::vector<uint8_t> all(256);
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<uint8_t>(i);
    for (const PixelType type : { PixelTypeBit16, PixelTypeReal32, PixelTypeReal }) {
        const ImagePointer there = convertImage(*row(all, PixelTypeByte), type, false);
        EXPECT_EQ(converted<uint8_t>(there, PixelTypeByte), all) << type;
    }
    std::vector<uint16_t> allWords(65536);
    for (std::size_t i = 0; i < allWords.size(); ++i) allWords[i] = static_cast<uint16_t>(i);
    for (const PixelType type : { PixelTypeReal32, PixelTypeReal }) {
        const ImagePointer there = convertImage(*row(allWords, PixelTypeBit16), type, false);
        EXPECT_EQ(converted<uint16_t>(there, PixelTypeBit16), allWords) << type;
    }
}

TEST(Conversion, OfLayouts)
{
    const ImageShape shape { .rows = 1, .columns = 2, .channels = 3, .slices = 2 };
    const ImagePointer image = makeImage(shape, PixelTypeByte, 5, true);
    for (std::size_t i = 0; i < 12; ++i) image->samples<uint8_t>()[i] = static_cast<uint8_t>(i);
    const ImagePointer planar = convertImage(*image, PixelTypeByte, false);
    // Slice by slice: channels of the first frame, then of the second.
    EXPECT_THAT(planar->samples<uint8_t>(), ElementsAre(0, 3, 1, 4, 2, 5, 6, 9, 7, 10, 8, 11));
    EXPECT_FALSE(planar->interleaved);
    EXPECT_EQ(planar->shape, shape);
    EXPECT_EQ(planar->colorSpace, 5);
    const ImagePointer back = convertImage(*planar, PixelTypeByte, true);
    EXPECT_TRUE(std::ranges::equal(back->samples<uint8_t>(), image->samples<uint8_t>()));
}

TEST(Blocks, StartZeroedAndNoticeWritesAroundThem)
{
    for (const std::size_t size : { 0, 1, 7, 64, 1000 }) {
        const Block block = Block::zeroed(size);
        EXPECT_EQ(block.size(), size);
        EXPECT_THAT(std::vector<std::byte>(block.data(), block.data() + size), Each(std::byte { 0 }));
        EXPECT_TRUE(block.intact());
        std::byte& before = *(block.data() - 1);
        std::byte& behind = *(block.data() + size);
        for (std::byte* place : { &before, &behind }) {
            const std::byte guard = *place;
            *place = std::byte { 1 };
            EXPECT_FALSE(block.intact());
            *place = guard;
            EXPECT_TRUE(block.intact());
        }
    }
}

TEST(Blocks, OfLargeMemoryThatIsUsedAgainStartZeroedToo)
{
    constexpr std::size_t large = std::size_t { 5 } << 20U;
    const auto soil = [](std::size_t bytes) {
        const Block block = Block::guarded(bytes, Start::AsItComes);
        std::fill_n(block.data(), bytes, std::byte { 7 });
        return static_cast<const void*>(block.data());
    };
    const void* const first = soil(large);
    for (const std::size_t bytes : { large, large - 1000 }) {
        const Block block = Block::zeroed(bytes);
        EXPECT_TRUE(block.intact());
        EXPECT_TRUE(std::all_of(block.data(), block.data() + bytes,
                                [](std::byte sample) { return sample == std::byte { 0 }; }));
        EXPECT_TRUE(block.data() != first || soil(large) != first) << "two blocks in one place";
    }
    // More than is kept, and sizes that no kept block fits.
    for (std::size_t bytes = large; bytes < 20 * large; bytes += large) soil(bytes);
    EXPECT_TRUE(Block::zeroed(large / 2).intact());
}

TEST(Blocks, KeepTheOwnerOfWrappedMemoryAlive)
{
    auto memory = std::make_shared<std::vector<float>>(6, 0.25F);
    const std::weak_ptr<std::vector<float>> watched = memory;
    float* const samples = memory->data();
    ImagePointer image = wrapImage({ .rows = 2, .columns = 3 }, PixelTypeReal32, ColorSpaceGray, false,
                                   samples, std::move(memory));
    EXPECT_EQ(image->as<float>(), samples); // no copy
    EXPECT_TRUE(image->block.intact());
    EXPECT_FALSE(watched.expired());
    image.reset();
    EXPECT_TRUE(watched.expired());
}

TEST(Images, RefuseImpossibleShapes)
{
    const auto make = [](ImageShape shape, PixelType type = PixelTypeReal) {
        return makeImage(shape, type, ColorSpaceGray);
    };
    EXPECT_THROW(make({ .rows = -1, .columns = 1 }), std::invalid_argument);
    EXPECT_THROW(make({ .rows = 1, .columns = -1 }), std::invalid_argument);
    EXPECT_THROW(make({ .rows = 1, .columns = 1, .channels = 0 }), std::invalid_argument);
    EXPECT_THROW(make({ .rows = 1, .columns = 1 }, 5), std::invalid_argument);
    EXPECT_THROW(make({ .rows = 1, .columns = 1 }, -1), std::invalid_argument);
    EXPECT_THROW(make({ .rows = INT64_MAX, .columns = INT64_MAX }), std::bad_alloc);
    EXPECT_THROW(make({ .rows = int64_t { 1 } << 31, .columns = int64_t { 1 } << 31 }), std::bad_alloc);
    EXPECT_EQ(make({ .rows = 0, .columns = 5 })->shape.samples(), 0);
    EXPECT_EQ(make({ .rows = 2, .columns = 3 })->rank(), 2);
    EXPECT_EQ(make({ .rows = 2, .columns = 3, .slices = 1 })->rank(), 3);
}

TEST(Tensors, StartZeroedAndKeepTheirElements)
{
    EXPECT_THAT(makeRealTensor({ 2, 3 })->reals(), Each(0.0));
    EXPECT_THAT(makeIntegerTensor({ 4 })->integers(), Each(0));
    const double elements[] = { 1, 2, 3, 4 };
    EXPECT_THAT(makeRealTensor({ 2, 2 }, elements)->reals(), ElementsAre(1, 2, 3, 4));
    EXPECT_THROW(makeRealTensor({ 2, 3 }, elements), std::invalid_argument);
    EXPECT_THROW(makeRealTensor({ -1 }), std::invalid_argument);
    EXPECT_THROW(makeRealTensor({ INT64_MAX, 2 }), std::bad_alloc);
    EXPECT_EQ(emptyList()->length(), 0);
    EXPECT_EQ(emptyList()->dimensions, std::vector<int64_t> { 0 });
    EXPECT_THAT(realList({ 5, 6 })->reals(), ElementsAre(5, 6));
    EXPECT_EQ(makeRealTensor({})->length(), 1); // a tensor without dimensions is one number
}

TEST(Arrays, HoldOrWrapFloats)
{
    EXPECT_THAT(makeFloatArray({ 2, 2 })->floats(), ElementsAre(0, 0, 0, 0));
    auto memory = std::make_shared<std::vector<float>>(4, 1.5F);
    const ArrayPointer wrapped = wrapFloatArray({ 4 }, memory->data(), memory);
    EXPECT_EQ(wrapped->floats().data(), memory->data());
    EXPECT_EQ(wrapped->elementType, NumericArrayTypeReal32);
}

} // namespace miravex::test
