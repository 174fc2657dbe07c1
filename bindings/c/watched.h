#pragma once

#include "bindings/c/call.h"

namespace miravex::door {

/// Runs a call on a thread of its own while this one asks `stop` whether to go on, some twenty times a
/// second. When it answers other than 0, the call answers MVX_STOPPED and has no result; its thread, with all
/// that the call held, runs on until the operation returns, at the latest until the process ends, which waits
/// for it.
///
/// What is over in a moment (see mvx_call::isBrief) runs on this thread, as the hand-over would take longer.
/// Either way no signal interrupts the run: signals that come meanwhile reach the other threads, or this one
/// afterwards.
int runWatched(mvx_call& call, int (*stop)(void*), void* context);

} // namespace miravex::door
