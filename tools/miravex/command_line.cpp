#include "tools/miravex/command_line.h"

#include "catalog/catalog.h"
#include "host/json_text.h"
#include "tools/miravex/commands.h"
#include "tools/miravex/interrupt.h"
#include "tools/miravex/load.h"
#include "tools/miravex/text.h"

#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <new>
#include <utility>

namespace miravex::tool {

namespace {

constexpr std::array allCommands {
    Command { "list", "list [--json]", "all operations, by room" },
    Command { "help", "help [OPERATION]", "arguments, ranges, defaults, result and limits of an operation" },
    Command { "run", "[run] OPERATION PICTURES... [OPTIONS] [-o FILE]",
              "one operation; the word run may be left out" },
    Command { "batch", "batch OPERATION PICTURES... -o FOLDER [OPTIONS]",
              "one operation on each of many pictures" },
    Command { "load", "load FILES... -o batch.npy [OPTIONS]", "many pictures into one array" },
    Command { "explore", "explore [PICTURES...]", "a local web page on which to try every operation" },
    Command { "gallery", "gallery FOLDER [OPERATIONS...]",
              "every operation on real pictures, as a web page" },
    Command { "exhibit", "exhibit FOLDER OPERATION PICTURES... [OPTIONS]",
              "one operation's figures and result in a folder, told as JSON" },
    Command { "samples", "samples FOLDER [NAMES...]", "the sample pictures of the examples, as files" },
    Command { "doctor", "doctor [--json]", "what is installed and whether it fits together" },
    Command { "schema", "schema [OPERATION]", "the catalogue as JSON" },
    Command { "completion", "completion bash|zsh|fish", "completion of the command line for a shell" },
    Command { "man", "man", "the manual page" },
};

/// Settings that OpenCV reads once, when it is first used.
void prepareOpenCv()
{
    setenv("OPENCV_IO_ENABLE_OPENEXR", "1", 0);
    // Reasons for failures reach the user through our own messages.
    if (!std::getenv("OPENCV_LOG_LEVEL"))
        cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    if (!std::getenv("OPENCV_FFMPEG_LOGLEVEL")) setenv("OPENCV_FFMPEG_LOGLEVEL", "-8", 0);
}

void tellFailure(const Failure& failure, bool asJson)
{
    if (!asJson) {
        fmt::print(stderr, "miravex: {}\n", failure.what());
        return;
    }
    nlohmann::ordered_json json { { "error", failure.what() },
                                  { "status", static_cast<int>(failure.status()) } };
    for (const Refusal& refusal : failure.refusals())
        json["refusals"].push_back({ { "argument", refusal.argument },
                                     { "value", refusal.value },
                                     { "expected", refusal.expected },
                                     { "suggestion", refusal.suggestion } });
    fmt::print(stderr, "{}\n", jsonText(json));
}

void printOverview()
{
    fmt::print(
        "Miravex: image operations for computer-algebra kernels, from the command line.\n\n"
        "Usage: miravex COMMAND ...  or  miravex OPERATION PICTURES... [OPTIONS] [-o FILE]\n\nCommands:\n");
    for (const Command& command : allCommands) fmt::print("  {:<12}{}\n", command.name, command.summary);
    fmt::print("\nEverywhere: --json, --threads N, --force (overwrite), --quiet, --help, --version\n\n"
               "  miravex list\n  miravex help median-filter\n"
               "  miravex median-filter photo.jpg --radius 3 -o smooth.png\n"
               "  miravex fast photo.jpg --overlay corners.png\n");
}

bool isCommand(const std::string& word)
{
    return word == "--help" || std::ranges::find(allCommands, word, &Command::name) != allCommands.end();
}

[[noreturn]] void refuseUnknown(const std::string& word)
{
    std::vector<std::string> known;
    known.reserve(allCommands.size() + catalog().size());
    for (const Command& command : allCommands) known.emplace_back(command.name);
    for (const Operation* operation : catalog()) known.push_back(kebabCase(operation->name));
    const auto near = closest(word, known);
    throw Failure(ExitStatus::Usage,
                  fmt::format("\"{}\" is no command and no operation{}", word,
                              near.empty() ? "; miravex list shows all operations"
                                           : fmt::format("; did you mean {}?", fmt::join(near, " or "))));
}

/// Puts "run" before an operation's name.
void insertRun(std::vector<std::string>& words)
{
    const auto word = firstPlainWord(words);
    if (word == words.end() || isCommand(*word)) return;
    if (!findOperation(*word)) refuseUnknown(*word);
    words.insert(word, "run");
}

/// The commands and their options, and which of them was chosen.
class CommandLine {
public:
    CommandLine()
        : app_("", "miravex")
    {
        app_.set_help_flag();
        app_.add_flag("-h,--help", help_);
        app_.add_flag("--version", version_);
        app_.fallthrough();
        addSettings(app_, session_.settings);
        app_.add_subcommand("list")->callback([this] { status_ = listOperations(session_); });
        addHelp();
        addCall("run", [this](auto words) { return runOperation(session_, words); });
        addCall("batch", [this](auto words) { return runBatch(session_, words); });
        addGallery();
        addCall("exhibit", [this](auto words) { return exhibitCall(session_, words); });
        addCall("explore", [](auto words) { return explore(words); });
        addSamples();
        app_.add_subcommand("doctor")->callback([this] { status_ = runDoctor(session_); });
        auto* schema = add("schema", [this] { return printSchema(name_); });
        schema->add_option("operation", name_);
        auto* completion = add("completion", [this] { return printCompletion(name_); });
        completion->add_option("shell", name_);
        add("man", [] { return printManual(); });
        addLoad();
    }

