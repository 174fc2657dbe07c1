#include "catalog/arguments.h"
#include "catalog/catalog.h"
#include "catalog/schema.h"
#include "host/json_text.h"
#include "tools/miravex/commands.h"
#include "tools/miravex/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>

namespace miravex::tool {

namespace {

std::string placeholderOf(const Argument& argument)
{
    switch (argument.kind) {
    case Kind::Integer: return "N";
    case Kind::Real: return "X";
    case Kind::String: return argument.isPath ? "FILE" : "WORD";
    case Kind::Image: return "FILE";
    case Kind::RealTensor:
    case Kind::IntegerTensor: return "NUMBERS";
    case Kind::NumericArray: return "ARRAY";
    case Kind::Boolean: return "";
    }
    return "";
}

std::string upper(std::string_view name)
{
    std::string text(name);
    std::ranges::transform(text, text.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

bool hasDefault(const Argument& argument)
{
    return argument.optional || !std::holds_alternative<std::monostate>(argument.defaultValue);
}

std::string leftColumn(const Argument& argument)
{
    if (isPositional(argument)) return upper(argument.name) + (argument.image.rank == 3 ? "..." : "");
    if (argument.kind == Kind::Boolean) return fmt::format("--[no-]{}", optionOf(argument).substr(2));
    return fmt::format("{} {}", optionOf(argument), placeholderOf(argument));
}

std::string rightColumn(const Argument& argument)
{
    std::string text(argument.summary);
    if (!argument.unit.empty()) text += fmt::format(" ({})", argument.unit);
    const std::string rule = argument.kind == Kind::Boolean ? "" : accepted(argument);
    if (!rule.empty()) text += "; " + rule;
    const std::string usual = defaultText(argument);
    if (!usual.empty()) text += fmt::format(" [default: {}]", usual);
    if (!usual.empty() || !argument.optional) return text;
    if (argument.usedWhen.argument.empty()) return text + " [optional]";
    const bool byFlag = argument.usedWhen.value == "true";
    return text
        + (byFlag ? " [optional]"
                  : fmt::format(" [for {} {}]", optionOf({ .name = argument.usedWhen.argument }),
                                argument.usedWhen.value));
}

std::string usageOf(const Operation& operation)
{
    std::string usage = "miravex " + kebabCase(operation.name);
    for (const Argument& argument : operation.arguments)
        if (isPositional(argument)) usage += " " + leftColumn(argument);
    for (const Argument& argument : operation.arguments)
        if (!isPositional(argument) && !isImplied(argument) && !hasDefault(argument))
            usage += " " + leftColumn(argument);
    return usage + " [OPTIONS] [-o FILE]";
}

void printArguments(const Operation& operation)
{
    fmt::print("\nArguments:\n");
    for (const Argument& argument : operation.arguments)
        if (!isImplied(argument)) printEntry(leftColumn(argument), rightColumn(argument));
}

void printResults(const Operation& operation)
{
    fmt::print("\nResult:\n");
    for (const Result& result : operation.results) {
        std::string text = fmt::format("{}: {}", nameOf(result.kind), result.summary);
        if (!result.when.argument.empty())
            text +=
                fmt::format(" [for {} {}]", optionOf({ .name = result.when.argument }), result.when.value);
        printIndented(text);
    }
}

void printOutputOptions(const Operation& operation)
{
    const ResultKind kind = operation.results.front().kind;
    fmt::print("\nInput and output:\n");
    if (isPicture(kind))
        printEntry(
            "-o, --output FILE",
            kind == ResultKind::Sequence
                ? "where the sequence goes: .tiff, .avi or .npy; - for standard output"
                : "where the picture goes, by extension: .png .jpg .tiff .exr .npy ...; - for standard "
                  "output");
    else
        printEntry("-o, --output FILE",
                   "where the numbers go: .json, .csv or .npy [default: JSON on standard output]");
    if (!isPicture(kind))
        printEntry("--overlay FILE", "a picture with the result drawn over it, where it can be drawn");
    if (findsMatches(operation)) {
        printEntry("--query-picture FILE", "for --overlay: the picture of the queries");
        printEntry("--train-picture FILE", "for --overlay: the picture of the others");
        printEntry("--query-keypoints FILE", "for --overlay: where the queries lie, rows of x, y and more");
        printEntry("--train-keypoints FILE", "for --overlay: where the others lie");
    }
    printEntry("--format EXT", "the form of what goes to standard output");
    printEntry("--type TYPE", "pictures as bit, byte, bit16, real32 or real samples before the call");
    printEntry("--gray", "colour pictures as gray ones");
    printEntry("--max-frames N", "at most N frames of a sequence");
}

void printTexts(const char* title, const std::vector<std::string>& texts)
{
    if (texts.empty()) return;
    fmt::print("\n{}:\n", title);
    for (const std::string& text : texts) printIndented(text);
}

std::vector<std::string> exampleLines(const Operation& operation)
{
    std::vector<std::string> lines;
    for (const Example& example : operation.examples)
        lines.push_back(fmt::format("{}:\n  miravex {} {}", example.title, kebabCase(operation.name),
                                    fmt::join(example.words, " ")));
    return lines;
}

void printOperation(const Operation& operation)
{
    fmt::print("{} (opencv_{}): {}.\n\nUsage: {}\n", kebabCase(operation.name), operation.name,
               operation.summary, usageOf(operation));
    printArguments(operation);
    printOutputOptions(operation);
    printResults(operation);
    if (takesPictures(operation))
        printTexts("Reach (how far from its place a pixel of the result looks)",
                   { std::string(operation.reach.text) });
    std::vector<std::string> rules;
    for (const Constraint& constraint : operation.constraints)
        rules.push_back(fmt::format("{}: {}", constraint.argument, constraint.text.str()));
    printTexts("Rules", rules);
    std::vector<std::string> limits;
    for (const Text& limit : operation.limits) limits.push_back(limit.str());
    printTexts("Limits", limits);
    if (!operation.source.empty()) printTexts("Source", { std::string(operation.source) });
    printTexts("Examples (words with @ are sample pictures of the gallery)", exampleLines(operation));
}

nlohmann::ordered_json listJson()
{
    auto list = nlohmann::ordered_json::array();
    for (const Operation* operation : catalog())
        list.push_back({ { "name", operation->name },
                         { "command", kebabCase(operation->name) },
                         { "room", operation->room->name },
                         { "summary", operation->summary } });
    return list;
}

void printRoom(const Room& room, std::size_t width)
{
    bool first = true;
    for (const Operation* operation : catalog()) {
        if (operation->room != &room) continue;
        if (std::exchange(first, false)) fmt::print("\n{}\n", room.title);
        fmt::print("  {:<{}}  {}\n", kebabCase(operation->name), width, operation->summary);
    }
}

} // namespace

ExitStatus listOperations(const Session& session)
{
    if (session.settings.json) {
        fmt::print("{}\n", jsonText(listJson(), 2));
        return ExitStatus::Done;
    }
    std::size_t width = 0;
    for (const Operation* operation : catalog()) width = std::max(width, kebabCase(operation->name).size());
    fmt::print("{} operations; miravex help OPERATION tells more.\n", catalog().size());
    for (const Room& room : rooms()) printRoom(room, width);
    return ExitStatus::Done;
}

ExitStatus helpOn(const Session& session, const std::string& name)
{
    const Operation& operation = operationNamed(name);
    if (session.settings.json)
        fmt::print("{}\n", jsonText(schemaOf(operation), 2));
    else
        printOperation(operation);
    return ExitStatus::Done;
}

ExitStatus printSchema(const std::string& name)
{
    const nlohmann::ordered_json json = name.empty() ? schema() : schemaOf(operationNamed(name));
    fmt::print("{}\n", jsonText(json, 2));
    return ExitStatus::Done;
}

} // namespace miravex::tool
