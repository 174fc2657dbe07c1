#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace miravex::files {

/// What stands before the elements of a .npy file (version 1.0) of a row-major array: its type in NumPy's
/// letters ("<f4") and its shape. As long as a multiple of 64 bytes, and at least `leastBytes`.
std::string npyHeader(std::string_view type, const std::vector<int64_t>& shape, std::size_t leastBytes = 0);

} // namespace miravex::files
