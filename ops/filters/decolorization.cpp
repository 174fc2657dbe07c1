#include "ops/filters/decolorization.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <vector>

// The gray value is a polynomial of red, green and blue, whose weights are searched for in the picture made
// small. Most of the time went into the exponentials of that search. The tricks: where one of a gradient's
// two likelihoods leaves nothing of the other in a double, their balance is known without either; and the
// energy after a step, of which only matters whether it still changes, comes from a table unless that is too
// close to call.

namespace miravex {

namespace {

/// Rows and columns together of the picture that weights are searched in.
constexpr int searchedSides = 800;

/// Width of the likelihoods around either contrast, and its square, rounded to floats as in OpenCV.
constexpr float sigma = 0.02F;
constexpr double sigmaSquared = sigma * sigma;

/// The search ends where the energy changes by no more, or after so many steps.
constexpr double tolerance = 0.0001;
constexpr int mostSteps = 16;

/// The order of two colours is known where all channels rise, or all fall, by more.
constexpr double level = 0.05;

/// Powers of red, green and blue in the terms of the polynomial.
struct Term {
    int red, green, blue;
};
constexpr Term terms[] = { { 0, 0, 1 }, { 0, 0, 2 }, { 0, 1, 0 }, { 0, 1, 1 }, { 0, 2, 0 },
                           { 1, 0, 0 }, { 1, 0, 1 }, { 1, 1, 0 }, { 2, 0, 0 } };
constexpr int termCount = static_cast<int>(std::size(terms));
using Weights = std::array<double, termCount>;

/// Numbers of a solution: the terms, and as many zeros as fill whole vectors.
constexpr int solutionSize = 12;

/// The product of a term, which is exact in a double.
MIRAVEX_INLINE double valueOf(const Term& term, double red, double green, double blue)
{
    const auto power = [](double value, int exponent) {
        return exponent == 0 ? 1.0 : exponent == 1 ? value : value * value;
    };
    return power(red, term.red) * power(green, term.green) * power(blue, term.blue);
}

/// Gradients to the right of all pixels, 0 in the last column, then downwards, 0 in the last row; both column
/// by column. `plane` is transposed.
void gradients(const cv::Mat& plane, float* out)
{
    const int columns = plane.rows, rows = plane.cols;
    float* down = out + static_cast<std::ptrdiff_t>(columns) * rows;
    for (int x = 0; x < columns; ++x, out += rows, down += rows) {
        const float* here = plane.ptr<float>(x);
        const float* next = plane.ptr<float>(std::min(x + 1, columns - 1));
        for (int y = 0; y < rows; ++y) out[y] = here[y] - next[y];
        for (int y = 0; y + 1 < rows; ++y) down[y] = here[y] - here[y + 1];
        down[rows - 1] = 0;
    }
}

/// ln(1 + exp(-x)) to 1e-8 for x of at least 0.
class SoftStep {
public:
    SoftStep()
    {
        for (std::size_t i = 0; i < nodes_.size(); ++i) {
            const double x = static_cast<double>(i) / nodesPerUnit, s = 1 / (1 + std::exp(x));
            nodes_[i] = { std::log1p(std::exp(-x)), -s, s * (1 - s) / 2 };
        }
    }

    [[nodiscard]] double operator()(double x) const
    {
        if (!(x < end)) return 0;
        const int nearest = cvRound(x * nodesPerUnit);
        const double away = x - nearest * (1.0 / nodesPerUnit);
        const Node& node = nodes_[static_cast<std::size_t>(nearest)];
        return node.value + away * (node.slope + away * node.bend);
    }

private:
    static constexpr int nodesPerUnit = 64, end = 24;
    struct Node {
        double value, slope, bend;
    };
    std::array<Node, end * nodesPerUnit + 1> nodes_;
};

/// What the search looks at: gradients of all terms, the contrasts that they are to have, and whether the
/// order of the colours tells their sign.
class Search {
public:
    explicit Search(const cv::Mat& picture)
    {
        cv::Mat lab, planes[3], labs[3];
        cv::cvtColor(picture, lab, cv::COLOR_BGR2Lab);
        cv::split(picture, planes);
        cv::split(lab, labs);
        for (int c = 0; c < 3; ++c) {
            planes[c] = planes[c].t();
            labs[c] = labs[c].t();
        }
        count_ = 2 * picture.rows * picture.cols;
        contrast_.resize(static_cast<std::size_t>(count_));
        order_.resize(contrast_.size());
        gray_.resize(contrast_.size());
        signs_.resize(contrast_.size());
        terms_.create(termCount, count_, CV_32F);
        findContrasts(gradientsOf(labs));
        findOrder(gradientsOf(planes));
        findTerms(planes);
        findSolutions();
    }