    int run(std::vector<std::string> words)
    {
        insertRun(words);
        std::vector<std::string> known { "--json", "--force", "--quiet", "--threads", "--help", "--version" };
        for (const std::string& name : loadOptionNames()) known.push_back(name);
        parseWords(app_, words, known);
        if (version_) {
            fmt::print("miravex {} (host interface {}, OpenCV {})\n", MIRAVEX_VERSION,
                       MIRAVEX_INTERFACE_VERSION, cv::getVersionString());
            return 0;
        }
        if (help_ || app_.get_subcommands().empty()) printOverview();
        return static_cast<int>(status_);
    }

    [[nodiscard]] bool wantsJson() const { return session_.settings.json; }

private:
    CLI::App* add(const std::string& name, std::function<ExitStatus()> command)
    {
        auto* added = app_.add_subcommand(name);
        added->set_help_flag();
        added->callback([this, command] {
            if (!help_) status_ = command();
        });
        return added;
    }

    void addHelp()
    {
        auto* help = add("help", [this] {
            if (!name_.empty()) return helpOn(session_, name_);
            printOverview();
            return ExitStatus::Done;
        });
        help->add_option("operation", name_);
    }

    /// A command whose words are those of an operation.
    void addCall(const std::string& name, std::function<ExitStatus(std::vector<std::string>)> command)
    {
        auto* added = app_.add_subcommand(name)->prefix_command()->fallthrough(false);
        added->set_help_flag();
        added->callback([this, added, command] {
            applyThreads(session_.settings);
            status_ = command(added->remaining());
        });
    }

    void addGallery()
    {
        auto* gallery = add("gallery", [this] {
            applyThreads(session_.settings);
            return makeGallery(session_, galleryOptions_);
        });
        gallery->add_option("folder", galleryOptions_.folder);
        gallery->add_option("operations", galleryOptions_.operations);
    }

    void addSamples()
    {
        auto* samples = add("samples", [this] { return makeSamples(session_, samplesOptions_); });
        samples->add_option("folder", samplesOptions_.folder);
        samples->add_option("names", samplesOptions_.names);
    }

    void addLoad()
    {
        auto* load = app_.add_subcommand("load");
        load->set_help_flag();
        addLoadOptions(*load, loadOptions_);
        load->callback([this] {
            if (std::exchange(help_, false)) return printLoadHelp();
            applyThreads(session_.settings);
            status_ = runLoad(session_, loadOptions_);
        });
    }

    CLI::App app_;
    Session session_;
    std::string name_;
    GalleryOptions galleryOptions_;
    SamplesOptions samplesOptions_;
    LoadOptions loadOptions_;
    ExitStatus status_ = ExitStatus::Done;
    bool help_ = false;
    bool version_ = false;
};

} // namespace

std::span<const Command> commands() { return allCommands; }

std::vector<std::string>::iterator firstPlainWord(std::vector<std::string>& words)
{
    auto word = words.begin();
    while (word != words.end() && word->starts_with("-")) {
        if (*word == "--threads" && word + 1 != words.end()) ++word;
        ++word;
    }
    return word;
}

void Session::tell(const Notes& notes) const
{
    if (settings.quiet || settings.json) return;
    for (const std::string& note : notes) fmt::print(stderr, "miravex: {}\n", note);
}

void applyThreads(const Settings& settings)
{
    if (settings.threads >= 0) cv::setNumThreads(settings.threads);
}

const Operation& operationNamed(const std::string& name)
{
    const Operation* found = findOperation(name);
    if (found) return *found;
    std::vector<std::string> known;
    for (const Operation* operation : catalog()) known.push_back(kebabCase(operation->name));
    const auto near = closest(name, known);
    throw Failure(ExitStatus::Usage,
                  fmt::format("unknown operation \"{}\"{}", name,
                              near.empty() ? "; miravex list shows all"
                                           : fmt::format("; did you mean {}?", fmt::join(near, " or "))));
}

int runTool(int argc, const char* const* argv)
{
    prepareOpenCv();
    exitOnInterrupt();
    const std::vector<std::string> words(argv + 1, argv + argc);
    const bool asJson = std::ranges::find(words, "--json") != words.end();
    const auto fail = [&](const Failure& failure) {
        tellFailure(failure, asJson);
        return static_cast<int>(failure.status());
    };
    try {
        CommandLine commandLine;
        return commandLine.run(words);
    } catch (const Failure& failure) {
        return fail(failure);
    } catch (const files::Error& error) {
        return fail(Failure(error));
    } catch (const std::bad_alloc&) {
        return fail({ ExitStatus::OperationFailed, "there is not enough memory" });
    } catch (const std::exception& error) {
        return fail({ ExitStatus::OperationFailed, error.what() });
    }
}

} // namespace miravex::tool
