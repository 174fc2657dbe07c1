#include "files/error.h"
#include "files/files.h"
#include "files/npy.h"
#include "files/tensors.h"
#include "tests/support/host_check.h"
#include "tests/support/temporary_folder.h"

#include <fstream>

namespace miravex::test {

using files::readTensor;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

using namespace records;

constexpr Argument list = reals("list", "").shaped({ atLeast(0) }).orEmpty();
constexpr Argument points = reals("points", "").shaped({ atLeast(0), exactly(2) });
constexpr Argument matrix = reals("matrix", "").shaped({ exactly(3), exactly(3) });
constexpr Argument flat = reals("flat", "");
constexpr Argument counts = integers("counts", "");

std::vector<double> realsOf(const TensorPointer& tensor)
{
    return { tensor->reals().begin(), tensor->reals().end() };
}

} // namespace

class Numbers : public ::testing::Test {
protected:
    [[nodiscard]] std::string path(const std::string& name) const { return folder_.file(name); }

private:
    TemporaryFolder folder_;
};

TEST_F(Numbers, AreReadFromWords)
{
    EXPECT_THAT(realsOf(readTensor(list, "1,-2.5, 3e2")), ElementsAre(1, -2.5, 300));
    EXPECT_EQ(readTensor(list, "")->dimensions, std::vector<int64_t> { 0 });
    EXPECT_EQ(readTensor(matrix, "1,0,0;0,1,0;0,0,1")->dimensions, (std::vector<int64_t> { 3, 3 }));
    EXPECT_EQ(readTensor(points, "1,2,3,4,5,6")->dimensions, (std::vector<int64_t> { 3, 2 }));
    EXPECT_EQ(readTensor(points, "[[1,2],[3,4]]")->dimensions, (std::vector<int64_t> { 2, 2 }));
    EXPECT_EQ(readTensor(flat, "[[[1,2],[3,4]]]")->dimensions, (std::vector<int64_t> { 1, 2, 2 }));
    EXPECT_EQ(readTensor(list, "1;2;3")->dimensions, std::vector<int64_t> { 3 });
    EXPECT_TRUE(std::isinf(readTensor(list, "inf")->reals()[0]));
    EXPECT_TRUE(std::isnan(readTensor(list, "nan")->reals()[0]));
    EXPECT_THAT(readTensor(counts, "1,-2,3")->integers(), ElementsAre(1, -2, 3));
    EXPECT_EQ(readTensor(counts, "1,2")->elementType, TensorTypeInteger);
}