    /// The weights at which it ends. Energies closer than `margin` to where that is are computed as OpenCV
    /// does.
    [[nodiscard]] Weights run(double margin, InstructionSet instructions)
    {
        Weights weights;
        for (std::size_t t = 0; t < termCount; ++t)
            weights[t] = terms[t].red + terms[t].green + terms[t].blue == 1 ? 0.33 : 0;
        double energy = project(weights, instructions);
        for (int step = 1; step <= mostSteps; ++step) {
            const Weights before = weights;
            const double energyBefore = step == 1 ? 0 : energy; // the first is compared with none
            findSigns();
            weights = solution();
            energy = project(weights, instructions);
            double change = std::abs(energy - energyBefore);
            if (!(std::abs(change - tolerance) > margin)) {
                const double exactBefore = step == 1 ? 0 : exactEnergy(before);
                change = std::abs(exactEnergy(weights) - exactBefore);
            }
            if (!(change > tolerance)) break;
        }
        return weights;
    }

private:
    /// The gradients of three channels, a row each.
    [[nodiscard]] cv::Mat gradientsOf(const cv::Mat (&planes)[3]) const
    {
        cv::Mat all(3, count_, CV_32F);
        for (int c = 0; c < 3; ++c) gradients(planes[c], all.ptr<float>(c));
        return all;
    }

    void findContrasts(const cv::Mat& labs)
    {
        const float *l = labs.ptr<float>(0), *a = labs.ptr<float>(1), *b = labs.ptr<float>(2);
        for (std::size_t i = 0; i < contrast_.size(); ++i)
            contrast_[i] =
                std::sqrt(double { l[i] } * l[i] + double { a[i] } * a[i] + double { b[i] } * b[i]) / 100;
    }

    void findOrder(const cv::Mat& colors)
    {
        const float *r = colors.ptr<float>(2), *g = colors.ptr<float>(1), *b = colors.ptr<float>(0);
        for (std::size_t i = 0; i < order_.size(); ++i) {
            const bool rise = r[i] > level && g[i] > level && b[i] > level;
            const bool fall = r[i] < -level && g[i] < -level && b[i] < -level;
            order_[i] = static_cast<std::int8_t>(rise - fall);
        }
    }

    void findTerms(const cv::Mat (&planes)[3])
    {
        cv::Mat values(planes[0].size(), CV_32F);
        for (int t = 0; t < termCount; ++t) {
            const Term& term = terms[t];
            for (int x = 0; x < values.rows; ++x) {
                const float *red = planes[2].ptr<float>(x), *green = planes[1].ptr<float>(x),
                            *blue = planes[0].ptr<float>(x);
                float* value = values.ptr<float>(x);
                for (int y = 0; y < values.cols; ++y)
                    value[y] = static_cast<float>(valueOf(term, red[y], green[y], blue[y]));
            }
            gradients(values, terms_.ptr<float>(t));
        }
    }

    void findSolutions()
    {
        const cv::Mat squares = terms_ * terms_.t();
        solutions_ =
            cv::Mat::zeros(count_, solutionSize, CV_32F); // side by side, so that all sums grow at once
        forChunks([&](int begin, int end) {
            cv::Mat weighted(termCount, end - begin, CV_32F), solutions;
            for (int t = 0; t < termCount; ++t) {
                const float* term = terms_.ptr<float>(t) + begin;
                const double* contrast = &contrast_[static_cast<std::size_t>(begin)];
                float* out = weighted.ptr<float>(t);
                for (int i = 0; i < end - begin; ++i) out[i] = static_cast<float>(term[i] * contrast[i]);
            }
            cv::solve(squares, weighted, solutions, cv::DECOMP_NORMAL);
            cv::Mat used = solutions_.rowRange(begin, end).colRange(0, termCount);
            cv::transpose(solutions, used);
        });
    }

    /// The weighted sums of all terms, to gray_; returns their energy to 1e-7, or no number where that is
    /// more than hundreds.
    double project(const Weights& weights, InstructionSet instructions)
    {
        std::vector<double> energies(static_cast<std::size_t>((count_ + chunk - 1) / chunk));
        forChunks([&](int begin, int end) {
            if (instructions == InstructionSet::Avx2)
                projectAvx2(weights, begin, end);
            else
                projectBaseline(weights, begin, end);
            energies[static_cast<std::size_t>(begin / chunk)] = nearEnergy(begin, end);
        });
        return std::accumulate(energies.begin(), energies.end(), 0.0) / count_;
    }

