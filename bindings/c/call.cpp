#include "bindings/c/call.h"

#include "catalog/catalog.h"
#include "host/batch.h"
#include "host/failures.h"
#include "host/positions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <memory>
#include <mutex>

using namespace miravex;

namespace miravex::door {

namespace {

struct Loaded {
    std::mutex mutex;
    const Library* library = nullptr;
};

Loaded& loaded()
{
    static Loaded* const instance = new Loaded;
    return *instance;
}

const Library& libraryAt(const std::filesystem::path* path)
{
    Loaded& shared = loaded();
    const std::lock_guard lock(shared.mutex);
    if (!shared.library) shared.library = new Library(path ? *path : Library::defaultPath());
    if (path && *path != shared.library->path())
        throw std::runtime_error(fmt::format("cannot use the library {}: {} is loaded already",
                                             path->string(), shared.library->path().string()));
    return *shared.library;
}

} // namespace

const Library& library() { return libraryAt(nullptr); }

void loadLibrary(const char* path)
{
    const std::filesystem::path file = path ? path : "";
    libraryAt(path ? &file : nullptr);
}

} // namespace miravex::door

namespace {

std::string unknownOperation(std::string_view name)
{
    std::vector<std::string> known;
    for (const Operation* operation : catalog()) known.push_back(snakeCase(operation->name));
    const auto near = closest(name, known);
    return Refusal { "", fmt::format("there is no operation \"{}\"", name), "",
                     near.empty() ? "" : near.front() }
        .message();
}

BatchOptions optionsOf(const mvx_batch& batch)
{
    BatchOptions options;
    options.height = batch.height;
    options.width = batch.width;
    options.channelsLast = batch.channels_last != 0;
    if (batch.color_space) options.colorSpace = batch.color_space;
    if (batch.mean_count > 0) options.mean.assign(batch.mean, batch.mean + batch.mean_count);
    if (batch.deviation_count > 0)
        options.deviation.assign(batch.deviation, batch.deviation + batch.deviation_count);
    options.onError = batch.on_error == MVX_SKIP ? OnError::Skip
        : batch.on_error == MVX_STOP             ? OnError::Fail
                                                 : OnError::Fill;
    return options;
}

/// Names the option that helps where an image is of a pixel type that is not accepted.
void suggestConversion(const Operation& operation, const std::vector<Value>& values,
                       std::vector<Refusal>& refusals)
{
    for (Refusal& refusal : refusals) {
        const int index = argumentIndex(operation, refusal.argument);
        if (index < 0 || static_cast<std::size_t>(index) >= values.size()) continue;
        const auto place = static_cast<std::size_t>(index);
        const auto* image = std::get_if<ImagePointer>(&values[place]);
        if (image && !operation.arguments[place].image.acceptsPixelType((*image)->pixelType))
            refusal.suggestion = "the option convert = usual";
    }
}

constexpr std::size_t mostDimensions = 4; // that mvx_numbers can describe

Part numberPart(const char* group, const char* name, const std::vector<int64_t>& numbers)
{
    const auto count = static_cast<int64_t>(numbers.size());
    return { group, name, makeIntegerTensor({ count }, numbers), 0, { count }, { 1 } };
}

} // namespace

mvx_call::mvx_call(std::string_view operation)
    : operation_(findOperation(operation))
{
    if (!operation_) objections_.push_back(unknownOperation(operation));
}

int mvx_call::end(int status, std::string message)
{
    if (status != MVX_DONE && !hasRun_) objections_.push_back(message);
    error_ = std::move(message);
    return status;
}

int mvx_call::endWithoutMemory() noexcept
{
    lacksMemory_ = true;
    return MVX_NO_MEMORY;
}

const char* mvx_call::error() const noexcept
{
    return lacksMemory_ ? "there is not enough memory" : error_.c_str();
}

int mvx_call::option(std::string_view name, std::string_view value)
{
    if (name == "convert" && (value == "usual" || value == "never"))
        convertsTypes_ = value == "usual";
    else if (name == "positions" && (value == "matrix" || value == "library"))
        matrixPositions_ = value == "matrix";
    else
        return end(MVX_REFUSED,
                   Refusal { fmt::format("the option {}", name), fmt::format("\"{}\"", value),
                             "convert to be never or usual, positions to be library or matrix", "" }
                       .message());
    return end(MVX_DONE, "");
}

const Argument& mvx_call::argument(std::string_view name) const
{
    static const Argument none;
    const int index = operation_ ? argumentIndex(*operation_, name) : -1;
    return index < 0 ? none : operation_->arguments[static_cast<std::size_t>(index)];
}

int mvx_call::set(std::string_view name, Value value)
{
    if (hasRun_) return end(MVX_REFUSED, "the call has run already");
    arguments_[std::string(name)] = std::move(value);
    return end(MVX_DONE, "");
}

int mvx_call::setImage(std::string_view name, ImagePointer image, bool isBorrowed)
{
    const int status = set(name, std::move(image));
    if (status == MVX_DONE && isBorrowed)
        borrowed_.emplace(name);
    else
        borrowed_.erase(std::string(name));
    return status;
}

