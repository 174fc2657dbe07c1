#pragma once

#include "catalog/arguments.h"
#include "catalog/picture_file.h"
#include "host/library.h"

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace miravex {

/// What becomes of files that can't be read or are cut short.
enum class OnError {
    Fill, ///< their slots hold noise, or what a truncated file had to show
    Skip, ///< they get no slot: the following files move up
    Fail, ///< loading ends at the first of them
};

/// How a batch of image files becomes one array of floats.
struct BatchOptions {
    int64_t height = 224;
    int64_t width = 224;
    bool channelsLast = false;
    std::string colorSpace = "RGB"; ///< RGB, XYZ, LAB, LUV or Grayscale, which has one channel
    /// Subtracted, and divided by: nothing, a number for all, one per channel, or a whole slot in its layout.
    std::vector<float> mean;
    std::vector<float> deviation;
    OnError onError = OnError::Fill;
    int64_t chunkBytes = int64_t { 128 } << 20U; ///< results between two reports of progress, about

    [[nodiscard]] int64_t channels() const { return colorSpace == "Grayscale" ? 1 : 3; }
    [[nodiscard]] int64_t samples() const { return height * width * channels(); }
    /// Dimensions of the array for `files` files.
    [[nodiscard]] std::vector<int64_t> shape(int64_t files) const;
};

/// Everything against these options, in words; empty when they can be used.
std::vector<Refusal> check(const BatchOptions& options);

struct FailedFile {
    int64_t position = 0; ///< in the list of files, counted from 0
    std::string path;
    FileState state = FileState::Whole; ///< Whole: complete to look at, and yet OpenCV can't decode it

    /// "missing", "truncated" ... and "damaged" for a file that only looks whole.
    [[nodiscard]] std::string_view reason() const;
};

struct BatchProgress {
    int64_t done = 0;
    int64_t files = 0;
    int64_t failed = 0;
};

struct BatchReport {
    int64_t files = 0; ///< looked at
    int64_t slots = 0; ///< filled, from the first on
    std::vector<FailedFile> failed; ///< in the order of the list
    bool stopped = false; ///< by the caller, or by OnError::Fail
    double seconds = 0;
};

/// Loads files into consecutive slots of `slots`, chunk by chunk: after each chunk `progress` (may be empty)
/// hears of it and may end the work by answering false; `finished` (may be empty) hears which slots will not
/// be touched again. Files are read on all of OpenCV's threads.
///
/// Throws std::invalid_argument with the first refusal of check(), and std::runtime_error when the library
/// refuses the batch.
BatchReport loadBatch(const Library& library, std::span<const std::string> paths, const BatchOptions& options,
                      float* slots, const std::function<bool(const BatchProgress&)>& progress = {},
                      const std::function<void(int64_t first, int64_t count)>& finished = {});

} // namespace miravex
