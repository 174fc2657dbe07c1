#include "tests/support/protected_pages.h"

#include <fmt/format.h>
#include <signal.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <list>
#include <mutex>
#include <new>

namespace miravex::test {

namespace {

/// The pages of one block, forbidden ones included.
struct Region {
    std::string name;
    std::byte* pages;
    std::size_t bytes;
    std::span<const std::byte> memory;

    [[nodiscard]] bool holds(const std::byte* address) const
    {
        return address >= pages && address < pages + bytes;
    }
    [[nodiscard]] std::string place(const std::byte* address) const
    {
        const std::byte* const end = memory.data() + memory.size();
        if (address < memory.data()) return fmt::format("{} bytes before {}", memory.data() - address, name);
        if (address >= end) return fmt::format("{} bytes behind the end of {}", address - end, name);
        return fmt::format("byte {} of {}", address - memory.data(), name);
    }
};

std::mutex registry;
std::list<Region> regions;
std::string currentCall;

bool wasWrite([[maybe_unused]] void* context)
{
#if defined(__x86_64__)
    constexpr greg_t writeBit = 2; // of a page fault's error code
    return (static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_ERR] & writeBit) != 0;
#else
    return false;
#endif
}

/// The process ends here, so it may allocate and print.
void report(int, siginfo_t* info, void* context)
{
    const auto* address = static_cast<const std::byte*>(info->si_addr);
    std::string place = "elsewhere";
    for (const Region& region : regions)
        if (region.holds(address)) place = region.place(address);
    fmt::print(stderr, "{}: {} {}\n", currentCall, wasWrite(context) ? "wrote to" : "read", place);
    std::fflush(stderr);
    _exit(3);
}

std::size_t wholePages(std::size_t bytes)
{
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return (bytes + page - 1) / page * page;
}

} // namespace

Block onProtectedPages(std::span<const std::byte> contents, Edge edge, Access access, std::string name)
{
    const std::size_t page = wholePages(1), usable = wholePages(contents.size());
    const std::size_t bytes = usable + 2 * page;
    void* const mapped = mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) throw std::bad_alloc();
    auto* const pages = static_cast<std::byte*>(mapped);
    std::byte* const data = pages + page + (edge == Edge::Behind ? usable - contents.size() : 0);
    if (usable > 0) {
        mprotect(pages + page, usable, PROT_READ | PROT_WRITE);
        std::memset(pages + page, 0xA5, usable);
        std::copy(contents.begin(), contents.end(), data);
        if (access == Access::Read) mprotect(pages + page, usable, PROT_READ);
    }

    const std::scoped_lock lock(registry);
    const auto entry =
        regions.insert(regions.end(), { std::move(name), pages, bytes, { data, contents.size() } });
    const std::shared_ptr<const void> owner(pages, [bytes, entry](std::byte* start) {
        const std::scoped_lock unlisting(registry);
        regions.erase(entry);
        munmap(start, bytes);
    });
    return Block::wrapping(data, contents.size(), owner);
}

void reportFaultsOf(const std::string& call)
{
    currentCall = call;
    struct sigaction action = {};
    action.sa_sigaction = report;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGSEGV, &action, nullptr);
    sigaction(SIGBUS, &action, nullptr);
}

} // namespace miravex::test
