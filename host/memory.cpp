#include "host/memory.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <vector>

namespace miravex {

namespace {

constexpr std::size_t largeBytes = std::size_t { 4 } << 20U;
#ifdef MIRAVEX_SANITIZED
constexpr std::size_t mostKept = 0;
#else
constexpr std::size_t mostKept = std::size_t { 64 } << 20U;
#endif

void adviseLargePages(void* memory, std::size_t bytes) noexcept
{
    // Advice is given for whole pages of the usual size.
    constexpr std::size_t page = 4096;
    const std::size_t before = (page - reinterpret_cast<std::uintptr_t>(memory) % page) % page;
    madvise(static_cast<std::byte*>(memory) + before, (bytes - before) / page * page, MADV_HUGEPAGE);
}

/// Large blocks that were given back, the oldest first.
class KeptBlocks {
public:
    /// A block of at least `bytes` and not much more, and its size; null when none is kept.
    std::byte* take(std::size_t& bytes) noexcept
    {
        const std::scoped_lock lock(mutex_);
        const auto found = std::ranges::find_if(blocks_, [bytes](const Kept& kept) {
            return kept.bytes >= bytes && kept.bytes - bytes <= bytes / 4;
        });
        if (found == blocks_.end()) return nullptr;
        const Kept kept = *found;
        blocks_.erase(found);
        total_ -= kept.bytes;
        bytes = kept.bytes;
        return kept.memory;
    }

    void give(std::byte* memory, std::size_t bytes) noexcept
    {
        const std::scoped_lock lock(mutex_);
        if (bytes > mostKept || blocks_.size() == blocks_.capacity()) return std::free(memory);
        while (total_ + bytes > mostKept) freeOldest();
        blocks_.push_back({ memory, bytes });
        total_ += bytes;
    }

    void clear() noexcept
    {
        const std::scoped_lock lock(mutex_);
        while (!blocks_.empty()) freeOldest();
    }

    KeptBlocks() { blocks_.reserve(mostKept / largeBytes); }

private:
    void freeOldest() noexcept
    {
        total_ -= blocks_.front().bytes;
        std::free(blocks_.front().memory);
        blocks_.erase(blocks_.begin());
    }

    struct Kept {
        std::byte* memory;
        std::size_t bytes;
    };
    std::mutex mutex_;
    std::vector<Kept> blocks_;
    std::size_t total_ = 0;
};

/// Never destroyed: objects of other translation units give memory back until the very end.
KeptBlocks& keptBlocks()
{
    static KeptBlocks& blocks = *new KeptBlocks;
    return blocks;
}

} // namespace

std::shared_ptr<std::byte> takeMemory(std::size_t bytes, Start start)
{
    if (bytes >= largeBytes) {
        std::size_t size = bytes;
        std::byte* memory = keptBlocks().take(size);
        if (memory && start == Start::Cleared) std::memset(memory, 0, bytes);
        if (!memory) {
            memory =
                static_cast<std::byte*>(std::calloc(bytes, 1)); // new from the system, and so zeros anyway
            if (!memory) throw std::bad_alloc();
            adviseLargePages(memory, bytes);
        }
        return { memory, [size](std::byte* block) { keptBlocks().give(block, size); } };
    }
    auto* memory =
        static_cast<std::byte*>(start == Start::Cleared ? std::calloc(bytes, 1) : std::malloc(bytes));
    if (!memory) throw std::bad_alloc();
    return { memory, [](std::byte* block) { std::free(block); } };
}

void releaseKeptMemory() noexcept { keptBlocks().clear(); }

} // namespace miravex
