#include "catalog/schema.h"
#include "host/exports.h"
#include "tests/support/host_check.h"
#include "tests/tools/tool.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <fstream>

namespace miravex::test {

using nlohmann::json;
using ::testing::Contains;
using ::testing::HasSubstr;

class Documents : public ToolTest { };

TEST_F(Documents, SchemaAndExportsAgree)
{
    const json schema = json::parse(succeed({ "schema", "--json" }).out);
    EXPECT_EQ(schema["interfaceVersion"], 5);
    std::vector<std::string> described, exported;
    for (const json& operation : schema["operations"]) described.push_back(operation["export"]);
    for (const std::string& name : exportedFunctions(library().path()))
        if (name.starts_with("opencv_")) exported.push_back(name);
    EXPECT_THAT(described, ::testing::UnorderedElementsAreArray(exported));
}

TEST_F(Documents, SchemaTellsEverythingOfAnArgument)
{
    const json schema = json::parse(succeed({ "schema", "MedianFilter" }).out);
    const json& radius = schema["arguments"][1];
    EXPECT_EQ(radius["name"], "radius");
    EXPECT_EQ(radius["option"], "--radius");
    EXPECT_EQ(radius["kind"], "integer");
    EXPECT_EQ(radius["unit"], "pixels");
    EXPECT_EQ(radius["default"], 2);
    EXPECT_EQ(radius["minimum"], (json { { "value", 1.0 }, { "inclusive", true } }));
    EXPECT_FALSE(radius.contains("maximum"));
    const json denoising = json::parse(succeed({ "schema", "FastNlMeansDenoising" }).out);
    EXPECT_EQ(denoising["arguments"][3]["name"], "search_window");
    EXPECT_EQ(denoising["arguments"][3]["maximum"]["value"], 4095.0);
    EXPECT_EQ(schema["arguments"][0]["image"]["channels"], (json { 1, 3, 4 }));
    EXPECT_EQ(schema["results"][0]["kind"], "image");
    const json pyramid = json::parse(succeed({ "schema", "pyr-down" }).out);
    EXPECT_THAT(pyramid["arguments"][1]["choices"], Contains("Periodic"));
    EXPECT_THAT(std::string(pyramid["arguments"][2]["default"]["derived"]), HasSubstr("half"));
    EXPECT_EQ(pyramid["constraints"].size(), 2U);
}

TEST_F(Documents, ReachIsTold)
{
    const json median = json::parse(succeed({ "schema", "median-filter" }).out);
    EXPECT_EQ(median["reach"]["text"], "radius pixels to each side");
    EXPECT_TRUE(median["reach"]["bounded"]);
    EXPECT_FALSE(median["reach"]["fromLookedUp"]);
    const json remap = json::parse(succeed({ "schema", "remap-tensor" }).out);
    EXPECT_TRUE(remap["reach"]["fromLookedUp"]);
    EXPECT_EQ(remap["arguments"][3]["default"], (json { 0, 0, 0 }));
    const json tones = json::parse(succeed({ "schema", "tonemap" }).out);
    EXPECT_FALSE(tones["reach"]["bounded"]);
    EXPECT_FALSE(json::parse(succeed({ "schema", "match-shapes" }).out).contains("reach"));
    EXPECT_THAT(succeed({ "help", "dilation" }).out, HasSubstr("radius pixels to each side"));
    EXPECT_THAT(succeed({ "help", "remap-tensor" }).out, HasSubstr("[default: 0,0,0]"));
    EXPECT_THAT(succeed({ "help", "match-shapes" }).out, ::testing::Not(HasSubstr("Reach")));
}

TEST_F(Documents, SchemaHasAllOperationsWithArgumentsAndResults)
{
    for (const Operation* operation : catalog()) {
        const auto json = schemaOf(*operation);
        EXPECT_EQ(json["arguments"].size(), operation->arguments.size()) << operation->name;
        EXPECT_GT(json["results"].size(), 0U) << operation->name;
    }
}

TEST_F(Documents, NoArgumentHidesAnOptionOfTheTool)
{
    for (const Operation* operation : catalog()) {
        for (const Argument& argument : operation->arguments) {
            for (const char* common :
                 { "--output", "--format", "--overlay", "--type", "--gray", "--max-frames", "--help",
                   "--json", "--force", "--quiet", "--threads" })
                EXPECT_NE(optionOf(argument), common) << operation->name;
        }
    }
}

TEST_F(Documents, BashCompletes)
{
    std::ofstream(path("completion")) << succeed({ "completion", "bash" }).out;
    std::ofstream(path("ask"))
        << ". ./completion\n"
           "ask() { COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); COMPREPLY=(); _miravex;\n"
           "  echo \"${COMPREPLY[@]}\"; }\n"
           "ask miravex median-f\nask miravex median-filter --ra\n"
           "ask miravex pyr-down in.png --padding Per\nask miravex help pyr-mean\n"
           "ask miravex completion z\nask miravex doc\n";
    ASSERT_EQ(std::system((fmt::format("cd {} && bash ask >answers 2>errors", path(""))).c_str()), 0);
    EXPECT_EQ(contentsOf(path("answers")),
              "median-filter\n--radius\nPeriodic\npyr-mean-shift-filter\nzsh\ndoctor\n");
    EXPECT_EQ(contentsOf(path("errors")), "");
}

TEST_F(Documents, CompletionsNameEveryOptionOfEveryOperation)
{
    for (const char* shell : { "bash", "zsh", "fish" }) {
        const std::string script = succeed({ "completion", shell }).out;
        for (const Operation* operation : catalog()) {
            EXPECT_THAT(script, HasSubstr(kebabCase(operation->name))) << shell;
            for (const Argument& argument : operation->arguments) {
                const bool byPosition = argument.kind == Kind::Image && !argument.optional;
                if (!argument.impliedBy.empty() || byPosition) continue;
                EXPECT_THAT(script, HasSubstr(optionOf(argument).substr(2)))
                    << shell << " " << operation->name;
            }
        }
    }
    expectFailure(2, { "completion", "tcsh" }, { "bash, zsh, fish" });
}

TEST_F(Documents, ManualNamesCommandsStatusesAndOperations)
{
    const std::string manual = succeed({ "man" }).out;
    EXPECT_TRUE(manual.starts_with(".TH MIRAVEX 1"));
    for (const char* text : { ".SH NAME", ".SH EXIT STATUS", "130", "median\\-filter", "\\-\\-overlay FILE" })
        EXPECT_THAT(manual, HasSubstr(text));
    for (const Operation* operation : catalog()) {
        std::string name;
        for (const char c : kebabCase(operation->name))
            name += c == '-' ? std::string("\\-") : std::string(1, c);
        EXPECT_THAT(manual, HasSubstr(".B " + name)) << operation->name;
    }
}

} // namespace miravex::test
