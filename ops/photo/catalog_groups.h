#pragma once

#include "catalog/record.h"

#include <span>

/// The records of this room by group; catalog.cpp puts them together.
namespace miravex {

std::span<const Operation> denoisingCatalog();
std::span<const Operation> filterCatalog();
std::span<const Operation> exposureCatalog();
std::span<const Operation> motionCatalog();

} // namespace miravex
