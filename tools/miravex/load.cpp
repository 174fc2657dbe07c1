#include "tools/miravex/load.h"

#include "catalog/catalog.h"
#include "files/files.h"
#include "files/mapped_npy.h"
#include "files/pictures.h"
#include "files/unfinished_file.h"
#include "host/batch.h"
#include "host/json_text.h"
#include "tools/miravex/interrupt.h"
#include "tools/miravex/progress.h"
#include "tools/miravex/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <iostream>

namespace miravex::tool {

namespace fs = std::filesystem;

namespace {

struct OptionHelp {
    const char* name;
    const char* value;
    const char* text;
};

constexpr std::array optionHelps {
    OptionHelp { "--output", "FILE", "-o: the .npy file to write, files x channels x height x width floats" },
    OptionHelp { "--size", "WxH", "width and height of every picture; default 224x224" },
    OptionHelp { "--layout", "NAME", "channels-first (default) or channels-last" },
    OptionHelp { "--colour", "NAME", "RGB (default), XYZ, LAB, LUV or Grayscale, which has one channel" },
    OptionHelp { "--mean", "N,...", "subtracted: one number, or one per channel; samples are 0 to 1" },
    OptionHelp { "--std", "N,...", "divided by after that, likewise" },
    OptionHelp {
        "--on-error", "NAME",
        "files that can't be read or are truncated: fill (default) leaves noise, or what there was, in "
        "their places; skip leaves them out; fail stops" },
};

[[noreturn]] void refuse(const std::string& argument, const std::string& value, const std::string& expected,
                         const std::string& suggestion = "")
{
    const Refusal refusal { argument, "\"" + value + "\"", expected, suggestion };
    throw Failure(ExitStatus::Usage, refusal.message(), { refusal });
}

template <typename Number> bool parse(std::string_view word, Number& number)
{
    const char* end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, number);
    return error == std::errc() && stop == end && !word.empty();
}

void readSize(const std::string& word, BatchOptions& options)
{
    const std::size_t x = word.find('x');
    const bool fits = x != std::string::npos && parse(std::string_view(word).substr(0, x), options.width)
        && parse(std::string_view(word).substr(x + 1), options.height);
    if (!fits) refuse("size", word, "width x height", "224x224");
}

std::vector<float> readNumbers(const std::string& name, const std::string& word)
{
    std::vector<float> numbers;
    for (std::size_t at = 0; !word.empty() && at <= word.size();) {
        const std::size_t end = std::min(word.find(',', at), word.size());
        float number = 0;
        if (!parse(std::string_view(word).substr(at, end - at), number))
            refuse(name, word, "numbers with commas between them", "0.485,0.456,0.406");
        numbers.push_back(number);
        at = end + 1;
    }
    return numbers;
}

/// The value that stands for a word, among a few.
template <typename Value, std::size_t count>
Value chosen(const std::string& argument, const std::string& word,
             const std::array<std::pair<const char*, Value>, count>& choices)
{
    std::vector<std::string> names;
    for (const auto& [name, value] : choices) {
        if (word == name) return value;
        names.emplace_back(name);
    }
    const auto near = closest(word, names);
    refuse(argument, word, fmt::format("one of {}", fmt::join(names, ", ")),
           near.empty() ? "" : near.front());
}

BatchOptions readOptions(const LoadOptions& words)
{
    BatchOptions options;
    readSize(words.size, options);
    options.channelsLast = chosen<bool, 2>("layout", words.layout,
                                           { { { "channels-first", false }, { "channels-last", true } } });
    options.onError = chosen<OnError, 3>(
        "on-error", words.onError,
        { { { "fill", OnError::Fill }, { "skip", OnError::Skip }, { "fail", OnError::Fail } } });
    options.colorSpace = words.colour;
    options.mean = readNumbers("mean", words.mean);
    options.deviation = readNumbers("std", words.deviation);
    const auto refusals = check(options);
    if (!refusals.empty()) throw Failure(ExitStatus::Usage, refusals.front().message(), refusals);
    return options;
}

// --- the list of files ----------------------------------------------------------------------------------

bool isList(const std::string& word)
{
    const std::string extension = files::extensionOf(word);
    return word == files::standardStream || extension == ".txt" || extension == ".list";
}

/// A path per line; empty lines and what follows # at their start are passed over.
void addLines(std::istream& lines, std::vector<std::string>& files)
{
    for (std::string line; std::getline(lines, line);) {
        if (line.ends_with('\r')) line.pop_back();
        if (!line.empty() && line.front() != '#') files.push_back(line);
    }
}

void addList(const std::string& word, std::vector<std::string>& files)
{
    if (word == files::standardStream) return addLines(std::cin, files);
    std::ifstream list(word);
    if (!list || fs::is_directory(word))
        throw Failure(ExitStatus::InputUnreadable, fmt::format("cannot read the list {}", word));
    addLines(list, files);
}

/// The pictures in a folder and the folders in it, in order of their paths.
void addFolder(const std::string& word, std::vector<std::string>& files)
{
    std::vector<std::string> inside;
    constexpr auto skipping = fs::directory_options::skip_permission_denied;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(word, skipping)) {
        const std::string extension = files::extensionOf(entry.path());
        if (entry.is_regular_file() && files::isPictureExtension(extension) && extension != ".avi")
            inside.push_back(entry.path().string());
    }
    if (inside.empty())
        throw Failure(ExitStatus::InputUnreadable,
                      fmt::format("there are no pictures in the folder {}", word));
    std::ranges::sort(inside);
    files.insert(files.end(), inside.begin(), inside.end());
}

