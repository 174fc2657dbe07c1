#pragma once

#include "miravex/host_interface.h"

namespace miravex {

/// The embedded host's service table, valid for the whole process. Its services work on the objects of
/// host/objects.h, tell the current thread's Ledger of everything they do, and may be called outside any
/// call.
const LibraryDataTable& hostServices() noexcept;

} // namespace miravex
