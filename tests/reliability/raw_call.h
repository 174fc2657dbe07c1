#pragma once

#include "tests/support/host_check.h"

namespace miravex::test {

/// The slots of a call, to be made with any table, or spoiled first.
struct RawCall {
    static constexpr int64_t untouched = 0x5EED5EED5EED;

    RawCall(const Operation& operation, Values given)
        : function(library().operation(operation.name))
        , values(std::move(given))
        , cells(values.size())
    {
        result.integer = untouched;
        for (std::size_t i = 0; i < values.size(); ++i) {
            fill(cells[i], values[i], operation.arguments[i].kind);
            slots.push_back(&cells[i]);
        }
    }

    HostErrorCode make(LibraryData table)
    {
        return function(table, static_cast<int64_t>(slots.size()), slots.data(), &result);
    }

    /// What a successful call put into the result slot, taken from the ledger of the call.
    [[nodiscard]] Value take(ResultKind kind, Ledger& ledger) const
    {
        switch (kind) {
        case ResultKind::Image:
        case ResultKind::Sequence: return ledger.takeImage(result.image);
        case ResultKind::RealTensor:
        case ResultKind::IntegerTensor: return ledger.takeTensor(result.tensor);
        case ResultKind::Real: return result.real;
        }
        return {};
    }

    MiravexOperation function;
    Values values;
    std::vector<ValueCell> cells;
    std::vector<ArgumentSlot> slots;
    ValueCell result;

private:
    static void fill(ValueCell& cell, const Value& value, Kind kind)
    {
        cell.integer = 0;
        if (const auto* integer = std::get_if<int64_t>(&value)) {
            if (kind == Kind::Real)
                cell.real = static_cast<double>(*integer);
            else
                cell.integer = *integer;
        }
        if (const auto* real = std::get_if<double>(&value)) cell.real = *real;
        if (const auto* flag = std::get_if<bool>(&value)) cell.boolean = *flag;
        if (const auto* string = std::get_if<std::string>(&value)) cell.string = string->c_str();
        if (const auto* image = std::get_if<ImagePointer>(&value)) cell.image = image->get();
        if (const auto* tensor = std::get_if<TensorPointer>(&value)) cell.tensor = tensor->get();
        if (const auto* array = std::get_if<ArrayPointer>(&value)) cell.numericArray = array->get();
    }
};

/// The bytes of a result.
inline std::string bytesOfResult(const Value& value)
{
    const auto held = [](const Block& block) {
        return std::string(reinterpret_cast<const char*>(block.data()), block.size());
    };
    if (const auto* image = std::get_if<ImagePointer>(&value)) return held((*image)->block);
    if (const auto* tensor = std::get_if<TensorPointer>(&value)) return held((*tensor)->block);
    if (const auto* real = std::get_if<double>(&value)) return std::to_string(*real);
    return {};
}

} // namespace miravex::test
