#include "ops/photo/normalized_convolution.h"

#include "convert/bounds.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace miravex {

namespace {

constexpr int passes = 3;

/// Reach of the window in pass `pass`, counted from 0: half as far as in the one before.
float radiusOf(float spatialSigma, int pass)
{
    const double share = std::pow(2.0, passes - 1 - pass) / std::sqrt(std::pow(4.0, passes) - 1);
    const auto sigma = static_cast<float>(spatialSigma * std::sqrt(3.0) * share);
    return static_cast<float>(std::sqrt(3.0)) * sigma;
}

/// Samples from 0 to 1.
cv::Mat unitSamples(const cv::Mat& source)
{
    cv::Mat image;
    source.convertTo(image, CV_32F, 1.0 / 255.0);
    return image;
}

/// Where each pixel of a row stands in the transformed domain: a step of 1 to the next one, and further the
/// more their colours differ.
cv::Mat positionsInRows(const cv::Mat& image, float ratio)
{
    cv::Mat positions(image.size(), CV_32F);
    for (int y = 0; y < image.rows; ++y) {
        const auto* color = image.ptr<cv::Vec3f>(y);
        auto* position = positions.ptr<float>(y);
        for (int x = 0; x < image.cols; ++x) {
            float difference = 0;
            for (int c = 0; x > 0 && c < 3; ++c) difference += std::abs(color[x][c] - color[x - 1][c]);
            const float step = 1.0F + ratio * difference;
            position[x] = x > 0 ? step + position[x - 1] : step;
        }
    }
    return positions;
}

bool anyRowWithin(const cv::Mat& positions, float radius)
{
    for (int y = 0; y < positions.rows; ++y) {
        const auto* position = positions.ptr<float>(y);
        const float last = position[positions.cols - 1];
        if (!(last > position[0] + radius) || !std::isfinite(last)) return true;
    }
    return false;
}

/// For each pixel of a row the first one further right than it by more than `offset`; as many as there are
/// for none. The first pixel, unlike the others, gets 0 for none.
void firstBeyond(const std::vector<float>& positions, float offset, std::vector<int>& found)
{
    const auto count = static_cast<int>(found.size());
    const auto search = [&](int from, int end, float limit) {
        while (from < end && !(positions[static_cast<std::size_t>(from)] > limit)) ++from;
        return from;
    };
    found[0] = search(0, count, positions[0] + offset);
    if (found[0] == count) found[0] = 0;
    for (int x = 1; x < count; ++x) {
        const auto i = static_cast<std::size_t>(x);
        found[i] = search(found[i - 1], count, positions[i] + offset);
    }
}

/// Replaces each pixel of a row by the mean of its window, the difference of two running sums.
void filterRow(cv::Vec3f* row, const float* positions, int count, float radius)
{
    std::vector<float> domain(positions, positions + count);
    std::vector<int> lower(domain.size()), upper(domain.size());
    firstBeyond(domain, -radius, lower);
    firstBeyond(domain, radius, upper);
    std::vector<cv::Vec3f> sums { cv::Vec3f::all(0) };
    for (int x = 0; x < count; ++x) sums.push_back(x > 0 ? row[x] + sums.back() : row[x]);
    for (int x = 0; x < count; ++x) {
        const auto i = static_cast<std::size_t>(x);
        const auto width = static_cast<float>(upper[i] - lower[i]);
        for (int c = 0; c < 3; ++c)
            row[x][c] = upper[i] == 0
                ? std::numeric_limits<float>::quiet_NaN()
                : (sums[static_cast<std::size_t>(upper[i])][c] - sums[static_cast<std::size_t>(lower[i])][c])
                    / width;
    }
}

void filterRows(cv::Mat& image, const cv::Mat& positions, float radius)
{
    for (int y = 0; y < image.rows; ++y)
        filterRow(image.ptr<cv::Vec3f>(y), positions.ptr<float>(y), image.cols, radius);
}

/// True when OpenCV would read outside its own memory, or elsewhere in it than it means to.
bool needsCare(const cv::Mat& source, float spatialSigma, float rangeSigma)
{
    constexpr int64_t countedExactly = int64_t { 1 } << 24;
    if (bounds::product({ source.rows, source.cols + int64_t { 1 }, 3 }) > countedExactly) return true;
    const cv::Mat image = unitSamples(source);
    const float ratio = spatialSigma / rangeSigma, radius = radiusOf(spatialSigma, 0);
    return anyRowWithin(positionsInRows(image, ratio), radius)
        || anyRowWithin(positionsInRows(image.t(), ratio), radius);
}

/// The filter itself: 3 channels of 32-bit floats, NaN where OpenCV divides by zero.
cv::Mat normalizedConvolution(const cv::Mat& source, float spatialSigma, float rangeSigma)
{
    cv::Mat image = unitSamples(source);
    const float ratio = spatialSigma / rangeSigma;
    if (!std::isfinite(ratio)) // no position differs from another
        return { image.size(), CV_32FC3, cv::Scalar::all(std::numeric_limits<double>::quiet_NaN()) };
    const cv::Mat inRows = positionsInRows(image, ratio), inColumns = positionsInRows(image.t(), ratio);
    for (int pass = 0; pass < passes; ++pass) {
        const float radius = radiusOf(spatialSigma, pass);
        filterRows(image, inRows, radius);
        cv::Mat columns = image.t();
        filterRows(columns, inColumns, radius);
        image = columns.t();
    }
    return image;
}

/// 1 less the length of the gradient, summed over the channels.
cv::Mat darknessOfEdges(const std::vector<cv::Mat>& channels)
{
    cv::Mat sum;
    for (const cv::Mat& channel : channels) {
        cv::Mat alongRows, alongColumns, length;
        cv::Sobel(channel, alongRows, CV_32F, 1, 0);
        cv::Sobel(channel, alongColumns, CV_32F, 0, 1);
        cv::magnitude(alongRows, alongColumns, length);
        sum = sum.empty() ? length : cv::Mat(sum + length);
    }
    return 1.0F - sum;
}

} // namespace

void filterByNormalizedConvolution(const cv::Mat& source, cv::Mat& filtered, float spatialSigma,
                                   float rangeSigma)
{
    if (!needsCare(source, spatialSigma, rangeSigma))
        cv::edgePreservingFilter(source, filtered, cv::NORMCONV_FILTER, spatialSigma, rangeSigma);
    else
        cv::convertScaleAbs(normalizedConvolution(source, spatialSigma, rangeSigma), filtered, 255);
}

void stylizeByNormalizedConvolution(cv::InputArray source, cv::OutputArray stylized, float spatialSigma,
                                    float rangeSigma)
{
    if (!needsCare(source.getMat(), spatialSigma, rangeSigma)) {
        cv::stylization(source, stylized, spatialSigma, rangeSigma);
        return;
    }
    std::vector<cv::Mat> channels;
    cv::split(normalizedConvolution(source.getMat(), spatialSigma, rangeSigma), channels);
    const cv::Mat darkness = darknessOfEdges(channels);
    for (cv::Mat& channel : channels) cv::multiply(channel, darkness, channel);
    cv::Mat merged;
    cv::merge(channels, merged);
    merged.convertTo(stylized, CV_8U, 255);
}

} // namespace miravex
