#include "tests/tools/tool.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <opencv2/imgcodecs.hpp>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace miravex::test {

namespace fs = std::filesystem;

namespace {

std::string quoted(const std::string& word)
{
    std::string result = "'";
    for (const char c : word) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    result += '\'';
    return result;
}

} // namespace

std::string tool()
{
    const char* named = std::getenv("MIRAVEX_TOOL");
    if (named) return named;
    return (fs::read_symlink("/proc/self/exe").parent_path() / "miravex").string();
}

std::string contentsOf(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return { std::istreambuf_iterator<char>(stream), {} };
}

ToolTest::ToolTest()
{
    // Read once per process, when OpenCV first meets such a file.
    setenv("OPENCV_IO_ENABLE_OPENEXR", "1", 1);
    fs::create_directory(folder_ / ".run");
}

ToolRun ToolTest::run(const std::vector<std::string>& words, const std::string& input) const
{
    std::ofstream(path(".run/in"), std::ios::binary) << input;
    std::string command = fmt::format("cd {} && {}", quoted(folder_.string()), quoted(tool()));
    for (const std::string& word : words) command += fmt::format(" {}", quoted(word));
    command += " <.run/in >.run/out 2>.run/err";
    const int status = std::system(command.c_str());
    return { WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), contentsOf(path(".run/out")),
             contentsOf(path(".run/err")) };
}

ToolRun ToolTest::succeed(const std::vector<std::string>& words, const std::string& input) const
{
    ToolRun result = run(words, input);
    EXPECT_EQ(result.status, 0) << ::testing::PrintToString(words) << "\n" << result.err;
    return result;
}

void ToolTest::expectFailure(int status, const std::vector<std::string>& words,
                             const std::vector<std::string>& texts) const
{
    const ToolRun result = run(words);
    EXPECT_EQ(result.status, status) << ::testing::PrintToString(words) << "\n" << result.err;
    EXPECT_EQ(result.out, "") << ::testing::PrintToString(words);
    for (const std::string& text : texts) EXPECT_THAT(result.err, ::testing::HasSubstr(text));
}

std::string ToolTest::picture(const std::string& name, const cv::Mat& matrix) const
{
    EXPECT_TRUE(cv::imwrite(path(name), matrix)) << name;
    return path(name);
}

std::vector<std::string> ToolTest::listing() const
{
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder_))
        if (entry.path().filename() != ".run") names.push_back(entry.path().filename().string());
    std::ranges::sort(names);
    return names;
}

} // namespace miravex::test