    MIRAVEX_INLINE void projectChunk(const Weights& weights, int begin, int end)
    {
        const float* term[termCount];
        for (int t = 0; t < termCount; ++t) term[t] = terms_.ptr<float>(t);
        double* gray = gray_.data();
        MIRAVEX_INDEPENDENT_STEPS
        for (int i = begin; i < end; ++i) {
            double value = 0;
            for (std::size_t t = 0; t < termCount; ++t) value += term[t][i] * weights[t];
            gray[i] = value;
        }
    }
    void projectBaseline(const Weights& weights, int begin, int end) { projectChunk(weights, begin, end); }
    MIRAVEX_FOR_AVX2 void projectAvx2(const Weights& weights, int begin, int end)
    {
        projectChunk(weights, begin, end);
    }

    /// The sum of -ln(exp(-x) + exp(-y)) over a chunk, where x and y are the squared distances of the gray
    /// gradients from either contrast.
    [[nodiscard]] double nearEnergy(int begin, int end) const
    {
        double sum = 0, most = 0;
        for (auto i = static_cast<std::size_t>(begin); i < static_cast<std::size_t>(end); ++i) {
            const double away = std::abs(gray_[i]) - contrast_[i];
            const double nearer = away * away * (1 / double { sigma });
            most = std::max(most, nearer);
            sum += nearer - softStep_(std::abs(gray_[i]) * contrast_[i] * (4 / double { sigma }));
        }
        return most < 700 ? sum : std::numeric_limits<double>::quiet_NaN();
    }

    /// As OpenCV computes it.
    [[nodiscard]] double exactEnergy(const Weights& weights) const
    {
        std::vector<double> logs(gray_.size());
        forChunks([&](int begin, int end) {
            for (int i = begin; i < end; ++i) {
                double gray = 0;
                for (int t = 0; t < termCount; ++t)
                    gray += terms_.ptr<float>(t)[i] * weights[static_cast<std::size_t>(t)];
                const auto at = static_cast<std::size_t>(i);
                const double below = gray - contrast_[at], above = gray + contrast_[at];
                logs[at] = -std::log(std::exp(-(below * below) / sigma) + std::exp(-(above * above) / sigma));
            }
        });
        return std::accumulate(logs.begin(), logs.end(), 0.0) / count_;
    }

    void findSigns()
    {
        forChunks([&](int begin, int end) {
            for (auto i = static_cast<std::size_t>(begin); i < static_cast<std::size_t>(end); ++i)
                signs_[i] = signOf(gray_[i], contrast_[i], order_[i]);
        });
    }

    /// From 1 where the gray gradient is likely to have the contrast as it is to -1 where it is likely to
    /// have it reversed.
    static double signOf(double gray, double contrast, int order)
    {
        const double below = gray - contrast, above = gray + contrast;
        const double first = -0.5 * (below * below) / sigmaSquared;
        const double second = -0.5 * (above * above) / sigmaSquared;
        // Where neither underflows, a likelihood that is e^38 times the other leaves nothing of it in a
        // double, and one that is alone is divided by itself.
        if (order == 0) {
            if (std::max(first, second) > -700) {
                if (std::abs(first - second) > 38) return first > second ? 1 : -1;
                if (contrast == 0) return 0;
            }
        } else if ((order > 0 ? first : second) > -700)
            return order;
        const double up = (1.0 + order) / 2 * std::exp(first), down = (1.0 - order) / 2 * std::exp(second);
        return (up - down) / (up + down == 0 ? 1 : up + down);
    }

    /// The weights whose gray gradients come nearest to the signed contrasts.
    [[nodiscard]] Weights solution() const
    {
        std::array<double, solutionSize> sums {};
        const float* solution = solutions_.ptr<float>();
        for (const double sign : signs_) {
            for (std::size_t t = 0; t < solutionSize; ++t) sums[t] += solution[t] * sign;
            solution += solutionSize;
        }
        Weights weights;
        std::copy_n(sums.begin(), termCount, weights.begin());
        return weights;
    }

    /// Gradients that one task looks at.
    static constexpr int chunk = 4096;

    template <typename Work> void forChunks(Work work) const
    {
        cv::parallel_for_(cv::Range(0, (count_ + chunk - 1) / chunk), [&](const cv::Range& range) {
            for (int i = range.start; i < range.end; ++i) work(i * chunk, std::min(count_, (i + 1) * chunk));
        });
    }

