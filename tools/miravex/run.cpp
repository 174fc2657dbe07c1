#include "catalog/catalog.h"
#include "files/files.h"
#include "files/pictures.h"
#include "files/tensors.h"
#include "host/arguments.h"
#include "host/json_text.h"
#include "tools/miravex/call.h"
#include "tools/miravex/commands.h"
#include "tools/miravex/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <cstdio>

namespace miravex::cli {

namespace {

/// The extension that decides the form of the result, with its dot.
std::string extensionFor(const CallWords& words, const Result& result)
{
    if (!words.format.empty()) return words.extension();
    if (words.output == standardStream || words.output.empty())
        return result.kind == ResultKind::Sequence ? ".tiff" : isPicture(result.kind) ? ".png" : ".json";
    return extensionOf(words.output);
}

std::string undrawable(const CallWords& words, const Result& result)
{
    std::string text =
        fmt::format("the result of {} can't be drawn with --overlay", kebabCase(words.operation->name));
    if (result.layout != Layout::Matches) return text;
    return text
        + " alone; it needs --query-picture, --train-picture, --query-keypoints and --train-keypoints too";
}

/// Everything about the outputs that can be known to be wrong before the work starts.
void checkOutputs(const CallWords& words, const Result& result, const std::string& extension,
                  const Settings& settings)
{
    const std::string operation = kebabCase(words.operation->name);
    if (isPicture(result.kind)) {
        if (words.output.empty())
            throw Failure(ExitStatus::Usage,
                          fmt::format("the result of {} is a picture: name a file with -o FILE (or -o - for "
                                      "standard output)",
                                      operation));
        if (words.output == standardStream && isatty(STDOUT_FILENO) != 0)
            throw Failure(ExitStatus::Usage, "a picture is not for the terminal: redirect standard output");
        refuseExtension(extension, result.kind == ResultKind::Sequence);
    } else if (!isNumbersExtension(extension)) {
        throw Failure(
            ExitStatus::Usage,
            fmt::format("the result of {} is numbers, expected .json, .csv or .npy instead of \"{}\"; "
                        "--overlay draws a picture",
                        operation, extension));
    }
    if (!words.overlay.empty() && (isPicture(result.kind) || !isDrawable(words, result.layout)))
        throw Failure(ExitStatus::Usage, undrawable(words, result));
    if (!words.overlay.empty() && words.overlay != standardStream
        && !isPictureExtension(extensionOf(words.overlay)))
        throw Failure(ExitStatus::Usage,
                      fmt::format("cannot write a picture as \"{}\"", extensionOf(words.overlay)));
    refuseExisting(words.output, settings.force);
    refuseExisting(words.overlay, settings.force);
}

nlohmann::ordered_json reportOf(const Performed& performed, const CallWords& words)
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
    const CallWords call = parseCall(operation, std::move(words), session.settings);
    if (call.help) return helpOn(session, std::string(operation.name));
    applyThreads(session.settings);

    assignFiles(call); // too few or too many are told first
    const Result& expected = expectedResult(call);
    const std::string extension = extensionFor(call, expected);
    checkOutputs(call, expected, extension, session.settings);

    const Library library;
    Notes notes;
    const Performed performed = perform(library, call, notes);
    const bool printed = call.output.empty() && call.overlay != standardStream && call.format.empty();
    if (!call.overlay.empty()) writeOverlay(performed, call, call.overlay, session.settings.force, notes);
    if (printed && (call.overlay.empty() || session.settings.json))
        printResult(performed);
    else if (!call.output.empty() || !call.format.empty())
        writeResult(performed, call.output.empty() ? standardStream : call.output, extension,
                    session.settings.force, notes);
    session.tell(notes);
    if (session.settings.json && !call.output.empty() && call.output != standardStream)
        fmt::print("{}\n", jsonText(reportOf(performed, call)));
    return ExitStatus::Done;
}

} // namespace miravex::cli
