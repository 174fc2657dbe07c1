#include "files/files.h"

#include "files/error.h"
#include "files/unfinished_file.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

namespace miravex::files {

namespace fs = std::filesystem;

namespace {

fs::path temporaryFile(const fs::path& folder, const std::string& stem, const std::string& extension)
{
    std::string name = (folder / fmt::format(".{}.XXXXXX{}", stem, extension)).string();
    const int descriptor = mkstemps(name.data(), static_cast<int>(extension.size()));
    if (descriptor < 0)
        throw Error(Error::Kind::Output,
                    fmt::format("cannot write in {}: {}", folder.empty() ? "." : folder.string(),
                                std::strerror(errno)));
    close(descriptor);
    return name;
}

void copyToStandardOutput(const fs::path& file)
{
    const std::string bytes = readWhole(file.string());
    if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size() || std::fflush(stdout) != 0)
        throw Error(Error::Kind::Output, "cannot write to standard output");
}

/// Files made by mkstemps are private; what the user asked for has the usual mode.
void allowAsUsual(const fs::path& file)
{
    // Asked for once: it can only be had by setting it, which other threads would notice.
    static const mode_t mask = [] {
        const mode_t found = umask(0);
        umask(found);
        return found;
    }();
    fs::permissions(file, static_cast<fs::perms>(0666 & ~mask));
}

} // namespace

std::string extensionOf(const fs::path& file)
{
    std::string extension = file.extension().string();
    std::ranges::transform(extension, extension.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

void refuseExisting(const std::string& file, bool force)
{
    if (file.empty() || file == standardStream) return;
    const fs::path path(file);
    std::error_code ignored;
    if (!force && fs::exists(path, ignored))
        throw Error(Error::Kind::Request, fmt::format("{} exists already; --force overwrites it", file));
    if (fs::is_directory(path, ignored))
        throw Error(Error::Kind::Request, fmt::format("{} is a folder, not a file to write", file));
    if (path.has_parent_path() && !fs::is_directory(path.parent_path(), ignored))
        throw Error(Error::Kind::Request,
                    fmt::format("cannot write {}: there is no folder {}", file, path.parent_path().string()));
}

void deliver(const std::string& file, const std::string& extension, bool force,
             const std::function<void(const fs::path&)>& write)
{
    if (file == standardStream) {
        const UnfinishedFile temporary(temporaryFile(fs::temp_directory_path(), "miravex", extension));
        write(temporary.path());
        return copyToStandardOutput(temporary.path());
    }
    refuseExisting(file, force);
    const fs::path target(file);
    UnfinishedFile temporary(temporaryFile(target.parent_path(), target.stem().string(), extension));
    write(temporary.path());
    allowAsUsual(temporary.path());
    fs::rename(temporary.path(), target);
    temporary.keep();
}

InputFile::InputFile(const std::string& word)
    : path_(word)
{
    if (word != standardStream) return;
    path_ = temporaryFile(fs::temp_directory_path(), "miravex", "");
    temporary_ = true;
    std::ofstream copy(path_, std::ios::binary);
    std::array<char, 65536> buffer {};
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), stdin))
        copy.write(buffer.data(), static_cast<std::streamsize>(count));
}

InputFile::~InputFile()
{
    std::error_code ignored;
    if (temporary_) fs::remove(path_, ignored);
}

std::string readWhole(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) throw Error(Error::Kind::Input, fmt::format("cannot read {}: {}", path, std::strerror(errno)));
    return { std::istreambuf_iterator<char>(file), {} };
}

void writeWhole(const fs::path& path, std::string_view bytes)
{
    std::ofstream file(path, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) throw Error(Error::Kind::Output, "cannot write " + path.string());
}

} // namespace miravex::files
