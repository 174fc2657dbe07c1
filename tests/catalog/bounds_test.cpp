#include "tests/support/drawn_call.h"
#include "tests/support/host_check.h"
#include "tests/support/probes.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cmath>

namespace miravex::test {

// Derived from the records: whatever they promise is true of the library.

namespace {

std::string textOf(const Operation& operation, const Probe& probe)
{
    return fmt::format("{}: {} {}", describeCall(operation, probe.values), probe.argument, probe.text);
}

std::string messages(const std::vector<Refusal>& refusals)
{
    std::vector<std::string> texts;
    for (const Refusal& refusal : refusals) texts.push_back(refusal.message());
    return fmt::format("{}", fmt::join(texts, "; "));
}

bool names(const std::vector<Refusal>& refusals, std::string_view argument)
{
    return std::ranges::any_of(refusals,
                               [&](const Refusal& refusal) { return refusal.argument == argument; });
}

/// Operations that work for minutes at their upper bounds, even on the smallest pictures: there the record
/// alone is asked, and the library at the lower bounds and the defaults.
bool worksForLong(const Operation& operation)
{
    return operation.name == "SuperResolution" || operation.name == "CalibrateDebevec";
}

/// The same of the upper bound of one argument.
bool worksForLong(const Operation& operation, const Probe& probe)
{
    if (probe.text != "just inside the upper bound") return false;
    return worksForLong(operation)
        || (operation.name.starts_with("FastNlMeansDenoising") && probe.argument == "search_window");
}

class Bounds : public ::testing::TestWithParam<const Operation*> {
protected:
    const Operation& operation = *GetParam();
};

} // namespace

TEST_P(Bounds, ValidValuesSucceed)
{
    if (!validValues(operation, 0)) GTEST_SKIP() << "the record alone gives no valid values";
    const uint64_t seeds = worksForLong(operation) ? 1 : 8;
    for (uint64_t seed = 0; seed < seeds; ++seed) {
        const auto values = validValues(operation, seed);
        ASSERT_TRUE(values) << "seed " << seed;
        EXPECT_EQ(describeCall(operation, *values), describeCall(operation, *validValues(operation, seed)))
            << "not the same again";
        const Outcome outcome = invoke(operation.name, *values);
        // At the defaults it works. Elsewhere OpenCV may still refuse a choice (with an explanation); the
        // library itself must have no objection that its record does not know.
        EXPECT_TRUE(outcome.ok() || (seed > 0 && !outcome.openCvError.empty()))
            << describeCall(operation, *values) << ": " << outcome.openCvError;
    }
}

TEST_P(Bounds, JustInsideIsAccepted)
{
    for (const Probe& probe : probesInside(operation)) {
        const std::vector<Refusal> refusals = check(operation, probe.values);
        // A constraint may know better about this picture; the bound itself must not object.
        if (!refusals.empty()) {
            const bool byConstraint =
                std::ranges::any_of(operation.constraints, [&](const Constraint& constraint) {
                    return names(refusals, constraint.argument);
                });
            EXPECT_TRUE(byConstraint) << textOf(operation, probe) << ": " << messages(refusals);
            continue;
        }
        if (worksForLong(operation, probe)) continue;
        const Outcome outcome = invoke(operation.name, probe.values);
        EXPECT_TRUE(outcome.ok()) << textOf(operation, probe) << ": " << outcome.openCvError;
    }
}

TEST_P(Bounds, JustOutsideIsRefusedByRecordAndLibrary)
{
    for (const Probe& probe : probesOutside(operation)) {
        const std::vector<Refusal> refusals = check(operation, probe.values);
        EXPECT_TRUE(names(refusals, probe.argument))
            << textOf(operation, probe) << ": " << messages(refusals);
        const Outcome outcome = invoke(operation.name, probe.values);
        EXPECT_EQ(outcome.status, StatusFunctionError) << textOf(operation, probe);
    }
}

TEST_P(Bounds, NanIsAcceptedOrRefusedByRecordAndLibraryAlike)
{
    for (const Argument& argument : operation.arguments) {
        if (argument.kind != Kind::Real || worksForLong(operation)) continue;
        const auto usual = validValues(operation, 0, { .used = argument.name });
        if (!usual) GTEST_SKIP() << "the record alone gives no valid values";
        const auto values = replaced(*usual, operation, argument.name, std::nan(""));
        const Outcome outcome = invoke(operation.name, values);
        const bool foretold = names(check(operation, values), argument.name);
        EXPECT_TRUE(outcome.ok() ? !foretold : foretold || !outcome.openCvError.empty())
            << describeCall(operation, values) << (outcome.ok() ? " was accepted" : " was refused");
    }
}

INSTANTIATE_TEST_SUITE_P(Catalogue, Bounds, ::testing::ValuesIn(catalog()),
                         [](const auto& info) { return std::string(info.param->name); });

} // namespace miravex::test