bool mvx_call::isBrief() const
{
    constexpr int64_t few = 1 << 14; // of samples, or a tenth as many numbers, over which methods take longer
    constexpr int64_t samplesForANumber = 10;
    int64_t samples = 0;
    for (const auto& [name, value] : arguments_) {
        if (std::holds_alternative<ArrayPointer>(value) && argument(name).rewritten) return true;
        if (argument(name).isPath) return false;
        if (const auto* image = std::get_if<ImagePointer>(&value)) samples += (*image)->shape.samples();
        if (const auto* tensor = std::get_if<TensorPointer>(&value))
            samples += (*tensor)->length() * samplesForANumber;
    }
    return samples < few;
}

void mvx_call::ownSamples()
{
    for (const std::string& name : borrowed_) {
        const auto given = arguments_.find(name);
        auto* image = given == arguments_.end() ? nullptr : std::get_if<ImagePointer>(&given->second);
        if (!image) continue; // something else took its place
        const Image& lent = **image;
        ImagePointer copy =
            makeImage(lent.shape, lent.pixelType, lent.colorSpace, lent.interleaved, Start::AsItComes);
        std::copy_n(lent.block.data(), lent.block.size(), copy->block.data());
        *image = std::move(copy);
    }
    borrowed_.clear();
}

int mvx_call::stopped()
{
    hasRun_ = true;
    return status_ = end(MVX_STOPPED, "the call was stopped");
}

void mvx_call::convertImages()
{
    std::vector<std::string> notes;
    for (const Argument& wanted : operation_->arguments) {
        const auto given = arguments_.find(wanted.name);
        if (given == arguments_.end() || wanted.kind != Kind::Image) continue;
        if (auto* image = std::get_if<ImagePointer>(&given->second))
            *image = withPixelTypeFor(wanted, std::move(*image), notes);
    }
    notes_ = fmt::format("{}", fmt::join(notes, "\n"));
}

int mvx_call::refuse(const std::vector<Refusal>& refusals)
{
    std::vector<std::string> messages;
    for (const Refusal& refusal : refusals) messages.push_back(refusal.message());
    refused_ = refusals.front().argument;
    return end(MVX_REFUSED, fmt::format("{}", fmt::join(messages, "\n")));
}

void mvx_call::keep(const Result& result, Value value, int64_t rows)
{
    layout_ = nameOf(result.layout);
    if (const auto* tensor = std::get_if<TensorPointer>(&value)) {
        if (matrixPositions_) toMatrixPositions(result.layout, **tensor, rows);
        parts_ = partsOf(result.layout, *tensor, matrixPositions_ ? 1 : 0);
        for (const Part& part : parts_)
            if (part.sizes.size() > mostDimensions)
                throw std::runtime_error("the result has more than four dimensions");
    }
    result_ = std::move(value);
}

int mvx_call::perform()
{
    if (!objections_.empty()) return end(MVX_REFUSED, fmt::format("{}", fmt::join(objections_, "\n")));
    const Library& library = door::library();
    if (convertsTypes_) convertImages();
    if (matrixPositions_) toLibraryPositions(*operation_, arguments_);
    Completed completed = acceptable(*operation_, std::move(arguments_));
    if (!completed.refusals.empty()) {
        if (!convertsTypes_) suggestConversion(*operation_, completed.values, completed.refusals);
        return refuse(completed.refusals);
    }
    Outcome outcome = call(library, *operation_, completed.values);
    const std::string failure = failureOf(*operation_, completed.values, outcome);
    if (!failure.empty())
        return end(MVX_FAILED, fmt::format("{} failed: {}", kebabCase(operation_->name), failure));
    keep(resultOf(*operation_, completed.values), std::move(outcome.result),
         rowsOfPicture(*operation_, completed.values));
    return end(MVX_DONE, "");
}

int mvx_call::run()
{
    if (!hasRun_ && !lacksMemory_) {
        hasRun_ = true;
        status_ = MVX_FAILED; // unless what follows ends otherwise
        status_ = perform();
        arguments_.clear();
    }
    return lacksMemory_ ? MVX_NO_MEMORY : status_;
}

int mvx_call::load(const mvx_batch& batch, const std::vector<std::string>& paths, float* slots)
{
    hasRun_ = true;
    status_ = MVX_FAILED; // unless what follows ends otherwise
    const BatchOptions options = optionsOf(batch);
    std::vector<Refusal> refusals = check(options);
    if (!refusals.empty()) return status_ = refuse(refusals);
    const auto report = loadBatch(door::library(), paths, options, slots, [&](const BatchProgress& now) {
        return !batch.progress || batch.progress(batch.context, now.done, now.files) == 0;
    });
    std::vector<int64_t> positions;
    std::vector<std::string> reasons;
    for (const FailedFile& file : report.failed) {
        positions.push_back(file.position + 1);
        reasons.push_back(fmt::format("{}: {}", file.path, file.reason()));
    }
    notes_ = fmt::format("{}", fmt::join(reasons, "\n"));
    layout_ = "batch";
    parts_ = { numberPart("failed", "failed", positions), numberPart("batch", "files", { report.files }),
               numberPart("batch", "slots", { report.slots }),
               numberPart("batch", "stopped", { int64_t { report.stopped } }) };
    result_ = parts_.front().tensor;
    return status_ = end(MVX_DONE, "");
}
