#include "tests/support/allocations.h"

#include <atomic>
#include <cerrno>
#include <cstddef>

namespace miravex::test {

namespace {

std::atomic<int64_t> failed = 0;
std::atomic<int64_t> live = 0;

} // namespace

int64_t failedAllocations() { return failed; }
int64_t liveAllocations() { return live; }

} // namespace miravex::test

#ifndef MIRAVEX_SANITIZED

// glibc's own, under the names that it keeps for replacements like these.
extern "C" {
void* __libc_malloc(std::size_t size) noexcept;
void* __libc_calloc(std::size_t count, std::size_t size) noexcept;
void* __libc_realloc(void* memory, std::size_t size) noexcept;
void* __libc_memalign(std::size_t alignment, std::size_t size) noexcept;
void __libc_free(void* memory) noexcept;
}

namespace {

void* counted(void* memory) noexcept
{
    (memory ? miravex::test::live : miravex::test::failed).fetch_add(1, std::memory_order_relaxed);
    return memory;
}

} // namespace

extern "C" {

void* malloc(std::size_t size) noexcept { return counted(__libc_malloc(size)); }

void* calloc(std::size_t count, std::size_t size) noexcept { return counted(__libc_calloc(count, size)); }

void* memalign(std::size_t alignment, std::size_t size) noexcept
{
    return counted(__libc_memalign(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept { return memalign(alignment, size); }

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept
{
    void* const made = memalign(alignment, size);
    if (!made) return ENOMEM;
    *memory = made;
    return 0;
}

void free(void* memory) noexcept
{
    if (memory) miravex::test::live.fetch_sub(1, std::memory_order_relaxed);
    __libc_free(memory);
}

void* realloc(void* memory, std::size_t size) noexcept
{
    void* const made = __libc_realloc(memory, size);
    if (!memory) return counted(made);
    if (made) return made;
    if (size == 0)
        miravex::test::live.fetch_sub(1, std::memory_order_relaxed); // given back
    else
        miravex::test::failed.fetch_add(1, std::memory_order_relaxed);
    return nullptr;
}

} // extern "C"

#endif
