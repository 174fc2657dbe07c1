#include "catalog/picture_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <vector>

namespace miravex {

namespace {

using Bytes = std::string_view;

/// A file read in pieces; whatever lies beyond its end reads as too short.
class PictureFile {
public:
    explicit PictureFile(const std::string& path)
        : number_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
    {
        struct stat facts { };
        if (number_ < 0)
            state_ = errno == ENOENT || errno == ENOTDIR ? FileState::Missing : FileState::Unreadable;
        else if (fstat(number_, &facts) != 0)
            state_ = FileState::Unreadable;
        else if (!S_ISREG(facts.st_mode))
            state_ = FileState::NotAFile;
        else if (facts.st_size == 0)
            state_ = FileState::Empty;
        size_ = static_cast<uint64_t>(facts.st_size);
    }
    ~PictureFile()
    {
        if (number_ >= 0) close(number_);
    }
    PictureFile(const PictureFile&) = delete;
    PictureFile& operator=(const PictureFile&) = delete;

    [[nodiscard]] FileState state() const { return state_; }
    [[nodiscard]] uint64_t size() const { return size_; }

    /// Up to `count` bytes from `at` on, valid until the next call.
    Bytes read(uint64_t at, std::size_t count)
    {
        if (at < start_ || at + count > start_ + held_) fill(at, count);
        if (at < start_ || at >= start_ + held_) return {};
        const auto skip = static_cast<std::size_t>(at - start_);
        return Bytes(buffer_.data() + skip, std::min(count, held_ - skip));
    }

    /// A number of `bytes` bytes; 0 beyond the end of the file.
    uint64_t number(uint64_t at, std::size_t bytes, bool bigEndian)
    {
        const Bytes found = read(at, bytes);
        if (found.size() < bytes) return 0;
        uint64_t value = 0;
        for (std::size_t i = 0; i < bytes; ++i)
            value = (value << 8U) | static_cast<unsigned char>(found[bigEndian ? i : bytes - 1 - i]);
        return value;
    }

private:
    void fill(uint64_t at, std::size_t count)
    {
        constexpr std::size_t piece = 16384;
        buffer_.resize(std::max(count, piece));
        const ssize_t got = pread(number_, buffer_.data(), buffer_.size(), static_cast<off_t>(at));
        start_ = at;
        held_ = got > 0 ? static_cast<std::size_t>(got) : 0;
    }

