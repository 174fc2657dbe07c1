#include "catalog/catalog.h"

#include "catalog/call_view.h"

#include "tests/support/host_check.h"
#include "tests/support/interface.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <set>
#include <sstream>

namespace miravex::test {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> near(std::string_view word, std::vector<std::string> candidates)
{
    return closest(word, candidates);
}

bool isSnakeCase(std::string_view name)
{
    return !name.empty() && std::ranges::all_of(name, [](unsigned char c) {
        return std::islower(c) || std::isdigit(c) || c == '_';
    });
}

} // namespace

TEST(Names, InKebabAndSnakeCase)
{
    for (const ListedOperation& operation : listedOperations()) {
        EXPECT_EQ(kebabCase(operation.name), operation.toolName) << howToRegenerate;
        std::string snake = operation.toolName;
        std::ranges::replace(snake, '-', '_');
        EXPECT_EQ(snakeCase(operation.name), snake);
    }
}

TEST(Names, AreFoundInEverySpelling)
{
    for (const Operation* operation : catalog()) {
        const std::string name(operation->name);
        for (const std::string& spelling : { name, "opencv_" + name, kebabCase(name), snakeCase(name) })
            EXPECT_EQ(findOperation(spelling), operation) << spelling;
    }
    for (const char* unknown : { "", "opencv_", "MedianFilters", "median filter", "median" })
        EXPECT_EQ(findOperation(unknown), nullptr) << unknown;
}

TEST(Names, AreSuggested)
{
    EXPECT_THAT(near("radios", { "radius", "image", "width" }), ElementsAre("radius"));
    EXPECT_THAT(near("linear", { "Nearest", "Linear", "Cubic" }), ElementsAre("Linear"));
    EXPECT_THAT(near("median", { "median-filter", "pyr-down" }), ElementsAre("median-filter"));
    EXPECT_THAT(near("xyzzy", { "radius", "image", "width" }), IsEmpty());
    EXPECT_THAT(near("radius", {}), IsEmpty());
    EXPECT_THAT(near("a", { "aa", "ab", "ac", "ad" }).size(), 3U); // not a list of everything
    EXPECT_THAT(near("pyr-dwon", { "pyr-up", "pyr-down" }).front(), "pyr-down");
}

// Readers of `miravex schema` and of the Python package know layouts by these names.
TEST(Names, OfLayoutsStandFirm)
{
    constexpr auto all = std::to_array<std::string_view>({
        "plain",
        "keypoints",
        "descriptors",
        "keypoints-and-descriptors",
        "regions",
        "labels",
        "matches",
        "polar-lines",
        "border-lines",
        "segments",
        "wide-segments",
        "circles",
        "contours",
        "chain-codes",
        "face-boxes",
        "flow",
        "flow-and-validity",
        "response-curve",
        "transport",
        "shift",
        "positions",
    });
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(nameOf(static_cast<Layout>(i)), all[i]);
        EXPECT_EQ(layoutNamed(all[i]), static_cast<Layout>(i));
    }
    for (const char* unknown : { "", "Keypoints", "keypoint", "face_boxes" })
        EXPECT_EQ(layoutNamed(unknown), std::nullopt) << unknown;
    for (const Operation* operation : catalog())
        for (const Result& result : operation->results)
            EXPECT_NE(nameOf(result.layout), "") << operation->name;
}

TEST(Catalogue, IsTheListedInterface)
{
    std::set<std::string> listed, recorded;
    for (const ListedOperation& operation : listedOperations()) listed.insert(operation.signature);
    std::istringstream lines(interfaceText());
    for (std::string line; std::getline(lines, line);)
        if (!line.starts_with('#')) recorded.insert(line);
    EXPECT_TRUE(sameNames(recorded, listed)) << howToRegenerate;
    EXPECT_TRUE(keptInterface() == interfaceText()) << howToRegenerate;
}

