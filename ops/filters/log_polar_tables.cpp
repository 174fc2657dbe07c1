// Compiled without contraction into fused multiply-adds, which would round entries otherwise.

#include "ops/filters/log_polar_tables.h"

#include "convert/instruction_sets.h"
#include "ops/filters/polar_coordinates.h"

#include <cmath>

namespace miravex {

namespace {

constexpr double fullTurn = 6.283185307179586;

void checkTables(cv::Size size, double magnitude)
{
    CV_Assert(size.width >= 0 && size.height >= 0);
    CV_Assert(!(magnitude < 0));
}

/// target = factor x values + origin, rounded to float once.
MIRAVEX_FOR_CPUS("avx2", "default")
void writeLine(float* __restrict target, const double* __restrict values, double factor, double origin,
               int count)
{
    for (int u = 0; u < count; ++u) target[u] = static_cast<float>(factor * values[u] + origin);
}

} // namespace

ForwardLogPolarTables::ForwardLogPolarTables(cv::Size size, cv::Point2d centre, double magnitude)
    : origin_(centre.x - 0.5, size.height - 0.5 - centre.y)
{
    checkTables(size, magnitude);
    radii_.reserve(static_cast<std::size_t>(size.height));
    for (int v = 0; v < size.height; ++v) radii_.push_back(std::exp((size.height - 0.5 - v) / magnitude) - 1);
    for (int u = 0; u < size.width; ++u) {
        const double angle = (u + 0.5) * (fullTurn / size.width);
        cosines_.push_back(-std::cos(angle));
        sines_.push_back(std::sin(angle));
    }
}

void ForwardLogPolarTables::operator()(int first, cv::Mat& mapX, cv::Mat& mapY) const
{
    for (int i = 0; i < mapX.rows; ++i) {
        const int row = first + i;
        const double radius = radii_[static_cast<std::size_t>(row)];
        writeLine(mapX.ptr<float>(i), cosines_.data(), radius, origin_.x, mapX.cols);
        writeLine(mapY.ptr<float>(i), sines_.data(), radius, origin_.y, mapX.cols);
    }
}

InverseLogPolarTables::InverseLogPolarTables(cv::Size size, cv::Point2d centre, double magnitude)
    : size_(size)
    , magnitude_(magnitude)
    , top_(size.height - 0.5 - centre.y)
{
    checkTables(size, magnitude);
    x_.reserve(static_cast<std::size_t>(size.width));
    for (int i = 0; i < size.width; ++i) x_.push_back(i + 0.5 - centre.x);
    angles_.resize(x_.size());
    logRadii_.resize(x_.size());
}

void InverseLogPolarTables::operator()(int first, cv::Mat& mapX, cv::Mat& mapY)
{
    const double columnsPerRadian = size_.width / fullTurn;
    const int halfTurn = size_.width / 2; // whole columns
    const double angleOrigin = halfTurn - 0.5;
    const double bottom = size_.height - 0.5;
    for (int i = 0; i < mapX.rows; ++i) {
        polarCoordinates(x_.data(), top_ - (first + i), angles_.data(), logRadii_.data(), size_.width);
        writeLine(mapX.ptr<float>(i), angles_.data(), columnsPerRadian, angleOrigin, size_.width);
        writeLine(mapY.ptr<float>(i), logRadii_.data(), -magnitude_, bottom, size_.width);
    }
}

} // namespace miravex
