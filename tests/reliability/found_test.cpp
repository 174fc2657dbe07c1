#include "tests/support/host_check.h"
#include "tests/support/sample_files.h"

#include <cmath>

/// What the fuzzers found, kept.
namespace miravex::test {

TEST(Found, RadianceFilesDoNotOverrunAGraySlot) // OpenCV reads them in colour even where gray is asked for
{
    const std::string file = "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 2 +X 3\n" + std::string(24, '\x80');
    const MemoryFile radiance({ reinterpret_cast<const std::uint8_t*>(file.data()), file.size() });
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

TEST(Found, ContourCoordinatesEndWhereTheRecordSays) // beyond, they narrowed to one that an int holds
{
    const auto contour = [](double last) {
        return makeRealTensor({ 3, 2 }, std::vector { 0.0, 0.0, 9.0, 0.0, 0.0, last });
    };
    for (const double edge : { 2147483520.0, -2147483648.0 }) {
        succeed("MatchShapes", { contour(edge), contour(5), "I1" });
        expectRefused("MatchShapes", { contour(std::nextafter(edge, 2 * edge)), contour(5), "I1" });
        expectRefused("MatchShapes", { contour(5), contour(std::nextafter(edge, 2 * edge)), "I1" });
    }
}

TEST(Found, RecordsJudgeSizesThatCannotBeDoubled) // they overflowed
{
    const ImagePointer picture = imageOf(noise(8, 8, CV_8U));
    for (const int64_t size : { INT64_MIN, INT64_MAX, INT64_MAX / 2 + 1 }) {
        EXPECT_FALSE(check(record("PyrDown"), Values { picture, "Fixed", size, int64_t { 4 } }).empty())
            << size;
        EXPECT_FALSE(check(record("PyrUp"), Values { picture, int64_t { 16 }, size }).empty()) << size;
    }
}

} // namespace miravex::test
