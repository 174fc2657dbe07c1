#pragma once

#include <array>
#include <filesystem>
#include <string>
#include <string_view>

namespace miravex {

/// The file of the library's second part in the library's own folder: under the name that an installation
/// gives it, with the number that its interface has (`soversion`), or under the plain one, which remains when
/// the files were copied by hand.
inline std::filesystem::path readersFile(const std::filesystem::path& folder, const std::string& soversion)
{
    const std::filesystem::path plain = folder / "libmiravex_readers.so";
    std::filesystem::path numbered = plain;
    numbered += "." + soversion;
    std::error_code error;
    return std::filesystem::exists(numbered, error) ? numbered : plain;
}

/// The operations that fail without it: those that read files, and one whose method OpenCV keeps in a module
/// that does.
inline constexpr std::array<std::string_view, 3> readersOperations { "LoadImagesFromPathInto",
                                                                     "SuperResolution",
                                                                     "OpticalFlowDualTVL1" };

} // namespace miravex