TEST(Catalogue, IsOrderedAndWithoutDoubles)
{
    std::set<std::string> seen;
    std::string last;
    for (const Operation* operation : catalog()) {
        const std::string name = snakeCase(operation->name);
        std::string plain;
        std::ranges::copy_if(name, std::back_inserter(plain), [](char c) { return c != '_'; });
        EXPECT_TRUE(seen.insert(plain).second) << name;
        EXPECT_LT(last, plain);
        last = plain;
    }
}

// What every record owes its readers.
TEST(Catalogue, RecordsAreComplete)
{
    for (const Operation* operation : catalog()) {
        const std::string_view name = operation->name;
        EXPECT_FALSE(operation->summary.empty()) << name;
        EXPECT_FALSE(operation->results.empty()) << name;
        EXPECT_FALSE(operation->examples.empty()) << name;
        EXPECT_TRUE(operation->results.back().when.argument.empty() || operation->results.size() > 1) << name;
        std::set<std::string_view> seen;
        for (const Argument& argument : operation->arguments) {
            EXPECT_TRUE(isSnakeCase(argument.name)) << name << ": " << argument.name;
            EXPECT_TRUE(seen.insert(argument.name).second) << name << ": " << argument.name;
            EXPECT_FALSE(argument.summary.empty()) << name << ": " << argument.name;
        }
        for (const Constraint& constraint : operation->constraints) {
            EXPECT_GE(argumentIndex(*operation, constraint.argument), 0)
                << name << ": " << constraint.argument;
            EXPECT_FALSE(constraint.text.str().empty()) << name;
            EXPECT_TRUE(constraint.holds) << name;
        }
    }
}

TEST(Catalogue, ReferencesLeadSomewhere)
{
    for (const Operation* operation : catalog()) {
        const auto isArgument = [&](std::string_view name) {
            return name.empty() || argumentIndex(*operation, name) >= 0;
        };
        for (const Argument& argument : operation->arguments) {
            const auto where = std::string(operation->name) + ": " + std::string(argument.name);
            EXPECT_TRUE(isArgument(argument.impliedBy)) << where;
            EXPECT_TRUE(isArgument(argument.usedWhen.argument)) << where;
            EXPECT_TRUE(isArgument(argument.image.sameAs)) << where;
            for (std::size_t i = 0; i < argument.tensor.rank; ++i)
                EXPECT_TRUE(isArgument(argument.tensor.shape[i].argument)) << where;
        }
        for (const Result& result : operation->results)
            EXPECT_TRUE(isArgument(result.when.argument)) << operation->name;
    }
}

TEST(Catalogue, DefaultsAreAccepted)
{
    for (const Operation* operation : catalog()) {
        for (const Argument& argument : operation->arguments) {
            const auto where = std::string(operation->name) + ": " + std::string(argument.name);
            if (const auto* word = std::get_if<std::string_view>(&argument.defaultValue)) {
                EXPECT_EQ(argument.kind, Kind::String) << where;
                EXPECT_TRUE(argument.choices.empty()
                            || std::ranges::find(argument.choices, *word) != argument.choices.end())
                    << where;
            }
            if (std::holds_alternative<Zeros>(argument.defaultValue)) {
                EXPECT_EQ(argument.kind, Kind::RealTensor) << where;
                EXPECT_GT(argument.tensor.fixedLength(), 0U) << where;
            }
            double value = 0;
            if (const auto* integer = std::get_if<int64_t>(&argument.defaultValue))
                value = static_cast<double>(*integer);
            else if (const auto* real = std::get_if<double>(&argument.defaultValue))
                value = *real;
            else
                continue;
            EXPECT_TRUE(argument.kind == Kind::Integer || argument.kind == Kind::Real) << where;
            const Bound& low = argument.minimum;
            const Bound& high = argument.maximum;
            EXPECT_TRUE(!low.present || value > low.value || (low.inclusive && value == low.value)) << where;
            EXPECT_TRUE(!high.present || value < high.value || (high.inclusive && value == high.value))
                << where;
            EXPECT_TRUE(!argument.mustBeOdd || static_cast<int64_t>(value) % 2 == 1) << where;
        }
    }
}

} // namespace miravex::test
