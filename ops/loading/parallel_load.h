#pragma once

#include "convert/handover.h"
#include "ops/loading/scratch.h"

#include <opencv2/core.hpp>

#include <atomic>
#include <exception>
#include <mutex>
#include <random>
#include <string>
#include <vector>

namespace miravex::importops {

/// What every slot of a batch has in common. A slot holds `samples()` floats: pixel by pixel with channels
/// last, plane by plane otherwise; the mean and the reciprocal deviation are laid out like a slot or null.
struct SlotFormat {
    int height = 0;
    int width = 0;
    int channels = 3; ///< 1 or 3
    const float* mean = nullptr;
    const float* reciprocalDeviation = nullptr;
    int colorCode = 0; ///< OpenCV's conversion from BGR
    bool channelsLast = true;

    [[nodiscard]] std::size_t planeSamples() const
    {
        return static_cast<std::size_t>(height) * static_cast<std::size_t>(width);
    }
    [[nodiscard]] std::size_t samples() const { return planeSamples() * static_cast<std::size_t>(channels); }
};

/// The body of the parallel loop. A stripe of the loop is a permission to work, not a share of the work:
/// whoever runs takes the next file until none is left, so that a few stripes of unequal pictures end
/// together and one set of scratch memory serves a whole worker.
class LoadImages : public cv::ParallelLoopBody {
public:
    /// `status` has one byte per path, zero before the loop and 1 after it for each file that was read.
    LoadImages(std::vector<std::string> paths, float* destination, const SlotFormat& format,
               unsigned char* status);

    void operator()(const cv::Range& range) const override;

    /// To be called after the loop: throws what stopped it, if anything did. The files not yet begun were
    /// left alone then.
    void finish() const;

private:
    void load(std::size_t file, Scratch& scratch) const;

    std::vector<std::string> paths_;
    float* destination_;
    SlotFormat format_;
    unsigned char* status_;
    mutable std::atomic<std::size_t> next_ = 0;
    mutable Handover handover_;
    mutable std::mutex mutex_;
    mutable std::exception_ptr failure_;
};

/// Runs the loop over all files, in up to `stripes` stripes; 0 or less: as many as OpenCV has threads. Throws
/// what stopped it.
void loadPictures(std::vector<std::string> paths, float* destination, const SlotFormat& format,
                  unsigned char* status, double stripes);

/// Fills one slot from one file; false when the file could not be read and the slot holds noise.
bool loadImageInto(const std::string& path, float* slot, const SlotFormat& format, Scratch& scratch);

/// Uniform noise in [0, 1) from 53 random bits a sample, less the mean.
void fillWithNoise(float* slot, const SlotFormat& format, std::mt19937& engine);

/// Put an 8-bit picture (BGR, or gray for one channel) of the slot's size into a slot with channels last.
/// "RGB" alone changes the order of the channels.
void writeInterleaved(float* slot, const SlotFormat& format, const cv::Mat& picture, Scratch& scratch);

/// The same with channels first, where every colour space is honoured. A colour picture turned gray fills the
/// first plane only.
void writePlanar(float* slot, const SlotFormat& format, const cv::Mat& picture, Scratch& scratch);

} // namespace miravex::importops
