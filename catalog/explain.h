#pragma once

#include "catalog/arguments.h"

#include <filesystem>
#include <string>
#include <vector>

namespace miravex {

/// Why the library refused a call, as far as can be found out from outside: it answers only "6".
struct Explanation {
    std::vector<Refusal> refusals; ///< what the record says against the arguments
    std::string openCvError; ///< what OpenCV said while the call ran
    std::vector<std::string> files; ///< what is wrong with the files that the arguments name

    /// All of it in words, one reason per line; never empty.
    [[nodiscard]] std::string message() const;
};

/// `openCvError`: what OpenCV said while the call ran, or empty.
Explanation explain(const CallView& call, std::string openCvError);

/// What is wrong with a file that was to be read: "there is no such file", "it is a folder", "it is empty",
/// "it may not be read", "it is truncated", ...; empty when nothing is seen from outside.
std::string fileTrouble(const std::filesystem::path& path);

} // namespace miravex
