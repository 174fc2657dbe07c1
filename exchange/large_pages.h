#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>

namespace miravex {

/// Asks the system to back fresh memory with pages of 2 MiB. Large pictures live in memory that the system
/// hands out for one call: touched for the first time in pages of 4 KiB, it costs several times what copying
/// a picture into it does. Smaller blocks are mostly reused and left alone. Only advice: nothing happens
/// where the system has no such pages.
inline void adviseLargePages(void* memory, std::size_t bytes) noexcept
{
    constexpr std::size_t least = std::size_t { 4 } << 20U;
    constexpr std::uintptr_t page = 4096;
    if (bytes < least) return;
    const auto start = reinterpret_cast<std::uintptr_t>(memory);
    const std::uintptr_t first = (start + page - 1) / page * page;
    const std::uintptr_t end = (start + bytes) / page * page;
    madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
}

} // namespace miravex
