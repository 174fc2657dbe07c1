#include "ops/filters/large_median.h"

#include "convert/instruction_sets.h"

#include <algorithm>
#include <array>
#include <limits>
#include <vector>

namespace miravex {

namespace {

/// Values come in groups whose counts are looked through first.
constexpr std::size_t groups = 16;
constexpr std::size_t groupSize = 16;

/// One channel of the image and of the result, and the columns of the result that one task writes.
struct Stripe {
    const cv::Mat& source;
    cv::Mat& median;
    int channel;
    int64_t radius;
    int begin, end;

    [[nodiscard]] int rows() const { return source.rows; }
    /// The columns that windows of this stripe look at.
    [[nodiscard]] int first() const { return static_cast<int>(std::max<int64_t>(begin - radius, 0)); }
    [[nodiscard]] int last() const
    {
        return static_cast<int>(std::min<int64_t>(end - 1 + radius, source.cols - 1));
    }
    /// The row or column that stands for one beyond the edge.
    [[nodiscard]] int row(int64_t y) const { return static_cast<int>(std::clamp<int64_t>(y, 0, rows() - 1)); }
    [[nodiscard]] int column(int64_t x) const
    {
        return static_cast<int>(std::clamp<int64_t>(x, 0, source.cols - 1));
    }
    [[nodiscard]] const uchar* samples(int64_t y) const { return source.ptr<uchar>(row(y)) + channel; }
};

/// How often each of the places from `least` to `most` is looked at by the window around `centre`: those at
/// the edges stand for everything beyond them too.
template <typename Visit> void visitWindow(int64_t centre, int64_t radius, int length, Visit visit)
{
    const int64_t least = std::max<int64_t>(centre - radius, 0);
    const int64_t most = std::min<int64_t>(centre + radius, length - 1);
    for (int64_t place = least; place <= most; ++place) {
        int64_t times = 1;
        if (place == 0) times += std::max<int64_t>(radius - centre, 0);
        if (place == length - 1) times += std::max<int64_t>(centre + radius - (length - 1), 0);
        visit(static_cast<int>(place), times);
    }
}

template <typename Sum, typename Count>
inline void slide(Sum* __restrict sums, const Count* __restrict entering, const Count* __restrict leaving)
{
    for (std::size_t i = 0; i < groupSize; ++i)
        sums[i] += static_cast<Sum>(entering[i]) - static_cast<Sum>(leaving[i]);
}

/// Histograms of the 2 radius + 1 samples above and below one row, one for each column of a stripe.
template <typename Count> class ColumnHistograms {
public:
    ColumnHistograms(const Stripe& stripe)
        : first_(stripe.first())
        , width_(static_cast<std::size_t>(stripe.last() - first_ + 1))
        , groups_(width_ * groups)
        , values_(width_ * groups * groupSize)
    {
    }

    [[nodiscard]] const Count* ofGroups(int column) const { return &groups_[place(column) * groups]; }
    [[nodiscard]] const Count* ofValues(std::size_t group, int column) const
    {
        return &values_[(group * width_ + place(column)) * groupSize];
    }

    /// Counts each sample of a row so many times.
    void add(const uchar* samples, int step, Count times)
    {
        const uchar* sample = samples + static_cast<std::ptrdiff_t>(first_) * step;
        for (std::size_t i = 0; i < width_; ++i, sample += step) count(i, *sample, times);
    }

    /// Lets one row enter and another leave.
    void move(const uchar* entering, const uchar* leaving, int step)
    {
        const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(first_) * step;
        entering += offset;
        leaving += offset;
        for (std::size_t i = 0; i < width_; ++i, entering += step, leaving += step) {
            if (*entering == *leaving) continue;
            count(i, *entering, Count { 1 });
            count(i, *leaving, std::numeric_limits<Count>::max()); // less one
        }
    }

private:
    [[nodiscard]] std::size_t place(int column) const { return static_cast<std::size_t>(column - first_); }

    void count(std::size_t column, uchar value, Count times)
    {
        Count& ofGroup = groups_[column * groups + value / groupSize];
        Count& ofValue = values_[(value / groupSize * width_ + column) * groupSize + value % groupSize];
        ofGroup = static_cast<Count>(ofGroup + times);
        ofValue = static_cast<Count>(ofValue + times);
    }

    int first_;
    std::size_t width_;
    std::vector<Count> groups_; ///< column by column
    std::vector<Count> values_; ///< group by group, column by column, so that neighbours lie side by side
};

/// Medians of one stripe, row by row: Sum counts the samples of a window, Count those of one of its columns.
template <typename Count, typename Sum> class StripeMedians {
public:
    StripeMedians(const Stripe& stripe)
        : stripe_(stripe)
        , columns_(stripe)
        , below_(static_cast<Sum>(2 * stripe.radius * (stripe.radius + 1)))
    {
    }

    void run()
    {
        const int64_t radius = stripe_.radius;
        const int step = stripe_.source.channels();
        visitWindow(0, radius, stripe_.rows(), [&](int row, int64_t times) {
            columns_.add(stripe_.samples(row), step, static_cast<Count>(times));
        });
        startSums();
        for (int y = 0;;) {
            writeRow(stripe_.median.ptr<uchar>(y) + stripe_.channel, step);
            if (++y == stripe_.rows()) return;
            const uchar* entering = stripe_.samples(y + radius);
            const uchar* leaving = stripe_.samples(y - radius - 1);
            columns_.move(entering, leaving, step);
            moveStart(entering, leaving, step);
        }
    }

private:
    using Sums = std::array<Sum, groupSize>;

    /// Counts the window around the stripe's first pixel, which every row of windows starts from.
    void startSums()
    {
        start_.fill({});
        visitWindow(stripe_.begin, stripe_.radius, stripe_.source.cols, [&](int column, int64_t times) {
            for (std::size_t group = 0; group < groups; ++group) {
                const Count* counts = columns_.ofValues(group, column);
                for (std::size_t i = 0; i < groupSize; ++i)
                    start_[group][i] += static_cast<Sum>(counts[i]) * static_cast<Sum>(times);
            }
        });
    }

    /// Moves that window down by a row.
    void moveStart(const uchar* entering, const uchar* leaving, int step)
    {
        visitWindow(stripe_.begin, stripe_.radius, stripe_.source.cols, [&](int column, int64_t times) {
            const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(column) * step;
            const uchar in = entering[offset], out = leaving[offset];
            start_[in / groupSize][in % groupSize] += static_cast<Sum>(times);
            start_[out / groupSize][out % groupSize] -= static_cast<Sum>(times);
        });
    }

    void writeRow(uchar* medians, int step)
    {
        sums_ = start_;
        for (std::size_t group = 0; group < groups; ++group) {
            Sum sum = 0;
            for (std::size_t i = 0; i < groupSize; ++i) sum += sums_[group][i];
            groupSums_[group] = sum;
        }
        upTo_.fill(stripe_.begin);
        for (int x = stripe_.begin;; ++x) {
            medians[static_cast<std::ptrdiff_t>(x) * step] = median(x);
            if (x + 1 == stripe_.end) return;
            slide(groupSums_.data(), columns_.ofGroups(stripe_.column(x + 1 + stripe_.radius)),
                  columns_.ofGroups(stripe_.column(x - stripe_.radius)));
        }
    }

    /// The value that below_ samples of the window around column `x` do not exceed.
    uchar median(int x)
    {
        Sum below = 0;
        std::size_t group = 0;
        while (below + groupSums_[group] <= below_) below += groupSums_[group++];
        catchUp(group, x);
        const Sums& sums = sums_[group];
        std::size_t value = 0;
        while (below + sums[value] <= below_) below += sums[value++];
        return static_cast<uchar>(group * groupSize + value);
    }

    /// Brings the counts of one group's values to the window around column `x`: most groups are not looked at
    /// for most windows.
    void catchUp(std::size_t group, int x)
    {
        Sum* sums = sums_[group].data();
        int& from = upTo_[group];
        if (x - from > stripe_.radius) { // then counting afresh is quicker
            sums_[group].fill(0);
            visitWindow(x, stripe_.radius, stripe_.source.cols, [&](int column, int64_t times) {
                const Count* counts = columns_.ofValues(group, column);
                for (std::size_t i = 0; i < groupSize; ++i)
                    sums[i] += static_cast<Sum>(counts[i]) * static_cast<Sum>(times);
            });
        } else {
            for (int64_t c = from; c < x; ++c)
                slide(sums, columns_.ofValues(group, stripe_.column(c + 1 + stripe_.radius)),
                      columns_.ofValues(group, stripe_.column(c - stripe_.radius)));
        }
        from = x;
    }

    Stripe stripe_;
    ColumnHistograms<Count> columns_;
    Sum below_;
    std::array<Sums, groups> start_; ///< counts of the first window of the row
    std::array<Sums, groups> sums_; ///< counts by group and value, of windows up to:
    std::array<int, groups> upTo_;
    std::array<Sum, groups> groupSums_; ///< of the window at hand
};

/// Up to this radius a column of a window is counted in 16 bits, and a window in 32.
constexpr int64_t narrowRadius = std::numeric_limits<uint16_t>::max() / 2;

/// Images of more columns and fewer rows than that are turned, to have histograms along the shorter side.
constexpr int turnedFrom = 16384;

/// How the columns of an image are shared out.
struct Stripes {
    int count;
    int64_t columns;

