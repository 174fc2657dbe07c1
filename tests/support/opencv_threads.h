#pragma once

#include <opencv2/core.hpp>

namespace miravex::test {

/// OpenCV's threads while it lives; afterwards as many as before.
class Threads {
public:
    explicit Threads(int count)
        : before_(cv::getNumThreads())
    {
        cv::setNumThreads(count);
    }
    ~Threads() { cv::setNumThreads(before_); }
    Threads(const Threads&) = delete;
    Threads& operator=(const Threads&) = delete;

private:
    int before_;
};

} // namespace miravex::test
