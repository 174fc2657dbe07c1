#include "catalog/catalog.h"
#include "files/files.h"
#include "files/pictures.h"
#include "files/tensors.h"
#include "host/arguments.h"
#include "host/json_text.h"
#include "tools/miravex/commands.h"
#include "tools/miravex/perform.h"
#include "tools/miravex/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <cstdio>

namespace miravex::tool {

namespace {

/// The extension that decides the form of the result, with its dot.
std::string extensionFor(const ParsedCall& words, const Result& result)
{
    if (!words.format.empty()) return words.extension();
    if (words.output == files::standardStream || words.output.empty())
        return result.kind == ResultKind::Sequence ? ".tiff" : isPicture(result.kind) ? ".png" : ".json";
    return files::extensionOf(words.output);
}

std::string undrawable(const ParsedCall& words, const Result& result)
{
    std::string text =
        fmt::format("the result of {} can't be drawn with --overlay", kebabCase(words.operation->name));
    if (result.layout != Layout::Matches) return text;
    return text
        + " alone; it needs --query-picture, --train-picture, --query-keypoints and --train-keypoints too";
}

/// Everything about the outputs that can be known to be wrong before the work starts.
void checkOutputs(const ParsedCall& words, const Result& result, const std::string& extension,
                  const Settings& settings)
{
    const std::string operation = kebabCase(words.operation->name);
    if (isPicture(result.kind)) {
        if (words.output.empty())
            throw Failure(ExitStatus::Usage,
                          fmt::format("the result of {} is a picture: name a file with -o FILE (or -o - for "
                                      "standard output)",
                                      operation));
        if (words.output == files::standardStream && isatty(STDOUT_FILENO) != 0)
            throw Failure(ExitStatus::Usage, "a picture is not for the terminal: redirect standard output");
        files::refuseExtension(extension, result.kind == ResultKind::Sequence);
    } else if (!files::isNumbersExtension(extension)) {
        throw Failure(
            ExitStatus::Usage,
            fmt::format("the result of {} is numbers, expected .json, .csv or .npy instead of \"{}\"; "
                        "--overlay draws a picture",
                        operation, extension));
    }
    if (!words.overlay.empty() && (isPicture(result.kind) || !isDrawable(words, result.layout)))
        throw Failure(ExitStatus::Usage, undrawable(words, result));
    if (!words.overlay.empty() && words.overlay != files::standardStream
        && !files::isPictureExtension(files::extensionOf(words.overlay)))
        throw Failure(ExitStatus::Usage,
                      fmt::format("cannot write a picture as \"{}\"", files::extensionOf(words.overlay)));
    files::refuseExisting(words.output, settings.force);
    files::refuseExisting(words.overlay, settings.force);
}

nlohmann::ordered_json reportOf(const Performed& performed, const ParsedCall& words)
{
    nlohmann::ordered_json report { { "operation", kebabCase(performed.operation->name) },
                                    { "milliseconds", performed.milliseconds },
                                    { "result", describe(performed.value) },
                                    { "output", words.output } };
    if (!words.overlay.empty()) report["overlay"] = words.overlay;
    return report;
}

void printResult(const Performed& performed)
{
    fmt::print("{}\n", jsonText(jsonOf(*performed.operation, performed.result, performed.value)));
}

} // namespace

ExitStatus runOperation(Session& session, std::vector<std::string> words)
{
    const auto name = firstPlainWord(words);
    if (name == words.end()) throw Failure(ExitStatus::Usage, "which operation? miravex list shows them all");
    const Operation& operation = operationNamed(*name);
    words.erase(name);
    const ParsedCall parsed = parseCall(operation, std::move(words), session.settings);
    if (parsed.help) return helpOn(session, std::string(operation.name));
    applyThreads(session.settings);

    assignFiles(parsed); // too few or too many are told first
    const Result& expected = expectedResult(parsed);
    const std::string extension = extensionFor(parsed, expected);
    checkOutputs(parsed, expected, extension, session.settings);

    const Library library;
    Notes notes;
    const Performed performed = perform(library, parsed, notes);
    const bool printed =
        parsed.output.empty() && parsed.overlay != files::standardStream && parsed.format.empty();
    if (!parsed.overlay.empty())
        writeOverlay(performed, parsed, parsed.overlay, session.settings.force, notes);
    if (printed && (parsed.overlay.empty() || session.settings.json))
        printResult(performed);
    else if (!parsed.output.empty() || !parsed.format.empty())
        writeResult(performed, parsed.output.empty() ? files::standardStream : parsed.output, extension,
                    session.settings.force, notes);
    session.tell(notes);
    if (session.settings.json && !parsed.output.empty() && parsed.output != files::standardStream)
        fmt::print("{}\n", jsonText(reportOf(performed, parsed)));
    return ExitStatus::Done;
}

} // namespace miravex::tool
