#pragma once

#include "catalog/record.h"
#include "host/objects.h"
#include "miravex/miravex_host.h"

namespace miravex::door {

/// True when the description says where numbers lie: a known type, a rank of 0 to 4, sizes from 0 on that
/// can be counted, and data unless there are none.
bool isReadable(const mvx_numbers& numbers) noexcept;

/// Numbers as the value that the argument wants where nothing is lost by it, and as reals or integers
/// otherwise, so that the record refuses them in its own words.
Value valueOf(const Argument& argument, const mvx_numbers& numbers);

/// One number, likewise.
Value valueOf(const Argument& argument, int64_t number);
Value valueOf(const Argument& argument, double number);

} // namespace miravex::door
