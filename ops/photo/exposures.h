#pragma once

#include "convert/tensors.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace miravex {

/// The exposures of a bracket, or nothing when they can't be had. Their number and signs are for the caller
/// to check, in the order that its description states.
class Exposures {
public:
    Exposures(LibraryData data, KTensor tensor)
        : values_(realElements(data, tensor))
    {
    }

    [[nodiscard]] bool count(int64_t frames) const
    {
        return values_ && static_cast<int64_t>(values_->size()) == frames;
    }

    [[nodiscard]] bool positive() const
    {
        return std::ranges::all_of(*values_, [](double value) { return value > 0; });
    }

    /// Hosts pass the reciprocals of what OpenCV calls times.
    [[nodiscard]] std::vector<float> times() const
    {
        std::vector<float> reciprocals;
        reciprocals.reserve(values_->size());
        for (const double value : *values_) reciprocals.push_back(static_cast<float>(1.0 / value));
        return reciprocals;
    }

private:
    std::optional<std::span<double>> values_;
};

} // namespace miravex
