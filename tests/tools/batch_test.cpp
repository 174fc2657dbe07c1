#include "tests/support/host_check.h"
#include "tests/tools/tool.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <memory>
#include <utility>

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

TEST_F(Batch, GivesTheSameBitsAndOrderOnAnyNumberOfThreads)
{
    std::filesystem::create_directories(path("in"));
    std::vector<std::string> good, bad;
    for (int i = 0; i < 30; ++i) {
        const std::string name = fmt::format("in/p{:02}.png", i);
        if (i % 7 == 3) {
            std::ofstream(path(name)) << "no picture";
            bad.push_back(name);
        } else {
            const int side = 30 + 97 * (i % 3); // the next file is often done before this one
            picture(name, noise(side, 2 * side, CV_8UC3, static_cast<uint64_t>(i) + 1));
            good.push_back(name);
        }
    }
    const auto filesOf = [](const json& list) {
        std::vector<std::string> files;
        for (const json& entry : list) files.push_back(entry["file"]);
        return files;
    };
    for (const char* threads : { "1", "2", "5", "200" }) {
        const std::string out = fmt::format("out{}", threads);
        const ToolRun result =
            run({ "batch", "pyr-mean-shift-filter", "in", "-o", out, "--threads", threads, "--json" });
        EXPECT_EQ(result.status, 4) << result.err;
        const json report = json::parse(result.out);
        EXPECT_EQ(filesOf(report["done"]), good);
        EXPECT_EQ(filesOf(report["failed"]), bad);
        for (const std::string& name : good) {
            const std::string file = std::filesystem::path(name).filename();
            EXPECT_EQ(contentsOf(path(out + "/" + file)), contentsOf(path("out1/" + file))) << threads;
        }
    }
}

namespace {

/// A process of the tool, killed with this object.
class RunningTool {
public:
    RunningTool(const std::string& folder, std::vector<std::string> words)
        : pid_(fork())
    {
        if (pid_ != 0) return;
        words.insert(words.begin(), tool());
        std::vector<char*> arguments;
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        const bool ready = chdir(folder.c_str()) == 0 && std::freopen("out.txt", "w", stdout)
            && std::freopen("err.txt", "w", stderr);
        if (ready) execv(arguments.front(), arguments.data());
        _exit(127);
    }
    ~RunningTool()
    {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    RunningTool(const RunningTool&) = delete;
    RunningTool& operator=(const RunningTool&) = delete;

    void interrupt() const { kill(pid_, SIGINT); }
    int status()
    {
        int status = 0;
        waitpid(std::exchange(pid_, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t pid_;
};

/// Names in a folder, of unfinished files too.
std::vector<std::string> namesIn(const std::string& folder)
{
    std::vector<std::string> names;
    if (std::filesystem::exists(folder))
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
}

bool isUnfinished(const std::string& name) { return name.starts_with('.'); }

} // namespace

class InterruptedBatch : public Batch {
protected:
    /// Starts a batch of forty files that takes many seconds, and returns when the first result is there.
    std::unique_ptr<RunningTool> start()
    {
        std::vector<std::string> words { "batch", "fast-nl-means-denoising", "-o", "out", "--threads", "4",
                                         "--json" };
        for (int i = 0; i < 40; ++i)
            words.push_back(picture(fmt::format("p{:02}.png", i), noise(300, 300, CV_8U)));
        auto tool = std::make_unique<RunningTool>(path(""), words);
        constexpr int patience = 60000; // ms
        for (int waited = 0; waited < patience && std::ranges::all_of(namesIn(path("out")), isUnfinished);
             ++waited)
            usleep(1000);
        return tool;
    }
};

TEST_F(InterruptedBatch, FinishesTheFilesUnderWayAndReportsThem)
{
    const auto tool = start();
    tool->interrupt();
    EXPECT_EQ(tool->status(), 130);
    const json report = json::parse(contentsOf(path("out.txt")));
    EXPECT_EQ(report["interrupted"], true);
    EXPECT_LT(report["done"].size(), 40U);
    std::vector<std::string> reported;
    for (const json& entry : report["done"])
        reported.push_back(std::filesystem::path(std::string(entry["output"])).filename());
    EXPECT_EQ(namesIn(path("out")), reported);
    for (const std::string& name : reported)
        EXPECT_EQ(cv::imread(path("out/" + name), cv::IMREAD_UNCHANGED).size(), cv::Size(300, 300)) << name;
}

TEST_F(InterruptedBatch, TwiceLeavesNoHalfOfAFile)
{
    const auto tool = start();
    tool->interrupt();
    usleep(50000);
    tool->interrupt();
    EXPECT_EQ(tool->status(), 130);
    for (const std::string& name : namesIn(path("out"))) {
        EXPECT_FALSE(isUnfinished(name)) << name;
        EXPECT_EQ(cv::imread(path("out/" + name), cv::IMREAD_UNCHANGED).size(), cv::Size(300, 300)) << name;
    }
}

} // namespace miravex::test
