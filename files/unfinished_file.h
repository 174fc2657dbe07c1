#pragma once

#include <filesystem>

namespace miravex::files {

/// A file that is removed by removeUnfinishedFiles(), or when this object ends before keep(). Several threads
/// may write one each.
class UnfinishedFile {
public:
    explicit UnfinishedFile(std::filesystem::path path);
    ~UnfinishedFile();
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
    void keep() noexcept { kept_ = true; }

private:
    std::filesystem::path path_;
    bool kept_ = false;
    std::size_t entry_ = 0;
};

/// Removes the files that are being written. A signal handler may call it.
void removeUnfinishedFiles() noexcept;

} // namespace miravex::files
