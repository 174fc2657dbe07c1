#include "host/samples.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace miravex::test {

namespace {

/// How samples may lie in memory; steps in samples, in the order slice, row, column, channel.
struct Arrangement {
    const char* name;
    std::array<int64_t, 4> steps;
    int64_t start = 0; ///< of sample (0, 0, 0, 0), in samples
    bool borrowed = false;
    int64_t offset = 0; ///< bytes that everything is moved by
};

constexpr ImageShape shape { .rows = 70, .columns = 9, .channels = 3, .slices = 2 };
constexpr int64_t plane = shape.rows * shape.columns;
constexpr int64_t frame = plane * shape.channels;

const Arrangement arrangements[] {
    { "interleaved", { frame, 27, 3, 1 }, 0, true },
    { "planar", { frame, 9, 1, plane }, 0, true },
    { "column-major", { frame, 1, 70, plane } },
    { "column-major with the channels last but one", { plane, 1, 70, 2 * plane } },
    { "columns that are longer than the rows are many", { 2 * frame, 1, 80, 80 * 9 } },
    { "rows that are longer than the columns are many", { 2 * frame, 40, 3, 1 } },
    { "from the bottom", { frame, -27, 3, 1 }, 69 * 27 },
    { "from the right", { frame, 27, -3, 1 }, 24 },
    { "blue first", { frame, 27, 3, -1 }, 2 },
    { "columns from the bottom", { frame, -1, 70, plane }, 69 },
    { "frames from the last", { -frame, 27, 3, 1 }, frame },
    { "unaligned", { frame, 27, 3, 1 }, 0, false, 1 },
    { "unaligned columns", { frame, 1, 70, plane }, 0, false, 1 },
};

constexpr std::size_t room = 4 * 80 * 27;

/// A number that tells the place of a sample.
double mark(int64_t slice, int64_t row, int64_t column, int64_t channel)
{
    return static_cast<double>((slice * 70 * 27 + row * 27 + column * 3 + channel) % 251);
}

Samples arranged(const Arrangement& arrangement, PixelType type, std::vector<std::byte>& memory)
{
    const auto bytes = static_cast<int64_t>(bytesPerSample(type));
    memory.assign(room * 8 + 1, std::byte { 0xEE });
    Samples samples { memory.data() + arrangement.offset + arrangement.start * bytes, shape, type, {} };
    for (std::size_t i = 0; i < 4; ++i) samples.steps[i] = arrangement.steps[i] * bytes;
    return samples;
}

template <typename Sample> std::byte* placeOf(const Samples& samples, const std::array<int64_t, 4>& index)
{
    std::byte* place = samples.data;
    for (std::size_t i = 0; i < 4; ++i) place += index[i] * samples.steps[i];
    return place;
}

template <typename Visit> void forEachSample(Visit visit)
{
    for (int64_t i = 0; i < shape.slices; ++i)
        for (int64_t j = 0; j < shape.rows; ++j)
            for (int64_t k = 0; k < shape.columns; ++k)
                for (int64_t l = 0; l < shape.channels; ++l) visit(std::array { i, j, k, l });
}

template <typename Sample> void paint(const Samples& samples)
{
    forEachSample([&](const std::array<int64_t, 4>& at) {
        const auto sample = static_cast<Sample>(mark(at[0], at[1], at[2], at[3]));
        std::memcpy(placeOf<Sample>(samples, at), &sample, sizeof sample);
    });
}

template <typename Sample> int64_t differences(const Samples& samples)
{
    int64_t count = 0;
    forEachSample([&](const std::array<int64_t, 4>& at) {
        Sample sample;
        std::memcpy(&sample, placeOf<Sample>(samples, at), sizeof sample);
        count += static_cast<double>(sample) != mark(at[0], at[1], at[2], at[3]);
    });
    return count;
}

template <typename Sample> void expectInAndOut(const Arrangement& arrangement, PixelType type)
{
    SCOPED_TRACE(arrangement.name);
    std::vector<std::byte> memory, other;
    const Samples samples = arranged(arrangement, type, memory);
    paint<Sample>(samples);
    const ImagePointer image = imageOver(samples, ColorSpaceRGB);
    EXPECT_EQ(image->shape, shape);
    EXPECT_EQ(image->colorSpace, ColorSpaceRGB);
    EXPECT_EQ(differences<Sample>(Samples::of(*image)), 0);
    const bool borrowed = image->block.data() == samples.data;
    EXPECT_EQ(borrowed,
              arrangement.borrowed
                  || (arrangement.offset > 0 && sizeof(Sample) == 1
                      && std::string(arrangement.name) == "unaligned"));

    const Samples target = arranged(arrangement, type, other);
    copySamples(Samples::of(*image), target);
    EXPECT_EQ(differences<Sample>(target), 0);
    // Nothing but the samples was written.
    EXPECT_EQ(memory, other);
}

} // namespace

