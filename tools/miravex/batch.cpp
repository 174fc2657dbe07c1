#include "catalog/catalog.h"
#include "draw/draw.h"
#include "files/files.h"
#include "files/pictures.h"
#include "files/tensors.h"
#include "host/json_text.h"
#include "tools/miravex/commands.h"
#include "tools/miravex/interrupt.h"
#include "tools/miravex/perform.h"
#include "tools/miravex/progress.h"
#include "tools/miravex/text.h"

#include <opencv2/core/utility.hpp>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <tbb/global_control.h>
#include <tbb/parallel_pipeline.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <optional>
#include <set>

namespace miravex::tool {

namespace fs = std::filesystem;

namespace {

/// One file of a batch and where its result goes.
struct Task {
    std::string input;
    std::string output;
    std::string overlay; ///< empty unless overlays are wanted
};

struct Report {
    std::vector<Task> done;
    std::vector<std::pair<std::string, std::string>> failed; ///< file and reason
    bool interrupted = false;
};

/// Folders stand for the pictures in them, in order of their names.
std::vector<std::string> expanded(const std::vector<std::string>& words)
{
    std::vector<std::string> files;
    for (const std::string& word : words) {
        if (!fs::is_directory(word)) {
            files.push_back(word);
            continue;
        }
        std::vector<std::string> inside;
        for (const fs::directory_entry& entry : fs::directory_iterator(word))
            if (entry.is_regular_file() && files::isPictureExtension(files::extensionOf(entry.path())))
                inside.push_back(entry.path().string());
        std::ranges::sort(inside);
        files.insert(files.end(), inside.begin(), inside.end());
    }
    return files;
}

/// The form of one result: as asked; else pictures keep their format where it can hold the result.
std::string extensionFor(const ParsedCall& words, const Result& result, const std::string& input)
{
    if (!words.format.empty()) return words.extension();
    if (!isPicture(result.kind)) return ".json";
    if (result.kind == ResultKind::Sequence) return ".tiff";
    const std::string extension = files::extensionOf(input);
    return files::isPictureExtension(extension) && extension != ".avi" ? extension : ".png";
}

/// "photo.png", or "photo-2.png" where another file of the batch has that name already.
std::string uniqueName(const std::string& stem, const std::string& extension, std::set<std::string>& taken)
{
    std::string name = stem + extension;
    for (int i = 2; !taken.insert(name).second; ++i) name = fmt::format("{}-{}{}", stem, i, extension);
    return name;
}

std::vector<Task> tasksOf(const ParsedCall& words, const Result& result)
{
    const bool drawn = !words.overlay.empty();
    std::set<std::string> taken;
    std::vector<Task> tasks;
    for (const std::string& input : expanded(words.files)) {
        const std::string stem = fs::path(input).stem().string();
        Task task { input, "", "" };
        task.output =
            (fs::path(words.output) / uniqueName(stem, extensionFor(words, result, input), taken)).string();
        if (drawn)
            task.overlay = (fs::path(words.output) / uniqueName(stem + "-overlay", ".png", taken)).string();
        tasks.push_back(std::move(task));
    }
    return tasks;
}

void checkBatch(const ParsedCall& words, const Result& result, const std::vector<Task>& tasks, bool force)
{
    const std::string operation = kebabCase(words.operation->name);
    if (words.output.empty() || words.output == files::standardStream)
        throw Failure(ExitStatus::Usage, "a batch needs a folder for its results: -o FOLDER");
    if (tasks.empty()) throw Failure(ExitStatus::Usage, "a batch needs pictures, or folders that hold some");
    if (!words.overlay.empty() && (isPicture(result.kind) || !canDraw(result.layout)))
        throw Failure(ExitStatus::Usage,
                      fmt::format("the result of {} can't be drawn with --overlay", operation));
    for (const Task& task : tasks) {
        const std::string extension = files::extensionOf(task.output);
        if (isPicture(result.kind) ? !files::isPictureExtension(extension)
                                   : !files::isNumbersExtension(extension))
            throw Failure(ExitStatus::Usage,
                          fmt::format("cannot write the result of {} as \"{}\"", operation, extension));
        if (!force && fs::exists(task.output))
            throw Failure(ExitStatus::Usage,
                          fmt::format("{} exists already; --force overwrites it", task.output));
    }
}

void performTask(const Library& library, ParsedCall words, const Task& task, const Session& session)
try {
    words.files = { task.input };
    Notes notes;
    const Performed performed = perform(library, words, notes);
    writeResult(performed, task.output, files::extensionOf(task.output), session.settings.force, notes);
    if (!task.overlay.empty()) writeOverlay(performed, words, task.overlay, session.settings.force, notes);
} catch (const files::Error& error) {
    throw Failure(error);
}

/// True when a picture is to blame for a refusal, so that another one may pass.
bool concernsPicture(const Operation& operation, const Failure& failure)
{
    return std::ranges::any_of(failure.refusals(), [&](const Refusal& refusal) {
        const int index = argumentIndex(operation, refusal.argument);
        return index >= 0 && operation.arguments[static_cast<std::size_t>(index)].kind == Kind::Image;
    });
}

/// A task that has come to its end, one way or the other.
struct Ended {
    const Task* task;
    std::optional<Failure> failure;
    bool skipped = false; ///< not begun, because the user had enough
};

Ended ended(const Library& library, const ParsedCall& words, const Task& task, const Session& session)
try {
    performTask(library, words, task, session);
    return { &task, std::nullopt };
} catch (const Failure& failure) {
    return { &task, failure };
}

/// OpenCV's pool at one thread, as long as this exists.
class SingleThreads {
public:
    SingleThreads() { cv::setNumThreads(1); }
    ~SingleThreads() { cv::setNumThreads(threads_); }
    SingleThreads(const SingleThreads&) = delete;
    SingleThreads& operator=(const SingleThreads&) = delete;

private:
    int threads_ = cv::getNumThreads();
};

/// Files are done side by side, each from reading to writing on one of as many threads as OpenCV would use;
/// no more of them than that are in memory. With at least a file for every thread, OpenCV itself uses no
/// further ones; results do not depend on it. What is reported keeps the order of the files.
class BatchRun {
public:
    BatchRun(const ParsedCall& words, std::vector<Task> tasks, const Session& session)
        : words_(words)
        , tasks_(std::move(tasks))
        , session_(session)
        , progress_(kebabCase(words.operation->name), static_cast<int64_t>(tasks_.size()))
    {
    }

