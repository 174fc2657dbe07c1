#include "files/files.h"
#include "files/mapped_npy.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <cstring>

namespace miravex::test {

TEST(MappedNpy, LeavesNothingUnlessFinished)
{
    const TemporaryFolder folder;
    const std::string path = folder.file("a.npy");
    {
        files::MappedNpy array(path, { 5, 2, 3 });
        array.data()[0] = 1;
        EXPECT_FALSE(std::filesystem::exists(path));
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    {
        files::MappedNpy array(path, { 5, 2, 3 });
        for (int i = 0; i < 30; ++i) array.data()[i] = static_cast<float>(i);
        array.settle(0, 30);
        array.finish(4);
    }
    const std::string bytes = files::readWhole(path);
    EXPECT_EQ(bytes.substr(0, 8), std::string("\x93NUMPY\x01\x00", 8));
    EXPECT_NE(bytes.find("'shape': (4, 2, 3)"), std::string::npos) << bytes.substr(10, 100);
    ASSERT_EQ(bytes.size(), 256 + 24 * sizeof(float));
    float last = 0;
    std::memcpy(&last, bytes.data() + bytes.size() - sizeof(float), sizeof(float));
    EXPECT_EQ(last, 23);
    EXPECT_THROW(files::MappedNpy(folder.file("none/a.npy"), { 1 }), std::runtime_error);
    EXPECT_THROW(files::MappedNpy(folder.file("b.npy"), { INT64_MAX, 4 }), std::runtime_error);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

} // namespace miravex::test
