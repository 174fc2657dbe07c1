#pragma once

#include "miravex/host_interface.h"

/// The functions that operations.def lists; each is described where it is defined.
namespace miravex {

#define MIRAVEX_OPERATION(Name, function, ...) HostErrorCode function(__VA_ARGS__);
#include "ops/features/operations.def"
#undef MIRAVEX_OPERATION

} // namespace miravex
