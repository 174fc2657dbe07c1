#pragma once

#include "host/library.h"

#include <span>
#include <string>
#include <vector>

/// Calls of which everything is looked at that a library owes its host, whatever the operation.
namespace miravex::test {

/// "MedianFilter(a 64 x 48 byte image ..., 3)".
std::string describeCall(const Operation& operation, std::span<const Value> values);

/// Makes the call and says what it broke: a status other than 0 and 6, an ownership rule, the result slot of
/// a failed call, the host's own objects (but those that the record calls rewritten) or what lies around
/// them.
std::vector<std::string> breaches(const Library& library, const Operation& operation,
                                  std::span<const Value> values, Outcome& outcome, Faults faults = {});

} // namespace miravex::test
