// Compiled with -ffp-contract=off: a fused multiply-subtract would round once where the steps round twice.
#include "ops/loading/scale_into.h"

#include "convert/instruction_sets.h"

namespace miravex::importops {

namespace {

constexpr float toUnit = 0.003921568859368563F;

} // namespace

#define MIRAVEX_LOOP(expression)                                                                             \
    for (std::size_t i = 0; i < count; ++i) slot[i] = expression

MIRAVEX_FOR_CPUS("avx2", "default")
void scaleInto(float* __restrict slot, const unsigned char* __restrict bytes, const float* __restrict mean,
               const float* __restrict factor, std::size_t count)
{
    if (mean && factor)
        MIRAVEX_LOOP((static_cast<float>(bytes[i]) * toUnit - mean[i]) * factor[i]);
    else if (mean)
        MIRAVEX_LOOP(static_cast<float>(bytes[i]) * toUnit - mean[i]);
    else if (factor)
        MIRAVEX_LOOP(static_cast<float>(bytes[i]) * toUnit * factor[i]);
    else
        MIRAVEX_LOOP(static_cast<float>(bytes[i]) * toUnit);
}

MIRAVEX_FOR_CPUS("avx2", "default")
void normalize(float* __restrict slot, const float* __restrict mean, const float* __restrict factor,
               std::size_t count)
{
    if (mean) MIRAVEX_LOOP(slot[i] - mean[i]);
    if (factor) MIRAVEX_LOOP(slot[i] * factor[i]);
}

#undef MIRAVEX_LOOP

} // namespace miravex::importops