    Stripes(const cv::Mat& source, int64_t radius)
        : columns(source.cols)
    {
        // Wide enough that the columns looked at on both sides of a stripe don't outweigh its own, narrow
        // enough that histograms stay in the cache and every thread has something to do.
        const int64_t usual = columns / std::max<int64_t>(2048, 2 * radius) + 1;
        const int64_t most = columns / 64 + 1;
        const int64_t wanted = (cv::getNumThreads() + source.channels() - 1) / source.channels();
        count = static_cast<int>(std::min(most, std::max(usual, wanted)));
    }

    [[nodiscard]] int begin(int stripe) const { return static_cast<int>(columns * stripe / count); }
};

MIRAVEX_FOR_CPUS("avx2", "default")
void filterNarrow(const Stripe& stripe) { StripeMedians<uint16_t, uint32_t>(stripe).run(); }

MIRAVEX_FOR_CPUS("avx2", "default")
void filterWide(const Stripe& stripe) { StripeMedians<uint32_t, uint64_t>(stripe).run(); }

} // namespace

void largeMedian(const cv::Mat& source, cv::Mat& median, int64_t radius)
{
    CV_Assert(source.depth() == CV_8U && source.dims == 2 && radius >= 0);
    CV_Assert(radius <= std::numeric_limits<int>::max());
    if (source.cols > source.rows && source.cols > turnedFrom) {
        cv::Mat turned, turnedMedian;
        cv::transpose(source, turned);
        largeMedian(turned, turnedMedian, radius);
        turned.release();
        cv::transpose(turnedMedian, median);
        return;
    }
    median.create(source.size(), source.type());
    if (source.empty()) return;
    const Stripes stripes(source, radius);
    cv::parallel_for_(cv::Range(0, stripes.count * source.channels()), [&](const cv::Range& tasks) {
        for (int task = tasks.start; task < tasks.end; ++task) {
            const int stripe = task / source.channels();
            const Stripe part { source,
                                median,
                                task % source.channels(),
                                radius,
                                stripes.begin(stripe),
                                stripes.begin(stripe + 1) };
            if (radius <= narrowRadius)
                filterNarrow(part);
            else
                filterWide(part);
        }
    });
}

} // namespace miravex
