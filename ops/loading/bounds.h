#pragma once

#include "convert/bounds.h"

namespace miravex::bounds {

/// Rows and columns of a slot, and files of one batch: OpenCV's matrices and loops count them as int. The
/// headroom keeps its own sums of them from overflowing.
inline constexpr int64_t slotSide = int64_t { 1 } << 30;
inline constexpr int64_t batchFiles = int64_t { 1 } << 30;

} // namespace miravex::bounds
