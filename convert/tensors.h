#pragma once

#include "abi/host_objects.h"

#include <algorithm>
#include <initializer_list>
#include <optional>
#include <span>

namespace miravex {

/// Checked views of host tensors: rank before dimensions, length before data. None of them owns or copies
/// anything; a null handle is a failure everywhere.

/// Dimensions of a tensor, or an empty span when the handle or the list is missing.
inline std::span<const int64_t> dimensionsOf(LibraryData data, KTensor tensor) noexcept
{
    if (!tensor) return {};
    const int64_t rank = data->tensorGetRank(tensor);
    const int64_t* dimensions = rank > 0 ? data->tensorGetDimensions(tensor) : nullptr;
    if (!dimensions) return {};
    return { dimensions, static_cast<std::size_t>(rank) };
}

/// True when a tensor has exactly these dimensions.
inline bool hasDimensions(LibraryData data, KTensor tensor, std::initializer_list<int64_t> expected) noexcept
{
    return std::ranges::equal(dimensionsOf(data, tensor), expected);
}

namespace detail {

template <typename Element, typename Get>
std::optional<std::span<Element>> elements(LibraryData data, KTensor tensor, Get get) noexcept
{
    if (!tensor) return std::nullopt;
    const int64_t length = data->tensorGetFlattenedLength(tensor);
    if (length < 0) return std::nullopt;
    if (length == 0) return std::span<Element> {};
    Element* first = get(tensor);
    if (!first) return std::nullopt;
    return std::span<Element>(first, static_cast<std::size_t>(length));
}

} // namespace detail

/// All elements of a real tensor, row-major: empty for an empty list, nothing when they can't be had.
inline std::optional<std::span<double>> realElements(LibraryData data, KTensor tensor) noexcept
{
    return detail::elements<double>(data, tensor, data->tensorGetRealData);
}

/// All elements of an integer tensor, likewise.
inline std::optional<std::span<int64_t>> integerElements(LibraryData data, KTensor tensor) noexcept
{
    return detail::elements<int64_t>(data, tensor, data->tensorGetIntegerData);
}

} // namespace miravex
