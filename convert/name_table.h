#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace miravex {

/// One word of an option and the value that it stands for.
template <typename Value> struct Named {
    std::string_view name;
    Value value;
};

/// Finds the value of `name`, compared exactly (whole string, case-sensitive), or `fallback`.
template <typename Value, std::size_t count>
constexpr Value valueOf(const std::array<Named<Value>, count>& table, std::string_view name, Value fallback)
{
    for (const auto& entry : table)
        if (entry.name == name) return entry.value;
    return fallback;
}

/// The words of a table alone, for catalogue records.
template <typename Value, std::size_t count>
constexpr std::array<std::string_view, count> namesOf(const std::array<Named<Value>, count>& table)
{
    std::array<std::string_view, count> names {};
    for (std::size_t i = 0; i < count; ++i) names[i] = table[i].name;
    return names;
}

} // namespace miravex
