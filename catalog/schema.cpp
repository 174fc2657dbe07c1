#include "catalog/schema.h"

#include "catalog/arguments.h"
#include "catalog/catalog.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace miravex {

namespace {

using Json = nlohmann::ordered_json;

Json boundJson(const Bound& bound) { return { { "value", bound.value }, { "inclusive", bound.inclusive } }; }

template <typename Name> Json maskJson(std::uint32_t mask, Name name)
{
    Json values = Json::array();
    for (int i = 0; i < 32; ++i)
        if ((mask >> i) & 1U) values.push_back(name(i));
    return values;
}

Json imageJson(const ImageRule& rule)
{
    Json json { { "rank", rule.rank == 0 ? Json::array({ 2, 3 }) : Json::array({ rule.rank }) } };
    if (rule.channels) json["channels"] = maskJson(rule.channels, [](int i) { return i; });
    if (rule.pixelTypes)
        json["pixelTypes"] = maskJson(rule.pixelTypes, [](int i) { return std::string(pixelTypeName(i)); });
    if (rule.colorSpaces) json["colorSpaces"] = maskJson(rule.colorSpaces, colorSpaceName);
    json["minimumRows"] = rule.minimumRows;
    json["minimumColumns"] = rule.minimumColumns;
    if (rule.rank != 2) json["minimumSlices"] = rule.minimumSlices;
    if (!rule.sameAs.empty()) json["sizeOf"] = rule.sameAs;
    return json;
}

Json extentJson(const Extent& extent)
{
    const std::string of(nameOf(extent.of));
    return extent.argument.empty() ? Json { { of, extent.count } } : Json { { of, extent.argument } };
}

Json tensorJson(const TensorRule& rule)
{
    Json json = Json::object();
    if (rule.rank > 0) {
        json["shape"] = Json::array();
        for (std::size_t i = 0; i < rule.rank; ++i) json["shape"].push_back(extentJson(rule.shape[i]));
    }
    json["orEmpty"] = rule.orEmpty;
    if (rule.minimumElement.present) json["minimumElement"] = boundJson(rule.minimumElement);
    if (rule.maximumElement.present) json["maximumElement"] = boundJson(rule.maximumElement);
    return json;
}

Json defaultJson(const Argument& argument)
{
    struct Converter {
        std::size_t count;
        Json operator()(std::monostate) const { return nullptr; }
        Json operator()(int64_t number) const { return number; }
        Json operator()(double number) const { return number; }
        Json operator()(bool flag) const { return flag; }
        Json operator()(std::string_view word) const { return word; }
        Json operator()(Zeros) const { return Json::array_t(count, 0); }
        Json operator()(const DerivedDefault& derived) const { return { { "derived", derived.text } }; }
    };
    return std::visit(Converter { argument.tensor.fixedLength() }, argument.defaultValue);
}

Json conditionJson(const Condition& condition)
{
    return { { "argument", condition.argument }, { "value", condition.value } };
}

Json argumentJson(const Argument& argument)
{
    Json json { { "name", argument.name },
                { "option", optionOf(argument) },
                { "kind", nameOf(argument.kind) },
                { "summary", argument.summary } };
    if (!argument.unit.empty()) json["unit"] = argument.unit;
    const std::string words = accepted(argument);
    if (!words.empty()) json["accepted"] = words;
    if (!std::holds_alternative<std::monostate>(argument.defaultValue))
        json["default"] = defaultJson(argument);
    if (argument.minimum.present) json["minimum"] = boundJson(argument.minimum);
    if (argument.maximum.present) json["maximum"] = boundJson(argument.maximum);
    if (!argument.choices.empty())
        json["choices"] = std::vector<std::string_view>(argument.choices.begin(), argument.choices.end());
    if (argument.isPath) json["path"] = true;
    if (argument.mustBeOdd) json["odd"] = true;
    if (argument.rewritten) json["rewritten"] = true;
    json["optional"] = argument.optional;
    if (!argument.impliedBy.empty()) json["impliedBy"] = argument.impliedBy;
    if (!argument.usedWhen.argument.empty()) json["usedWhen"] = conditionJson(argument.usedWhen);
    if (argument.kind == Kind::Image) json["image"] = imageJson(argument.image);
    if (argument.kind == Kind::RealTensor || argument.kind == Kind::IntegerTensor)
        json["tensor"] = tensorJson(argument.tensor);
    return json;
}

Json reachJson(const ReachRule& reach)
{
    return { { "text", reach.text },
             { "bounded", reach.compute != nullptr },
             { "fromLookedUp", reach.fromLookedUp } };
}

Json resultJson(const Result& result)
{
    Json json { { "kind", nameOf(result.kind) },
                { "layout", nameOf(result.layout) },
                { "summary", result.summary } };
    if (!result.when.argument.empty()) json["when"] = conditionJson(result.when);
    return json;
}

} // namespace

std::string optionOf(const Argument& argument)
{
    std::string option = "--" + std::string(argument.name);
    std::ranges::replace(option, '_', '-');
    return option;
}

std::string defaultText(const Argument& argument)
{
    struct Writer {
        std::size_t count;
        std::string operator()(std::monostate) const { return ""; }
        std::string operator()(int64_t number) const { return std::to_string(number); }
        std::string operator()(double number) const { return numberText(number); }
        std::string operator()(bool flag) const { return flag ? "true" : "false"; }
        std::string operator()(std::string_view word) const { return std::string(word); }
        std::string operator()(Zeros) const
        {
            return fmt::format("{}", fmt::join(std::vector(count, 0), ","));
        }
        std::string operator()(const DerivedDefault& derived) const { return std::string(derived.text); }
    };
    return std::visit(Writer { argument.tensor.fixedLength() }, argument.defaultValue);
}

Json schemaOf(const Operation& operation)
{
    Json json { { "name", operation.name },
                { "export", fmt::format("opencv_{}", operation.name) },
                { "command", kebabCase(operation.name) },
                { "function", snakeCase(operation.name) },
                { "room", operation.room->name },
                { "summary", operation.summary },
                { "source", operation.source } };
    json["arguments"] = Json::array();
    for (const Argument& argument : operation.arguments) json["arguments"].push_back(argumentJson(argument));
    json["results"] = Json::array();
    for (const Result& result : operation.results) json["results"].push_back(resultJson(result));
    if (takesPictures(operation)) json["reach"] = reachJson(operation.reach);
    json["constraints"] = Json::array();
    for (const Constraint& constraint : operation.constraints)
        json["constraints"].push_back(
            { { "argument", constraint.argument }, { "expected", constraint.text.str() } });
    json["limits"] = nlohmann::ordered_json::array();
    for (const Text& limit : operation.limits) json["limits"].push_back(limit.str());
    json["examples"] = Json::array();
    for (const Example& example : operation.examples)
        json["examples"].push_back(
            { { "title", example.title },
              { "words", std::vector<std::string_view>(example.words.begin(), example.words.end()) } });
    return json;
}

Json schema()
{
    Json operations = Json::array();
    for (const Operation* operation : catalog()) operations.push_back(schemaOf(*operation));
    return { { "interfaceVersion", MIRAVEX_INTERFACE_VERSION }, { "operations", std::move(operations) } };
}

} // namespace miravex
