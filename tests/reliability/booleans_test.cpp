#include "host/services.h"
#include "tests/reliability/accepted_calls.h"
#include "tests/reliability/raw_call.h"

#include <algorithm>
#include <cstdlib>
#include <set>

/// A host's truth is any number but 0.
namespace miravex::test {

namespace {

bool isTrue(const Argument& argument, const Value& value)
{
    const auto* flag = std::get_if<bool>(&value);
    return argument.kind == Kind::Boolean && flag && *flag;
}

/// The bytes of the result when every true argument is passed as this number.
std::string answerWith(const Operation& operation, const Values& values, HostBoolean truth)
{
    RawCall call(operation, ownCopy(values));
    for (std::size_t i = 0; i < call.cells.size(); ++i)
        if (isTrue(operation.arguments[i], values[i])) call.cells[i].boolean = truth;
    Ledger ledger;
    std::srand(7); // OpenCV's random samples
    EXPECT_EQ(call.make(&hostServices(), ledger), StatusOk) << describeCall(operation, values);
    const Value result = call.take(ledger);
    EXPECT_THAT(ledger.close().violations, ::testing::IsEmpty());
    return bytesOfResult(result);
}

class Booleans : public ::testing::TestWithParam<const Operation*> { };

std::vector<const Operation*> operationsWithBooleans()
{
    std::vector<const Operation*> found;
    for (const Operation* operation : catalog())
        if (std::ranges::find(operation->arguments, Kind::Boolean, &Argument::kind)
            != operation->arguments.end())
            found.push_back(operation);
    return found;
}

} // namespace

TEST_P(Booleans, AreTrueUnlessZero)
{
    const Operation& operation = *GetParam();
    std::set<std::string_view> seen;
    for (const Values& values :
         acceptedCalls(operation, isSlow(operation) ? 4 : 20, { .side = 24, .elements = 256 })) {
        bool any = false;
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (!isTrue(operation.arguments[i], values[i])) continue;
            seen.insert(operation.arguments[i].name);
            any = true;
        }
        if (!any) continue;
        const std::string expected = answerWith(operation, values, 1);
        for (const HostBoolean truth : { 2, -1, 256, INT32_MIN })
            EXPECT_TRUE(answerWith(operation, values, truth) == expected)
                << describeCall(operation, values) << " with " << truth;
    }
    for (const Argument& argument : operation.arguments)
        EXPECT_TRUE(argument.kind != Kind::Boolean || seen.contains(argument.name))
            << argument.name << " of " << operation.name << " was never true";
}

INSTANTIATE_TEST_SUITE_P(Catalogue, Booleans, ::testing::ValuesIn(operationsWithBooleans()), nameOfParameter);

} // namespace miravex::test
