#pragma once

#include "abi/host_objects.h"

#include <algorithm>
#include <initializer_list>

namespace miravex {

/// A flat list of reals, filled from the front, that becomes an operation's result.
class FlatResult {
public:
    FlatResult(LibraryData data, std::size_t length) noexcept
        : tensor_(data, TensorTypeReal, { static_cast<int64_t>(length) })
        , next_(tensor_ ? tensor_.reals() : nullptr)
        , usable_(tensor_ && (next_ || length == 0))
    {
    }

    /// Appends values; without effect when the host gave no tensor or no elements.
    void add(std::initializer_list<double> values) noexcept
    {
        if (next_) next_ = std::copy(values.begin(), values.end(), next_);
    }

    /// Hands the list over, with zeros (or whatever the host starts with) where nothing was added.
    [[nodiscard]] HostErrorCode finish(KTensor* result) noexcept
    {
        if (!usable_) return StatusFunctionError;
        *result = tensor_.release();
        return StatusOk;
    }

private:
    NewTensor tensor_;
    double* next_;
    bool usable_;
};

} // namespace miravex
