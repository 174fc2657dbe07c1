#include "files/npy.h"

#include "files/error.h"
#include "files/files.h"
#include "files/npy_header.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>

namespace miravex::files {

namespace {

constexpr std::string_view magic = "\x93NUMPY";

[[noreturn]] void refuse(const std::string& path, const std::string& reason)
{
    throw Error(Error::Kind::Input, fmt::format("cannot read {}: {}", path, reason));
}

std::size_t littleEndian(std::string_view bytes)
{
    std::size_t value = 0;
    for (std::size_t i = bytes.size(); i-- > 0;) value = value << 8U | static_cast<unsigned char>(bytes[i]);
    return value;
}

struct Header {
    char order = '<';
    char kind = 'f';
    std::size_t itemBytes = 0;
    bool columnMajor = false;
    std::vector<int64_t> shape;
};

/// What stands between the delimiters behind a key of the header: "<f8" for key "descr" and quotes.
std::string_view entry(std::string_view text, std::string_view key, char open, char close)
{
    const std::size_t found = text.find(fmt::format("'{}':", key));
    const std::size_t first =
        text.find(open, found == std::string_view::npos ? found : found + key.size() + 3);
    const std::size_t last = first == std::string_view::npos ? first : text.find(close, first + 1);
    return last == std::string_view::npos ? std::string_view() : text.substr(first + 1, last - first - 1);
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// "(2, 3)" without its brackets; nothing when it is no list of sizes.
std::optional<std::vector<int64_t>> shapeOf(std::string_view text)
{
    std::vector<int64_t> shape;
    while (!text.empty()) {
        if (!isDigit(text.front())) {
            if (text.front() != ',' && text.front() != ' ') return std::nullopt;
            text.remove_prefix(1);
            continue;
        }
        int64_t size = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), size);
        if (error != std::errc()) return std::nullopt;
        shape.push_back(size);
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    }
    return shape;
}

/// "<f8": byte order, kind, bytes of an item.
bool parseType(std::string_view text, Header& header)
{
    constexpr std::string_view orders = "<>|=", kinds = "biuf";
    if (!text.empty() && orders.find(text.front()) != std::string_view::npos) {
        header.order = text.front();
        text.remove_prefix(1);
    }
    if (text.size() != 2 || kinds.find(text[0]) == std::string_view::npos || !isDigit(text[1])) return false;
    header.kind = text[0];
    header.itemBytes = static_cast<std::size_t>(text[1] - '0');
    return true;
}

Header parseHeader(const std::string& path, const std::string& text)
{
    Header header;
    const auto shape = shapeOf(entry(text, "shape", '(', ')'));
    const std::string_view order = entry(text, "fortran_order", ' ', ',');
    if (!parseType(entry(text, "descr", '\'', '\''), header) || !shape
        || (order != "True" && order != "False"))
        refuse(path, "its header describes no array of numbers");
    header.columnMajor = order == "True";
    header.shape = *shape;
    return header;
}

bool supported(char kind, std::size_t bytes)
{
    if (kind == 'b') return bytes == 1;
    if (kind == 'f') return bytes == 4 || bytes == 8;
    return bytes == 1 || bytes == 2 || bytes == 4 || bytes == 8;
}

void swapBytes(NpyArray& array)
{
    for (std::size_t i = 0; i + array.itemBytes <= array.data.size(); i += array.itemBytes)
        std::reverse(array.data.begin() + static_cast<std::ptrdiff_t>(i),
                     array.data.begin() + static_cast<std::ptrdiff_t>(i + array.itemBytes));
}

/// Column-major to row-major.
void transpose(NpyArray& array)
{
    const std::vector<std::byte> source = array.data;
    std::vector<int64_t> index(array.shape.size(), 0);
    for (std::size_t target = 0; target < array.length(); ++target) {
        std::size_t from = 0;
        for (std::size_t d = array.shape.size(); d-- > 0;)
            from = from * static_cast<std::size_t>(array.shape[d]) + static_cast<std::size_t>(index[d]);
        std::memcpy(&array.data[target * array.itemBytes], &source[from * array.itemBytes], array.itemBytes);
        for (std::size_t d = array.shape.size(); d-- > 0;) {
            if (++index[d] < array.shape[d]) break;
            index[d] = 0;
        }
    }
}

template <typename Number> double numberAt(const std::byte* place)
{
    Number value;
    std::memcpy(&value, place, sizeof value);
    return static_cast<double>(value);
}

} // namespace

std::size_t NpyArray::length() const
{
    std::size_t count = 1;
    for (const int64_t size : shape) count *= static_cast<std::size_t>(size);
    return count;
}

double NpyArray::element(std::size_t index) const
{
    const std::byte* place = data.data() + index * itemBytes;
    if (kind == 'f') return itemBytes == 4 ? numberAt<float>(place) : numberAt<double>(place);
    const bool isSigned = kind == 'i';
    switch (itemBytes) {
    case 1: return isSigned ? numberAt<std::int8_t>(place) : numberAt<std::uint8_t>(place);
    case 2: return isSigned ? numberAt<std::int16_t>(place) : numberAt<std::uint16_t>(place);
    case 4: return isSigned ? numberAt<std::int32_t>(place) : numberAt<std::uint32_t>(place);
    default: return isSigned ? numberAt<std::int64_t>(place) : numberAt<std::uint64_t>(place);
    }
}

NpyArray readNpy(const std::string& path)
{
    const std::string bytes = readWhole(path);
    if (bytes.size() < 12 || !bytes.starts_with(magic)) refuse(path, "it is no .npy file");
    const std::size_t sizeBytes = bytes[6] == 1 ? 2 : 4;
    const std::size_t headerBytes = littleEndian(std::string_view(bytes).substr(8, sizeBytes));
    const std::size_t start = 8 + sizeBytes + headerBytes;
    if (start > bytes.size()) refuse(path, "it is truncated");

    const Header header = parseHeader(path, bytes.substr(8 + sizeBytes, headerBytes));
    if (!supported(header.kind, header.itemBytes))
        refuse(path, fmt::format("numbers of type {}{} are not supported", header.kind, header.itemBytes));
    NpyArray array { header.kind, header.itemBytes, header.shape, {} };
    std::size_t length = header.itemBytes;
    for (const int64_t size : header.shape)
        if (__builtin_mul_overflow(length, static_cast<std::size_t>(size), &length))
            refuse(path, "it is too large");
    if (bytes.size() - start < length) refuse(path, "it is truncated");
    const auto* first = reinterpret_cast<const std::byte*>(bytes.data()) + start;
    array.data.assign(first, first + length);
    if (header.order == '>') swapBytes(array);
    if (header.columnMajor && array.shape.size() > 1) transpose(array);
    return array;
}

void writeNpy(const std::filesystem::path& path, const NpyArray& array)
{
    const char order = array.itemBytes == 1 ? '|' : '<';
    std::string bytes = npyHeader(fmt::format("{}{}{}", order, array.kind, array.itemBytes), array.shape);
    bytes.append(reinterpret_cast<const char*>(array.data.data()), array.data.size());
    writeWhole(path, bytes);
}

} // namespace miravex::files
