#pragma once

#include <filesystem>
#include <string>

namespace miravex::test {

/// A folder for the files of one test, removed with them.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] std::string file(const std::string& name) const { return (path_ / name).string(); }
    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

    /// Removes those that are still there: for processes that end without leaving their functions.
    static void removeAll();

private:
    std::filesystem::path path_;
};

} // namespace miravex::test
