#include "ops/photo/domain_transform.h"

#include "convert/bounds.h"
#include "convert/instruction_sets.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

// The tricks: where each sample waits for the one before it, many lines go side by side, a sample of each in
// one vector; and running sums hold all channels of a pixel in one vector. Lines are worked on in strips that
// stay in the cache from their first step to their last, whichever way they lie in the image.

namespace miravex::domain_transform {

namespace {

constexpr int passes = 3;

/// Lines that one thread works on at a time.
constexpr int linesAtOnce = 32;

/// Reach of a pass, counted from 0: half as far as in the one before.
float sigmaOf(float spatialSigma, int pass)
{
    return static_cast<float>(spatialSigma * std::sqrt(3.0) * std::pow(2.0, passes - (pass + 1))
                              / std::sqrt(std::pow(4.0, passes) - 1));
}

/// Runs `work` on the strips that a side is cut into, each from its first line to behind its last.
template <typename Work> void forStrips(int side, int width, Work work)
{
    const int strips = (side + width - 1) / width;
    cv::parallel_for_(cv::Range(0, strips), [&](const cv::Range& some) {
        for (int strip = some.start; strip < some.end; ++strip)
            work(strip * width, std::min((strip + 1) * width, side));
    });
}

// --- distances ------------------------------------------------------------------------------------------

/// How far neighbouring pixels are apart.
template <int Channels>
void findSteps(const float* pixels, const float* before, float ratio, float* steps, int count)
{
    MIRAVEX_INDEPENDENT_STEPS
    for (int x = 0; x < count; ++x) {
        float difference = 0;
        for (int c = 0; c < Channels; ++c)
            difference += std::abs(pixels[x * Channels + c] - before[x * Channels + c]);
        steps[x] = 1.0F + ratio * difference;
    }
}

void findSteps(const float* pixels, const float* before, int channels, float ratio, float* steps, int count)
{
    if (channels == 1)
        findSteps<1>(pixels, before, ratio, steps, count);
    else
        findSteps<3>(pixels, before, ratio, steps, count);
}

/// From each pixel to the one left of it; the first of a row is its own neighbour.
cv::Mat stepsInRows(const cv::Mat& image, float ratio)
{
    cv::Mat steps(image.size(), CV_32F);
    const int channels = image.channels();
    forStrips(image.rows, linesAtOnce, [&](int begin, int end) {
        for (int y = begin; y < end; ++y) {
            const auto* row = image.ptr<float>(y);
            auto* step = steps.ptr<float>(y);
            findSteps(row, row, channels, ratio, step, 1);
            findSteps(row + channels, row, channels, ratio, step + 1, image.cols - 1);
        }
    });
    return steps;
}

/// From each pixel to the one above it.
cv::Mat stepsInColumns(const cv::Mat& image, float ratio)
{
    cv::Mat steps(image.size(), CV_32F);
    forStrips(image.rows, linesAtOnce, [&](int begin, int end) {
        for (int y = begin; y < end; ++y)
            findSteps(image.ptr<float>(y), image.ptr<float>(std::max(y - 1, 0)), image.channels(), ratio,
                      steps.ptr<float>(y), image.cols);
    });
    return steps;
}

// --- recursive filter -----------------------------------------------------------------------------------

/// Lines that are filtered side by side.
constexpr int lanes = linesAtOnce;

/// Samples of so many lines: in each row one of every line and channel, channel by channel; and how much of
/// the one before it is taken, which is the same for all channels.
class Lines {
public:
    Lines(int length, int count, int channels)
        : samples_(length, lanes * channels, CV_32F, cv::Scalar(0))
        , weights_(length, lanes, CV_32F, cv::Scalar(0))
        , count_(count)
        , channels_(channels)
    {
    }

    /// Those of one channel.
    cv::Mat samples(int channel) { return samples_.colRange(channel * lanes, channel * lanes + count_); }
    cv::Mat weights() { return weights_.colRange(0, count_); }

