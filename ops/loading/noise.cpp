#include "ops/loading/parallel_load.h"

#include <algorithm>
#include <cmath>

namespace miravex::importops {

void fillWithNoise(float* slot, const SlotFormat& format, std::mt19937& engine)
{
    // One draw in 2^25 would round up to 1 as a float.
    const float belowOne = std::nextafter(1.0F, 0.0F);
    for (std::size_t i = 0; i < format.samples(); ++i) {
        const double draw = std::generate_canonical<double, 53>(engine);
        slot[i] = std::min(static_cast<float>(draw), belowOne);
        if (format.mean) slot[i] -= format.mean[i];
    }
}

} // namespace miravex::importops
