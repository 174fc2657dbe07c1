#pragma once

#include <filesystem>

namespace miravex::cli {

/// From now on Ctrl-C ends the process with status 130, and no half-written file stays behind.
void exitOnInterrupt();

/// While one exists, the first Ctrl-C is only noted, so that a batch can finish its current file and report.
class PoliteInterrupt {
public:
    PoliteInterrupt();
    ~PoliteInterrupt();
    PoliteInterrupt(const PoliteInterrupt&) = delete;
    PoliteInterrupt& operator=(const PoliteInterrupt&) = delete;

    [[nodiscard]] bool requested() const noexcept;
};

/// A file that is removed when the process is interrupted, or when this object ends before keep().
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

} // namespace miravex::cli
