// Compiled without contraction into fused multiply-adds, which would round otherwise than OpenCV, and
// without errno for square roots, so that they vectorise.

#include "ops/filters/local_statistics.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>
#include <vector>

namespace miravex {

namespace {

bool isPaddedByHand(int border) { return border == cv::BORDER_CONSTANT || border == cv::BORDER_WRAP; }

/// Sums over 2 reach + 1 neighbours along each row of an image or of its squares, made when a row is first
/// asked for. A window that no longer reaches a row has no more use for its sums, so a ring of them suffices.
class RowSums {
public:
    RowSums(const cv::Mat& picture, cv::Point reach, int border, double fill, bool squared)
        : picture_(picture)
        , side_(2 * reach.x + 1)
        , border_(border)
        , squared_(squared)
        , width_(static_cast<std::size_t>(picture.cols))
        , padded_(width_ + 2 * static_cast<std::size_t>(reach.x), fill)
        , beyond_(width_)
        , rowsHeld_(border == cv::BORDER_WRAP ? picture.rows : std::min(2 * reach.y + 1, picture.rows))
        , held_(static_cast<std::size_t>(rowsHeld_), nothing)
        , sums_(held_.size() * width_)
    {
        for (int i = 0; i < reach.x; ++i)
            left_.push_back(cv::borderInterpolate(i - reach.x, picture.cols, border));
        for (int i = 0; i < reach.x; ++i)
            right_.push_back(cv::borderInterpolate(picture.cols + i, picture.cols, border));
        sumUp(beyond_.data());
    }

    /// Sums of row `y`, which may lie beyond the edge.
    const double* row(int y)
    {
        const int source = cv::borderInterpolate(y, picture_.rows, border_);
        if (source < 0) return beyond_.data();
        const auto slot = static_cast<std::size_t>(source % rowsHeld_);
        double* sums = &sums_[slot * width_];
        if (held_[slot] != source) {
            load(source);
            sumUp(sums);
            held_[slot] = source;
        }
        return sums;
    }

private:
    static constexpr int nothing = -1;

    /// Row `source` with its margins; what is constant beyond the edge stays as it was filled.
    void load(int source)
    {
        const double* samples = picture_.ptr<double>(source);
        double* inner = padded_.data() + left_.size();
        if (squared_)
            std::transform(samples, samples + width_, samples, inner, std::multiplies<> {});
        else
            std::copy_n(samples, width_, inner);
        const auto extend = [inner](const std::vector<int>& positions, double* margin) {
            for (std::size_t i = 0; i < positions.size(); ++i)
                if (positions[i] >= 0) margin[i] = inner[positions[i]];
        };
        extend(left_, padded_.data());
        extend(right_, inner + width_);
    }

    /// OpenCV adds up the smallest windows afresh and moves the others along.
    void sumUp(double* sums) const
    {
        const double* s = padded_.data();
        if (side_ == 3) {
            for (std::size_t i = 0; i < width_; ++i) sums[i] = s[i] + s[i + 1] + s[i + 2];
        } else if (side_ == 5) {
            for (std::size_t i = 0; i < width_; ++i)
                sums[i] = s[i] + s[i + 1] + s[i + 2] + s[i + 3] + s[i + 4];
        } else {
            const auto side = static_cast<std::size_t>(side_);
            double sum = 0;
            for (std::size_t i = 0; i < side; ++i) sum += s[i];
            sums[0] = sum;
            for (std::size_t i = 0; i + 1 < width_; ++i) {
                sum += s[i + side] - s[i];
                sums[i + 1] = sum;
            }
        }
    }

    const cv::Mat& picture_;
    int side_;
    int border_;
    bool squared_;
    std::size_t width_;
    std::vector<double> padded_;
    std::vector<double> beyond_;
    std::vector<int> left_, right_;
    int rowsHeld_;
    std::vector<int> held_;
    std::vector<double> sums_;
};

/// Means over the window, row by row from the top.
class BoxMeans {
public:
    BoxMeans(const cv::Mat& picture, cv::Point reach, int border, double fill, bool squared)
        : rows_(picture, reach, border, fill, squared)
        , down_(reach.y)
        , scale_(1.0 / ((2 * reach.x + 1) * static_cast<double>(2 * reach.y + 1)))
        , columns_(static_cast<std::size_t>(picture.cols))
        , means_(columns_.size())
    {
        for (int y = -down_; y < down_; ++y) {
            const double* entering = rows_.row(y);
            for (std::size_t x = 0; x < columns_.size(); ++x) columns_[x] += entering[x];
        }
    }

