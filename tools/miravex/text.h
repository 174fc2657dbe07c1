#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace miravex::tool {

/// The text in lines of at most `width` characters; line breaks in it are kept.
std::vector<std::string> wrapped(std::string_view text, std::size_t width);

/// "  --radius N        half the side ..." on standard output, wrapped to the terminal.
void printEntry(std::string_view left, std::string_view right);

/// A paragraph, indented by two, on standard output.
void printIndented(std::string_view text);

} // namespace miravex::tool
