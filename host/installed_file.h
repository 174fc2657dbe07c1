#pragma once

#include <filesystem>
#include <string>

namespace miravex {

/// Where a file of this build is: beside the program or Python extension that contains this code, in ../lib,
/// or in `installed`, a folder relative to it; the name alone, for the dynamic linker to find, when it is in
/// none of them.
std::filesystem::path installedFile(const std::string& name, const std::filesystem::path& installed);

} // namespace miravex
