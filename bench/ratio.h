#pragma once

#include "host/library.h"
#include "host/matrices.h"

#include <opencv2/core.hpp>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What every benchmark uses: ratios of two ways to the same result, measured in one process, turn by turn,
/// so that whatever else the machine does falls on both. A benchmark file registers its ratios in the body of
/// one MIRAVEX_BENCH, and bench/ratio.cpp has the main function:
///
///     MIRAVEX_BENCH(filters)
///     {
///         const cv::Mat picture = noise(1000, 1000, CV_8UC3);
///         ratio("median-filter, 1 megapixel",
///               operation("MedianFilter", { imageOfMatrix(picture), int64_t { 3 } }),
///               [=](cv::Mat& out) { cv::medianBlur(picture, out, 7); });
///     }
namespace miravex::bench {

using Work = std::function<void()>;

/// The same calls of OpenCV made directly, with the matrix that takes their result: an empty one for the
/// plain calls, or one that is there already, which is the floor: no call can do with less.
using Calls = std::function<void(cv::Mat& out)>;

/// What a ratio is held to.
struct Goal {
    std::optional<double> most; ///< the greatest ratio that is wanted
    double fromMilliseconds = 0; ///< wanted only where the baseline takes at least this long
    int threads = 0; ///< of OpenCV, while the two are measured; 0: as many as it likes
};

/// Of an operation against the same calls of OpenCV made directly. Quicker calls are held to nothing.
inline constexpr Goal wrapperGoal { .most = 1.05, .fromMilliseconds = 0.2 };
inline constexpr Goal largeWrapperGoal { .most = 1.0, .fromMilliseconds = 0.2 };

/// Of an operation against the floor, wherever it is held to something against the plain calls.
inline constexpr double mostOverFloor = 1.10;

/// Registers the measurement of `subject` against `baseline`. Both run by turns, in changing order; the ratio
/// is the median over the rounds.
void ratio(std::string name, Work subject, Work baseline, Goal goal = {});

/// The same against the plain calls and against the floor.
void ratio(std::string name, Work subject, Calls calls, Goal goal = {});

/// Registers the time of one piece of work alone, in nanoseconds; the target is the longest that is wanted.
void duration(std::string name, Work subject, std::optional<double> targetNanoseconds = {});

/// A call of an operation through its export, with these values; ends the program if it is refused. What a
/// host does around a call (slots, accounting) is part of the time, as a few microseconds.
Work operation(std::string_view name, std::vector<Value> values);

/// The library that is measured.
const Library& library();

/// A picture full of uniform noise, the same for the same seed; smooth() is the same, blurred into blobs.
cv::Mat noise(int rows, int columns, int type, uint64_t seed = 1);
cv::Mat smooth(int rows, int columns, int type, uint64_t seed = 1);

/// Keeps the optimiser from dropping the computation of a value.
template <typename T> void keep(const T& value) { asm volatile("" : : "r,m"(value) : "memory"); }

/// Runs a function before main.
struct Registration {
    explicit Registration(void (*registerAll)());
};

} // namespace miravex::bench

#define MIRAVEX_BENCH(group)                                                                                 \
    static void miravexBench_##group();                                                                      \
    static const ::miravex::bench::Registration miravexRegistration_##group(&miravexBench_##group);          \
    static void miravexBench_##group()
