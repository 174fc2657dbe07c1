#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace miravex::cli {

/// The text in lines of at most `width` characters; line breaks in it are kept.
std::vector<std::string> wrapped(std::string_view text, std::size_t width);

/// "  --radius N        half the side ..." on standard output, wrapped to the terminal.
void printEntry(std::string_view left, std::string_view right);

/// A paragraph, indented by two, on standard output.
void printIndented(std::string_view text);

/// JSON as text, in one line or indented. File names may hold bytes that are no UTF-8; they become U+FFFD.
template <typename Json> std::string jsonText(const Json& json, int indent = -1)
{
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

} // namespace miravex::cli
