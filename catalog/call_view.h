#pragma once

#include "catalog/record.h"
#include "host/objects.h"

#include <span>
#include <string_view>

namespace miravex {

/// The values of a call by argument name, for defaults and constraints. A value that is absent, or of
/// another kind than asked, reads as 0, false, empty.
class CallView {
public:
    CallView(const Operation& operation, std::span<const Value> values)
        : operation_(&operation)
        , values_(values)
    {
    }

    [[nodiscard]] const Operation& operation() const noexcept { return *operation_; }
    /// The value itself, absent for an unknown name.
    [[nodiscard]] const Value& value(std::string_view name) const;
    [[nodiscard]] bool has(std::string_view name) const;

    [[nodiscard]] int64_t integer(std::string_view name) const;
    [[nodiscard]] double real(std::string_view name) const;
    [[nodiscard]] bool boolean(std::string_view name) const;
    [[nodiscard]] std::string_view text(std::string_view name) const;

    [[nodiscard]] const Image* image(std::string_view name) const;
    [[nodiscard]] int64_t rows(std::string_view image) const;
    [[nodiscard]] int64_t columns(std::string_view image) const;
    [[nodiscard]] int64_t channels(std::string_view image) const;
    [[nodiscard]] int64_t slices(std::string_view image) const;

    [[nodiscard]] const Tensor* tensor(std::string_view name) const;
    [[nodiscard]] int64_t length(std::string_view tensor) const;
    /// Dimension `index`, counted from 0; 0 beyond the rank.
    [[nodiscard]] int64_t dimension(std::string_view tensor, std::size_t index) const;
    [[nodiscard]] std::span<const double> reals(std::string_view tensor) const;

    /// True when `condition` is empty or the argument it names has the value it names.
    [[nodiscard]] bool holds(const Condition& condition) const;

    /// What the extent stands for in this call: its number, or the size it refers to.
    [[nodiscard]] int64_t resolve(const Extent& extent) const;

private:
    const Operation* operation_;
    std::span<const Value> values_;
};

} // namespace miravex
