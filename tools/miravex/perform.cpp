#include "tools/miravex/perform.h"

#include "catalog/catalog.h"
#include "catalog/explain.h"
#include "catalog/schema.h"
#include "draw/draw.h"
#include "files/files.h"
#include "files/pictures.h"
#include "files/tensors.h"
#include "host/arguments.h"
#include "tools/miravex/fit.h"
#include "tools/miravex/progress.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <chrono>

namespace miravex::tool {

namespace {

using FilesByArgument = std::map<std::string, std::vector<std::string>, std::less<>>;

[[noreturn]] void refuse(std::vector<Refusal> refusals)
{
    std::vector<std::string> messages;
    for (const Refusal& refusal : refusals) messages.push_back(refusal.message());
    throw Failure(ExitStatus::Usage, fmt::format("{}", fmt::join(messages, "\n")), std::move(refusals));
}

template <typename Number> Value numberFrom(const Argument& argument, const std::string& word)
{
    Number number {};
    const char* first = word.data() + (word.starts_with('+') ? 1 : 0);
    const char* last = word.data() + word.size();
    const auto [end, error] = std::from_chars(first, last, number);
    if (word.empty() || error != std::errc() || end != last) {
        const std::string bounds = accepted(argument);
        refuse({ { std::string(argument.name), fmt::format("\"{}\"", word),
                   argument.kind == Kind::Integer ? "an integer " + bounds : "a number " + bounds, "" } });
    }
    return number;
}

/// A choice in other capitals or with other separators is taken for the one it means.
std::string choiceFrom(const Argument& argument, const std::string& word)
{
    const auto essence = [](std::string_view text) {
        std::string letters;
        for (const char c : text)
            if (std::isalnum(static_cast<unsigned char>(c)))
                letters += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return letters;
    };
    const auto meant = std::ranges::find_if(
        argument.choices, [&](std::string_view choice) { return essence(choice) == essence(word); });
    const bool exact = std::ranges::find(argument.choices, word) != argument.choices.end();
    return exact || meant == argument.choices.end() ? word : std::string(*meant);
}

Value plainValue(const Argument& argument, const std::string& word)
{
    switch (argument.kind) {
    case Kind::Integer: return numberFrom<int64_t>(argument, word);
    case Kind::Real: return numberFrom<double>(argument, word);
    case Kind::String: return choiceFrom(argument, word);
    case Kind::RealTensor:
    case Kind::IntegerTensor: return files::readTensor(argument, word);
    case Kind::NumericArray: return files::readArray(argument, word);
    default: return {};
    }
}

bool givenByName(const ParsedCall& words, const Argument& argument)
{
    return words.options.contains(argument.name);
}

/// Arguments that take the words without a name: images first, then files that the library itself reads.
std::vector<const Argument*> takersOf(const ParsedCall& words)
{
    std::vector<const Argument*> takers;
    for (const Argument& argument : words.operation->arguments)
        if (isPositional(argument) && !givenByName(words, argument)) takers.push_back(&argument);
    for (const Argument& argument : words.operation->arguments)
        if (argument.isPath && !argument.optional && !givenByName(words, argument))
            takers.push_back(&argument);
    return takers;
}

bool takesSeveral(const Argument& argument)
{
    return argument.kind == Kind::Image && argument.image.rank != 2;
}

std::string takerNames(const std::vector<const Argument*>& takers)
{
    std::vector<std::string_view> names;
    for (const Argument* taker : takers) names.push_back(taker->name);
    return fmt::format("{}", fmt::join(names, ", "));
}

[[noreturn]] void refuseCount(const ParsedCall& words, const std::vector<const Argument*>& takers)
{
    const std::string operation = kebabCase(words.operation->name);
    const std::size_t given = words.files.size();
    if (given < takers.size()) {
        const Argument& missing = *takers[given];
        refuse({ { std::string(missing.name), "missing",
                   fmt::format("{} as {}", missing.isPath ? "a file" : accepted(missing),
                               missing.isPath ? optionOf(missing) + " FILE" : "a file name"),
                   "" } });
    }
    throw Failure(ExitStatus::Usage,
                  takers.empty() ? fmt::format("{} takes no files, {} given", operation, given)
                                 : fmt::format("{} takes {} file{} ({}), {} given", operation, takers.size(),
                                               takers.size() == 1 ? "" : "s", takerNames(takers), given));
}

ImagePointer readImage(const ParsedCall& words, const Argument& argument,
                       const std::vector<std::string>& files)
{
    // A single picture needs two frames only to tell that there are more.
    const int64_t wanted = argument.image.rank == 2 ? 2 : words.frames > 0 ? words.frames : files::allFrames;
    Progress bar(files.size() == 1 ? "reading frames" : "reading pictures", 0);
    const files::Progress show = [&](int64_t done, int64_t total) { bar.reach(done, total); };
    return argument.image.rank == 3 || files.size() > 1 ? files::readSequence(files, wanted, show)
                                                        : files::readPicture(files.front(), wanted, show);
}

ImagePointer asAsked(const ParsedCall& words, ImagePointer image)
{
    if (words.gray) image = grayOf(std::move(image));
    if (words.pixelType.empty()) return image;
    return convertImage(*image, pixelTypeOf(words.pixelType), image->interleaved);
}

/// The named values of a call, and the first picture among them as it was read.
struct Given {
    NamedValues values;
    ImagePointer picture;
};

void addImages(const ParsedCall& words, Given& given, Notes& notes)
{
    for (const auto& [name, files] : assignFiles(words)) {
        const Argument& argument =
            words.operation->arguments[static_cast<std::size_t>(argumentIndex(*words.operation, name))];
        if (argument.isPath) {
            given.values[name] = files.front();
            continue;
        }
        ImagePointer image = readImage(words, argument, files);
        const bool isFirst = std::ranges::none_of(words.operation->arguments, [&](const Argument& other) {
            return other.kind == Kind::Image && &other < &argument; // the record's order
        });
        if (isFirst) given.picture = image;
        if (isPositional(argument)) image = asAsked(words, std::move(image));
        given.values[name] = fitted(std::move(image), argument, notes);
    }
}

Given readGiven(const ParsedCall& words, Notes& notes)
{
    Given given;
    for (const Argument& argument : words.operation->arguments) {
        const auto word = words.options.find(argument.name);
        if (word != words.options.end() && argument.kind != Kind::Image)
            given.values[std::string(argument.name)] = plainValue(argument, word->second);
    }
    for (const std::string& name : words.set) given.values[name] = true;
    for (const std::string& name : words.unset) given.values[name] = false;
    addImages(words, given, notes);
    return given;
}

std::vector<Value> completed(const Operation& operation, NamedValues given)
{
    Completed whole = acceptable(operation, std::move(given));
    if (!whole.refusals.empty()) refuse(std::move(whole.refusals));
    return std::move(whole.values);
}

void refuseBreaches(const Operation& operation, const Outcome& outcome)
{
    if (outcome.accounting.clean()) return;
    throw Failure(ExitStatus::OperationFailed,
                  fmt::format("{} broke the rules of ownership: {}", kebabCase(operation.name),
                              fmt::join(outcome.accounting.violations, "; ")));
}

} // namespace

FilesByArgument assignFiles(const ParsedCall& words)
{
    FilesByArgument assigned;
    for (const Argument& argument : words.operation->arguments) {
        const auto named = words.options.find(argument.name);
        if (argument.kind == Kind::Image && named != words.options.end())
            assigned[std::string(argument.name)] = { named->second };
    }
    const std::vector<const Argument*> takers = takersOf(words);
    const auto greedy = std::ranges::find_if(takers, [](const Argument* t) { return takesSeveral(*t); });
    const bool tooMany = words.files.size() > takers.size() && greedy == takers.end();
    if (words.files.size() < takers.size() || tooMany) refuseCount(words, takers);

    std::size_t spare = words.files.size() - takers.size();
    auto next = words.files.begin();
    for (auto taker = takers.begin(); taker != takers.end(); ++taker) {
        const std::size_t count = 1 + (taker == greedy ? std::exchange(spare, 0) : 0);
        assigned[std::string((*taker)->name)].assign(next, next + static_cast<std::ptrdiff_t>(count));
        next += static_cast<std::ptrdiff_t>(count);
    }
    return assigned;
}

Performed perform(const Library& library, const ParsedCall& words, Notes& notes)
{
    const Operation& operation = *words.operation;
    Given given = readGiven(words, notes);
    Performed performed { .operation = &operation,
                          .arguments = completed(operation, std::move(given.values)),
                          .picture = std::move(given.picture) };
    performed.result = resultOf(operation, performed.arguments);

    const auto start = std::chrono::steady_clock::now();
    Outcome outcome = call(library, operation, performed.arguments);
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
    performed.milliseconds = taken.count();

    refuseBreaches(operation, outcome);
    if (!outcome.ok()) {
        const Explanation explanation = explain(viewOf(operation, performed.arguments), outcome.openCvError);
        throw Failure(explanation.files.empty() ? ExitStatus::OperationFailed : ExitStatus::InputUnreadable,
                      fmt::format("{} failed: {}", kebabCase(operation.name), explanation.message()),
                      explanation.refusals);
    }
    performed.value = std::move(outcome.result);
    return performed;
}

const Result& expectedResult(const ParsedCall& words)
{
    NamedValues given;
    for (const auto& [name, word] : words.options) {
        const Argument& argument =
            words.operation->arguments[static_cast<std::size_t>(argumentIndex(*words.operation, name))];
        if (argument.kind == Kind::String) given[name] = choiceFrom(argument, word);
    }
    for (const std::string& name : words.set) given[name] = true;
    return resultOf(*words.operation, complete(*words.operation, std::move(given)).values);
}

void writeResult(const Performed& performed, const std::string& file, const std::string& extension,
                 bool force, Notes& notes)
{
    const auto* image = std::get_if<ImagePointer>(&performed.value);
    files::deliver(file, extension, force, [&](const std::filesystem::path& path) {
        if (image)
            files::writePicture(**image, path, extension, notes);
        else
            files::writeNumbers(*performed.operation, performed.result, performed.value, path, extension);
    });
}

bool isDrawable(const ParsedCall& words, Layout layout)
{
    return layout == Layout::Matches ? words.scene.complete() : canDraw(layout);
}

ImagePointer drawnResult(const Performed& performed, const ParsedCall& words)
{
    const auto* tensor = std::get_if<TensorPointer>(&performed.value);
    if (!tensor || !isDrawable(words, performed.result.layout)) return nullptr;
    if (performed.result.layout != Layout::Matches)
        return performed.picture ? draw(*performed.picture, performed.result.layout, **tensor) : nullptr;
    constexpr Argument keypoints =
        records::reals("keypoints", "rows of x, y and more").shaped({ atLeast(0), atLeast(2) });
    const MatchScene& scene = words.scene;
    return drawMatches(*files::readPicture(scene.queryPicture),
                       *files::readTensor(keypoints, scene.queryKeypoints),
                       *files::readPicture(scene.trainPicture),
                       *files::readTensor(keypoints, scene.trainKeypoints), **tensor);
}

void writeOverlay(const Performed& performed, const ParsedCall& words, const std::string& file, bool force,
                  Notes& notes)
{
    const ImagePointer drawn = drawnResult(performed, words);
    if (!drawn)
        throw Failure(ExitStatus::Usage,
                      fmt::format("the result of {} can't be drawn over a picture",
                                  kebabCase(performed.operation->name)));
    const std::string extension = file == files::standardStream ? ".png" : files::extensionOf(file);
    files::deliver(file, extension, force, [&](const std::filesystem::path& path) {
        files::writePicture(*drawn, path, extension, notes);
    });
}

} // namespace miravex::tool
