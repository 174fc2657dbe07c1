#include "catalog/catalog.h"
#include "files/files.h"
#include "host/json_text.h"
#include "tools/gallery/exhibit.h"
#include "tools/miravex/commands.h"
#include "tools/miravex/perform.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace miravex::tool {

namespace fs = std::filesystem;

namespace {

/// The first plain word, taken out of the words.
std::string taken(std::vector<std::string>& words)
{
    const auto word = firstPlainWord(words);
    if (word == words.end())
        throw Failure(ExitStatus::Usage, "usage: miravex exhibit FOLDER OPERATION PICTURES... [OPTIONS]");
    std::string text = *word;
    words.erase(word);
    return text;
}

void keepInEveryForm(const Performed& performed, const fs::path& folder, Exhibit& exhibit)
{
    const std::string stem = kebabCase(performed.operation->name);
    if (performed.result.kind == ResultKind::Sequence)
        keepResult(performed, folder, stem, { ".tiff", ".npy" }, exhibit);
    else if (isPicture(performed.result.kind))
        keepResult(performed, folder, stem, { ".png", ".npy" }, exhibit);
    else
        keepResult(performed, folder, stem, { ".json", ".csv", ".npy" }, exhibit);
}

} // namespace

ExitStatus exhibitCall(Session& session, std::vector<std::string> words)
{
    const fs::path folder = taken(words);
    const Operation& operation = operationNamed(taken(words));
    Exhibit exhibit { .operation = &operation };
    exhibit.command = fmt::format("miravex {} {}", kebabCase(operation.name), fmt::join(words, " "));
    const ParsedCall parsed = parseCall(operation, std::move(words), session.settings);
    if (parsed.help) return helpOn(session, std::string(operation.name));
    applyThreads(session.settings);
    if (fs::exists(folder) && !(fs::is_directory(folder) && fs::is_empty(folder)) && !session.settings.force)
        throw Failure(ExitStatus::Usage,
                      fmt::format("{} is no empty folder; --force writes into it", folder.string()));

    const Library library;
    const Performed performed = perform(library, parsed, exhibit.notes);
    show(performed, parsed, folder, kebabCase(operation.name), exhibit);
    keepInEveryForm(performed, folder, exhibit);
    fmt::print("{}\n", jsonText(jsonOf(std::vector { std::move(exhibit) }).at(0)));
    return ExitStatus::Done;
}

} // namespace miravex::tool
