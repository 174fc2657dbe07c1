#pragma once

#include "tools/miravex/parsed_call.h"

#include <string>
#include <vector>

/// One function per command. Each prints its data on standard output and throws Failure.
namespace miravex::tool {

struct Session {
    Settings settings;

    /// Prints notes on standard error unless they are unwanted.
    void tell(const Notes& notes) const;
};

ExitStatus listOperations(const Session& session);
ExitStatus helpOn(const Session& session, const std::string& name);
ExitStatus printSchema(const std::string& name);
ExitStatus runOperation(Session& session, std::vector<std::string> words);
ExitStatus runBatch(Session& session, std::vector<std::string> words);
ExitStatus runDoctor(const Session& session);
ExitStatus printCompletion(const std::string& shell);
ExitStatus printManual();

struct GalleryOptions {
    std::string folder;
    std::vector<std::string> operations; ///< all when empty
};
ExitStatus makeGallery(const Session& session, const GalleryOptions& options);

/// Makes one call and puts its figures and result into a folder.
ExitStatus exhibitCall(Session& session, std::vector<std::string> words);

struct SamplesOptions {
    std::string folder;
    std::vector<std::string> names; ///< all when empty
};
ExitStatus makeSamples(const Session& session, const SamplesOptions& options);

/// Becomes the program that serves the page; returns only when it cannot. The words are the page's.
ExitStatus explore(const std::vector<std::string>& words);

/// The operation of a name as the user writes it; throws a usage failure with suggestions.
const Operation& operationNamed(const std::string& name);

/// The first word that is no option; of the options that may stand before it, only --threads takes a word.
std::vector<std::string>::iterator firstPlainWord(std::vector<std::string>& words);

/// Makes OpenCV use as many threads as was asked for.
void applyThreads(const Settings& settings);

/// Commands with their one-line descriptions, for help, completion and the manual.
struct Command {
    std::string_view name;
    std::string_view usage;
    std::string_view summary;
};
std::span<const Command> commands();

} // namespace miravex::tool
