#pragma once

#include "tests/support/host_check.h"

#include <opencv2/imgproc.hpp>

namespace miravex::test {

/// Reciprocal exposure times of `count` frames, each twice as long as the one before: what hosts pass.
inline TensorPointer bracketExposures(int count)
{
    std::vector<double> values;
    for (int i = 0; i < count; ++i) values.push_back(32.0 / (1 << i));
    return makeRealTensor({ count }, values);
}

/// The same as OpenCV takes them.
inline std::vector<float> bracketTimes(int count)
{
    std::vector<float> times;
    for (int i = 0; i < count; ++i) times.push_back(static_cast<float>(1.0 / (32.0 / (1 << i))));
    return times;
}

/// One scene as a linear camera sees it at those exposures, saturating.
inline std::vector<cv::Mat> bracket(int count, int rows = 30, int columns = 44)
{
    cv::Mat scene = noise(rows, columns, CV_32FC3);
    cv::GaussianBlur(scene, scene, cv::Size(7, 7), 2);
    cv::normalize(scene, scene, 0, 255, cv::NORM_MINMAX);
    std::vector<cv::Mat> frames;
    for (int i = 0; i < count; ++i) {
        cv::Mat frame;
        scene.convertTo(frame, CV_8U, 0.5 * (1 << i));
        frames.push_back(frame);
    }
    return frames;
}

} // namespace miravex::test
