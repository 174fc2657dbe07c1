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
        , record_(&operation)
    {
        result.integer = untouched;
        for (std::size_t i = 0; i < values.size(); ++i) {
            fill(cells[i], values[i], operation.arguments[i].kind);
            slots.push_back(&cells[i]);
        }
    }

    /// Makes the call. `ledger` learns which objects the library must give back, and may take one that it
    /// returns with take().
    HostErrorCode make(LibraryData table, Ledger& ledger)
    {
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const Argument& argument = record_->arguments[i];
            if (argument.kind == Kind::String) ledger.lend(cells[i].string, 1);
            if (argument.isShared) ledger.lend(cells[i].numericArray, 1);
        }
        return make(table);
    }

    HostErrorCode make(LibraryData table)
    {
        return function(table, static_cast<int64_t>(slots.size()), slots.data(), &result);
    }

    /// What a successful call put into the result slot, taken from the ledger of the call.
    [[nodiscard]] Value take(Ledger& ledger) const
    {
        switch (record_->results.front().kind) {
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
    const Operation* record_;

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

} // namespace miravex::test
