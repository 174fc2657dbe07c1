#include "convert/matrix_memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace miravex::test {

namespace {

/// What the kernel says of the memory around an address ("VmFlags" of /proc/self/smaps), between blanks.
std::string flagsOfMemory(const void* address)
{
    const auto wanted = reinterpret_cast<std::uintptr_t>(address);
    std::ifstream maps("/proc/self/smaps");
    bool inside = false;
    for (std::string line; std::getline(maps, line);) {
        std::uintptr_t first = 0, end = 0;
        char dash = 0;
        if (std::istringstream words(line); words >> std::hex >> first >> dash >> end && dash == '-')
            inside = wanted >= first && wanted < end;
        if (inside && line.starts_with("VmFlags:")) return line + " ";
    }
    return "";
}

bool advised(const cv::Mat& matrix)
{
    const std::size_t middle = matrix.total() * matrix.elemSize() / 2;
    return flagsOfMemory(matrix.data + middle).find(" hg ") != std::string::npos;
}

bool systemHasLargePages() { return std::filesystem::exists("/sys/kernel/mm/transparent_hugepage"); }

} // namespace

TEST(MatrixMemory, IsAskedForInLargePagesWhenItIsLarge)
{
    if (!systemHasLargePages()) GTEST_SKIP() << "the system has no large pages";
    cv::Mat large = resultMatrix(), usual;
    large.create(4000, 4000, CV_8UC3);
    usual.create(4000, 4000, CV_8UC3);
    EXPECT_TRUE(advised(large));
    EXPECT_FALSE(advised(usual));
}

TEST(MatrixMemory, StaysLargeWhenAnOperationMakesTheMatrixAnew)
{
    if (!systemHasLargePages()) GTEST_SKIP() << "the system has no large pages";
    cv::Mat matrix;
    useLargePages(matrix);
    matrix.create(10, 10, CV_8U);
    cv::copyMakeBorder(matrix, matrix, 3990, 0, 3990, 0, cv::BORDER_CONSTANT); // releases the small one
    ASSERT_EQ(matrix.size(), cv::Size(4000, 4000));
    EXPECT_TRUE(advised(matrix));
}

TEST(MatrixMemory, StartsAsZeroWhereThatIsAskedFor)
{
    for (int i = 0; i < 3; ++i) {
        cv::Mat(400, 500, CV_8U, cv::Scalar(200)).release(); // leaves its samples in the memory
        cv::Mat cleared = clearedResultMatrix();
        cleared.create(400, 500, CV_8U);
        EXPECT_EQ(cv::countNonZero(cleared), 0);
    }
}

TEST(MatrixMemory, IsOpenCvsOwnToFree)
{
    cv::Mat matrix = resultMatrix();
    matrix.create(3000, 3000, CV_8U);
    EXPECT_EQ(matrix.u->currAllocator, cv::Mat::getStdAllocator());
    cv::Mat copy = matrix; // shares the memory
    matrix.release();
    copy.setTo(7);
    EXPECT_EQ(cv::countNonZero(copy != 7), 0);
}

TEST(MatrixMemory, IsNotAskedForOverSamplesOfOthers)
{
    std::vector<unsigned char> samples(12, 5);
    cv::Mat over(3, 4, CV_8U, samples.data());
    useLargePages(over);
    over.create(3, 4, CV_8U); // fits: the samples stay where they are
    EXPECT_EQ(over.data, samples.data());
}

} // namespace miravex::test
