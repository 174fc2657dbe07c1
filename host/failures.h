#pragma once

#include "catalog/record.h"
#include "host/library.h"

#include <span>
#include <string>

namespace miravex {

/// Why a call of acceptable values did not end well, in words; empty when it did. A breach of the rules of
/// ownership is a failure too.
std::string failureOf(const Operation& operation, std::span<const Value> values, const Outcome& outcome);

} // namespace miravex
