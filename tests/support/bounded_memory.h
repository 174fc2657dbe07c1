#pragma once

#include <cstdlib>
#include <new>

/// A sanitizer that is told to return null from malloc still ends the program when operator new fails. These
/// replacements throw, as everywhere else, so that a fuzzed call sees a machine with little memory and has to
/// refuse. Include in one file of a program.

// NOLINTBEGIN(misc-definitions-in-headers)
void* operator new(std::size_t size)
{
    if (void* memory = std::malloc(size > 0 ? size : 1)) return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return std::malloc(size > 0 ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return std::malloc(size > 0 ? size : 1);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
// NOLINTEND(misc-definitions-in-headers)
