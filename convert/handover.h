#pragma once

#include <atomic>

namespace miravex {

/// Hands memory from the thread that starts a parallel loop to its workers and back. OpenCV's loop does so
/// too, but inside a library that a race detector can't look into; this says it in code of ours.
class Handover {
public:
    /// What this thread wrote so far is for those who take.
    void give() noexcept { edge_.fetch_add(1, std::memory_order_acq_rel); }
    /// From now on this thread sees what was given.
    void take() const noexcept { static_cast<void>(edge_.load(std::memory_order_acquire)); }

private:
    std::atomic<unsigned> edge_ = 0;
};

} // namespace miravex
