#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace miravex::tool {

/// A bar on standard error, shown only on a terminal and only when the work takes a while, and not while
/// there is another one.
class Progress {
public:
    /// A total of 0 is unknown: the bar then counts.
    Progress(std::string title, int64_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void advance() { reach(done_ + 1, total_); }
    void reach(int64_t done, int64_t total);

private:
    void show();

    std::string title_;
    int64_t total_;
    int64_t done_ = 0;
    bool visible_;
    bool drawn_ = false;
    std::chrono::steady_clock::time_point next_;
};

} // namespace miravex::tool
