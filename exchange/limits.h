#pragma once

#include <cstdint>
#include <initializer_list>
#include <limits>

/// Bounds that keep OpenCV from crashing, hanging or exhausting the host. Operations refuse what lies
/// outside them, and catalogue records state them; each says what happens beyond it. Sizes and products are
/// computed in 64 bits. Plain constants: hosts include this header without OpenCV.
namespace miravex::limits {

// --- shared ---------------------------------------------------------------------------------------------

/// Elementary steps (a sample looked at, a cost compared) that a call may be foreseen to take: about an hour
/// of one core. Only calls whose parameters, not their pictures, make them endless come near it.
inline constexpr int64_t work = int64_t { 1 } << 42;

/// Product of factors of at least 0, or the largest integer when it does not fit.
constexpr int64_t product(std::initializer_list<int64_t> factors)
{
    int64_t result = 1;
    for (const int64_t factor : factors) {
        if (factor > 0 && result > std::numeric_limits<int64_t>::max() / factor)
            return std::numeric_limits<int64_t>::max();
        result *= factor;
    }
    return result;
}

/// Samples (rows x columns x channels) of one matrix that an operation makes beyond the size of its inputs.
inline constexpr int64_t resultSamples = int64_t { 1 } << 30;

// --- filters --------------------------------------------------------------------------------------------

/// Median radius: OpenCV's 8-bit median counts in 16 bits, so from aperture 257 on flat areas overflow its
/// histograms (it throws or answers wrongly), and apertures in the thousands crash it.
inline constexpr int64_t medianRadius = 127;

// --- photo ----------------------------------------------------------------------------------------------

// --- features -------------------------------------------------------------------------------------------

// --- importops ------------------------------------------------------------------------------------------

/// Rows and columns of a slot, and files of one batch: OpenCV's matrices and loops count them as int. The
/// headroom keeps its own sums of them from overflowing.
inline constexpr int64_t slotSide = int64_t { 1 } << 30;
inline constexpr int64_t batchFiles = int64_t { 1 } << 30;

} // namespace miravex::limits