    void filter()
    {
        const int last = samples_.rows - 1;
        for (int i = 1; i <= last; ++i) draw(i, i - 1, i);
        for (int i = last - 1; i >= 0; --i) draw(i, i + 1, i + 1);
    }

private:
    void draw(int i, int towards, int weighted)
    {
        auto* sample = samples_.ptr<float>(i);
        const auto* other = samples_.ptr<float>(towards);
        const auto* weight = weights_.ptr<float>(weighted);
        for (int c = 0; c < channels_; ++c, sample += lanes, other += lanes) {
            MIRAVEX_INDEPENDENT_STEPS
            for (int lane = 0; lane < lanes; ++lane)
                sample[lane] = sample[lane] + (other[lane] - sample[lane]) * weight[lane];
        }
    }

    cv::Mat samples_, weights_;
    int count_, channels_;
};

void raise(float base, const cv::Mat& exponents, cv::Mat powers)
{
    for (int y = 0; y < exponents.rows; ++y) {
        const auto* exponent = exponents.ptr<float>(y);
        auto* power = powers.ptr<float>(y);
        for (int x = 0; x < exponents.cols; ++x) power[x] = std::pow(base, exponent[x]);
    }
}

void filterRows(cv::Mat& image, const cv::Mat& steps, float base)
{
    forStrips(image.rows, lanes, [&](int begin, int end) {
        Lines lines(image.cols, end - begin, image.channels());
        cv::Mat strip = image.rowRange(begin, end), weights(strip.size(), CV_32F);
        raise(base, steps.rowRange(begin, end), weights);
        cv::transpose(weights, lines.weights());
        std::vector<cv::Mat> planes;
        cv::split(strip, planes);
        for (int c = 0; c < image.channels(); ++c)
            cv::transpose(planes[static_cast<std::size_t>(c)], lines.samples(c));
        lines.filter();
        for (int c = 0; c < image.channels(); ++c)
            cv::transpose(lines.samples(c), planes[static_cast<std::size_t>(c)]);
        cv::merge(planes, strip);
    });
}

void filterColumns(cv::Mat& image, const cv::Mat& steps, float base)
{
    forStrips(image.cols, lanes, [&](int begin, int end) {
        Lines lines(image.rows, end - begin, image.channels());
        cv::Mat strip = image.colRange(begin, end);
        raise(base, steps.colRange(begin, end), lines.weights());
        std::vector<cv::Mat> planes;
        for (int c = 0; c < image.channels(); ++c) planes.push_back(lines.samples(c));
        cv::split(strip, planes);
        lines.filter();
        cv::merge(planes, strip);
    });
}

// --- normalized convolution -----------------------------------------------------------------------------

/// All channels of a pixel, and one more.
using Color = float __attribute__((vector_size(16)));

Color colorOf(const cv::Vec3f& pixel) { return Color { pixel[0], pixel[1], pixel[2], 0 }; }

/// Where pixels stand in the transformed domain: the sums of their steps, over lines that are rows.
void addUp(cv::Mat& steps)
{
    forStrips(steps.rows, linesAtOnce, [&](int begin, int end) {
        for (int y = begin; y < end; ++y) {
            auto* step = steps.ptr<float>(y);
            for (int x = 1; x < steps.cols; ++x) step[x] = step[x] + step[x - 1];
        }
    });
}

struct Positions {
    cv::Mat inRows, inColumns; ///< columns as rows

