#pragma once

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <string>
#include <vector>

/// The batch loader as a straight sequence of OpenCV calls: what tests and benches hold the library against.
namespace miravex::plain {

struct Batch {
    int height = 0;
    int width = 0;
    int channels = 3;
    int colorCode = cv::COLOR_BGR2RGB;
    bool channelsLast = true;
    const float* mean = nullptr;
    const float* rstddev = nullptr;

    [[nodiscard]] std::size_t samples() const
    {
        return static_cast<std::size_t>(height) * static_cast<std::size_t>(width)
            * static_cast<std::size_t>(channels);
    }
};

/// False, and the slot left alone, when OpenCV can't read the file.
bool load(const std::string& path, float* slot, const Batch& batch);

/// All files by cv::parallel_for_; one status byte per file.
std::vector<unsigned char> loadAll(const std::vector<std::string>& paths, float* slots, const Batch& batch);

} // namespace miravex::plain
