#pragma once

#include <cstdint>

/// What malloc is asked for by everything in a test program: the library, OpenCV, the embedded host.
/// Sanitizers have a malloc of their own, under which nothing is counted.
namespace miravex::test {

#ifdef MIRAVEX_SANITIZED
inline constexpr bool allocationsAreCounted = false;
#else
inline constexpr bool allocationsAreCounted = true;
#endif

/// Requests that were answered with null since the program began.
int64_t failedAllocations();

/// Blocks that were given out and not given back.
int64_t liveAllocations();

} // namespace miravex::test
