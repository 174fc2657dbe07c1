#include "files/unfinished_file.h"

#include <limits.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstring>

namespace miravex::files {

namespace {

/// Where a signal handler finds what is being written, hence plain memory.
struct Entry {
    std::atomic<bool> taken = false;
    std::atomic<bool> complete = false; ///< the path can be read
    std::array<char, PATH_MAX> path {};
};

/// As many files at once as threads that may write one.
constexpr std::size_t mostAtOnce = 256;
std::array<Entry, mostAtOnce> entries;

} // namespace

void removeUnfinishedFiles() noexcept
{
    for (Entry& entry : entries)
        if (entry.complete) unlink(entry.path.data());
}

UnfinishedFile::UnfinishedFile(std::filesystem::path path)
    : path_(std::move(path))
{
    const std::string name = path_.string();
    while (entry_ < entries.size() && entries[entry_].taken.exchange(true)) ++entry_;
    if (entry_ == entries.size()) return; // its own end alone removes it then
    Entry& entry = entries[entry_];
    if (name.size() >= entry.path.size()) return;
    std::memcpy(entry.path.data(), name.c_str(), name.size() + 1);
    entry.complete = true;
}

UnfinishedFile::~UnfinishedFile()
{
    if (entry_ < entries.size()) {
        entries[entry_].complete = false;
        entries[entry_].taken = false;
    }
    std::error_code ignored;
    if (!kept_) std::filesystem::remove(path_, ignored);
}

} // namespace miravex::files
