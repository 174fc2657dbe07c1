#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// The interface as tests/interface.txt lists it, once for all tests.
namespace miravex::test {

/// What tests/interface.txt has to hold by the catalogue.
std::string interfaceText();

/// What it holds.
std::string keptInterface();

/// An operation of the kept file.
struct ListedOperation {
    std::string name; ///< exported as opencv_<name>
    std::string signature; ///< the whole line
    std::string toolName; ///< "median-filter"
};
std::vector<ListedOperation> listedOperations();

/// What to do when the file and the code differ.
inline constexpr const char* howToRegenerate = "run scripts/generate to write tests/interface.txt again";

} // namespace miravex::test
