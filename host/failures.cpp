#include "host/failures.h"

#include "catalog/explain.h"
#include "host/arguments.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace miravex {

std::string failureOf(const Operation& operation, std::span<const Value> values, const Outcome& outcome)
{
    if (!outcome.ok()) return explain(viewOf(operation, values), outcome.openCvError).message();
    if (outcome.accounting.clean()) return "";
    return fmt::format("the rules of ownership were broken: {}",
                       fmt::join(outcome.accounting.violations, "; "));
}

} // namespace miravex
