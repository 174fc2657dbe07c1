#pragma once

namespace miravex {

/// Gives the large blocks that takeMemory() keeps for the next back to the system.
void releaseKeptMemory() noexcept;

} // namespace miravex
