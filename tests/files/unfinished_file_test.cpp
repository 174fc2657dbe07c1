#include "files/files.h"
#include "files/unfinished_file.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <list>
#include <optional>
#include <thread>
#include <vector>

namespace miravex::test {

using files::removeUnfinishedFiles;
using files::UnfinishedFile;

namespace {

std::string written(const TemporaryFolder& folder, int number)
{
    std::string file = folder.file(std::to_string(number));
    files::writeWhole(file, "half");
    return file;
}

} // namespace

TEST(UnfinishedFiles, OfAllThreadsAreRemovedByASignalHandler)
{
    const TemporaryFolder folder;
    constexpr std::size_t count = 64;
    std::vector<std::optional<UnfinishedFile>> files(count);
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < count; ++i)
        threads.emplace_back([&, i] { files[i].emplace(written(folder, static_cast<int>(i))); });
    threads.clear();
    files[3].reset();
    const std::string later = written(folder, 3); // no longer anybody's
    removeUnfinishedFiles();
    for (std::size_t i = 0; i < count; ++i)
        EXPECT_EQ(std::filesystem::exists(folder.file(std::to_string(i))), i == 3) << i;
}

TEST(UnfinishedFiles, AreRemovedAtTheirEndUnlessKept)
{
    const TemporaryFolder folder;
    constexpr int more = 600; // than a signal handler can be told of
    {
        std::list<UnfinishedFile> files;
        for (int i = 0; i < more; ++i) files.emplace_back(written(folder, i));
        files.back().keep();
    }
    for (int i = 0; i < more; ++i)
        EXPECT_EQ(std::filesystem::exists(folder.file(std::to_string(i))), i == more - 1) << i;
}

} // namespace miravex::test
