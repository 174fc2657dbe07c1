#pragma once

#include "convert/bounds.h"

#include <cstddef>

namespace miravex::bounds {

/// Rows and columns of a slot, and files of one batch: OpenCV's matrices and loops count them as int. The
/// headroom keeps its own sums of them from overflowing.
inline constexpr int64_t slotSide = int64_t { 1 } << 30;
inline constexpr int64_t batchFiles = int64_t { 1 } << 30;

constexpr bool slotFits(int64_t rows, int64_t columns) { return rows <= slotSide && columns <= slotSide; }

/// Pictures are read as gray or as colours.
constexpr bool channelsFit(int64_t channels) { return channels == 1 || channels == 3; }

/// Every file fills a slot of the destination; beyond the last one lies memory of others.
constexpr bool haveSlots(int64_t files, int64_t slots) { return files <= slots; }

constexpr bool filesFit(int64_t files) { return files <= batchFiles; }

/// A path is cut from a string of which `left` bytes are not yet used up.
constexpr bool pathFits(int64_t length, std::size_t left)
{
    return length >= 0 && static_cast<uint64_t>(length) <= left;
}

/// A mean or deviation is read as far as a slot goes, whatever its own dimensions say.
constexpr bool fillsSlot(int64_t elements, int64_t rows, int64_t columns, int64_t channels)
{
    return elements >= product({ rows, columns, channels });
}

} // namespace miravex::bounds
