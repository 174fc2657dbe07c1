#include "tests/reliability/accepted_calls.h"

/// Every service of the host that can fail does, once in every call of every operation.
namespace miravex::test {

class Faults : public ::testing::TestWithParam<const Operation*> { };

TEST_P(Faults, LeaveNothingBehind)
{
    const Operation& operation = *GetParam();
    const auto calls = acceptedCalls(operation, 3);
    ASSERT_FALSE(calls.empty()) << "no accepted call of " << operation.name << " was drawn";
    for (const Values& values : calls) expectSurvivesFaults(operation.name, values);
}

INSTANTIATE_TEST_SUITE_P(Catalogue, Faults, ::testing::ValuesIn(catalog()), nameOfParameter);

} // namespace miravex::test
