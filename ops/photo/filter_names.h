#pragma once

#include "convert/name_table.h"

#include <opencv2/photo.hpp>

namespace miravex {

/// Kinds of the edge-preserving filter by the names that hosts use.
inline constexpr std::array edgeFilters {
    Named<int> { "RECURS_FILTER", cv::RECURS_FILTER },
    Named<int> { "NORMCONV_FILTER", cv::NORMCONV_FILTER },
};
inline constexpr auto edgeFilterNames = namesOf(edgeFilters);

} // namespace miravex
