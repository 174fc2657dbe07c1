#include "catalog/catalog.h"
#include "tests/support/drawn_call.h"
#include "tests/support/host_check.h"
#include "tests/support/probes.h"

#include <cstdlib>

/// Integers beyond 32 bits: an operation that looks at their low 32 bits alone has a record that says so.
namespace miravex::test {

namespace {

class WideIntegers : public ::testing::TestWithParam<const Operation*> {
protected:
    const Operation& operation = *GetParam();
};

} // namespace

TEST_P(WideIntegers, BehaveAsTheRecordSays)
{
    constexpr int64_t carry = int64_t { 1 } << 32;
    for (const Argument& argument : operation.arguments) {
        if (argument.kind != Kind::Integer) continue;
        const auto values = validValues(operation, 0, { .used = argument.name });
        if (!values) GTEST_SKIP() << "a file that the operation reads is missing";
        const auto index = static_cast<std::size_t>(argumentIndex(operation, argument.name));
        const int64_t usual = std::get<int64_t>((*values)[index]);
        const Values wide = replaced(*values, operation, argument.name, usual + carry);
        std::srand(7); // OpenCV's random samples
        const Outcome outcome = invoke(operation.name, wide);
        if (!argument.low32) {
            // Clipped, or refused with a reason.
            EXPECT_TRUE(outcome.ok() || !check(operation, wide).empty() || !outcome.openCvError.empty())
                << describeCall(operation, wide) << " was refused, the record does not say why";
            EXPECT_TRUE(!outcome.ok() || check(operation, wide).empty())
                << describeCall(operation, wide) << " was accepted, the record objects";
            continue;
        }
        std::srand(7);
        const Outcome plain = invoke(operation.name, *values);
        ASSERT_TRUE(outcome.ok()) << describeCall(operation, wide) << ": " << outcome.openCvError;
        EXPECT_TRUE(check(operation, wide).empty())
            << describeCall(operation, wide) << ": the record objects";
        EXPECT_TRUE(bytesOfResult(outcome.result) == bytesOfResult(plain.result))
            << describeCall(operation, wide) << " is not the same with the low 32 bits of " << argument.name;
    }
}

INSTANTIATE_TEST_SUITE_P(Catalogue, WideIntegers, ::testing::ValuesIn(catalog()),
                         [](const auto& info) { return std::string(info.param->name); });

} // namespace miravex::test
