#pragma once

#include <cstdint>
#include <initializer_list>
#include <limits>

/// What the bounds of several rooms share. Bounds keep OpenCV from crashing, hanging or exhausting the host:
/// operations refuse what lies outside them, and records foretell it from the same constants and functions.
/// Each room has its own in its bounds.h, with what happens beyond it. Sizes and products are computed in 64
/// bits. Plain numbers: records include these headers without OpenCV.
namespace miravex::bounds {

/// Elementary steps (a sample looked at, a cost compared) that a call may be foreseen to take: about an hour
/// of one core. Only calls whose parameters, not their pictures, make them endless come near it.
inline constexpr int64_t work = int64_t { 1 } << 42;

/// Product of factors, or the largest integer when it does not fit or a factor is below 0, as only a host
/// that forges sizes gives it.
constexpr int64_t product(std::initializer_list<int64_t> factors)
{
    constexpr int64_t most = std::numeric_limits<int64_t>::max();
    int64_t result = 1;
    for (const int64_t factor : factors) {
        if (factor < 0 || (factor > 0 && result > most / factor)) return most;
        result *= factor;
    }
    return result;
}

/// Samples (rows x columns x channels) of one matrix that an operation makes beyond the size of its inputs.
inline constexpr int64_t resultSamples = int64_t { 1 } << 30;

/// Sum of terms, or the largest integer when it does not fit or a term is below 0.
constexpr int64_t sum(std::initializer_list<int64_t> terms)
{
    constexpr int64_t most = std::numeric_limits<int64_t>::max();
    int64_t result = 0;
    for (const int64_t term : terms) {
        if (term < 0 || term > most - result) return most;
        result += term;
    }
    return result;
}

} // namespace miravex::bounds
