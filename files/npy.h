#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace miravex::files {

/// An array as NumPy stores it in .npy files, row-major and little-endian.
struct NpyArray {
    char kind = 'f'; ///< b, u, i or f, as in NumPy's type letters
    std::size_t itemBytes = 8;
    std::vector<int64_t> shape;
    std::vector<std::byte> data;

    [[nodiscard]] std::size_t length() const;
    /// Element `index` in row-major order.
    [[nodiscard]] double element(std::size_t index) const;
};

/// Reads versions 1 to 3, either byte order, either storage order. Throws Error (input) for anything
/// else.
NpyArray readNpy(const std::string& path);

void writeNpy(const std::filesystem::path& path, const NpyArray& array);

} // namespace miravex::files
