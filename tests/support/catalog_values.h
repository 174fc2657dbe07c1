#pragma once

#include "catalog/catalog.h"
#include "host/arguments.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Values for any catalogued operation, made from its record alone: for tests of bounds, fuzzers and long
/// runs.
namespace miravex::test {

/// Values that the record accepts, the same for the same seed: small pictures of accepted types, channels and
/// sizes, tensors of the ruled shapes, scalars at or around their defaults. Seed 0 keeps to the defaults.
/// `used` names an argument that must matter in the call (one that is otherwise left out is given then).
///
/// Nothing when no values could be found that the record's constraints accept, or files that the operation
/// reads are not installed.
std::optional<std::vector<Value>> validValues(const Operation& operation, uint64_t seed,
                                              std::string_view used = {});

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
