#pragma once

#include <cstddef>

namespace miravex::importops {

/// slot[i] = (bytes[i] / 255 - mean[i]) * factor[i], rounded to float after each step; mean and factor may be
/// null. The quotient is a product with the float next to 1/255.
void scaleInto(float* slot, const unsigned char* bytes, const float* mean, const float* factor,
               std::size_t count);

/// slot[i] = (slot[i] - mean[i]) * factor[i], likewise.
void normalize(float* slot, const float* mean, const float* factor, std::size_t count);

} // namespace miravex::importops
