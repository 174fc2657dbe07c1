#pragma once

#include "host/arguments.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Calls at the edges of what records accept, for tests of bounds.
namespace miravex::test {

/// The values with one argument replaced.
std::vector<Value> replaced(std::vector<Value> values, const Operation& operation, std::string_view argument,
                            Value value);

/// One value of an argument, and what is to come of it.
struct Probe {
    std::string argument;
    std::string text; ///< what is special about the value
    std::vector<Value> values; ///< of the whole call
};

/// For every bound of every argument, calls whose value lies just inside it.
std::vector<Probe> probesInside(const Operation& operation, uint64_t seed = 0);

/// For every rule of every argument (bounds, oddness, choices, image types, channels, colour spaces, ranks
/// and sizes, tensor ranks, shapes and elements), calls that break this rule alone, by as little as possible.
std::vector<Probe> probesOutside(const Operation& operation, uint64_t seed = 0);

} // namespace miravex::test
