#pragma once

#include "tools/miravex/commands.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace miravex::tool {

/// The words of `miravex load`, not yet read.
struct LoadOptions {
    std::vector<std::string> inputs; ///< pictures, folders, lists of paths (.txt, .list, "-")
    std::string output;
    std::string size = "224x224"; ///< width x height
    std::string layout = "channels-first";
    std::string colour = "RGB";
    std::string mean;
    std::string deviation;
    std::string onError = "fill";
};

void addLoadOptions(CLI::App& load, LoadOptions& words);
std::vector<std::string> loadOptionNames();
void printLoadHelp();

/// Loads pictures into one .npy file, chunk by chunk, and reports those that failed.
ExitStatus runLoad(const Session& session, const LoadOptions& words);

} // namespace miravex::tool
