#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

/// Hosts pass integers of 64 bits, most of OpenCV takes int. Every operation does one of two things with an
/// integer, after the checks that it makes on all 64 bits: the older ones look at the low 32 bits alone, as
/// hosts have come to rely on, and say so in their records (Argument::low32Bits); the others clip.
namespace miravex {

/// The low 32 bits, read as a signed integer: 2^32 + 3 becomes 3.
constexpr int lowInt32(int64_t value) noexcept { return static_cast<int>(static_cast<uint32_t>(value)); }

/// The nearest integer of 32 bits.
constexpr int clippedInt32(int64_t value) noexcept
{
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(std::clamp<int64_t>(value, Limits::min(), Limits::max()));
}

} // namespace miravex