    Positions(const cv::Mat& image, float ratio)
        : inRows(stepsInRows(image, ratio))
    {
        cv::transpose(stepsInColumns(image, ratio), inColumns);
        addUp(inRows);
        addUp(inColumns);
    }
};

float radiusOf(float spatialSigma, int pass)
{
    return static_cast<float>(std::sqrt(3.0)) * sigmaOf(spatialSigma, pass);
}

/// Replaces each pixel of a line by the mean of its window: from the first pixel that is less than the radius
/// behind to the first that is more than the radius ahead. `sums` has room for a sum more than pixels.
void filterLine(cv::Vec3f* line, const float* position, int count, float radius, Color* sums)
{
    sums[0] = Color {};
    sums[1] = colorOf(line[0]);
    for (int x = 1; x < count; ++x) sums[x + 1] = colorOf(line[x]) + sums[x];

    const auto search = [&](int from, float limit) {
        while (from < count && !(position[from] > limit)) ++from;
        return from;
    };
    // The first pixel, unlike the others, gets 0 where there is none.
    const auto searchFirst = [&](float limit) {
        const int found = search(0, limit);
        return found == count ? 0 : found;
    };
    int begin = searchFirst(position[0] - radius), end = searchFirst(position[0] + radius);
    for (int x = 0; x < count; ++x) {
        if (x > 0) {
            begin = search(begin, position[x] - radius);
            end = search(end, position[x] + radius);
        }
        // Not a number where the window is empty, and so black.
        const Color mean = (sums[end] - sums[begin]) / static_cast<float>(end - begin);
        line[x] = { mean[0], mean[1], mean[2] };
    }
}

void convolveRows(cv::Mat& image, const cv::Mat& positions, float radius)
{
    forStrips(image.rows, linesAtOnce, [&](int begin, int end) {
        std::vector<Color> sums(static_cast<std::size_t>(image.cols) + 1);
        for (int y = begin; y < end; ++y)
            filterLine(image.ptr<cv::Vec3f>(y), positions.ptr<float>(y), image.cols, radius, sums.data());
    });
}

void convolveColumns(cv::Mat& image, const cv::Mat& positions, float radius)
{
    forStrips(image.cols, linesAtOnce, [&](int begin, int end) {
        std::vector<Color> sums(static_cast<std::size_t>(image.rows) + 1);
        cv::Mat strip = image.colRange(begin, end), lines;
        cv::transpose(strip, lines);
        for (int x = begin; x < end; ++x)
            filterLine(lines.ptr<cv::Vec3f>(x - begin), positions.ptr<float>(x), image.rows, radius,
                       sums.data());
        cv::transpose(lines, strip);
    });
}

bool anyLineWithin(const cv::Mat& positions, float radius)
{
    for (int y = 0; y < positions.rows; ++y) {
        const auto* position = positions.ptr<float>(y);
        const float last = position[positions.cols - 1];
        if (!(last > position[0] + radius) || !std::isfinite(last)) return true;
    }
    return false;
}

} // namespace

void filterRecursively(cv::Mat& image, float spatialSigma, float rangeSigma)
{
    const float ratio = spatialSigma / rangeSigma;
    const cv::Mat inRows = stepsInRows(image, ratio), inColumns = stepsInColumns(image, ratio);
    for (int pass = 0; pass < passes; ++pass) {
        const auto base = static_cast<float>(std::exp(-std::sqrt(2.0) / sigmaOf(spatialSigma, pass)));
        filterRows(image, inRows, base);
        filterColumns(image, inColumns, base);
    }
}

void convolveNormalized(cv::Mat& image, float spatialSigma, float rangeSigma)
{
    const float ratio = spatialSigma / rangeSigma;
    if (!std::isfinite(ratio)) { // no position differs from another
        image.setTo(cv::Scalar::all(std::numeric_limits<double>::quiet_NaN()));
        return;
    }
    const Positions positions(image, ratio);
    for (int pass = 0; pass < passes; ++pass) {
        const float radius = radiusOf(spatialSigma, pass);
        convolveRows(image, positions.inRows, radius);
        convolveColumns(image, positions.inColumns, radius);
    }
}

bool misleadsOpenCv(const cv::Mat& image, float spatialSigma, float rangeSigma)
{
    constexpr int64_t countedExactly = int64_t { 1 } << 24;
    if (bounds::product({ image.rows, image.cols + int64_t { 1 }, 3 }) > countedExactly) return true;
    const Positions positions(image, spatialSigma / rangeSigma);
    const float radius = radiusOf(spatialSigma, 0);
    return anyLineWithin(positions.inRows, radius) || anyLineWithin(positions.inColumns, radius);
}

} // namespace miravex::domain_transform
