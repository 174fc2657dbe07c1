// Compiled with -O3 -ffast-math, which lets GCC call the vector versions of atan2 and log. That is why
// nothing else stands here: no option of this kind may reach other code, nor the linker.

#include "ops/filters/polar_coordinates.h"

#include "convert/instruction_sets.h"

#include <cmath>

namespace miravex {

MIRAVEX_FOR_CPUS("avx512f", "avx2", "default")
void polarCoordinates(const double* __restrict x, double y, double* __restrict angles,
                      double* __restrict logRadii, int count) noexcept
{
    for (int i = 0; i < count; ++i) angles[i] = std::atan2(y, x[i]);
    for (int i = 0; i < count; ++i) logRadii[i] = std::log(std::sqrt(x[i] * x[i] + y * y) + 1);
}

} // namespace miravex
