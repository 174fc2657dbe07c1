#include "tests/support/host_check.h"
#include "tests/tools/tool.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <opencv2/features2d.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <fstream>
#include <functional>

namespace miravex::test {

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;

class CommandLine : public ToolTest { };

TEST_F(CommandLine, FiltersAPhotoBitForBit) // OpenCV called directly
{
    const cv::Mat original = photo("fruits.jpg");
    SKIP_WITHOUT(original);
    const std::string file = "/usr/share/doc/opencv-doc/examples/data/fruits.jpg";
    const ToolRun result = succeed({ "median-filter", file, "--radius", "3", "-o", "out.png" });
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
    cv::Mat expected;
    cv::medianBlur(cv::imread(file), expected, 7);
    EXPECT_TRUE(sameBits(cv::imread(path("out.png"), cv::IMREAD_UNCHANGED), expected));
}

TEST_F(CommandLine, KnowsOperationsByEverySpelling)
{
    const std::string file = picture("in.png", noise(20, 30, CV_8UC3));
    int i = 0;
    for (const char* name : { "median-filter", "MedianFilter", "median_filter", "opencv_MedianFilter" }) {
        succeed({ name, file, "-o", fmt::format("a{}.png", i++) });
        succeed({ "run", name, file, "-o", fmt::format("a{}.png", i++) });
    }
    for (int j = 1; j < i; ++j)
        EXPECT_EQ(contentsOf(path("a0.png")), contentsOf(path(fmt::format("a{}.png", j))));
}

TEST_F(CommandLine, NamesTheArgumentItsValueAndWhatIsAccepted)
{
    const std::string file = picture("in.png", noise(20, 30, CV_8UC3));
    expectFailure(2, { "median-filter", file, "--radius", "0", "-o", "out.png" },
                  { "radius", "0", "at least 1" });
    expectFailure(2, { "median-filter", file, "--radius", "-7", "-o", "out.png" },
                  { "radius is -7", "at least 1" });
    expectFailure(2, { "fast-nl-means-denoising", file, "--search-window", "4097", "-o", "out.png" },
                  { "search_window is 4097", "at most 4095", "try 4095" });
    expectFailure(2, { "median-filter", file, "--radius", "3.5", "-o", "out.png" },
                  { "radius is \"3.5\"", "an integer", "at least 1" });
    expectFailure(2, { "median-filter", file, "--radius", "99999999999999999999", "-o", "out.png" },
                  { "radius" });
    expectFailure(2, { "pyr-down", file, "--padding", "Reflectd", "-o", "out.png" },
                  { "padding is \"Reflectd\"", "one of Fixed", "try Reflected" });
    EXPECT_FALSE(exists("out.png"));
}

TEST_F(CommandLine, TakesChoicesInAnyCapitals)
{
    const std::string file = picture("in.png", noise(20, 30, CV_8UC3));
    succeed({ "pyr-down", file, "--padding", "PERIODIC", "-o", "a.png" });
    succeed({ "pyr-down", file, "--padding", "Periodic", "-o", "b.png" });
    succeed({ "pyr-down", file, "--padding=Fixed", "-o", "c.png" });
    EXPECT_EQ(contentsOf(path("a.png")), contentsOf(path("b.png")));
    EXPECT_NE(contentsOf(path("a.png")), contentsOf(path("c.png")));
}

TEST_F(CommandLine, SuggestsWhatMayHaveBeenMeant)
{
    const std::string file = picture("in.png", noise(20, 30, CV_8UC3));
    expectFailure(2, { "median-filter", file, "--raduis", "3", "-o", "out.png" },
                  { "--raduis", "did you mean --radius" });
    expectFailure(2, { "medain-filter", file, "-o", "out.png" }, { "did you mean median-filter" });
    expectFailure(2, { "run", "medain-filter", file, "-o", "out.png" }, { "did you mean median-filter" });
    expectFailure(2, { "help", "median" }, { "did you mean median-filter" });
    expectFailure(2, { "docter" }, { "did you mean doctor" });
    expectFailure(2, { "list", "--jsn" }, { "did you mean --json" });
    expectFailure(2, { "wholly-unlike-anything" }, { "miravex list" });
}

TEST_F(CommandLine, CountsFiles)
{
    const std::string file = picture("in.png", noise(20, 30, CV_8UC3));
    expectFailure(2, { "median-filter", "-o", "out.png" }, { "image is missing" });
    expectFailure(2, { "median-filter", file, file, "-o", "out.png" }, { "takes 1 file", "2 given" });
    expectFailure(2, { "run" }, { "which operation" });
}

TEST_F(CommandLine, RefusesToOverwriteWithoutForce)
{
    const std::string file = picture("in.png", noise(20, 30, CV_8UC3));
    std::ofstream(path("out.png")) << "precious";
    expectFailure(2, { "median-filter", file, "-o", "out.png" }, { "out.png", "--force" });
    EXPECT_EQ(contentsOf(path("out.png")), "precious");
    succeed({ "median-filter", file, "-o", "out.png", "--force" });
    EXPECT_FALSE(cv::imread(path("out.png")).empty());
    expectFailure(2, { "median-filter", file, "-o", "nowhere/out.png" }, { "no folder nowhere" });
    expectFailure(2, { "median-filter", file, "-o", "." }, { "." });
}

TEST_F(CommandLine, RefusesOutputsThatCannotHoldTheResult)
{
    const std::string file = picture("in.png", noise(20, 30, CV_8UC3));
    expectFailure(2, { "median-filter", file }, { "-o FILE" });
    expectFailure(2, { "median-filter", file, "-o", "out.xyz" }, { ".xyz", ".png" });
    expectFailure(2, { "median-filter", file, "-o", "out.csv" }, { ".csv" });
    expectFailure(2, { "median-filter", file, "-o", "out.png", "--overlay", "over.png" },
                  { "can't be drawn" });
    EXPECT_THAT(listing(), ElementsAre("in.png"));
}

TEST_F(CommandLine, TellsWhyAnInputCannotBeRead)
{
    expectFailure(3, { "median-filter", "missing.png", "-o", "out.png" }, { "missing.png", "no such file" });
    std::ofstream(path("empty.png"));
    expectFailure(3, { "median-filter", "empty.png", "-o", "out.png" }, { "empty.png", "is empty" });
    std::ofstream(path("text.png")) << "this is no picture at all";
    expectFailure(3, { "median-filter", "text.png", "-o", "out.png" }, { "text.png", "no picture" });
    expectFailure(3, { "median-filter", ".", "-o", "out.png" }, { "it is a folder" });
    const std::string whole = contentsOf(picture("whole.png", noise(200, 300, CV_8UC3)));
    std::ofstream(path("cut.png"), std::ios::binary) << whole.substr(0, 40);
    expectFailure(3, { "median-filter", "cut.png", "-o", "out.png" }, { "cut.png", "truncated" });
    std::ofstream(path("cut.npy"), std::ios::binary) << "\x93NUMPY\x01";
    expectFailure(3, { "median-filter", "cut.npy", "-o", "out.png" }, { "cut.npy" });
}

TEST_F(CommandLine, FailsWithOneWhenTheLibraryRefuses)
{
    const std::string file = picture("in.png", noise(20, 30, CV_8UC3));
    // The record accepts "None"; OpenCV does not.
    expectFailure(1, { "pyr-down", file, "--padding", "None", "-o", "out.png" },
                  { "pyr-down failed", "OpenCV says" });
    EXPECT_THAT(listing(), ElementsAre("in.png"));
}

TEST_F(CommandLine, SpeaksJson)
{
    const std::string file = picture("in.png", noise(20, 30, CV_8UC3));
    const ToolRun refused = run({ "median-filter", file, "--radius", "0", "-o", "out.png", "--json" });
    EXPECT_EQ(refused.status, 2);
    const json error = json::parse(refused.err);
    EXPECT_EQ(error["status"], 2);
    EXPECT_EQ(error["refusals"][0]["argument"], "radius");
    EXPECT_EQ(error["refusals"][0]["value"], "0");
    EXPECT_THAT(std::string(error["refusals"][0]["expected"]), HasSubstr("at least 1"));
    EXPECT_EQ(error["refusals"][0]["suggestion"], "1");

    const json report = json::parse(succeed({ "--json", "median-filter", file, "-o", "out.png" }).out);
    EXPECT_EQ(report["operation"], "median-filter");
    EXPECT_EQ(report["output"], "out.png");
    EXPECT_EQ(json::parse(run({ "nonsense", "--json" }).err)["status"], 2);
}

TEST_F(CommandLine, SpeaksJsonOfNamesThatAreNoUtf8)
{
    const ToolRun refused = run({ "median-filter", path("\xFF.png"), "-o", "out.png", "--json" });
    EXPECT_EQ(refused.status, 3);
    EXPECT_THAT(json::parse(refused.err)["error"].get<std::string>(), HasSubstr("\xEF\xBF\xBD.png"));
}

TEST_F(CommandLine, ReadsStandardInputAndWritesStandardOutput)
{
    const cv::Mat original = noise(20, 30, CV_8UC3);
    const std::string bytes = contentsOf(picture("in.png", original));
    cv::Mat expected;
    cv::medianBlur(original, expected, 5);
    for (const std::string format : { "png", "tiff" }) {
        const ToolRun result = succeed({ "median-filter", "-", "-o", "-", "--format", format }, bytes);
        std::ofstream(path(fmt::format("out.{}", format)), std::ios::binary) << result.out;
        EXPECT_TRUE(sameBits(cv::imread(path(fmt::format("out.{}", format)), cv::IMREAD_UNCHANGED), expected))
            << format;
    }
    expectFailure(3, { "median-filter", "-", "-o", "out2.png" }, { "standard input" });
}

TEST_F(CommandLine, HelpsWithEveryOperation)
{
    for (const Operation* operation : catalog()) {
        const ToolRun help = succeed({ "help", std::string(operation->name) });
        EXPECT_THAT(help.out, HasSubstr(std::string(operation->summary)));
        for (const Argument& argument : operation->arguments) {
            if (!argument.impliedBy.empty()) continue;
            const std::string start(argument.summary.substr(0, argument.summary.find(' ')));
            EXPECT_THAT(help.out, HasSubstr(start)) << operation->name << " " << argument.name;
        }
        EXPECT_EQ(succeed({ kebabCase(operation->name), "--help" }).out, help.out);
        EXPECT_EQ(succeed({ "batch", kebabCase(operation->name), "-h" }).out, help.out);
    }
    const ToolRun help = succeed({ "help", "fast-nl-means-denoising" });
    for (const char* text : { "--template-window N", "257, odd", "default: 7", "2005" })
        EXPECT_THAT(help.out, HasSubstr(text));
}

TEST_F(CommandLine, ListsEveryOperation)
{
    const ToolRun list = succeed({ "list" });
    for (const Operation* operation : catalog()) EXPECT_THAT(list.out, HasSubstr(kebabCase(operation->name)));
    EXPECT_EQ(json::parse(succeed({ "list", "--json" }).out).size(), catalog().size());
}

TEST_F(CommandLine, TellsVersionsAndItself)
{
    EXPECT_THAT(succeed({ "--version" }).out, HasSubstr("host interface 5"));
    EXPECT_THAT(succeed({}).out, HasSubstr("Usage"));
    EXPECT_THAT(succeed({ "--help" }).out, HasSubstr("median-filter"));
    EXPECT_THAT(succeed({ "help" }).out, HasSubstr("gallery"));
}

TEST_F(CommandLine, FindsTheInstallationSound)
{
    const ToolRun doctor = run({ "doctor", "--json" });
    const json findings = json::parse(doctor.out);
    for (const json& finding : findings) EXPECT_NE(finding["verdict"], "BROKEN") << finding.dump();
    EXPECT_EQ(doctor.status, 0);
    EXPECT_EQ(findings.front()["what"], "miravex");
    EXPECT_THAT(findings.front()["details"].get<std::string>(),
                MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+, [^,]+, [^,]+, [1-9][0-9]* cores"));
    EXPECT_THAT(succeed({ "doctor" }).out, HasSubstr("all in the catalogue"));
}

TEST_F(CommandLine, LeavesNoFilesBehindAfterAFailure)
{
    const std::string file = picture("in.png", noise(20, 30, CV_8U));
    run({ "pyr-down", file, "--padding", "None", "-o", "out.png" });
    run({ "pyr-down", file, "-o", "out.xyz" });
    EXPECT_THAT(listing(), ElementsAre("in.png"));
    EXPECT_THAT(succeed({ "pyr-down", file, "-o", "out.png", "--threads", "1" }).err, IsEmpty());
    EXPECT_THAT(listing(), ElementsAre("in.png", "out.png"));
}

TEST_F(CommandLine, TakesSeveralFilesOrSomeFramesOfAVideoAsASequence)
{
    const cv::Mat first = noise(24, 30, CV_8UC3, 1);
    for (int i = 1; i <= 5; ++i)
        picture(fmt::format("{}.png", i), noise(24, 30, CV_8UC3, static_cast<uint64_t>(i)));
    succeed({ "fast-nl-means-denoising-colored-multi", "1.png", "2.png", "3.png", "4.png", "5.png", "--frame",
              "3", "--temporal-window", "3", "-o", "out.png" });
    EXPECT_EQ(cv::imread(path("out.png")).size(), first.size());
    const std::string film = "/usr/share/doc/opencv-doc/examples/data/tree.avi";
    if (!std::filesystem::exists(film)) GTEST_SKIP() << "opencv-doc is not installed";
    succeed({ "align-mtb", film, "--max-frames", "3", "-o", "aligned.tiff" });
    std::vector<cv::Mat> frames;
    cv::imreadmulti(path("aligned.tiff"), frames, cv::IMREAD_UNCHANGED);
    EXPECT_EQ(frames.size(), 3U);
}

TEST_F(CommandLine, WritesNumbersAndDrawsThem) // keypoints: OpenCV called directly
{
    const cv::Mat original = photo("building.jpg");
    SKIP_WITHOUT(original);
    cv::Mat gray; // the colours' luminance; the JPEG's own differs by rounding
    cv::cvtColor(original, gray, cv::COLOR_RGB2GRAY);
    const std::string file = "/usr/share/doc/opencv-doc/examples/data/building.jpg";
    const ToolRun result = succeed({ "fast", file, "--threshold", "60", "--gray" });
    const json printed = json::parse(result.out);
    EXPECT_EQ(printed["columns"][0], "x");
    std::vector<cv::KeyPoint> expected;
    cv::FAST(gray, expected, 60);
    EXPECT_EQ(printed["rows"].size(), expected.size());

    succeed({ "fast", file, "--threshold", "60", "-o", "k.csv", "--overlay", "k.png" });
    EXPECT_TRUE(contentsOf(path("k.csv")).starts_with("x,y,size,angle,response,octave,class_id\n"));
    EXPECT_EQ(cv::imread(path("k.png")).size(), gray.size());
    succeed({ "fast", file, "--threshold", "60", "-o", "k.npy" });
    succeed({ "orb", file, "--mode", "compute", "--keypoints", "k.npy", "-o", "d.npy" });
    succeed({ "descriptor-matcher", "--query", "d.npy", "--train", "d.npy", "-o", "m.json" });
    EXPECT_EQ(json::parse(contentsOf(path("m.json")))["columns"].size(), 2U);
    expectFailure(2, { "descriptor-matcher", "--query", "d.npy", "--train", "d.npy", "--overlay", "m.png" },
                  { "--query-picture" });
    expectFailure(2, { "fast", file, "-o", "k.png" }, { ".json, .csv or .npy" });
    expectFailure(3, { "face-detection", file, "--cascade", "none.xml" }, { "none.xml", "no such file" });
}

TEST_F(CommandLine, PrintsReals)
{
    const ToolRun result =
        succeed({ "match-shapes", "--contour1", "0,0;4,0;4,2;0,2", "--contour2", "0,0;8,0;8,4;0,4" });
    EXPECT_NEAR(json::parse(result.out)["value"], 0, 1e-6); // the same shape, larger
}

TEST_F(CommandLine, TakesAndGivesPicturesOfEveryType)
{
    const cv::Mat original = noise(20, 30, CV_16UC3);
    picture("in.png", original);
    succeed({ "pyr-up", "in.png", "-o", "out.tiff" });
    cv::Mat expected;
    cv::pyrUp(original, expected);
    EXPECT_TRUE(sameBits(cv::imread(path("out.tiff"), cv::IMREAD_UNCHANGED), expected));

    cv::Mat reals = noise(20, 30, CV_32FC3) * 7;
    picture("in.exr", reals);
    succeed({ "pyr-up", "in.exr", "-o", "out.exr" });
    cv::pyrUp(reals, expected);
    EXPECT_TRUE(sameBits(cv::imread(path("out.exr"), cv::IMREAD_UNCHANGED), expected));
}

namespace {

/// What the dynamic linker says of the files that it opens for a run.
std::string filesOpened(const std::function<ToolRun()>& run)
{
    setenv("LD_DEBUG", "files", 1);
    const ToolRun result = run();
    unsetenv("LD_DEBUG");
    EXPECT_EQ(result.status, 0);
    return result.err;
}

} // namespace

TEST_F(CommandLine, LoadsCodecsForPicturesAlone)
{
    const std::vector<std::vector<std::string>> plain { { "list" },     { "help" }, { "help", "orb" },
                                                        { "schema" },   { "man" },  { "completion", "bash" },
                                                        { "--version" } };
    for (const auto& words : plain) {
        const std::string opened = filesOpened([&] { return run(words); });
        EXPECT_THAT(opened, HasSubstr("libopencv_core")) << words.front();
        for (const char* reader : { "imgcodecs", "videoio", "libmiravex" })
            EXPECT_THAT(opened, Not(HasSubstr(reader))) << words.front();
    }
    picture("a.png", noise(8, 8, CV_8U));
    const std::string opened = filesOpened([&] { return run({ "median-filter", "a.png", "-o", "b.png" }); });
    EXPECT_THAT(opened, HasSubstr("libmiravex_codecs"));
    EXPECT_THAT(opened, Not(HasSubstr("libmiravex_readers")));
}

} // namespace miravex::test
