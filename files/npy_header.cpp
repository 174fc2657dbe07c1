#include "files/npy_header.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace miravex::files {

std::string npyHeader(std::string_view type, const std::vector<int64_t>& shape, std::size_t leastBytes)
{
    constexpr std::size_t alignment = 64;
    constexpr std::size_t before = 10; // magic, version, length
    std::string text = fmt::format("{{'descr': '{}', 'fortran_order': False, 'shape': ({}{}), }}", type,
                                   fmt::join(shape, ", "), shape.size() == 1 ? "," : "");
    const std::size_t needed = std::max(before + text.size() + 1, leastBytes);
    const std::size_t whole = (needed + alignment - 1) / alignment * alignment;
    text.resize(whole - before - 1, ' ');
    text += '\n';
    std::string header("\x93NUMPY\x01\x00", 8);
    header += static_cast<char>(text.size() & 0xFFU);
    header += static_cast<char>(text.size() >> 8U);
    return header + text;
}

} // namespace miravex::files
