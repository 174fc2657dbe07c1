#pragma once

#include "host/objects.h"

#include <cstddef>
#include <span>
#include <string>

/// Memory whose misuse the processor reports: pages that may only be read, right up against pages that may
/// not be touched.
namespace miravex::test {

/// Which end of the memory touches the forbidden page; at the other end a page's rest may lie between.
enum class Edge { Behind, Before };

enum class Access { Read, ReadAndWrite };

/// A copy of `contents` on pages of its own, with a forbidden page on either side. `name` is what a report
/// calls it. Throws std::bad_alloc when there is no room.
Block onProtectedPages(std::span<const std::byte> contents, Edge edge, Access access, std::string name);

/// From now on a read or write that such pages forbid ends the process with status 3, after a line on
/// standard error: `call`, which memory, whether it was written, and how far beyond its end.
void reportFaultsOf(const std::string& call);

} // namespace miravex::test
