#pragma once

#include <filesystem>
#include <initializer_list>
#include <string>

namespace miravex {

/// Where a file of this build is: beside the program or Python extension that contains this code, in ../lib,
/// or in `installed`, a folder relative to it, in each under the first of its names that is there; the first
/// name alone, for the dynamic linker to find, when it is in none of them.
std::filesystem::path installedFile(std::initializer_list<std::string> names,
                                    const std::filesystem::path& installed);

} // namespace miravex
