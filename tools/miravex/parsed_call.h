#pragma once

#include "catalog/record.h"
#include "tools/miravex/failure.h"

#include <CLI/CLI.hpp>

#include <map>
#include <string>
#include <vector>

namespace miravex::tool {

/// What holds for every command; accepted before and after the command's name.
struct Settings {
    bool json = false;
    bool force = false;
    bool quiet = false;
    int threads = -1; ///< OpenCV's own choice when negative
};
void addSettings(CLI::App& app, Settings& settings);

/// The pictures and keypoint tables that matches are drawn between; files.
struct MatchScene {
    std::string queryPicture;
    std::string trainPicture;
    std::string queryKeypoints;
    std::string trainKeypoints;

    [[nodiscard]] bool complete() const
    {
        return !queryPicture.empty() && !trainPicture.empty() && !queryKeypoints.empty()
            && !trainKeypoints.empty();
    }
};

/// A call of an operation as the user wrote it, its words sorted by what they mean but not yet read.
struct ParsedCall {
    const Operation* operation = nullptr;
    std::vector<std::string> files; ///< pictures, and files that path arguments name, in the record's order
    std::map<std::string, std::string, std::less<>> options; ///< argument name -> word
    std::vector<std::string> set; ///< boolean arguments given as --name
    std::vector<std::string> unset; ///< and as --no-name
    std::string output; ///< file, or folder of a batch; "-" for standard output
    std::string format; ///< extension without the dot, for "-" and batches
    std::string overlay;
    MatchScene scene; ///< for the overlay of an operation that matches descriptors
    std::string pixelType;
    bool gray = false;
    int64_t frames = 0; ///< read at most; 0 for all
    bool help = false;

    /// The format with its dot, or nothing.
    [[nodiscard]] std::string extension() const
    {
        return format.empty() || format.starts_with('.') ? format : "." + format;
    }
};

/// Sorts the words that follow the operation's name. Throws a usage failure, with what may have been meant.
ParsedCall parseCall(const Operation& operation, std::vector<std::string> words, Settings& settings);

/// Names of all options that a call of the operation accepts, with their dashes.
std::vector<std::string> optionsOf(const Operation& operation);

/// True for arguments that are given by position: images that must be given.
bool isPositional(const Argument& argument);

/// True for operations whose result is pairs of rows: their overlay needs a scene.
bool findsMatches(const Operation& operation);

/// True for arguments that follow from others and are never given.
inline bool isImplied(const Argument& argument) { return !argument.impliedBy.empty(); }

/// Runs CLI11's parser and turns its complaints into usage failures with suggestions among `known`.
void parseWords(CLI::App& app, std::vector<std::string> words, const std::vector<std::string>& known);

} // namespace miravex::tool