TEST(Samples, ComeAndGoHoweverTheyLie)
{
    for (const Arrangement& arrangement : arrangements) {
        expectInAndOut<uint8_t>(arrangement, PixelTypeByte);
        expectInAndOut<uint16_t>(arrangement, PixelTypeBit16);
        expectInAndOut<float>(arrangement, PixelTypeReal32);
        expectInAndOut<double>(arrangement, PixelTypeReal);
    }
}

TEST(Samples, OfOneColumnAndOneRowAreBorrowed)
{
    std::vector<uint8_t> memory(12, 7);
    auto* data = reinterpret_cast<std::byte*>(memory.data());
    // A column is dense in any order, and the steps of axes of one entry do not count.
    const Samples column { data, { .rows = 12, .columns = 1 }, PixelTypeByte, { 99, 1, 12, 12 } };
    EXPECT_EQ(imageOver(column, ColorSpaceGray)->block.data(), data);
    const Samples row { data, { .rows = 1, .columns = 12 }, PixelTypeByte, { 0, 5, 1, -3 } };
    EXPECT_EQ(imageOver(row, ColorSpaceGray)->block.data(), data);
}

TEST(Samples, OfStepZeroRepeat)
{
    uint16_t color[] { 1, 2, 3 };
    const Samples uniform { reinterpret_cast<std::byte*>(color),
                            { .rows = 2, .columns = 2, .channels = 3 },
                            PixelTypeBit16,
                            { 0, 0, 0, 2 } };
    const ImagePointer image = imageOver(uniform, ColorSpaceRGB);
    const std::vector<uint16_t> expected { 1, 2, 3, 1, 2, 3, 1, 2, 3, 1, 2, 3 };
    const auto samples = image->samples<uint16_t>();
    EXPECT_TRUE(std::ranges::equal(samples, expected));
}

TEST(Samples, OfManyChannelsAndNone)
{
    // More channels than matrices are merged of, column by column.
    std::vector<uint8_t> memory(3 * 2 * 6);
    for (std::size_t i = 0; i < memory.size(); ++i) memory[i] = static_cast<uint8_t>(i);
    const Samples samples { reinterpret_cast<std::byte*>(memory.data()),
                            { .rows = 3, .columns = 2, .channels = 6 },
                            PixelTypeByte,
                            { 0, 1, 3, 6 } };
    const ImagePointer image = imageOver(samples, ColorSpaceUnspecified);
    EXPECT_EQ(image->samples<uint8_t>()[0 * 12 + 1 * 6 + 2], 0 + 3 + 12); // row 0, column 1, channel 2
    EXPECT_EQ(image->samples<uint8_t>()[2 * 12 + 0 * 6 + 5], 2 + 30);

    const Samples nothing { nullptr, { .rows = 0, .columns = 5 }, PixelTypeByte, { 0, 1, 0, 0 } };
    EXPECT_EQ(imageOver(nothing, ColorSpaceGray)->shape.samples(), 0);
}

} // namespace miravex::test
