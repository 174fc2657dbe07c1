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
    constexpr std::size_t page = 4096;
    if (bytes < least) return;
    // Advice is given for whole pages of the usual size.
    const std::size_t before = (page - reinterpret_cast<std::uintptr_t>(memory) % page) % page;
    madvise(static_cast<std::byte*>(memory) + before, (bytes - before) / page * page, MADV_HUGEPAGE);
}

} // namespace miravex
