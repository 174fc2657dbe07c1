#include "host/batch.h"

#include "catalog/catalog.h"
#include "convert/handover.h"
#include "host/arguments.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <stdexcept>

namespace miravex {

namespace {

constexpr std::string_view operationName = "LoadImagesFromPathInto";

const Operation& operation() { return *findOperation(operationName); }

/// The spread of a per-channel list over a slot; empty for an empty list. `change` is applied to each value.
ArrayPointer slotArray(const BatchOptions& options, const std::vector<float>& values, float (*change)(float))
{
    if (values.empty()) return nullptr;
    const auto channels = static_cast<std::size_t>(options.channels());
    std::vector<int64_t> dimensions = options.shape(1);
    dimensions.erase(dimensions.begin());
    ArrayPointer array = makeFloatArray(dimensions);
    const std::span<float> elements = array->floats();
    const std::size_t plane = elements.size() / channels;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const std::size_t channel = options.channelsLast ? i % channels : i / plane;
        const std::size_t from = values.size() == elements.size() ? i : values.size() == 1 ? 0 : channel;
        elements[i] = change(values[from]);
    }
    return array;
}

/// Looks at files on OpenCV's threads. A class of its own, because a lambda would reach the workers inside a
/// wrapper of OpenCV's that a race detector can't see being handed over.
class InspectFiles : public cv::ParallelLoopBody {
public:
    explicit InspectFiles(std::span<const std::string> paths)
        : paths_(paths)
        , states_(paths.size())
    {
        handover_.give();
    }

    void operator()(const cv::Range& range) const override
    {
        handover_.take();
        for (int i = range.start; i < range.end; ++i) {
            const auto file = static_cast<std::size_t>(i);
            states_[file] = inspectPictureFile(paths_[file]);
        }
        handover_.give();
    }

    /// To be called after the loop.
    [[nodiscard]] const std::vector<FileState>& states() const
    {
        handover_.take();
        return states_;
    }

private:
    std::span<const std::string> paths_;
    mutable std::vector<FileState> states_;
    mutable Handover handover_;
};

/// The loader's arguments for files of one batch.
class BatchArguments {
public:
    explicit BatchArguments(const BatchOptions& options)
        : options_(&options)
        , mean_(slotArray(options, options.mean, [](float value) { return value; }))
        , factor_(slotArray(options, options.deviation, [](float value) { return 1 / value; }))
    {
    }

    [[nodiscard]] std::vector<Value> values(std::span<const std::string> paths, float* slots) const
    {
        std::string joined;
        std::vector<int64_t> lengths;
        for (const std::string& path : paths) {
            joined += path;
            lengths.push_back(static_cast<int64_t>(path.size()));
        }
        const auto files = static_cast<int64_t>(paths.size());
        const ArrayPointer none = makeFloatArray({ 0 });
        return { wrapFloatArray(options_->shape(files), slots, nullptr),
                 joined,
                 makeIntegerTensor({ files }, lengths),
                 options_->colorSpace,
                 int64_t { mean_ != nullptr },
                 mean_ ? mean_ : none,
                 int64_t { factor_ != nullptr },
                 factor_ ? factor_ : none,
                 int64_t { 0 },
                 int64_t { options_->channelsLast } };
    }

private:
    const BatchOptions* options_;
    ArrayPointer mean_;
    ArrayPointer factor_;
};

/// Loads files into slots from `slots` on and says which of them failed; positions count from `first`.
std::vector<FailedFile> loadChunk(const Library& library, const BatchArguments& arguments,
                                  std::span<const std::string> paths, int64_t first, float* slots)
{
    const Outcome outcome = call(library, operation(), arguments.values(paths, slots));
    if (!outcome.ok())
        throw std::runtime_error("the library refused the batch"
                                 + (outcome.openCvError.empty() ? "" : ": " + outcome.openCvError));
    const InspectFiles look(paths);
    cv::parallel_for_(cv::Range(0, static_cast<int>(paths.size())), look);
    const std::vector<FileState>& states = look.states();
    std::vector<bool> unread(paths.size(), false);
    for (const int64_t position : outcome.tensor().integers())
        unread[static_cast<std::size_t>(position - 1)] = true;
    std::vector<FailedFile> failed;
    for (std::size_t i = 0; i < paths.size(); ++i)
        if (unread[i] || states[i] == FileState::Truncated)
            failed.push_back({ first + static_cast<int64_t>(i), paths[i], states[i] });
    return failed;
}

/// Moves the slots of files that did not fail together; returns how many there are.
int64_t closeGaps(float* slots, int64_t samples, int64_t first, int64_t count,
                  const std::vector<FailedFile>& failed)
{
    int64_t kept = 0;
    auto next = failed.begin();
    for (int64_t i = 0; i < count; ++i) {
        if (next != failed.end() && next->position == first + i) {
            ++next;
            continue;
        }
        if (kept != i)
            std::memcpy(slots + kept * samples, slots + i * samples,
                        static_cast<std::size_t>(samples) * sizeof(float));
        ++kept;
    }
    return kept;
}

/// Samples of one slot, so that a chunk of a few slots can be had; with sides that the record accepts the
/// product does not overflow.
constexpr int64_t mostSamples = int64_t { 1 } << 30;

/// What the loader's record says against a batch of these options, mean and deviation aside.
void checkRecord(const BatchOptions& options, std::vector<Refusal>& refusals)
{
    BatchOptions plain = options;
    plain.mean.clear();
    plain.deviation.clear();
    for (Refusal& refusal : check(operation(), BatchArguments(plain).values({}, nullptr))) {
        refusal.argument = refusal.argument == "color_space" ? "colour" : "size";
        refusals.push_back(std::move(refusal));
    }
}

void checkNumbers(const BatchOptions& options, std::string_view name, const std::vector<float>& values,
                  std::vector<Refusal>& refusals)
{
    const auto count = static_cast<int64_t>(values.size());
    if (count != 0 && count != 1 && count != options.channels() && count != options.samples())
        refusals.push_back({ std::string(name), fmt::format("{} numbers", count),
                             fmt::format("one number, one per channel ({}) or a whole slot ({})",
                                         options.channels(), options.samples()),
                             "" });
    for (const float value : values) {
        const bool fits = std::isfinite(value) && (name != "std" || value > 0);
        if (fits) continue;
        refusals.push_back({ std::string(name), fmt::format("a list with {}", value),
                             name == "std" ? "finite numbers above 0" : "finite numbers", "" });
        return;
    }
}

} // namespace

