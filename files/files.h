#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace miravex::files {

/// The word for standard input and standard output.
constexpr const char* standardStream = "-";

/// ".png" for "a/B.PNG"; in small letters.
std::string extensionOf(const std::filesystem::path& file);

/// Throws Error (request) when `file` exists and may not be overwritten, or lies in no folder.
void refuseExisting(const std::string& file, bool force);

/// Lets `write` produce a file with the given extension, then puts it in place in one step: beside `file` and
/// renamed, or copied to standard output for "-". Nothing half-written ever bears the final name.
void deliver(const std::string& file, const std::string& extension, bool force,
             const std::function<void(const std::filesystem::path&)>& write);

/// The file to read for a word: the word itself, or for "-" a file that holds all of standard input and
/// vanishes with this object.
class InputFile {
public:
    explicit InputFile(const std::string& word);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    [[nodiscard]] const std::string& path() const noexcept { return path_; }

private:
    std::string path_;
    bool temporary_ = false;
};

std::string readWhole(const std::string& path);
void writeWhole(const std::filesystem::path& path, std::string_view bytes);

} // namespace miravex::files
