#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace miravex {

/// Names of the functions that a shared library exports, sorted; read from the file, which is not loaded.
/// Throws std::runtime_error when it is no 64-bit ELF file of this machine.
std::vector<std::string> exportedFunctions(const std::filesystem::path& library);

} // namespace miravex