    Report run()
    {
        // Until one is done: what the record refuses in the options, it refuses for every file, and once is
        // enough to say so.
        while (report_.done.empty())
            if (const Task* const task = next())
                finish(ended(library_, words_, *task, session_));
            else
                return report_;
        const std::size_t left = tasks_.size() - begun_;
        const std::size_t threads = static_cast<std::size_t>(std::max(cv::getNumThreads(), 1));
        std::optional<SingleThreads> single;
        if (left >= threads) single.emplace();
        // As many threads as asked for, even beyond the cores; OpenCV takes its own from among them.
        const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
        if (left > 0) runSideBySide(std::min(left, threads));
        return report_;
    }

private:
    void runSideBySide(std::size_t workers)
    {
        using tbb::filter_mode;
        tbb::task_arena arena(static_cast<int>(workers));
        const auto begin =
            tbb::make_filter<void, Task*>(filter_mode::serial_in_order, [this](tbb::flow_control& flow) {
                Task* const task = next();
                if (!task) flow.stop();
                return task;
            });
        const auto perform = tbb::make_filter<Task*, Ended>(filter_mode::parallel, [this](Task* task) {
            return interrupt_.requested() ? Ended { task, std::nullopt, true }
                                          : ended(library_, words_, *task, session_);
        });
        const auto end = tbb::make_filter<Ended, void>(filter_mode::serial_in_order,
                                                       [this](const Ended& one) { finish(one); });
        // Some files may be done before one that was begun earlier; no more than `workers` are ever being
        // done.
        constexpr std::size_t waiting = 16;
        arena.execute([&] { tbb::parallel_pipeline(waiting * workers, begin & perform & end); });
    }

    /// The next task, or null when there is none left or the user has had enough.
    Task* next()
    {
        if (begun_ == tasks_.size()) return nullptr;
        report_.interrupted = interrupt_.requested();
        return report_.interrupted ? nullptr : &tasks_[begun_++];
    }

    void finish(const Ended& one)
    {
        if (one.skipped) {
            report_.interrupted = true;
            return;
        }
        progress_.advance();
        if (!one.failure) return report_.done.push_back(*one.task);
        const bool sameForAll =
            one.failure->status() == ExitStatus::Usage && !concernsPicture(*words_.operation, *one.failure);
        if (sameForAll && report_.done.empty()) throw Failure(*one.failure);
        report_.failed.emplace_back(one.task->input, one.failure->what());
    }

    const ParsedCall& words_;
    std::vector<Task> tasks_;
    const Session& session_;
    const Library library_;
    const PoliteInterrupt interrupt_;
    Progress progress_;
    std::size_t begun_ = 0;
    Report report_;
};

nlohmann::ordered_json jsonOf(const ParsedCall& words, const Report& report)
{
    nlohmann::ordered_json json { { "operation", kebabCase(words.operation->name) },
                                  { "done", nlohmann::ordered_json::array() },
                                  { "failed", nlohmann::ordered_json::array() } };
    for (const Task& task : report.done)
        json["done"].push_back({ { "file", task.input }, { "output", task.output } });
    for (const auto& [file, reason] : report.failed)
        json["failed"].push_back({ { "file", file }, { "error", reason } });
    if (report.interrupted) json["interrupted"] = true;
    return json;
}

void tellReport(const ParsedCall& words, const Report& report, std::size_t total, const Settings& settings)
{
    if (settings.json) {
        fmt::print("{}\n", jsonText(jsonOf(words, report)));
        return;
    }
    for (const auto& [file, reason] : report.failed) fmt::print(stderr, "miravex: {}: {}\n", file, reason);
    if (settings.quiet && report.failed.empty()) return;
    fmt::print(stderr, "miravex: {} of {} done, {} failed; results are in {}\n", report.done.size(), total,
               report.failed.size(), words.output);
}

} // namespace

ExitStatus runBatch(Session& session, std::vector<std::string> words)
{
    const auto name = firstPlainWord(words);
    if (name == words.end())
        throw Failure(
            ExitStatus::Usage,
            "usage: miravex batch OPERATION PICTURES... -o FOLDER [OPTIONS]; the options are those of "
            "the operation");
    const Operation& operation = operationNamed(*name);
    words.erase(name);
    const ParsedCall parsed = parseCall(operation, std::move(words), session.settings);
    if (parsed.help) return helpOn(session, std::string(operation.name));
    applyThreads(session.settings);

    const Result& result = expectedResult(parsed);
    const std::vector<Task> tasks = tasksOf(parsed, result);
    checkBatch(parsed, result, tasks, session.settings.force);
    fs::create_directories(parsed.output);
    const Report report = BatchRun(parsed, tasks, session).run();
    tellReport(parsed, report, tasks.size(), session.settings);
    if (report.interrupted) return ExitStatus::Interrupted;
    return report.failed.empty() ? ExitStatus::Done : ExitStatus::BatchPartlyFailed;
}

} // namespace miravex::tool
