#pragma once

#include <string>

namespace miravex {

/// JSON as text, in one line or indented. File names may hold bytes that are no UTF-8; they become U+FFFD.
template <typename Json> std::string jsonText(const Json& json, int indent = -1)
{
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

} // namespace miravex
