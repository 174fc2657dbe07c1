#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace miravex::cli {

/// A bar on standard error, shown only on a terminal and only when the work takes a while.
class Progress {
public:
    /// A total of 0 is unknown: the bar then counts.
    Progress(std::string title, int64_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void advance(int64_t steps = 1);

private:
    void show();

    std::string title_;
    int64_t total_;
    int64_t done_ = 0;
    bool visible_;
    bool drawn_ = false;
    std::chrono::steady_clock::time_point next_;
};

} // namespace miravex::cli
