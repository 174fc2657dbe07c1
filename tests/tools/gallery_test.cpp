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
