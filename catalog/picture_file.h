#pragma once

#include <string>
#include <string_view>

namespace miravex {

/// What can be said of a picture file by looking at its bytes, without decoding it.
enum class FileState {
    Whole, ///< a known format, complete as far as its structure tells
    Missing,
    Unreadable, ///< no permission, or an error while reading
    NotAFile, ///< a directory, a pipe, a device
    Empty,
    NotAnImage, ///< no format that OpenCV knows
    Truncated, ///< the end that the format announces is not there
};

/// Looks at a file: JPEG up to its end marker, PNG up to IEND, the sizes that BMP, WebP and TIFF state. Other
/// formats are known by their first bytes only. A few microseconds for each; never throws.
FileState inspectPictureFile(const std::string& path) noexcept;

/// "missing", "not an image", "truncated" ...
std::string_view nameOf(FileState state);

} // namespace miravex
