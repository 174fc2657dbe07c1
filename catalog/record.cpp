#include "catalog/record.h"

#include "catalog/arguments.h"

#include <fmt/format.h>

#include <cmath>

namespace miravex {

namespace {

/// "32768", "2^30", "2^31 - 1", "0.5".
std::string numberInProse(double number)
{
    constexpr int least = 20;
    int exponent = 0;
    if (std::frexp(number, &exponent) == 0.5 && exponent > least) return fmt::format("2^{}", exponent - 1);
    if (std::frexp(number + 1, &exponent) == 0.5 && exponent > least)
        return fmt::format("2^{} - 1", exponent - 1);
    return numberText(number);
}

} // namespace

std::string Text::str() const
{
    std::string text;
    std::size_t next = 0;
    std::string_view rest = words_;
    for (std::size_t at = rest.find("{}"); at != rest.npos && next < numbers_.size(); at = rest.find("{}")) {
        text += rest.substr(0, at);
        text += numberInProse(numbers_[next++]);
        rest.remove_prefix(at + 2);
    }
    return text.append(rest);
}

} // namespace miravex
