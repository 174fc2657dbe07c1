#pragma once

#include <array>
#include <string_view>

namespace miravex {

/// The file of the library's second part, which stands beside the library itself.
inline constexpr const char* readersFileName = "libmiravex_readers.so";

/// The operations that fail without it: those that read files, and one whose method OpenCV keeps in a module
/// that does.
inline constexpr std::array<std::string_view, 3> readersOperations { "LoadImagesFromPathInto",
                                                                     "SuperResolution",
                                                                     "OpticalFlowDualTVL1" };

} // namespace miravex
