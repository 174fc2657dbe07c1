#pragma once

#include "abi/host_objects.h"

#include <algorithm>
#include <initializer_list>
#include <type_traits>

namespace miravex {

/// A tensor of reals (double) or integers (int64_t), filled from the front, that becomes an operation's
/// result.
template <typename Element> class FlatResult {
    static constexpr bool isReal = std::is_same_v<Element, double>;

public:
    FlatResult(LibraryData data, std::initializer_list<int64_t> dimensions) noexcept
        : tensor_(data, isReal ? TensorTypeReal : TensorTypeInteger, dimensions)
    {
        if (!tensor_) return;
        if constexpr (isReal)
            next_ = tensor_.reals();
        else
            next_ = tensor_.integers();
        usable_ = next_ || std::ranges::find(dimensions, 0) != dimensions.end();
    }

    /// Appends values; without effect when the host gave no tensor or no elements.
    void add(std::initializer_list<Element> values) noexcept
    {
        if (next_) next_ = std::copy(values.begin(), values.end(), next_);
    }

    /// Hands the tensor over, with zeros (or whatever the host starts with) where nothing was added.
    [[nodiscard]] HostErrorCode finish(KTensor* result) noexcept
    {
        if (!usable_) return StatusFunctionError;
        *result = tensor_.release();
        return StatusOk;
    }

private:
    NewTensor tensor_;
    Element* next_ = nullptr;
    bool usable_ = false;
};

/// The number of a container's elements as a host counts.
constexpr int64_t countOf(const auto& container) { return static_cast<int64_t>(container.size()); }

} // namespace miravex
