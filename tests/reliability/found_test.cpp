#include "fuzz/sample_files.h"
#include "tests/host_check.h"

/// What the fuzzers found, kept.
namespace miravex::test {

TEST(Found, RadianceFilesDoNotOverrunAGraySlot) // OpenCV reads them in colour even where gray is asked for
{
    const std::string file = "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 2 +X 3\n" + std::string(24, '\x80');
    const fuzz::MemoryFile radiance({ reinterpret_cast<const std::uint8_t*>(file.data()), file.size() });
    const ArrayPointer slots = makeFloatArray({ 1, 2, 3, 1 });
    const TensorPointer lengths = makeIntegerTensor({ 1 }, std::vector { int64_t(radiance.path().size()) });
    const Outcome outcome =
        succeed("LoadImagesFromPathInto",
                { slots, radiance.path(), lengths, "Grayscale", int64_t { 0 }, ArrayPointer(), int64_t { 0 },
                  ArrayPointer(), int64_t { 0 }, int64_t { 1 } });
    EXPECT_EQ(outcome.tensor().length(), 0);
    EXPECT_TRUE(slots->block.intact());
    for (const float sample : slots->floats()) EXPECT_EQ(sample, slots->floats()[0]);
}

} // namespace miravex::test
