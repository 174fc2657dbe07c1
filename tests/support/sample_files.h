#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace miravex::test {

/// Files that path arguments may name. Drawing chooses among them; any may be missing or broken.
using Paths = std::vector<std::string>;

/// A file in memory under a path of its own, gone with this object.
class MemoryFile {
public:
    explicit MemoryFile(std::span<const std::uint8_t> contents);
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    [[nodiscard]] const std::string& path() const noexcept { return path_; }

private:
    int descriptor_;
    std::string path_;
};

/// Paths of a missing file, a folder, an empty file, bytes that are no file of any kind, a small PNG and
/// JPEG, both of them cut short, a film of a few frames, and, where Debian's opencv-data is installed, a
/// cascade. Made once for the process.
const Paths& sampleFiles();

} // namespace miravex::test