    int number_;
    FileState state_ = FileState::Whole;
    uint64_t size_ = 0;
    std::vector<char> buffer_;
    uint64_t start_ = 0;
    std::size_t held_ = 0;
};

/// Where the marker FF D9 stands in entropy-coded data from `at` on.
bool hasEndMarker(PictureFile& file, uint64_t at)
{
    constexpr std::size_t piece = 65536;
    while (at < file.size()) {
        const Bytes data = file.read(at, piece);
        if (data.size() < 2) return false;
        const std::size_t found = data.find("\xFF\xD9");
        if (found != Bytes::npos) return true;
        at += data.size() - 1;
    }
    return false;
}

FileState inspectJpeg(PictureFile& file)
{
    constexpr unsigned startOfScan = 0xDA;
    constexpr unsigned endOfImage = 0xD9;
    // Segments before the scan may hold thumbnails with an end of their own: they are stepped over.
    for (uint64_t at = 2; at + 4 <= file.size();) {
        const uint64_t marker = file.number(at, 2, true);
        if ((marker >> 8U) != 0xFFU) return hasEndMarker(file, at) ? FileState::Whole : FileState::Truncated;
        const uint64_t code = marker & 0xFFU;
        if (code == 0xFFU) { // a fill byte
            ++at;
            continue;
        }
        if (code == endOfImage) return FileState::Whole;
        if (code == startOfScan) {
            if (file.number(file.size() - 2, 2, true) == (0xFF00U | endOfImage)) return FileState::Whole;
            return hasEndMarker(file, at) ? FileState::Whole : FileState::Truncated;
        }
        at += 2 + std::max<uint64_t>(file.number(at + 2, 2, true), 2);
    }
    return FileState::Truncated;
}

FileState inspectPng(PictureFile& file)
{
    constexpr uint64_t signature = 8;
    constexpr uint64_t around = 12; // length, name and checksum of a chunk
    for (uint64_t at = signature; at + around <= file.size();) {
        const uint64_t length = file.number(at, 4, true);
        const bool last = file.read(at + 4, 4) == "IEND";
        at += around + length;
        if (last) return at <= file.size() ? FileState::Whole : FileState::Truncated;
    }
    return FileState::Truncated;
}

FileState atLeast(const PictureFile& file, uint64_t bytes)
{
    return file.size() >= bytes ? FileState::Whole : FileState::Truncated;
}

/// The strips or tiles of the first directory all have to lie in the file.
FileState inspectTiff(PictureFile& file)
{
    constexpr uint64_t entryBytes = 12;
    constexpr uint64_t shortNumber = 3;
    const bool bigEndian = file.read(0, 2) == "MM";
    if (file.number(2, 2, bigEndian) != 42) return FileState::Whole; // BigTIFF: known by its first bytes only
    const uint64_t directory = file.number(4, 4, bigEndian);
    const uint64_t entries = file.number(directory, 2, bigEndian);
    if (directory + 2 + entries * entryBytes > file.size()) return FileState::Truncated;
    std::array<std::vector<uint64_t>, 2> places; // offsets and counts
    for (uint64_t i = 0; i < entries; ++i) {
        const uint64_t entry = directory + 2 + i * entryBytes;
        const uint64_t tag = file.number(entry, 2, bigEndian);
        const bool offsets = tag == 273 || tag == 324;
        if (!offsets && tag != 279 && tag != 325) continue;
        const std::size_t width = file.number(entry + 2, 2, bigEndian) == shortNumber ? 2 : 4;
        const uint64_t count = file.number(entry + 4, 4, bigEndian);
        const bool inside = count * width <= 4;
        const uint64_t first = inside ? entry + 8 : file.number(entry + 8, 4, bigEndian);
        if (first + count * width > file.size()) return FileState::Truncated;
        for (uint64_t k = 0; k < count; ++k)
            places[offsets ? 0 : 1].push_back(file.number(first + k * width, width, bigEndian));
    }
    for (std::size_t k = 0; k < std::min(places[0].size(), places[1].size()); ++k)
        if (places[0][k] + places[1][k] > file.size()) return FileState::Truncated;
    return FileState::Whole;
}

/// The other formats that OpenCV reads, by their first bytes.
bool isKnown(Bytes head)
{
    using namespace std::string_view_literals;
    for (const Bytes signature :
         { "P1"sv, "P2"sv, "P3"sv, "P4"sv, "P5"sv, "P6"sv, "P7"sv, "Pf"sv, "PF"sv, "\x76\x2F\x31\x01"sv,
           "\xFF\x4F\xFF\x51"sv, "\0\0\0\x0CjP  "sv, "#?RADIANCE"sv, "#?RGBE"sv, "\x59\xA6\x6A\x95"sv,
           "GIF8"sv, "II\x2B\0"sv, "MM\0\x2B"sv })
        if (head.starts_with(signature)) return true;
    return head.size() > 132 && head.substr(128, 4) == "DICM";
}

FileState inspect(PictureFile& file)
{
    using namespace std::string_view_literals;
    constexpr std::size_t headBytes = 256;
    const std::string head(file.read(0, headBytes));
    if (head.empty()) return FileState::Unreadable;
    const Bytes start = head;
    if (start.starts_with("\xFF\xD8\xFF")) return inspectJpeg(file);
    if (start.starts_with("\x89PNG\r\n\x1A\n")) return inspectPng(file);
    if (start.starts_with("BM")) return atLeast(file, file.number(2, 4, false));
    if (start.starts_with("RIFF") && start.substr(8, 4) == "WEBP")
        return atLeast(file, file.number(4, 4, false) + 8);
    if (start.starts_with("II\x2A\0"sv) || start.starts_with("MM\0\x2A"sv)) return inspectTiff(file);
    return isKnown(start) ? FileState::Whole : FileState::NotAnImage;
}

} // namespace

FileState inspectPictureFile(const std::string& path) noexcept
{
    try {
        PictureFile file(path);
        return file.state() == FileState::Whole ? inspect(file) : file.state();
    } catch (...) { // no memory to look with
        return FileState::Unreadable;
    }
}

std::string_view nameOf(FileState state)
{
    switch (state) {
    case FileState::Whole: return "whole";
    case FileState::Missing: return "missing";
    case FileState::Unreadable: return "unreadable";
    case FileState::NotAFile: return "not a file";
    case FileState::Empty: return "empty";
    case FileState::NotAnImage: return "not an image";
    case FileState::Truncated: return "truncated";
    }
    return "";
}

} // namespace miravex
