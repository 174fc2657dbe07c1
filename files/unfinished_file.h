#pragma once

#include <filesystem>

namespace miravex::files {

/// A file that is removed by removeUnfinishedFile(), or when this object ends before keep().
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
};

/// Removes the file that is being written, if there is one. A signal handler may call it.
void removeUnfinishedFile() noexcept;

} // namespace miravex::files
