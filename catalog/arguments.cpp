#include "catalog/arguments.h"

#include "catalog/catalog.h"
#include "convert/integers.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>

namespace miravex {

namespace {

bool isNumber(const ValueView& value)
{
    return std::holds_alternative<int64_t>(value) || std::holds_alternative<double>(value);
}

bool hasKind(const ValueView& value, Kind kind)
{
    switch (kind) {
    case Kind::Integer: return std::holds_alternative<int64_t>(value) || std::holds_alternative<bool>(value);
    case Kind::Real: return isNumber(value);
    case Kind::Boolean: return std::holds_alternative<bool>(value);
    case Kind::String: return std::holds_alternative<std::string_view>(value);
    case Kind::Image: return std::holds_alternative<ImageFacts>(value);
    case Kind::NumericArray: return std::holds_alternative<ArrayFacts>(value);
    case Kind::RealTensor:
    case Kind::IntegerTensor: {
        const auto* tensor = std::get_if<TensorFacts>(&value);
        return tensor
            && tensor->elementType == (kind == Kind::RealTensor ? TensorTypeReal : TensorTypeInteger);
    }
    }
    return false;
}

std::string sizes(std::span<const int64_t> dimensions)
{
    return fmt::format("{}", fmt::join(dimensions, " x "));
}

std::string boundsText(const Bound& minimum, const Bound& maximum)
{
    std::vector<std::string> parts;
    if (minimum.present)
        parts.push_back((minimum.inclusive ? "at least " : "more than ") + numberText(minimum.value));
    if (maximum.present)
        parts.push_back((maximum.inclusive ? "at most " : "less than ") + numberText(maximum.value));
    return fmt::format("{}", fmt::join(parts, " and "));
}

/// NaN is above nothing, and so outside of an exclusive lower bound alone: the library asks whether a value
/// is above such a bound, and otherwise whether it is too small or too large.
bool tooSmall(double value, const Bound& bound)
{
    return bound.present && (bound.inclusive ? value < bound.value : !(value > bound.value));
}
bool tooLarge(double value, const Bound& bound)
{
    return bound.present && (bound.inclusive ? value > bound.value : value >= bound.value);
}

/// The accepted number next to one that is out of bounds.
std::string nearest(const Argument& argument, double value)
{
    const bool low = tooSmall(value, argument.minimum);
    const Bound& bound = low ? argument.minimum : argument.maximum;
    double best = bound.value;
    if (argument.kind == Kind::Integer) {
        if (!bound.inclusive) best += low ? 1 : -1;
        if (argument.mustBeOdd && std::fmod(best, 2) == 0) best += low ? 1 : -1;
    } else if (!bound.inclusive) {
        const auto* usual = std::get_if<double>(&argument.defaultValue);
        if (!usual) return "";
        best = *usual;
    }
    return numberText(best);
}

std::vector<std::string> words(uint32_t mask, std::string (*name)(int))
{
    std::vector<std::string> names;
    for (int i = 0; i < 32; ++i)
        if ((mask >> i) & 1U) names.push_back(name(i));
    return names;
}

/// "1", "1 or 3", "1, 3 or 4".
std::string listed(const std::vector<std::string>& words)
{
    if (words.size() < 2) return words.empty() ? "" : words.front();
    return fmt::format("{} or {}", fmt::join(words.begin(), words.end() - 1, ", "), words.back());
}

std::string imageText(const Argument& argument)
{
    const ImageRule& rule = argument.image;
    std::string text = rule.rank == 3 ? "a sequence"
        : rule.rank == 2              ? "a 2D image"
                                      : "an image or a sequence";
    if (rule.channels)
        text += fmt::format(" of {} channel{}",
                            listed(words(rule.channels, [](int i) { return std::to_string(i); })),
                            rule.channels == 1U << 1U ? "" : "s");
    if (rule.pixelTypes)
        text +=
            fmt::format(", pixel type {}",
                        listed(words(rule.pixelTypes, [](int i) { return std::string(pixelTypeName(i)); })));
    if (rule.colorSpaces)
        text += fmt::format(", colour space {}", listed(words(rule.colorSpaces, colorSpaceName)));
    if (rule.minimumRows > 1 || rule.minimumColumns > 1)
        text += fmt::format(", at least {} rows and {} columns", rule.minimumRows, rule.minimumColumns);
    if (rule.minimumSlices > 1) text += fmt::format(", at least {} frames", rule.minimumSlices);
    if (!rule.sameAs.empty()) text += fmt::format(", of the same size as {}", rule.sameAs);
    return text;
}

/// What is counted in the argument that a size follows; empty for plain numbers.
std::string_view countedIn(Extent::Of of)
{
    switch (of) {
    case Extent::Of::Rows:
    case Extent::Of::First: return "rows";
    case Extent::Of::Columns:
    case Extent::Of::Second: return "columns";
    case Extent::Of::Channels: return "channels";
    case Extent::Of::Slices: return "frames";
    case Extent::Of::Length: return "elements";
    case Extent::Of::Exactly:
    case Extent::Of::AtLeast: break;
    }
    return "";
}

std::string extentText(const Extent& extent)
{
    if (extent.of == Extent::Of::Exactly) return std::to_string(extent.count);
    if (extent.of == Extent::Of::AtLeast)
        return extent.count > 0 ? fmt::format("({} or more)", extent.count) : "n";
    return fmt::format("{} of {}", countedIn(extent.of), extent.argument);
}

std::string tensorText(const Argument& argument)
{
    const TensorRule& rule = argument.tensor;
    std::vector<std::string> extents;
    for (std::size_t i = 0; i < rule.rank; ++i) extents.push_back(extentText(rule.shape[i]));
    std::string text = std::string(nameOf(argument.kind));
    if (rule.rank == 1 && !countedIn(rule.shape[0].of).empty())
        text = fmt::format("as many {} as there are {} in {}", text, countedIn(rule.shape[0].of),
                           rule.shape[0].argument);
    else if (rule.rank > 0)
        text = fmt::format("{} {}", fmt::join(extents, " x "), text);
    if (rule.orEmpty) text += " or the empty list";
    const std::string bounds = boundsText(rule.minimumElement, rule.maximumElement);
    if (!bounds.empty()) text += ", each " + bounds;
    return text;
}

bool imageFits(const Argument& argument, const CallView& call)
{
    const ImageRule& rule = argument.image;
    const ImageFacts given = *call.image(argument.name);
    if (rule.rank != 0 && given.rank() != rule.rank) return false;
    if (!rule.acceptsChannels(given.channels) || !rule.acceptsPixelType(given.pixelType)
        || !rule.acceptsColorSpace(given.colorSpace))
        return false;
    if (given.rows < rule.minimumRows || given.columns < rule.minimumColumns) return false;
    if (given.rank() == 3 && given.slices < rule.minimumSlices) return false;
    return rule.sameAs.empty()
        || (given.rows == call.rows(rule.sameAs) && given.columns == call.columns(rule.sameAs));
}

bool shapeFits(const Argument& argument, const CallView& call)
{
    const TensorRule& rule = argument.tensor;
    const TensorFacts given = *call.tensor(argument.name);
    if (rule.orEmpty && given.length() == 0) return true;
    if (rule.rank == 0) return true;
    if (given.dimensions.size() != rule.rank) return false;
    for (std::size_t i = 0; i < rule.rank; ++i) {
        const int64_t wanted = call.resolve(rule.shape[i]);
        const bool fits = rule.shape[i].of == Extent::Of::AtLeast ? given.dimensions[i] >= wanted
                                                                  : given.dimensions[i] == wanted;
        if (!fits) return false;
    }
    return true;
}

void checkNumber(const Argument& argument, double value, std::vector<Refusal>& refusals)
{
    if (std::isnan(value)) {
        const bool bounded = argument.minimum.present || argument.maximum.present;
        if (bounded && !argument.acceptsNan)
            refusals.push_back({ std::string(argument.name), "no number", accepted(argument), "" });
        return;
    }
    // Of an integer that is cut to 32 bits the library looks at all bits for what is too small alone.
    const double seen = argument.low32 ? lowInt32(static_cast<int64_t>(value)) : value;
    if (tooSmall(value, argument.minimum) || tooLarge(seen, argument.maximum))
        refusals.push_back(
            { std::string(argument.name), numberText(value), accepted(argument), nearest(argument, value) });
    else if (argument.mustBeOdd && std::fmod(seen, 2) == 0)
        refusals.push_back(
            { std::string(argument.name), numberText(value), "an odd number", numberText(value + 1) });
}

void checkText(const Argument& argument, std::string_view value, std::vector<Refusal>& refusals)
{
    if (argument.choices.empty() || std::ranges::find(argument.choices, value) != argument.choices.end())
        return;
    const std::vector<std::string> choices(argument.choices.begin(), argument.choices.end());
    const auto near = closest(value, choices);
    refusals.push_back({ std::string(argument.name), fmt::format("\"{}\"", value), accepted(argument),
                         near.empty() ? "" : near.front() });
}

void checkElements(const Argument& argument, const CallView& call, std::vector<Refusal>& refusals)
{
    const TensorRule& rule = argument.tensor;
    if (!rule.minimumElement.present && !rule.maximumElement.present) return;
    for (const double element : call.reals(argument.name)) {
        if (!tooSmall(element, rule.minimumElement) && !tooLarge(element, rule.maximumElement)) continue;
        refusals.push_back(
            { std::string(argument.name), "a list with " + numberText(element), accepted(argument), "" });
        return;
    }
}

void checkArgument(const Argument& argument, const CallView& call, std::vector<Refusal>& refusals)
{
    const ValueView& value = call.value(argument.name);
    if (!hasKind(value, argument.kind)) {
        refusals.push_back({ std::string(argument.name), inWords(value),
                             fmt::format("{} ({})", nameOf(argument.kind), accepted(argument)), "" });
        return;
    }
    switch (argument.kind) {
    case Kind::Integer:
    case Kind::Real: return checkNumber(argument, call.real(argument.name), refusals);
    case Kind::String: return checkText(argument, call.text(argument.name), refusals);
    case Kind::Image:
        if (!imageFits(argument, call))
            refusals.push_back({ std::string(argument.name), inWords(value), accepted(argument), "" });
        return;
    case Kind::RealTensor:
    case Kind::IntegerTensor:
        if (!shapeFits(argument, call))
            refusals.push_back({ std::string(argument.name), inWords(value), accepted(argument), "" });
        else
            checkElements(argument, call, refusals);
        return;
    case Kind::Boolean:
    case Kind::NumericArray: return;
    }
}

} // namespace

std::string Refusal::message() const
{
    std::string text = argument.empty() ? value : fmt::format("{} is {}", argument, value);
    if (!expected.empty()) text += ", expected " + expected;
    if (!suggestion.empty()) text += fmt::format(" (try {})", suggestion);
    return text;
}

std::string numberText(double value)
{
    constexpr double exactIntegers = 9007199254740992.0;
    if (std::abs(value) < exactIntegers && value == std::floor(value)) return fmt::format("{:.0f}", value);
    return fmt::format("{}", value);
}

std::string inWords(const ValueView& value)
{
    struct Describer {
        std::string operator()(std::monostate) const { return "missing"; }
        std::string operator()(int64_t number) const { return std::to_string(number); }
        std::string operator()(double number) const { return numberText(number); }
        std::string operator()(bool flag) const { return flag ? "true" : "false"; }
        std::string operator()(std::string_view string) const { return fmt::format("\"{}\"", string); }
        std::string operator()(const ImageFacts& image) const
        {
            return fmt::format(
                "{} x {} {}{} with {} channel{} ({})", image.columns, image.rows,
                pixelTypeName(image.pixelType),
                image.slices > 0 ? fmt::format(" sequence of {} frames", image.slices) : " image",
                image.channels, image.channels == 1 ? "" : "s", colorSpaceName(image.colorSpace));
        }
        std::string operator()(const TensorFacts& tensor) const
        {
            if (tensor.length() == 0 && tensor.dimensions.size() == 1) return "the empty list";
            return fmt::format("{} {}", sizes(tensor.dimensions),
                               tensor.elementType == TensorTypeReal ? "reals" : "integers");
        }
        std::string operator()(const ArrayFacts& array) const
        {
            return fmt::format("{} array", sizes(array.dimensions));
        }
        std::string operator()(const NullHandle& handle) const { return fmt::format("no {}", handle.kind); }
    };
    return std::visit(Describer {}, value);
}

std::string accepted(const Argument& argument)
{
    switch (argument.kind) {
    case Kind::Integer:
    case Kind::Real: {
        std::string text = boundsText(argument.minimum, argument.maximum);
        if (argument.mustBeOdd) text += text.empty() ? "an odd number" : ", odd";
        return text;
    }
    case Kind::String:
        if (!argument.choices.empty()) return fmt::format("one of {}", fmt::join(argument.choices, ", "));
        return argument.isPath ? "the path of a file" : "";
    case Kind::Image: return imageText(argument);
    case Kind::RealTensor:
    case Kind::IntegerTensor: return tensorText(argument);
    case Kind::Boolean: return "true or false";
    case Kind::NumericArray: return "an array of 32-bit floats";
    }
    return "";
}

std::vector<Refusal> check(const CallView& call)
{
    const Operation& operation = call.operation();
    std::vector<Refusal> refusals;
    if (call.count() != operation.arguments.size()) {
        refusals.push_back({ "", fmt::format("{} arguments given", call.count()),
                             std::to_string(operation.arguments.size()), "" });
        return refusals;
    }
    for (const Argument& argument : operation.arguments) {
        // A list that may be empty says itself when it was left out; other placeholders need not fit.
        const bool unused = argument.optional
            && (argument.usedWhen.argument.empty() ? !argument.tensor.orEmpty
                                                   : !call.holds(argument.usedWhen));
        if (!unused) checkArgument(argument, call, refusals);
    }
    if (!refusals.empty()) return refusals;
    for (const Constraint& constraint : operation.constraints)
        if (!constraint.holds(call))
            refusals.push_back({ std::string(constraint.argument), inWords(call.value(constraint.argument)),
                                 constraint.text.str(), "" });
    return refusals;
}

} // namespace miravex
