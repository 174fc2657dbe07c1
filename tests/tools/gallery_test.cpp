#include "tests/support/host_check.h"
#include "tests/tools/tool.h"
#include "tools/gallery/samples.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <set>

namespace miravex::test {

using nlohmann::json;
using ::testing::HasSubstr;

class Gallery : public ToolTest { };

TEST_F(Gallery, ShowsOperationsWithTheirPictures)
{
    SKIP_WITHOUT(photo("fruits.jpg"));
    succeed({ "gallery", "g", "median-filter", "pyr-up" });
    const json exhibits = json::parse(contentsOf(path("g/gallery.json")));
    std::set<std::string> shown;
    const std::string page = contentsOf(path("g/index.html"));
    for (const json& exhibit : exhibits) {
        shown.insert(exhibit["operation"]);
        EXPECT_FALSE(exhibit.contains("failed")) << exhibit.dump();
        EXPECT_GT(exhibit["milliseconds"], 0.0);
        ASSERT_FALSE(exhibit["inputs"].empty());
        ASSERT_FALSE(exhibit["results"].empty());
        for (const char* side : { "inputs", "results" }) {
            for (const json& figure : exhibit[side]) {
                const std::string file = figure["file"];
                EXPECT_TRUE(exists(fmt::format("g/{}", file))) << file;
                EXPECT_THAT(page, HasSubstr(fmt::format("\"{}\"", file)));
            }
        }
    }
    EXPECT_EQ(shown, (std::set<std::string> { "median-filter", "pyr-up" }));
    EXPECT_THAT(page, HasSubstr("opencv_MedianFilter"));
    EXPECT_THAT(page, HasSubstr("prefers-color-scheme"));
    EXPECT_THAT(page, ::testing::Not(HasSubstr("http")));
    succeed({ "gallery", "g", "pyr-up" }); // again, over itself
}

// As packages are built, which must come out the same each time.
TEST_F(Gallery, TellsNoTimesWhereTheDateIsFixed)
{
    SKIP_WITHOUT(photo("fruits.jpg"));
    setenv("SOURCE_DATE_EPOCH", "1", 1);
    succeed({ "gallery", "one", "median-filter", "pyr-up" });
    succeed({ "gallery", "other", "median-filter", "pyr-up" });
    unsetenv("SOURCE_DATE_EPOCH");
    for (const char* file : { "gallery.json", "index.html" })
        EXPECT_EQ(contentsOf(path(fmt::format("one/{}", file))),
                  contentsOf(path(fmt::format("other/{}", file))));
}

TEST_F(Gallery, ShowsTheFirstNumbersOfTables)
{
    succeed({ "gallery", "g", "earth-mover-distance-flow-matrix" });
    const json exhibit = json::parse(contentsOf(path("g/gallery.json"))).at(0);
    EXPECT_EQ(exhibit["table"]["columns"], (json { "c0", "c1" }));
    EXPECT_EQ(exhibit["table"]["rowsInAll"], 3);
    double moved = 0;
    for (const json& row : exhibit["table"]["rows"])
        for (const json& number : row) moved += number.get<double>();
    EXPECT_NEAR(moved, 4, 1e-6); // all of the mass
}

TEST_F(Gallery, KeepsWholeResultsThatAreNumbers)
{
    succeed({ "gallery", "g", "earth-mover-distance-flow-matrix", "match-shapes" });
    const json exhibits = json::parse(contentsOf(path("g/gallery.json")));
    const json& flow = exhibits.at(0);
    EXPECT_EQ(flow["layout"], "transport");
    ASSERT_EQ(flow["files"], (json { "results/earth-mover-distance-flow-matrix-1.npy" }));
    EXPECT_FALSE(exhibits.at(1).contains("files"));
    const std::string kept = flow["files"][0];
    std::vector<std::string> words { "earth-mover-distance-flow-matrix", "-o", "flow.npy" };
    for (const char* word :
         { "--points1", "0,0;1,0;2,0", "--weights1", "1,2,1", "--points2", "0,3;2,3", "--weights2", "2,2" })
        words.emplace_back(word);
    succeed(words);
    EXPECT_EQ(contentsOf(path("g/" + kept)), contentsOf(path("flow.npy")));
}

TEST_F(Gallery, ExhibitsOneCall)
{
    picture("in.png", noise(20, 30, CV_8UC3));
    const ToolRun told = succeed({ "exhibit", "e", "median-filter", "in.png", "--radius", "2" });
    const json exhibit = json::parse(told.out);
    EXPECT_EQ(exhibit["operation"], "median-filter");
    EXPECT_GT(exhibit["milliseconds"], 0.0);
    EXPECT_EQ(exhibit["outcome"], "30 x 20 byte image with 3 channels (RGB)");
    ASSERT_EQ(exhibit["inputs"].size(), 1U);
    ASSERT_EQ(exhibit["results"].size(), 1U);
    for (const char* side : { "inputs", "results" })
        EXPECT_TRUE(exists("e/" + std::string(exhibit[side][0]["file"])));
    ASSERT_EQ(exhibit["files"].size(), 2U);
    for (const char* form : { "png", "npy" }) {
        succeed({ "median-filter", "in.png", "--radius", "2", "-o", fmt::format("out.{}", form) });
        EXPECT_EQ(contentsOf(path(fmt::format("e/results/median-filter.{}", form))),
                  contentsOf(path(fmt::format("out.{}", form))));
    }
    const json corners = json::parse(succeed({ "exhibit", "f", "fast", "in.png" }).out);
    EXPECT_EQ(corners["layout"], "keypoints");
    EXPECT_EQ(corners["notes"], (json { "image: converted to gray" }));
    EXPECT_EQ(corners["files"].size(), 3U);
    EXPECT_EQ(corners["results"][0]["caption"], "result, drawn over the input");
}

TEST_F(Gallery, ExhibitSaysWhatIsWrong)
{
    picture("in.png", noise(20, 30, CV_8U));
    expectFailure(2, { "exhibit" }, { "usage: miravex exhibit FOLDER OPERATION" });
    expectFailure(2, { "exhibit", "e" }, { "usage: miravex exhibit FOLDER OPERATION" });
    expectFailure(2, { "exhibit", "e", "median" }, { "median-filter" });
    const ToolRun refused = run({ "exhibit", "e", "median-filter", "in.png", "--radius", "0", "--json" });
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(json::parse(refused.err)["refusals"][0]["argument"], "radius");
    EXPECT_FALSE(exists("e"));
    std::filesystem::create_directory(path("mine"));
    std::ofstream(path("mine/thesis.txt")) << "precious";
    expectFailure(2, { "exhibit", "mine", "median-filter", "in.png" }, { "--force" });
    EXPECT_EQ(std::filesystem::directory_iterator(path("mine"))->path().filename(), "thesis.txt");
}

TEST_F(Gallery, GivesItsSamplesAsFiles)
{
    SKIP_WITHOUT(photo("fruits.jpg"));
    const json told = json::parse(succeed({ "samples", "s", "photo", "ripple_x", "none", "--json" }).out);
    EXPECT_EQ(told["samples"]["photo"], (json { (tool::samplePictureFolder() / "fruits.jpg").string() }));
    EXPECT_EQ(told["samples"]["ripple_x"], (json { "s/ripple-x.npy" }));
    EXPECT_TRUE(exists("s/ripple-x.npy"));
    EXPECT_EQ(told["missing"], (json { { "none", "there is no sample @none" } }));
    EXPECT_THAT(succeed({ "samples", "s", "mask" }).out, HasSubstr("s/mask.png"));
    expectFailure(2, { "samples" }, { "usage: miravex samples FOLDER" });
}

TEST_F(Gallery, RefusesAForeignFolder)
{
    std::filesystem::create_directory(path("mine"));
    std::ofstream(path("mine/thesis.txt")) << "precious";
    expectFailure(2, { "gallery", "mine" }, { "--force" });
    expectFailure(2, { "gallery" }, { "gallery FOLDER" });
    expectFailure(2, { "gallery", "g", "nonsense" }, { "nonsense" });
}

TEST_F(Gallery, KnowsTheSamplesOfAllExamples)
{
    const std::vector<std::string> names = tool::Samples::names();
    for (const Operation* operation : catalog()) {
        for (const Example& example : operation->examples) {
            for (const std::string_view word : example.words) {
                if (!word.starts_with('@')) continue;
                const std::string name(word.substr(1, word.find('.') - 1));
                EXPECT_THAT(names, ::testing::Contains(name)) << operation->name;
            }
        }
    }
}

TEST_F(Gallery, MakesEverySampleOrSaysWhatIsMissing)
{
    SKIP_WITHOUT(photo("fruits.jpg"));
    tool::Samples samples(path("samples"), [](const std::string& operation, const auto&, const std::string&) {
        throw tool::MissingSample("not run here: " + operation);
    });
    for (const std::string& name : tool::Samples::names()) {
        try {
            const std::vector<std::string>& words = samples.words(name);
            EXPECT_FALSE(words.empty()) << name;
            for (const std::string& word : words)
                EXPECT_TRUE(!std::filesystem::exists(word) || std::filesystem::file_size(word) > 0) << name;
        } catch (const tool::MissingSample& missing) {
            EXPECT_FALSE(std::string(missing.what()).empty()) << name;
        }
    }
    EXPECT_THROW(samples.words("no_such_sample"), tool::MissingSample);
}

} // namespace miravex::test
