#include "tools/miravex/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>

namespace miravex::tool {

using namespace std::chrono_literals;

namespace {

/// Bars that exist, on all threads.
std::atomic<int> bars = 0;

} // namespace

Progress::Progress(std::string title, int64_t total)
    : title_(std::move(title))
    , total_(total)
    , visible_(bars++ == 0 && isatty(STDERR_FILENO) != 0)
    , next_(std::chrono::steady_clock::now() + 300ms)
{
}

Progress::~Progress()
{
    --bars;
    if (drawn_) fmt::print(stderr, "\r\033[K");
}

void Progress::reach(int64_t done, int64_t total)
{
    done_ = done;
    total_ = total;
    if (!visible_ || std::chrono::steady_clock::now() < next_) return;
    next_ = std::chrono::steady_clock::now() + 100ms;
    show();
}

void Progress::show()
{
    constexpr int64_t width = 30;
    drawn_ = true;
    if (total_ <= 0) {
        fmt::print(stderr, "\r{} {}\033[K", title_, done_);
    } else {
        const auto filled = static_cast<std::size_t>(std::min(width, width * done_ / total_));
        fmt::print(stderr, "\r{} [{}{}] {}/{}\033[K", title_, std::string(filled, '#'),
                   std::string(static_cast<std::size_t>(width) - filled, '.'), done_, total_);
    }
    std::fflush(stderr);
}

} // namespace miravex::tool
