#include "ops/photo/robertson_response.h"

#include "ops/photo/bounds.h"

#include <opencv2/photo.hpp>

#include <array>

namespace miravex {

namespace {

constexpr int channels = 3;
constexpr int middleIntensity = bounds::responseLevels / 2;

/// One value for each intensity of each channel. Floats even where they count: OpenCV's results are kept.
using Curve = std::array<cv::Vec3f, bounds::responseLevels>;

Curve occurrences(const std::vector<cv::Mat>& frames)
{
    Curve counts {};
    for (const cv::Mat& frame : frames) {
        const auto* sample = frame.ptr<cv::Vec3b>();
        for (std::size_t i = 0; i < frame.total(); ++i, ++sample)
            for (int c = 0; c < channels; ++c) counts[(*sample)[c]][c] += 1;
    }
    return counts;
}

/// The exposure (radiance by time) that each intensity stands for, summed over all pixels that have it.
Curve exposureSums(const std::vector<cv::Mat>& frames, const std::vector<float>& times,
                   const cv::Mat& radiance)
{
    Curve sums {};
    for (std::size_t frame = 0; frame < frames.size(); ++frame) {
        const auto* sample = frames[frame].ptr<cv::Vec3b>();
        const auto* light = radiance.ptr<cv::Vec3f>();
        for (std::size_t i = 0; i < radiance.total(); ++i, ++sample, ++light)
            for (int c = 0; c < channels; ++c) sums[(*sample)[c]][c] += times[frame] * (*light)[c];
    }
    return sums;
}

/// Means of the sums, 0 where nothing was summed, each channel scaled to 1 in the middle.
cv::Mat scaledMeans(const Curve& sums, const Curve& counts)
{
    cv::Mat means(bounds::responseLevels, 1, CV_32FC3);
    for (int c = 0; c < channels; ++c) {
        const auto mean = [&](int value) {
            const auto v = static_cast<std::size_t>(value);
            return counts[v][c] == 0 ? 0 : sums[v][c] * (1 / counts[v][c]);
        };
        for (int v = 0; v < means.rows; ++v) means.at<cv::Vec3f>(v)[c] = mean(v) / mean(middleIntensity);
    }
    return means;
}

} // namespace

cv::Mat robertsonResponse(const std::vector<cv::Mat>& frames, const std::vector<float>& times, int iterations,
                          float threshold)
{
    cv::Mat response(bounds::responseLevels, 1, CV_32FC3);
    for (int v = 0; v < response.rows; ++v)
        response.at<cv::Vec3f>(v) = cv::Vec3f::all(static_cast<float>(v) / middleIntensity);

    const Curve counts = occurrences(frames);
    const cv::Ptr<cv::MergeRobertson> merger = cv::createMergeRobertson();
    cv::Mat radiance;
    for (int i = 0; i < iterations; ++i) {
        merger->process(frames, radiance, times, response);
        const cv::Mat next = scaledMeans(exposureSums(frames, times, radiance), counts);
        const auto change = static_cast<float>(cv::norm(next, response, cv::NORM_L1) / channels);
        response = next;
        if (change < threshold) break;
    }
    return response;
}

} // namespace miravex