    const double* row(int y)
    {
        const double* __restrict entering = rows_.row(y + down_);
        const double* __restrict leaving = rows_.row(y - down_);
        double* __restrict columns = columns_.data();
        double* __restrict means = means_.data();
        for (std::size_t x = 0; x < columns_.size(); ++x) {
            const double sum = columns[x] + entering[x];
            means[x] = sum * scale_;
            columns[x] = sum - leaving[x];
        }
        return means;
    }

private:
    RowSums rows_;
    int down_;
    double scale_;
    std::vector<double> columns_;
    std::vector<double> means_;
};

void subtractMeans(const double* samples, const double* means, double weight, double* __restrict differences,
                   int count)
{
    if (weight == 1)
        for (int x = 0; x < count; ++x) differences[x] = samples[x] - means[x];
    else
        for (int x = 0; x < count; ++x) differences[x] = samples[x] - means[x] * weight;
}

void subtractDeviations(const double* means, const double* meansOfSquares, double weight,
                        double* __restrict differences, int count)
{
    if (weight == 1)
        for (int x = 0; x < count; ++x) differences[x] -= std::sqrt(meansOfSquares[x] - means[x] * means[x]);
    else
        for (int x = 0; x < count; ++x)
            differences[x] -= std::sqrt(meansOfSquares[x] - means[x] * means[x]) * weight;
}

} // namespace

cv::Mat differencesByBlurs(const cv::Mat& image, const LocalWindow& window, double meanWeight,
                           double deviationWeight)
{
    const int r = window.radius;
    const cv::Size side(2 * r + 1, 2 * r + 1);
    const cv::Point centre(-1, -1);
    int border = window.border;
    cv::Mat picture = image;
    if (isPaddedByHand(border)) {
        cv::Mat padded;
        const double fill = border == cv::BORDER_CONSTANT ? window.fill : 0;
        cv::copyMakeBorder(image, padded, r, r, r, r, border, cv::Scalar(fill));
        picture = padded(cv::Rect(r, r, image.cols, image.rows));
        border = cv::BORDER_REFLECT_101;
    }
    cv::Mat mean, deviation;
    cv::blur(picture, mean, side, centre, border);
    if (deviationWeight != 0) {
        const cv::Mat squareOfMean = mean.mul(mean);
        const cv::Mat squares = picture.mul(picture);
        cv::blur(squares, deviation, side, centre, border);
        deviation = deviation - squareOfMean;
        cv::sqrt(deviation, deviation);
    }
    if (meanWeight != 0 && meanWeight != 1) mean = mean * meanWeight;
    if (deviationWeight != 0 && deviationWeight != 1) deviation = deviation * deviationWeight;
    cv::Mat differences;
    if (meanWeight != 0) cv::subtract(picture, mean, differences);
    if (deviationWeight != 0) cv::subtract(meanWeight != 0 ? differences : picture, deviation, differences);
    return differences;
}

cv::Mat differencesByRunningSums(const cv::Mat& image, const LocalWindow& window, double meanWeight,
                                 double deviationWeight)
{
    cv::Point reach(window.radius, window.radius);
    int border = window.border;
    double fill = window.fill;
    if (border == cv::BORDER_ISOLATED) {
        // Means nothing but zeros here, and OpenCV does not blur across a side of one pixel.
        border = cv::BORDER_CONSTANT;
        fill = 0;
        if (image.cols == 1) reach.x = 0;
        if (image.rows == 1) reach.y = 0;
    }
    const int edge = isPaddedByHand(window.border) ? int { cv::BORDER_REFLECT_101 } : border;
    const bool deviates = deviationWeight != 0;
    BoxMeans means(image, reach, border, fill, false);
    std::optional<BoxMeans> meansOfSquares;
    if (deviates) meansOfSquares.emplace(image, reach, edge, 0, true);

    cv::Mat differences(image.size(), CV_64F);
    for (int y = 0; y < image.rows; ++y) {
        double* row = differences.ptr<double>(y);
        const double* mean = means.row(y);
        subtractMeans(image.ptr<double>(y), mean, meanWeight, row, image.cols);
        if (deviates) subtractDeviations(mean, meansOfSquares->row(y), deviationWeight, row, image.cols);
    }
    return differences;
}

} // namespace miravex
