#include "catalog/catalog.h"
#include "files/files.h"
#include "host/json_text.h"
#include "tools/gallery/exhibit.h"
#include "tools/gallery/gallery_page.h"
#include "tools/gallery/samples.h"
#include "tools/miravex/commands.h"
#include "tools/miravex/perform.h"
#include "tools/miravex/progress.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstdlib>

namespace miravex::tool {

namespace fs = std::filesystem;

namespace {

/// Words of an example as they stand in the record.
std::vector<std::string> wordsOf(const Example& example)
{
    return { example.words.begin(), example.words.end() };
}

/// For records without an example: the defaults on pictures that the record accepts.
std::vector<std::string> usualWords(const Operation& operation)
{
    std::vector<std::string> words;
    for (const Argument& argument : operation.arguments) {
        if (!isPositional(argument)) continue;
        const bool colorful =
            argument.image.acceptsChannels(3) && argument.image.acceptsColorSpace(ColorSpaceRGB);
        words.emplace_back(argument.image.rank == 3 ? "@noisy_sequence" : colorful ? "@photo" : "@gray");
    }
    return words;
}

/// Quick calls are made twice: the first call of all starts OpenCV's threads.
Performed performWarm(const Library& library, const ParsedCall& parsed, Notes& notes)
{
    constexpr double quick = 250;
    Performed performed = perform(library, parsed, notes);
    if (performed.milliseconds > quick) return performed;
    Notes repeated;
    performed.milliseconds =
        std::min(performed.milliseconds, perform(library, parsed, repeated).milliseconds);
    return performed;
}

void runExample(const Library& library, const fs::path& folder, Samples& samples,
                const std::vector<std::string>& words, const std::string& stem, Exhibit& exhibit)
{
    exhibit.command = fmt::format("miravex {} {}", kebabCase(exhibit.operation->name), fmt::join(words, " "));
    try {
        Settings settings;
        const ParsedCall parsed = parseCall(*exhibit.operation, samples.replaced(words), settings);
        const Performed performed = performWarm(library, parsed, exhibit.notes);
        show(performed, parsed, folder, stem, exhibit);
        // A page that must come out the same each time, as in a package, tells no times.
        if (std::getenv("SOURCE_DATE_EPOCH")) exhibit.milliseconds.reset();
        if (exhibit.table) keepResult(performed, folder, stem, { ".npy" }, exhibit);
    } catch (const MissingSample& missing) {
        exhibit.skipped = missing.what();
    } catch (const std::exception& error) {
        exhibit.failed = error.what();
    }
}

std::vector<const Operation*> chosen(const std::vector<std::string>& names)
{
    if (names.empty()) return catalog();
    std::vector<const Operation*> operations;
    for (const std::string& name : names) operations.push_back(&operationNamed(name));
    return operations;
}

void checkFolder(const fs::path& folder, bool force)
{
    if (folder.empty()) throw Failure(ExitStatus::Usage, "usage: miravex gallery FOLDER [OPERATIONS...]");
    if (fs::exists(folder) && !fs::is_directory(folder))
        throw Failure(ExitStatus::Usage, fmt::format("{} is no folder", folder.string()));
    const bool foreign = fs::exists(folder) && !fs::is_empty(folder) && !fs::exists(folder / "gallery.json");
    if (foreign && !force)
        throw Failure(
            ExitStatus::Usage,
            fmt::format("{} holds something else than a gallery; --force adds one", folder.string()));
}

std::vector<Exhibit> exhibitsOf(const Operation& operation, const Library& library, const fs::path& folder,
                                Samples& samples)
{
    const std::string name = kebabCase(operation.name);
    std::vector<Exhibit> exhibits;
    for (const Example& example : operation.examples) {
        Exhibit exhibit { .operation = &operation, .title = std::string(example.title) };
        runExample(library, folder, samples, wordsOf(example),
                   fmt::format("{}-{}", name, exhibits.size() + 1), exhibit);
        exhibits.push_back(std::move(exhibit));
    }
    if (!exhibits.empty()) return exhibits;
    Exhibit exhibit { .operation = &operation };
    runExample(library, folder, samples, usualWords(operation), name, exhibit);
    return { exhibit };
}

} // namespace

ExitStatus makeGallery(const Session& session, const GalleryOptions& options)
{
    const fs::path folder = options.folder;
    checkFolder(folder, session.settings.force);
    const std::vector<const Operation*> operations = chosen(options.operations);
    const Library library;
    fs::create_directories(folder);
    Samples samples(folder / "samples", runnerOf(library));
    std::vector<Exhibit> exhibits;
    Progress progress("gallery", static_cast<int64_t>(operations.size()));
    for (const Operation* operation : operations) {
        for (Exhibit& exhibit : exhibitsOf(*operation, library, folder, samples))
            exhibits.push_back(std::move(exhibit));
        progress.advance();
    }
    files::writeWhole(folder / "gallery.json", jsonText(jsonOf(exhibits), 2) + "\n");
    files::writeWhole(folder / "index.html", pageOf(exhibits));

    const auto failed = std::ranges::count_if(exhibits, [](const Exhibit& e) { return !e.failed.empty(); });
    const auto skipped = std::ranges::count_if(exhibits, [](const Exhibit& e) { return !e.skipped.empty(); });
    for (const Exhibit& exhibit : exhibits)
        if (!exhibit.failed.empty()) fmt::print(stderr, "miravex: {}: {}\n", exhibit.command, exhibit.failed);
    if (session.settings.json)
        fmt::print("{}\n", jsonText(jsonOf(exhibits)));
    else
        fmt::print("{}: {} examples of {} operations, {} failed, {} skipped\n",
                   (folder / "index.html").string(), exhibits.size(), operations.size(), failed, skipped);
    return failed > 0 ? ExitStatus::OperationFailed : ExitStatus::Done;
}

} // namespace miravex::tool
