#pragma once

#include <cstddef>
#include <memory>

namespace miravex {

/// What memory holds when it is handed out: zeros, or whatever it held before, for those who write all of it.
enum class Start { Cleared, AsItComes };

/// Memory that is given back with its last owner. Throws std::bad_alloc when there is none.
///
/// Large pictures live in memory that the system hands out for one call. Touched for the first time in pages
/// of 4 KiB, it costs several times what most operations do with a picture; so large blocks ask for pages of
/// 2 MiB (only advice: nothing happens where the system has none), and up to 64 MiB of those given back are
/// kept for the next. Sanitizers look for use after the end of a life, so their builds keep nothing.
std::shared_ptr<std::byte> takeMemory(std::size_t bytes, Start start);

/// Gives the large blocks that takeMemory() keeps for the next back to the system.
void releaseKeptMemory() noexcept;

} // namespace miravex
