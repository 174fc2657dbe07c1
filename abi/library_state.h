#pragma once

#include "miravex/host_interface.h"

namespace miravex {

/// The comparison routine saved by the last successful KorvaneLibrary_initialize, or null before it. It is
/// the only state that the library keeps between calls, written at initialisation alone.
HostCompareReals hostCompareReals() noexcept;

} // namespace miravex
