#pragma once

#include <opencv2/core.hpp>

#include <cstddef>
#include <memory>
#include <vector>

namespace miravex::importops {

/// Memory that grows and is never cleared.
class GrowingBuffer {
public:
    /// At least `bytes` bytes; what they held before may be lost.
    unsigned char* atLeast(std::size_t bytes)
    {
        if (bytes > size_) {
            memory_.reset();
            size_ = 0;
            memory_ = std::make_unique_for_overwrite<unsigned char[]>(bytes);
            size_ = bytes;
        }
        return memory_.get();
    }

private:
    std::unique_ptr<unsigned char[]> memory_;
    std::size_t size_ = 0;
};

/// What one worker reuses from file to file during one call.
struct Scratch {
    GrowingBuffer file;
    GrowingBuffer pixels;
    std::vector<unsigned char> wantedRows;
    cv::Mat resized;
    cv::Mat swapped;
    cv::Mat planes[3];
    cv::Mat reals;
    cv::Mat converted;
};

} // namespace miravex::importops
