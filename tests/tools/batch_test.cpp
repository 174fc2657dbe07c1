#include "tests/support/host_check.h"
#include "tests/tools/tool.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <fstream>

namespace miravex::test {

using nlohmann::json;
using ::testing::HasSubstr;

class Batch : public ToolTest { };

TEST_F(Batch, RunsOneOperationOnEveryFile)
{
    std::vector<std::string> words { "batch", "median-filter", "-o", "out", "--radius", "1" };
    std::vector<cv::Mat> originals;
    for (int i = 0; i < 4; ++i) {
        originals.push_back(noise(20, 30, i % 2 == 0 ? CV_8UC3 : CV_8U, static_cast<uint64_t>(i) + 1));
        words.push_back(picture(fmt::format("p{}.png", i), originals.back()));
    }
    EXPECT_THAT(succeed(words).err, HasSubstr("4 of 4 done, 0 failed"));
    for (std::size_t i = 0; i < originals.size(); ++i) {
        cv::Mat expected;
        cv::medianBlur(originals[i], expected, 3);
        EXPECT_TRUE(
            sameBits(cv::imread(path(fmt::format("out/p{}.png", i)), cv::IMREAD_UNCHANGED), expected));
    }
}

TEST_F(Batch, GoesOnAfterAFileThatFails)
{
    picture("good.png", noise(8, 8, CV_8U));
    std::ofstream(path("bad.png")) << "no picture";
    const ToolRun result =
        run({ "batch", "median-filter", "good.png", "bad.png", "missing.png", "-o", "out", "--json" });
    EXPECT_EQ(result.status, 4);
    const json report = json::parse(result.out);
    ASSERT_EQ(report["done"].size(), 1U);
    EXPECT_EQ(report["done"][0]["file"], "good.png");
    ASSERT_EQ(report["failed"].size(), 2U);
    EXPECT_EQ(report["failed"][1]["file"], "missing.png");
    EXPECT_THAT(std::string(report["failed"][1]["error"]), HasSubstr("no such file"));
    EXPECT_TRUE(exists("out/good.png"));
    EXPECT_EQ(run({ "batch", "median-filter", "bad.png", "-o", "out2" }).status, 4);
}

TEST_F(Batch, TellsWrongOptionsOnce)
{
    picture("a.png", noise(8, 8, CV_8U));
    expectFailure(2, { "batch", "median-filter", "a.png", "-o", "out", "--radius", "0" }, { "radius is 0" });
    expectFailure(2, { "batch", "median-filter", "a.png" }, { "-o FOLDER" });
    expectFailure(2, { "batch", "median-filter", "-o", "out" }, { "needs pictures" });
    expectFailure(2, { "batch" }, { "usage" });
    expectFailure(2, { "batch", "nonsense", "a.png", "-o", "out" }, { "nonsense" });
}

TEST_F(Batch, TakesFoldersAndKeepsNamesApart)
{
    std::filesystem::create_directories(path("one"));
    std::filesystem::create_directories(path("two"));
    picture("one/a.png", noise(8, 8, CV_8U, 1));
    picture("one/b.png", noise(8, 8, CV_8U, 2));
    std::ofstream(path("one/notes.txt")) << "not a picture";
    picture("two/a.png", noise(8, 8, CV_8U, 3));
    succeed({ "batch", "median-filter", "one", "two", "-o", "out" });
    for (const char* name : { "out/a.png", "out/b.png", "out/a-2.png" }) EXPECT_TRUE(exists(name)) << name;
    EXPECT_NE(contentsOf(path("out/a.png")), contentsOf(path("out/a-2.png")));
}

TEST_F(Batch, RefusesToOverwrite)
{
    picture("a.png", noise(8, 8, CV_8U));
    succeed({ "batch", "median-filter", "a.png", "-o", "out" });
    expectFailure(2, { "batch", "median-filter", "a.png", "-o", "out" }, { "--force" });
    succeed({ "batch", "median-filter", "a.png", "-o", "out", "--force" });
    succeed({ "batch", "median-filter", "a.png", "-o", "out", "--format", "tiff" });
    EXPECT_TRUE(exists("out/a.tiff"));
}

} // namespace miravex::test
