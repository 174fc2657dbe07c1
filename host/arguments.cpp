#include "host/arguments.h"

#include "catalog/catalog.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace miravex {

namespace {

struct Viewer {
    ValueView operator()(std::monostate) const { return {}; }
    ValueView operator()(int64_t number) const { return number; }
    ValueView operator()(double number) const { return number; }
    ValueView operator()(bool flag) const { return flag; }
    ValueView operator()(const std::string& string) const { return std::string_view(string); }
    ValueView operator()(const ImagePointer& image) const
    {
        if (!image) return NullHandle { "image" };
        const ImageShape& shape = image->shape;
        return ImageFacts { shape.rows,   shape.columns,    shape.channels,
                            shape.slices, image->pixelType, image->colorSpace };
    }
    ValueView operator()(const TensorPointer& tensor) const
    {
        if (!tensor) return NullHandle { "tensor" };
        TensorFacts facts { tensor->dimensions, tensor->elementType, {}, {} };
        if (tensor->elementType == TensorTypeReal)
            facts.reals = tensor->reals();
        else
            facts.integers = tensor->integers();
        return facts;
    }
    ValueView operator()(const ArrayPointer& array) const
    {
        if (!array) return NullHandle { "array" };
        ArrayFacts facts { array->dimensions, array->elementType, {} };
        if (array->elementType == NumericArrayTypeReal32) facts.floats = array->floats();
        return facts;
    }
};

ValueView viewOf(const Value& value) { return std::visit(Viewer {}, value); }

Value defaultOf(const Argument& argument, const CallView& call)
{
    if (const auto* derived = std::get_if<DerivedDefault>(&argument.defaultValue)) {
        const double value = derived->compute(call);
        if (argument.kind == Kind::Integer) return static_cast<int64_t>(value);
        return value;
    }
    if (const auto* integer = std::get_if<int64_t>(&argument.defaultValue)) {
        if (argument.kind == Kind::Real) return static_cast<double>(*integer);
        return *integer;
    }
    if (const auto* real = std::get_if<double>(&argument.defaultValue)) return *real;
    if (const auto* flag = std::get_if<bool>(&argument.defaultValue)) return *flag;
    if (const auto* word = std::get_if<std::string_view>(&argument.defaultValue)) return std::string(*word);
    if (std::holds_alternative<Zeros>(argument.defaultValue))
        return makeRealTensor({ static_cast<int64_t>(argument.tensor.fixedLength()) });
    return {};
}

bool isDerived(const Argument& argument)
{
    return std::holds_alternative<DerivedDefault>(argument.defaultValue);
}

std::vector<std::string> argumentNames(const Operation& operation)
{
    std::vector<std::string> names;
    for (const Argument& argument : operation.arguments) names.emplace_back(argument.name);
    return names;
}

/// Stands for an argument that is left out: a 1 x 1 image, an empty list, 0.
Value placeholder(const Argument& argument)
{
    switch (argument.kind) {
    case Kind::Integer: return int64_t { 0 };
    case Kind::Real: return 0.0;
    case Kind::Boolean: return false;
    case Kind::String: return std::string();
    case Kind::Image: return makeImage({ .rows = 1, .columns = 1 }, PixelTypeBit, ColorSpaceUnspecified);
    case Kind::RealTensor: return emptyList();
    case Kind::IntegerTensor: return makeIntegerTensor({ 0 });
    case Kind::NumericArray: return makeFloatArray({ 0 });
    }
    return {};
}

} // namespace

CallView viewOf(const Operation& operation, std::span<const Value> values)
{
    std::vector<ValueView> views;
    views.reserve(values.size());
    for (const Value& value : values) views.push_back(viewOf(value));
    return { operation, std::move(views) };
}

Completed complete(const Operation& operation, NamedValues given)
{
    Completed completed;
    const auto count = operation.arguments.size();
    completed.values.resize(count);
    std::vector<bool> wasGiven(count, false);
    for (auto& [name, value] : given) {
        const int index = argumentIndex(operation, name);
        if (index < 0) {
            const auto names = argumentNames(operation);
            const auto near = closest(name, names);
            completed.refusals.push_back(
                { "", fmt::format("{} has no argument \"{}\"", kebabCase(operation.name), name),
                  fmt::format("one of {}", fmt::join(names, ", ")), near.empty() ? "" : near.front() });
            continue;
        }
        wasGiven[static_cast<std::size_t>(index)] = !std::holds_alternative<std::monostate>(value);
        completed.values[static_cast<std::size_t>(index)] = std::move(value);
    }

    // Plain defaults and flags first: derived defaults may look at them.
    for (const bool derived : { false, true }) {
        for (std::size_t i = 0; i < count; ++i) {
            const Argument& argument = operation.arguments[i];
            if (wasGiven[i] || isDerived(argument) != derived) continue;
            if (!argument.impliedBy.empty()) {
                const bool set =
                    wasGiven[static_cast<std::size_t>(argumentIndex(operation, argument.impliedBy))];
                completed.values[i] = argument.kind == Kind::Integer ? Value(int64_t { set }) : Value(set);
            } else {
                completed.values[i] = defaultOf(argument, viewOf(operation, completed.values));
            }
        }
    }
    for (std::size_t i = 0; i < count; ++i) {
        const Argument& argument = operation.arguments[i];
        if (!std::holds_alternative<std::monostate>(completed.values[i])) continue;
        const bool needed = !argument.optional
            || (!argument.usedWhen.argument.empty() && !argument.tensor.orEmpty
                && viewOf(operation, completed.values).holds(argument.usedWhen));
        if (needed)
            completed.refusals.push_back({ std::string(argument.name), "missing",
                                           fmt::format("{} ({})", nameOf(argument.kind), accepted(argument)),
                                           "" });
        completed.values[i] = placeholder(argument);
    }
    return completed;
}

std::vector<Refusal> check(const Operation& operation, std::span<const Value> values)
{
    return check(viewOf(operation, values));
}

Completed acceptable(const Operation& operation, NamedValues given)
{
    Completed completed = complete(operation, std::move(given));
    if (completed.refusals.empty()) completed.refusals = check(operation, completed.values);
    return completed;
}

ImagePointer withPixelTypeFor(const Argument& argument, ImagePointer image, std::vector<std::string>& notes)
{
    const ImageRule& rule = argument.image;
    const PixelType given = image->pixelType;
    if (rule.acceptsPixelType(given)) return image;
    PixelType wanted = given;
    for (PixelType type = PixelTypeBit; type <= PixelTypeReal; ++type)
        if (rule.acceptsPixelType(type) && (wanted == given || wanted < given)) wanted = type;
    if (wanted == given) return image;
    if (wanted < given)
        notes.push_back(fmt::format("{}: {} samples are converted to {}", argument.name, pixelTypeName(given),
                                    pixelTypeName(wanted)));
    return convertImage(*image, wanted, image->interleaved);
}

std::string describe(const Value& value) { return inWords(viewOf(value)); }

} // namespace miravex