std::vector<std::string> expanded(const std::vector<std::string>& inputs)
{
    std::vector<std::string> files;
    for (const std::string& word : inputs) {
        if (fs::is_directory(word))
            addFolder(word, files);
        else if (isList(word))
            addList(word, files);
        else
            files.push_back(word);
    }
    if (files.empty()) throw Failure(ExitStatus::InputUnreadable, "there are no pictures to load");
    return files;
}

// --- the report -----------------------------------------------------------------------------------------

struct Summary {
    BatchReport report;
    std::vector<int64_t> shape;
    std::string output; ///< empty when nothing was written
    ExitStatus status = ExitStatus::Done;
};

ExitStatus statusOf(const BatchReport& report, bool interrupted, OnError onError)
{
    if (interrupted) return ExitStatus::Interrupted;
    if (report.failed.empty()) return ExitStatus::Done;
    const auto unread = std::ranges::count_if(
        report.failed, [](const FailedFile& file) { return file.state != FileState::Truncated; });
    return onError == OnError::Fail || unread == report.files ? ExitStatus::InputUnreadable
                                                              : ExitStatus::BatchPartlyFailed;
}

double rate(const BatchReport& report)
{
    return report.seconds > 0 ? static_cast<double>(report.files) / report.seconds : 0;
}

nlohmann::ordered_json jsonOf(const Summary& summary)
{
    const BatchReport& report = summary.report;
    nlohmann::ordered_json json {
        { "files", report.files },     { "slots", report.slots },
        { "shape", summary.shape },    { "failed", nlohmann::ordered_json::array() },
        { "seconds", report.seconds }, { "files_per_second", rate(report) }
    };
    if (!summary.output.empty()) json["output"] = summary.output;
    for (const FailedFile& file : report.failed)
        json["failed"].push_back(
            { { "position", file.position }, { "file", file.path }, { "reason", file.reason() } });
    if (summary.status == ExitStatus::Interrupted) json["interrupted"] = true;
    json["status"] = static_cast<int>(summary.status);
    return json;
}

void tell(const Summary& summary, const Settings& settings)
{
    const BatchReport& report = summary.report;
    if (settings.json) {
        fmt::print("{}\n", jsonText(jsonOf(summary)));
        return;
    }
    for (const FailedFile& file : report.failed)
        fmt::print(stderr, "miravex: {}: {} (position {})\n", file.path, file.reason(), file.position);
    if (settings.quiet && report.failed.empty()) return;
    fmt::print(stderr, "miravex: {} files in {:.2f} s, {:.0f} a second, {} failed; {}\n", report.files,
               report.seconds, rate(report), report.failed.size(),
               summary.output.empty()
                   ? "nothing was written"
                   : fmt::format("{} floats are in {}", fmt::join(summary.shape, " x "), summary.output));
}

Summary load(const std::vector<std::string>& files, const BatchOptions& options, const std::string& output)
{
    const Library library;
    files::MappedNpy array(output, options.shape(static_cast<int64_t>(files.size())));
    const files::UnfinishedFile unfinished(array.unfinishedPath());
    const PoliteInterrupt interrupt;
    Progress progress("load", static_cast<int64_t>(files.size()));
    Summary summary;
    summary.report = loadBatch(
        library, files, options, array.data(),
        [&](const BatchProgress& now) {
            progress.reach(now.done, now.files);
            return !interrupt.requested();
        },
        [&](int64_t first, int64_t count) {
            array.settle(first * options.samples(), count * options.samples());
        });
    summary.shape = options.shape(summary.report.slots);
    summary.status = statusOf(summary.report, interrupt.requested(), options.onError);
    const bool wanted = summary.status == ExitStatus::Done || summary.status == ExitStatus::BatchPartlyFailed;
    if (!wanted) return summary;
    array.finish(summary.report.slots);
    summary.output = output;
    return summary;
}

} // namespace

void addLoadOptions(CLI::App& load, LoadOptions& words)
{
    load.add_option("inputs", words.inputs);
    load.add_option("-o,--output", words.output);
    load.add_option("--size", words.size);
    load.add_option("--layout", words.layout);
    load.add_option("--colour,--color", words.colour);
    load.add_option("--mean", words.mean);
    load.add_option("--std", words.deviation);
    load.add_option("--on-error", words.onError);
}

std::vector<std::string> loadOptionNames()
{
    std::vector<std::string> names;
    for (const OptionHelp& option : optionHelps) names.emplace_back(option.name);
    return names;
}

void printLoadHelp()
{
    fmt::print(
        "Usage: miravex load FILES... -o batch.npy [OPTIONS]\n\n"
        "Loads pictures, of files, folders and lists (.txt, .list or - for standard input, a path per "
        "line),\n"
        "into one array of 32-bit floats: resized, scaled to 0..1, less the mean, over the deviation.\n\n");
    for (const OptionHelp& option : optionHelps)
        printEntry(fmt::format("{} {}", option.name, option.value), option.text);
    fmt::print(
        "\n  miravex load photos/ -o batch.npy --size 224x224 --mean 0.485,0.456,0.406 --std "
        "0.229,0.224,0.225\n\nExit status: 0 all loaded, 4 some files failed, 3 none could be read (or, with "
        "--on-error fail,\none of them), 2 usage. With --json the report is JSON on standard output.\n");
}

ExitStatus runLoad(const Session& session, const LoadOptions& words)
{
    const BatchOptions batch = readOptions(words);
    if (words.inputs.empty())
        throw Failure(ExitStatus::Usage, "usage: miravex load FILES... -o batch.npy [OPTIONS]");
    if (files::extensionOf(words.output) != ".npy")
        refuse("output", words.output, "a file that ends in .npy, given with -o", "batch.npy");
    files::refuseExisting(words.output, session.settings.force);
    const Summary summary = load(expanded(words.inputs), batch, words.output);
    tell(summary, session.settings);
    return summary.status;
}

} // namespace miravex::tool
