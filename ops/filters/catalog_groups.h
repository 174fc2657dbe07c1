#pragma once

#include "catalog/record.h"

#include <span>

namespace miravex {

/// The room's records by group; catalog.cpp puts them together.
std::span<const Operation> smoothingRecords();
std::span<const Operation> neighbourhoodRecords();
std::span<const Operation> transformRecords();

} // namespace miravex
