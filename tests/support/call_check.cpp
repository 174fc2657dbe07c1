#include "tests/support/call_check.h"

#include "host/arguments.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace miravex::test {

namespace {

/// The memory of an argument's object; null for plain values.
const Block* blockOf(const Value& value)
{
    const auto held = [](const auto& pointer) { return pointer ? &pointer->block : nullptr; };
    if (const auto* image = std::get_if<ImagePointer>(&value)) return held(*image);
    if (const auto* tensor = std::get_if<TensorPointer>(&value)) return held(*tensor);
    if (const auto* array = std::get_if<ArrayPointer>(&value)) return held(*array);
    return nullptr;
}

std::string contents(const Value& value)
{
    const Block* block = blockOf(value);
    return block && block->data() ? std::string(reinterpret_cast<const char*>(block->data()), block->size())
                                  : std::string();
}

} // namespace

std::string describeCall(const Operation& operation, std::span<const Value> values)
{
    std::vector<std::string> words;
    for (const Value& value : values) words.push_back(describe(value));
    return fmt::format("{}({})", operation.name, fmt::join(words, ", "));
}

std::vector<std::string> breaches(const Library& library, const Operation& operation,
                                  std::span<const Value> values, Outcome& outcome, Faults faults)
{
    std::vector<std::string> before;
    for (const Value& value : values) before.push_back(contents(value));

    outcome = call(library, operation, values, faults);

    std::vector<std::string> broken = outcome.accounting.violations;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const bool known = i < operation.arguments.size();
        const std::string_view name = known ? operation.arguments[i].name : "argument beyond the last";
        const Block* block = blockOf(values[i]);
        if (block && !block->intact()) broken.push_back(fmt::format("wrote beyond the host's {}", name));
        if (!(known && operation.arguments[i].rewritten) && before[i] != contents(values[i]))
            broken.push_back(fmt::format("the host's own {} changed", name));
    }
    return broken;
}

} // namespace miravex::test
