#pragma once

#include "host/library.h"

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace miravex::tool {

/// A sample can't be had on this machine; says what is missing and where it comes from.
class MissingSample : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Sample pictures, sequences, tables and files by name, for the examples of records: "@photo" in an example
/// stands for the files that the sample "photo" is made into. Made once, on first use, in one folder.
class Samples {
public:
    /// Runs an operation with these words and writes its result to a file: how samples that are results of
    /// operations are made.
    using Runner = std::function<void(const std::string& operation, const std::vector<std::string>& words,
                                      const std::string& file)>;

    Samples(std::filesystem::path folder, Runner run);

    /// The words that stand for "@name"; an extension behind the name ("@values.csv") is for readers only.
    /// Throws MissingSample.
    const std::vector<std::string>& words(const std::string& name);

    /// An example's words with every "@name" replaced.
    std::vector<std::string> replaced(const std::vector<std::string>& words);

    /// Names of all samples.
    static std::vector<std::string> names();

private:
    std::filesystem::path folder_;
    Runner run_;
    std::map<std::string, std::vector<std::string>, std::less<>> made_;
};

/// Makes the samples that are results of operations of this library, which must live as long.
Samples::Runner runnerOf(const Library& library);

/// Debian's opencv-doc and opencv-data, and the folder that MIRAVEX_TEST_DATA names.
std::filesystem::path samplePictureFolder();
std::filesystem::path cascadeFolder();
std::optional<std::filesystem::path> furtherDataFolder();

} // namespace miravex::tool
