#pragma once

#include "convert/instruction_sets.h"
#include "tests/support/opencv_threads.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cstdint>
#include <cstdlib>
#include <vector>

/// What tests of kernels of our own share.
namespace miravex::test {

/// The instruction sets that this processor has.
inline std::vector<InstructionSet> instructionSets()
{
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2")) return { InstructionSet::Baseline, InstructionSet::Avx2 };
#endif
    return { InstructionSet::Baseline };
}

/// How many cases a sweep tries: a hundred times as many as usual with MIRAVEX_LONG_TESTS in the environment.
inline int sweepLength(int usual) { return std::getenv("MIRAVEX_LONG_TESTS") ? 100 * usual : usual; }

/// A colour picture with sides up to `most`, of any contrast: noise, blobs, black and white, or one colour.
inline cv::Mat drawnPicture(cv::RNG& random, int most)
{
    cv::Mat picture(random.uniform(1, most + 1), random.uniform(1, most + 1), CV_8UC3);
    const int contrast = random.uniform(0, 256), level = random.uniform(0, 256 - contrast);
    random.fill(picture, cv::RNG::UNIFORM, level, level + contrast + 1);
    switch (random.uniform(0, 6)) {
    case 0: picture = picture > 127; break;
    case 1: picture = picture.at<cv::Vec3b>(0, 0); break;
    case 2:
    case 3: cv::GaussianBlur(picture, picture, cv::Size(7, 7), 2); break;
    default: break;
    }
    return picture;
}

/// Draws so many cases, each from a seed and on 1, 2 or 5 threads, until one fails.
template <typename Case> void sweep(int count, Case test)
{
    count = sweepLength(count);
    for (int seed = 1; seed <= count; ++seed) {
        cv::RNG random(static_cast<uint64_t>(seed) * 7919);
        constexpr int threads[] = { 1, 2, 5 };
        const Threads limited(threads[seed % 3]);
        test(random);
        if (::testing::Test::HasFailure()) FAIL() << "with seed " << seed << " of " << count;
    }
}

} // namespace miravex::test
