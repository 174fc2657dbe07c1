#include "catalog/catalog.h"
#include "files/files.h"
#include "host/json_text.h"
#include "tools/gallery/samples.h"
#include "tools/miravex/commands.h"
#include "tools/miravex/perform.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace miravex::tool {

Samples::Runner runnerOf(const Library& library)
{
    return
        [&library](const std::string& name, const std::vector<std::string>& words, const std::string& file) {
            const Operation* operation = findOperation(name);
            if (!operation) throw MissingSample(fmt::format("it is made by {}, which is not there", name));
            Settings settings;
            Notes notes;
            writeResult(perform(library, parseCall(*operation, words, settings), notes), file,
                        files::extensionOf(file), true, notes);
        };
}

ExitStatus makeSamples(const Session& session, const SamplesOptions& options)
{
    if (options.folder.empty()) throw Failure(ExitStatus::Usage, "usage: miravex samples FOLDER [NAMES...]");
    const Library library;
    Samples samples(options.folder, runnerOf(library));
    nlohmann::ordered_json json { { "samples", nlohmann::ordered_json::object() },
                                  { "missing", nlohmann::ordered_json::object() } };
    for (const std::string& name : options.names.empty() ? Samples::names() : options.names) {
        try {
            const std::vector<std::string>& words = samples.words(name);
            json["samples"][name] = words;
            if (!session.settings.json) fmt::print("{:<22}{}\n", name, fmt::join(words, " "));
        } catch (const MissingSample& missing) {
            json["missing"][name] = missing.what();
            if (!session.settings.json) fmt::print("{:<22}missing: {}\n", name, missing.what());
        }
    }
    if (session.settings.json) fmt::print("{}\n", jsonText(json));
    return ExitStatus::Done;
}

} // namespace miravex::tool
