#include "catalog/catalog.h"
#include "tests/support/drawn_call.h"
#include "tests/support/host_check.h"
#include "tests/support/probes.h"

#include <fmt/format.h>

#include <cmath>

/// Every refusal is foretold by the record, in words that help.
namespace miravex::test {

namespace {

/// Seconds a call at the worst.
bool isSlow(const Operation& operation)
{
    return operation.name == "SuperResolution" || operation.name == "CalibrateDebevec"
        || operation.name == "OpticalFlowDualTVL1";
}

class Refusals : public ::testing::TestWithParam<const Operation*> {
protected:
    const Operation& operation = *GetParam();
};

} // namespace

TEST_P(Refusals, SayArgumentValueAndWhatIsAccepted)
{
    for (const Probe& probe : probesOutside(operation)) {
        const std::vector<Refusal> refusals = check(operation, probe.values);
        const auto blamed = std::ranges::find(refusals, probe.argument, &Refusal::argument);
        ASSERT_NE(blamed, refusals.end()) << describeCall(operation, probe.values) << ": nothing against "
                                          << probe.argument << ", " << probe.text;
        EXPECT_FALSE(blamed->value.empty()) << blamed->message();
        EXPECT_FALSE(blamed->expected.empty()) << blamed->message();
    }
}

TEST_P(Refusals, OfNaNBlameIt)
{
    for (const Argument& argument : operation.arguments) {
        if (argument.kind != Kind::Real) continue;
        auto values = validValues(operation, 0, { .used = argument.name });
        if (!values) continue;
        *values = replaced(std::move(*values), operation, argument.name, std::nan(""));
        const Outcome outcome = invoke(operation.name, *values);
        if (outcome.ok() || !outcome.openCvError.empty()) continue;
        const std::vector<Refusal> refusals = check(operation, *values);
        EXPECT_NE(std::ranges::find(refusals, argument.name, &Refusal::argument), refusals.end())
            << describeCall(operation, *values) << " was refused, and the record has nothing against "
            << argument.name;
    }
}

// Whatever goes beyond the bounds here and there: brokenPromise() misses a reason where the library refuses
// and neither the record nor OpenCV nor a file says why.
TEST_P(Refusals, AreForetoldForDrawnCalls)
{
    const uint32_t calls = isSlow(operation) ? 20 : 100;
    int refused = 0;
    for (uint32_t seed = 0; seed < calls; ++seed) {
        const auto source = randomBytes(seed, 512);
        Bytes bytes(source);
        const Values values = drawValues(operation, bytes, sampleFiles(), { .side = 24, .elements = 128 });
        Outcome outcome;
        const std::string broken = brokenPromise(library(), operation, values, &outcome);
        EXPECT_TRUE(broken.empty()) << describeCall(operation, values) << ": " << broken;
        refused += !outcome.ok();
    }
    EXPECT_GT(refused, 0) << "no drawn call was refused";
}

INSTANTIATE_TEST_SUITE_P(Catalogue, Refusals, ::testing::ValuesIn(catalog()),
                         [](const auto& info) { return std::string(info.param->name); });

} // namespace miravex::test
