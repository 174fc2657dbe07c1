#pragma once

#include <cstdint>

namespace miravex {

/// A position of the matrix frame (y down, pixel centres at integers) in the host's (y up from the bottom
/// edge of `rows` rows, centres at halves).
template <typename Position> Position inHostFrame(const Position& at, int64_t rows)
{
    using Coordinate = decltype(at.x);
    return { static_cast<Coordinate>(static_cast<double>(at.x) + 0.5),
             static_cast<Coordinate>(static_cast<double>(rows) - static_cast<double>(at.y) - 0.5) };
}

} // namespace miravex