TEST_F(Numbers, AreRefusedWhenTheyAreNone)
{
    for (const char* word : { "1,x", "1,,2", "1,2;3", "[1,", "[[1,2],[3]]", "[\"a\"]", "1 2" })
        EXPECT_THROW(readTensor(flat, word), files::Error) << word;
    const std::string nested = std::string(200'000, '[') + "1" + std::string(200'000, ']');
    EXPECT_THROW(readTensor(flat, nested), files::Error) << "deeper than any tensor, and than the stack";
    EXPECT_THROW(readTensor(counts, "1.5"), files::Error);
    EXPECT_THROW(readTensor(counts, "1e300"), files::Error);
    EXPECT_THROW(readTensor(flat, path("missing.npy")), files::Error);
    EXPECT_THROW(readTensor(flat, path("missing.csv")), files::Error);
}

TEST_F(Numbers, AreReadFromTables)
{
    std::ofstream(path("plain.csv")) << "1,2\n3,4\r\n\n";
    EXPECT_THAT(realsOf(readTensor(points, path("plain.csv"))), ElementsAre(1, 2, 3, 4));
    std::ofstream(path("named.csv")) << "x,y\n5,6\n";
    EXPECT_EQ(readTensor(points, path("named.csv"))->dimensions, (std::vector<int64_t> { 1, 2 }));
    std::ofstream(path("ragged.csv")) << "1,2\n3\n";
    EXPECT_THROW(readTensor(points, path("ragged.csv")), files::Error);
    std::ofstream(path("array.json")) << "[[1,2],[3,4]]";
    EXPECT_THAT(realsOf(readTensor(points, path("array.json"))), ElementsAre(1, 2, 3, 4));
    std::ofstream(path("ours.json")) << R"({"operation": "x", "columns": ["x", "y"], "rows": [[7, 8]]})";
    EXPECT_THAT(realsOf(readTensor(points, path("ours.json"))), ElementsAre(7, 8));
    std::ofstream(path("bad.json")) << "[1, 2";
    EXPECT_THROW(readTensor(points, path("bad.json")), files::Error);
}

TEST_F(Numbers, KeepTheirBitsInNpy)
{
    const TensorPointer tensor = makeRealTensor({ 2, 3 });
    tensor->reals()[1] = 0.1;
    tensor->reals()[5] = -1e-310;
    files::writeNpy(path("t.npy"), files::npyOf(*tensor));
    const TensorPointer back = readTensor(flat, path("t.npy"));
    EXPECT_EQ(back->dimensions, tensor->dimensions);
    EXPECT_EQ(realsOf(back), realsOf(tensor));

    const TensorPointer integers = makeIntegerTensor({ 2 }, std::vector<int64_t> { -3, 1LL << 52 });
    files::writeNpy(path("i.npy"), files::npyOf(*integers));
    EXPECT_THAT(readTensor(counts, path("i.npy"))->integers(), ElementsAre(-3, 1LL << 52));
    EXPECT_EQ(files::readWhole(path("t.npy")).size() % 64,
              48U); // 64-byte header blocks, then 48 bytes of data
}

TEST_F(Numbers, UnderstandOtherOrdersOfNpy)
{
    // 2 x 3 big-endian 16-bit integers in column-major order: columns (1, 4), (2, 5), (3, 6).
    std::string header = "{'descr': '>i2', 'fortran_order': True, 'shape': (2, 3), }";
    header.resize(117, ' ');
    header += '\n';
    std::ofstream(path("f.npy"), std::ios::binary) << std::string("\x93NUMPY\x01\x00\x76\x00", 10) << header
                                                   << std::string("\0\x01\0\x04\0\x02\0\x05\0\x03\0\x06", 12);
    const TensorPointer tensor = readTensor(flat, path("f.npy"));
    EXPECT_EQ(tensor->dimensions, (std::vector<int64_t> { 2, 3 }));
    EXPECT_THAT(realsOf(tensor), ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(Numbers, RefuseDamagedNpy)
{
    const TensorPointer tensor = makeRealTensor({ 4 });
    files::writeNpy(path("whole.npy"), files::npyOf(*tensor));
    const std::string whole = files::readWhole(path("whole.npy"));
    for (const std::size_t size :
         { std::size_t { 0 }, std::size_t { 9 }, std::size_t { 40 }, whole.size() - 1 }) {
        std::ofstream(path("cut.npy"), std::ios::binary) << whole.substr(0, size);
        EXPECT_THROW(files::readNpy(path("cut.npy")), files::Error) << size;
    }
    std::string huge = whole;
    huge.replace(huge.find("(4,)"), 4, "(9999999999999999,9999999999999999)");
    std::ofstream(path("huge.npy"), std::ios::binary) << huge;
    EXPECT_THROW(files::readNpy(path("huge.npy")), files::Error);
    std::string objects = whole;
    objects.replace(objects.find("<f8"), 3, "|O8");
    std::ofstream(path("objects.npy"), std::ios::binary) << objects;
    EXPECT_THROW(files::readNpy(path("objects.npy")), files::Error);
}

TEST_F(Numbers, BecomeArraysForTheBatchLoader)
{
    constexpr Argument destination = array("destination", "");
    EXPECT_EQ(files::readArray(destination, "2x3x4x1")->dimensions, (std::vector<int64_t> { 2, 3, 4, 1 }));
    EXPECT_THROW(files::readArray(destination, "2x-3"), files::Error);
    EXPECT_THROW(files::readArray(destination, "twox3"), files::Error);
}

} // namespace miravex::test
