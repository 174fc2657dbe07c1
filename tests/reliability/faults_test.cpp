#include "tests/reliability/accepted_calls.h"

/// Every service of the host that can fail does, once in every call of every operation.
namespace miravex::test {

class Faults : public ::testing::TestWithParam<const Operation*> { };

TEST_P(Faults, LeaveNothingBehind)
{
    const Operation& operation = *GetParam();
    const auto calls = acceptedCalls(operation, 2, { .side = 24, .elements = 256 });
    ASSERT_FALSE(calls.empty()) << "no accepted call of " << operation.name << " was drawn";
    for (const Values& values : calls) {
        const Outcome plain = invoke(operation.name, values);
        if (plain.accounting.allocations > 0)
            expectSurvivesFaults(operation.name, values);
        else
            EXPECT_EQ(operation.results.front().kind, ResultKind::Real)
                << describeCall(operation, values) << " made its result of nothing";
    }
}

INSTANTIATE_TEST_SUITE_P(Catalogue, Faults, ::testing::ValuesIn(catalog()), nameOfParameter);

} // namespace miravex::test
