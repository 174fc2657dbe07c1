#include "host/services.h"
#include "tests/support/host_check.h"
#include "tests/support/interface.h"

#include <fmt/format.h>

#include <array>
#include <cstdio>
#include <set>
#include <sstream>

namespace miravex::test {

namespace {

constexpr std::array lifecycle { "KorvaneLibrary_getVersion", "KorvaneLibrary_initialize",
                                 "KorvaneLibrary_uninitialize" };

/// Names that the library defines for others, as the linker sees them.
std::set<std::string> exportedNames()
{
    const std::string command = fmt::format("nm -D --defined-only '{}'", library().path().string());
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) throw std::runtime_error("nm can't be run");
    std::string text;
    std::array<char, 4096> buffer {};
    while (const std::size_t count = fread(buffer.data(), 1, buffer.size(), pipe))
        text.append(buffer.data(), count);
    if (pclose(pipe) != 0) throw std::runtime_error("nm failed");

    std::set<std::string> names;
    std::istringstream lines(text);
    for (std::string address, type, name; lines >> address >> type >> name;) names.insert(name);
    return names;
}

} // namespace

TEST(Exports, AreTheLifecycleEntriesAndTheListedOperations)
{
    std::set<std::string> expected(lifecycle.begin(), lifecycle.end());
    for (const ListedOperation& operation : listedOperations()) expected.insert("opencv_" + operation.name);
    EXPECT_TRUE(sameNames(exportedNames(), expected)) << howToRegenerate;
}

TEST(Exports, ReadNothingWhenTheCountIsWrong)
{
    // A table and slots that can't be touched: whoever reads them crashes.
    static int givenBack = 0;
    LibraryDataTable table {};
    table.stringDisown = [](const char*) { ++givenBack; };
    for (const Operation* operation : catalog()) {
        // The tests of such an operation look at what it gives back.
        if (operation->returnsOnWrongCount) continue;
        const MiravexOperation function = library().operation(operation->name);
        ASSERT_TRUE(function) << operation->name;
        const auto count = static_cast<int64_t>(operation->arguments.size());
        for (const int64_t wrong : { int64_t { -1 }, int64_t { 0 }, count - 1, count + 1, count + 256,
                                     count + (int64_t { 1 } << 32), INT64_MAX, INT64_MIN }) {
            ValueCell result;
            result.integer = 77;
            EXPECT_EQ(function(&table, wrong, nullptr, &result), StatusFunctionError) << operation->name;
            EXPECT_EQ(function(nullptr, wrong, nullptr, nullptr), StatusFunctionError) << operation->name;
            EXPECT_EQ(result.integer, 77) << operation->name;
        }
    }
    EXPECT_EQ(givenBack, 0);
}

TEST(Exports, RefuseMissingTablesAndSlots)
{
    for (const Operation* operation : catalog()) {
        const MiravexOperation function = library().operation(operation->name);
        const auto count = static_cast<int64_t>(operation->arguments.size());
        const std::vector<ArgumentSlot> nulls(operation->arguments.size(), nullptr);
        ValueCell result;
        result.integer = 77;
        EXPECT_EQ(function(nullptr, count, nullptr, &result), StatusFunctionError) << operation->name;
        EXPECT_EQ(function(&hostServices(), count, nullptr, &result), StatusFunctionError) << operation->name;
        auto slots = nulls;
        EXPECT_EQ(function(&hostServices(), count, slots.data(), &result), StatusFunctionError)
            << operation->name;
        EXPECT_EQ(function(&hostServices(), count, slots.data(), nullptr), StatusFunctionError)
            << operation->name;
        EXPECT_EQ(result.integer, 77) << operation->name;
    }
}

TEST(Exports, RefuseMissingHandlesAndStrings)
{
    // Every slot is there and holds nothing: null images, tensors and strings, zeros elsewhere.
    for (const Operation* operation : catalog()) {
        const MiravexOperation function = library().operation(operation->name);
        std::vector<ValueCell> cells(operation->arguments.size());
        std::vector<ArgumentSlot> slots;
        for (ValueCell& cell : cells) {
            cell.integer = 0;
            slots.push_back(&cell);
        }
        ValueCell result;
        result.integer = 77;
        Ledger ledger;
        EXPECT_EQ(function(&hostServices(), static_cast<int64_t>(cells.size()), slots.data(), &result),
                  StatusFunctionError)
            << operation->name;
        EXPECT_EQ(result.integer, 77) << operation->name;
        const Accounting accounting = ledger.close();
        EXPECT_THAT(accounting.violations, ::testing::IsEmpty()) << operation->name;
    }
}

TEST(Exports, TurnOpenCvsExceptionsInto6)
{
    // OpenCV itself refuses this padding.
    const Outcome outcome =
        invoke("PyrDown", { imageOf(noise(9, 9, CV_8U)), std::string("None"), int64_t { 5 }, int64_t { 5 } });
    EXPECT_EQ(outcome.status, StatusFunctionError);
    EXPECT_THAT(outcome.openCvError, ::testing::HasSubstr("border type"));
}

} // namespace miravex::test