std::vector<int64_t> BatchOptions::shape(int64_t files) const
{
    if (channelsLast) return { files, height, width, channels() };
    return { files, channels(), height, width };
}

std::vector<Refusal> check(const BatchOptions& options)
{
    std::vector<Refusal> refusals;
    for (const auto& [name, side] :
         { std::pair("height", options.height), std::pair("width", options.width) })
        if (side < 1) refusals.push_back({ name, std::to_string(side), "at least 1", "1" });
    if (refusals.empty()) checkRecord(options, refusals);
    if (refusals.empty() && options.samples() > mostSamples)
        refusals.push_back({ "size", fmt::format("{}x{}", options.width, options.height),
                             fmt::format("at most {} samples a picture", mostSamples), "" });
    if (refusals.empty() && options.channelsLast && options.channels() == 3 && options.colorSpace != "RGB")
        // The operation would leave the picture in BGR order, without a word.
        refusals.push_back({ "colour", fmt::format("\"{}\" with channels last", options.colorSpace),
                             "RGB or Grayscale, or channels first", "channels first" });
    if (!refusals.empty()) return refusals;
    checkNumbers(options, "mean", options.mean, refusals);
    checkNumbers(options, "std", options.deviation, refusals);
    return refusals;
}

std::string_view FailedFile::reason() const { return state == FileState::Whole ? "damaged" : nameOf(state); }

BatchReport loadBatch(const Library& library, std::span<const std::string> paths, const BatchOptions& options,
                      float* slots, const std::function<bool(const BatchProgress&)>& progress,
                      const std::function<void(int64_t first, int64_t count)>& finished)
{
    const auto refusals = check(options);
    if (!refusals.empty()) throw std::invalid_argument(refusals.front().message());

    const auto start = std::chrono::steady_clock::now();
    const BatchArguments arguments(options);
    const int64_t samples = options.samples();
    constexpr int64_t fewest = 16; // enough for all threads to share
    const int64_t chunk = std::max(fewest, options.chunkBytes / (samples * int64_t { sizeof(float) }));
    const auto files = static_cast<int64_t>(paths.size());
    BatchReport report;
    while (report.files < files && !report.stopped) {
        const int64_t count = std::min(chunk, files - report.files);
        float* place = slots + report.slots * samples;
        const auto failed =
            loadChunk(library, arguments,
                      paths.subspan(static_cast<std::size_t>(report.files), static_cast<std::size_t>(count)),
                      report.files, place);
        const int64_t filled =
            options.onError == OnError::Skip ? closeGaps(place, samples, report.files, count, failed) : count;
        if (finished) finished(report.slots, filled);
        report.files += count;
        report.slots += filled;
        report.failed.insert(report.failed.end(), failed.begin(), failed.end());
        report.stopped = options.onError == OnError::Fail && !report.failed.empty();
        const BatchProgress now { report.files, files, static_cast<int64_t>(report.failed.size()) };
        if (progress && !progress(now)) report.stopped = true;
    }
    report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return report;
}

} // namespace miravex
