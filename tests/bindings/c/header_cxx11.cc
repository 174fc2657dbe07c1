#include "miravex/miravex_host.h"

#include <cstddef>

// The structures are frozen.
static_assert(sizeof(mvx_samples) == 80, "samples");
static_assert(offsetof(mvx_samples, type) == 8, "samples");
static_assert(offsetof(mvx_samples, color) == 12, "samples");
static_assert(offsetof(mvx_samples, size) == 16, "samples");
static_assert(offsetof(mvx_samples, step) == 48, "samples");
static_assert(sizeof(mvx_numbers) == 80, "numbers");
static_assert(offsetof(mvx_numbers, rank) == 12, "numbers");
static_assert(offsetof(mvx_numbers, step) == 48, "numbers");
static_assert(offsetof(mvx_part, numbers) == 16, "a part");
static_assert(offsetof(mvx_batch, mean_count) == 32, "a batch");
static_assert(offsetof(mvx_batch, progress) == 64, "a batch");
static_assert(sizeof(mvx_batch) == 80, "a batch");