    int count_; ///< of gradients
    std::vector<double> contrast_; ///< of the colours; never negative
    std::vector<std::int8_t> order_; ///< 1 where all channels rise, -1 where they fall, 0 else
    cv::Mat terms_; ///< gradients of the terms
    cv::Mat solutions_; ///< what each signed contrast adds to the weights; rows of solutionSize
    std::vector<double> gray_, signs_;
    SoftStep softStep_;
};

/// Calls work(begin, end) for bands of rows in parallel.
template <typename Work> void forBands(const cv::Mat& picture, Work work)
{
    const int height = std::max(1, 16384 / picture.cols), count = (picture.rows + height - 1) / height;
    cv::parallel_for_(cv::Range(0, count), [&](const cv::Range& range) {
        for (int i = range.start; i < range.end; ++i)
            work(i, i * height, std::min(picture.rows, (i + 1) * height));
    });
}

/// The polynomial at so many pixels, in the order of the terms, each sum rounded to a float.
MIRAVEX_INLINE void weigh(const Weights& weights, const float* red, const float* green, const float* blue,
                          float* gray, int count)
{
    const auto& w = weights;
    MIRAVEX_INDEPENDENT_STEPS
    for (int i = 0; i < count; ++i) {
        const double r = red[i], g = green[i], b = blue[i];
        float sum = static_cast<float>(w[0] * b);
        sum = static_cast<float>(sum + w[1] * (b * b));
        sum = static_cast<float>(sum + w[2] * g);
        sum = static_cast<float>(sum + w[3] * g * b);
        sum = static_cast<float>(sum + w[4] * (g * g));
        sum = static_cast<float>(sum + w[5] * r);
        sum = static_cast<float>(sum + w[6] * r * b);
        sum = static_cast<float>(sum + w[7] * r * g);
        sum = static_cast<float>(sum + w[8] * (r * r));
        gray[i] = sum;
    }
}
void weighBaseline(const Weights& weights, const float* red, const float* green, const float* blue,
                   float* gray, int count)
{
    weigh(weights, red, green, blue, gray, count);
}
MIRAVEX_FOR_AVX2 void weighAvx2(const Weights& weights, const float* red, const float* green,
                                const float* blue, float* gray, int count)
{
    weigh(weights, red, green, blue, gray, count);
}

} // namespace

bool decolorize(const cv::Mat& picture, cv::Mat& gray, double margin, InstructionSet instructions)
{
    CV_Assert(picture.type() == CV_8UC3 && !picture.empty());
    cv::Mat real(picture.size(), CV_32FC3);
    forBands(picture, [&](int, int begin, int end) {
        cv::Mat band = real.rowRange(begin, end);
        picture.rowRange(begin, end).convertTo(band, CV_32F, 1.0 / 255.0);
    });
    cv::Mat searched = real;
    if (picture.rows + picture.cols > searchedSides) {
        const double factor = static_cast<double>(searchedSides) / (picture.rows + picture.cols);
        cv::resize(real, searched, cv::Size(cvRound(picture.cols * factor), cvRound(picture.rows * factor)));
    }
    Weights weights = Search(searched).run(margin, instructions);
    for (double& weight : weights) {
        weight = static_cast<float>(weight);
        if (!std::isfinite(weight)) return false;
    }

    cv::Mat value(picture.size(), CV_32F);
    std::vector<double> least(static_cast<std::size_t>(picture.rows), std::numeric_limits<double>::max());
    std::vector<double> most(least.size(), std::numeric_limits<double>::lowest());
    forBands(picture, [&](int at, int begin, int end) {
        cv::Mat planes[3], band = value.rowRange(begin, end);
        cv::split(real.rowRange(begin, end), planes);
        const int count = band.rows * band.cols;
        const auto weighAll = instructions == InstructionSet::Avx2 ? weighAvx2 : weighBaseline;
        weighAll(weights, planes[2].ptr<float>(), planes[1].ptr<float>(), planes[0].ptr<float>(),
                 band.ptr<float>(), count);
        cv::minMaxLoc(band, &least[static_cast<std::size_t>(at)], &most[static_cast<std::size_t>(at)]);
    });
    const double from = *std::min_element(least.begin(), least.end());
    const double range = *std::max_element(most.begin(), most.end()) - from;
    gray.create(picture.size(), CV_8U);
    forBands(picture, [&](int, int begin, int end) {
        cv::Mat band = value.rowRange(begin, end), out = gray.rowRange(begin, end);
        band -= from;
        band /= range;
        band.convertTo(out, CV_8U, 255);
    });
    return true;
}

void boostColors(const cv::Mat& picture, const cv::Mat& gray, cv::Mat& boosted)
{
    cv::Mat lab;
    cv::cvtColor(picture, lab, cv::COLOR_BGR2Lab);
    cv::insertChannel(gray, lab, 0);
    cv::cvtColor(lab, boosted, cv::COLOR_Lab2BGR);
}

bool decolorizesAsOpenCv()
{
    static const bool same = [] {
        cv::Mat picture(61, 67, CV_8UC3), expected, boosted, gray;
        cv::RNG(61).fill(picture, cv::RNG::UNIFORM, 0, 256);
        cv::decolor(picture, expected, boosted);
        return decolorize(picture, gray) && cv::norm(gray, expected, cv::NORM_INF) == 0;
    }();
    return same;
}

} // namespace miravex
