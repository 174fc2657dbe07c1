#pragma once

#include "catalog/record.h"

#include <span>

namespace miravex {

/// The room's records by group; catalog.cpp puts them together.
std::span<const Operation> keypointRecords();
std::span<const Operation> lineRecords();
std::span<const Operation> shapeRecords();
std::span<const Operation> matchingRecords();
std::span<const Operation> faceRecords();

} // namespace miravex
