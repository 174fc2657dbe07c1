// Compiled with -O3 -ffast-math, which lets GCC call the vector versions of atan2 and log. That is why
// nothing else stands here: no option of this kind may reach other code, nor the linker.

#include "filters/polar_coordinates.h"

#include <cmath>

// One version per instruction set, chosen when the library is loaded. Sanitizers would run before they are
// ready, in the choosing.
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__) && !defined(__SANITIZE_ADDRESS__)        \
    && !defined(__SANITIZE_THREAD__)
#define MIRAVEX_VERSIONS __attribute__((target_clones("avx512f", "avx2", "default")))
#else
#define MIRAVEX_VERSIONS
#endif

namespace miravex {

MIRAVEX_VERSIONS
void polarCoordinates(const double* __restrict x, double y, double* __restrict angles,
                      double* __restrict logRadii, int count) noexcept
{
    for (int i = 0; i < count; ++i) angles[i] = std::atan2(y, x[i]);
    for (int i = 0; i < count; ++i) logRadii[i] = std::log(std::sqrt(x[i] * x[i] + y * y) + 1);
}

} // namespace miravex
