#include "ops/filters/mean_shift.h"

#include "ops/filters/bounds.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

// The tricks: a register full of pixels is compared at once in 16 bits, where differences of bytes, their
// squares and the sums over many rows of a window fit. And rows go in parallel although, in place, each pixel
// sees what became of those before it: a row follows the one above at the distance of its windows, and the
// rows below are looked at in a copy.

namespace miravex {

namespace {

constexpr int channels = 3;

/// Columns after each row of a plane that vectors may read: as many as the longest has lanes.
constexpr int margin = 16;

/// Largest squared distance of two colours.
constexpr int farthest = channels * 255 * 255;

int squared(int value) { return value * value; }

/// The channels of a picture apart: each of its rows is three, each of them followed by room for a whole
/// vector.
class Planes {
public:
    explicit Planes(const cv::Mat& picture)
        : length_(static_cast<std::size_t>(picture.cols) + margin)
        , samples_(static_cast<std::size_t>(picture.rows) * channels * length_)
    {
        std::uint16_t* row = samples_.data();
        for (int y = 0; y < picture.rows; ++y, row += channels * length_) {
            const auto* colors = picture.ptr<cv::Vec3b>(y);
            for (int x = 0; x < picture.cols; ++x) {
                for (std::size_t c = 0; c < channels; ++c)
                    row[c * length_ + static_cast<std::size_t>(x)] = colors[x][static_cast<int>(c)];
            }
        }
    }

    /// Samples from one to the same of the next channel.
    [[nodiscard]] std::size_t length() const { return length_; }

    [[nodiscard]] const std::uint16_t* at(int y, int x) const { return &samples_[index(y, x)]; }
    [[nodiscard]] std::uint16_t* at(int y, int x) { return &samples_[index(y, x)]; }

private:
    [[nodiscard]] std::size_t index(int y, int x) const
    {
        return static_cast<std::size_t>(y) * channels * length_ + static_cast<std::size_t>(x);
    }

    std::size_t length_;
    std::vector<std::uint16_t> samples_;
};

/// How far the rows of a picture have come, for those below that look at what became of them. Rows are begun
/// in their order, so that the oldest never waits.
class Progress {
public:
    Progress(int rows, int columns)
        : columns_(columns)
        , done_(static_cast<std::size_t>(rows))
    {
    }

    /// The next row to work on, or the number of rows.
    int begin() { return std::min(next_.fetch_add(1), static_cast<int>(done_.size())); }

    /// Tells those below that the first `columns` pixels of a row are done.
    void advance(int row, int columns)
    {
        done_[static_cast<std::size_t>(row)].store(columns, std::memory_order_release);
    }

    /// The columns that are done in every row from `first`, which moves on over rows that are done whole, up
    /// to `row`.
    int columnsAbove(int row, int& first) const
    {
        int least = columns_;
        for (int y = first; y < row; ++y) {
            const int done = done_[static_cast<std::size_t>(y)].load(std::memory_order_acquire);
            least = std::min(least, done);
            if (y == first && done == columns_) ++first;
        }
        return least;
    }

private:
    int columns_;
    std::atomic<int> next_ { 0 };
    std::vector<std::atomic<int>> done_;
};

/// One level of the pyramid: what is looked at, where the result goes and what of it is to be computed.
struct Level {
    const Planes& before; ///< the colours of the pixels that are still to come
    Planes& after; ///< and of those that are done; the same as `before` where the result is another matrix
    cv::Mat& result;
    const cv::Mat& wanted; ///< not 0 where a pixel is to be moved; empty: everywhere
    float radius;
    int limit; ///< largest squared distance of colours that are near
    int steps;
    Progress& progress;

    [[nodiscard]] bool limitIsFar() const { return limit < 0 || limit > 0xFFFF; }
    [[nodiscard]] bool inPlace() const { return &before != &after; }
    [[nodiscard]] int rows() const { return result.rows; }
    [[nodiscard]] int columns() const { return result.cols; }
};

/// The pixels that are looked at around one: none where right < left or bottom < top.
struct Window {
    int left, right, top, bottom;

    Window(const Level& level, int x, int y)
        : left(std::max(cvRound(static_cast<float>(x) - level.radius), 0))
        , right(std::min(cvRound(static_cast<float>(x) + level.radius), level.columns() - 1))
        , top(std::max(cvRound(static_cast<float>(y) - level.radius), 0))
        , bottom(std::min(cvRound(static_cast<float>(y) + level.radius), level.rows() - 1))
    {
    }

    [[nodiscard]] bool empty() const { return right < left || bottom < top; }
    /// The columns that vectors reach into at most, none beyond the picture counted.
    [[nodiscard]] int reach(const Level& level) const { return std::min(right + margin, level.columns()); }
};

/// Over the near pixels of a window; sums of places wrap around as those of OpenCV do.
struct Sums {
    std::uint32_t count = 0, x = 0, y = 0;
    std::array<std::uint32_t, channels> color {};
};

/// Vectors of 16-bit numbers, as long as one register: longer ones GCC takes apart.
template <int lanes> struct Vector;
template <> struct Vector<8> {
    using Values = std::uint16_t __attribute__((vector_size(16)));
    using Mask = std::int16_t __attribute__((vector_size(16)));
    using Quads = std::uint64_t __attribute__((vector_size(16)));
    static constexpr Values places = { 0, 1, 2, 3, 4, 5, 6, 7 };
};
template <> struct Vector<16> {
    using Values = std::uint16_t __attribute__((vector_size(32)));
    using Mask = std::int16_t __attribute__((vector_size(32)));
    using Quads = std::uint64_t __attribute__((vector_size(32)));
    static constexpr Values places = { 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15 };
};

/// Compares so many neighbouring pixels at a time with a colour, and sums the near ones. `far` is for limits
/// that are no 16-bit number.
template <int lanes, bool far> class Comparison {
    using Values = typename Vector<lanes>::Values;
    using Mask = typename Vector<lanes>::Mask;
    using Quads = typename Vector<lanes>::Quads;

    /// Samples that lie where they may; memcpy() would go through memory once more.
    struct __attribute__((packed, may_alias)) Unaligned {
        Values values;
    };

public:
    /// Rows of `width` pixels that may be summed before some lane overflows.
    static int rowsAtOnce(int width)
    {
        return std::max(1, 65535 / ((width + lanes - 1) / lanes * std::max(255, width)));
    }

    MIRAVEX_INLINE Comparison(const std::array<int, channels>& center, int limit, int width)
        : last_((width - 1) / lanes * lanes)
        , ofLast_(Vector<lanes>::places < static_cast<std::uint16_t>(width - last_))
    {
        repeat(low_, limit & 0xFFFF);
        repeat(high_, -(limit >> 16));
        for (std::size_t c = 0; c < channels; ++c) repeat(center_[c], center[c]);
    }

    MIRAVEX_INLINE void clear() { count_ = cumulative_ = x_ = color_[0] = color_[1] = color_[2] = Values {}; }

    /// One row of the window, from its first sample on; those of the other channels follow at `length`.
    MIRAVEX_INLINE void look(const std::uint16_t* samples, std::size_t length)
    {
        Values places = Vector<lanes>::places;
        for (int x = 0; x < last_; x += lanes) {
            lookAt(samples + x, length, places, Mask {} - std::int16_t { 1 });
            places += static_cast<std::uint16_t>(lanes);
        }
        lookAt(samples + last_, length, places, ofLast_);
        cumulative_ += count_;
    }

    /// Adds what was seen since clear() in the rows before `end`, in a window whose columns begin at `left`.
    MIRAVEX_INLINE void addTo(Sums& sums, int left, int end) const
    {
        const std::uint32_t count = total(count_);
        sums.count += count;
        sums.x += total(x_) + count * static_cast<std::uint32_t>(left);
        // Each row was counted in cumulative_ as often as rows were left, which saves products by y.
        sums.y += count * static_cast<std::uint32_t>(end) - total(cumulative_);
        for (std::size_t c = 0; c < channels; ++c) sums.color[c] += total(color_[c]);
    }

private:
    /// Fills a vector with a number.
    template <typename Numbers> MIRAVEX_INLINE static void repeat(Numbers& numbers, int number)
    {
        std::array<std::int16_t, lanes> all;
        all.fill(static_cast<std::int16_t>(number));
        std::memcpy(&numbers, all.data(), sizeof numbers);
    }

    MIRAVEX_INLINE void lookAt(const std::uint16_t* samples, std::size_t length, const Values& places,
                               const Mask& valid)
    {
        const Values value[channels] = { reinterpret_cast<const Unaligned*>(samples)->values,
                                         reinterpret_cast<const Unaligned*>(samples + length)->values,
                                         reinterpret_cast<const Unaligned*>(samples + 2 * length)->values };
        const Values a = value[0] - center_[0], b = value[1] - center_[1], c = value[2] - center_[2];
        // Each square fits; where a sum does not, it is less than what it was made of.
        const Values one = a * a, two = one + b * b, three = two + c * c;
        Mask near;
        if constexpr (far) {
            const Mask carries = (two < one) + (three < two); // each counts as -1
            near = valid & ((carries > high_) | ((carries == high_) & (three <= low_)));
        } else {
            near = valid & (two >= one) & (three >= two) & (three <= low_);
        }
        const Values kept = reinterpret_cast<Values>(near);
        count_ -= kept; // 0xFFFF is -1
        x_ += places & kept;
        for (int i = 0; i < channels; ++i) color_[i] += value[i] & kept;
    }

    MIRAVEX_INLINE static std::uint32_t total(const Values& sums)
    {
        const Quads quads = reinterpret_cast<Quads>(sums), ofTwo = Quads {} + 0x0000FFFF0000FFFFU;
        const Quads pairs = (quads & ofTwo) + (quads >> 16 & ofTwo);
        std::uint64_t all = 0;
        for (int i = 0; i < lanes / 4; ++i) all += pairs[i];
        return static_cast<std::uint32_t>(all) + static_cast<std::uint32_t>(all >> 32);
    }

    Values center_[channels];
    Values low_; ///< the limit's low 16 bits, and its high ones negated
    Mask high_;
    int last_; ///< where a row's last vector begins
    Mask ofLast_; ///< which of its lanes are inside the window
    Values count_, cumulative_, x_, color_[channels];
};

/// Sums over a window seen from row `current`, where rows up to it are in `after`.
template <int lanes, bool far>
MIRAVEX_INLINE Sums sumsOf(const Level& level, const Window& window, int current, int rowsAtOnce,
                           const std::array<int, channels>& center)
{
    Comparison<lanes, far> comparison(center, level.limit, window.right - window.left + 1);
    Sums sums;
    for (int y = window.top; y <= window.bottom;) {
        const int end = std::min(y + rowsAtOnce, window.bottom + 1);
        comparison.clear();
        for (; y < end; ++y) {
            const Planes& planes = y <= current ? level.after : level.before;
            comparison.look(planes.at(y, window.left), planes.length());
        }
        comparison.addTo(sums, window.left, end);
    }
    return sums;
}

/// The pixels of one row, one after the other.
template <int lanes, bool far> class RowMover {
public:
    RowMover(const Level& level)
        : level_(level)
        , rowsAtOnce_(Comparison<lanes, far>::rowsAtOnce(
              std::isnan(level.radius) ? 1 : std::min(2 * cvFloor(level.radius) + 3, level.columns())))
    {
    }

    MIRAVEX_INLINE void move(int row)
    {
        const uchar* wanted = level_.wanted.empty() ? nullptr : level_.wanted.ptr<uchar>(row);
        doneAbove_ = level_.inPlace() ? 0 : level_.columns();
        for (int column = 0; column < level_.columns(); ++column) {
            if (!wanted || wanted[column]) movePixel(row, column);
            if (level_.inPlace()) level_.progress.advance(row, column + 1);
        }
    }

private:
    MIRAVEX_INLINE void movePixel(int row, int column)
    {
        std::array<int, channels> color {};
        for (std::size_t c = 0; c < channels; ++c)
            color[c] = level_.before.at(row, column)[c * level_.before.length()];
        int x = column, y = row;
        for (int step = 0; step < level_.steps; ++step) {
            const Window window(level_, x, y);
            if (window.empty()) break;
            waitForRowsAbove(row, window.reach(level_));
            const Sums sums = sumsOf<lanes, far>(level_, window, row, rowsAtOnce_, color);
            if (sums.count == 0) break;

            const double share = 1.0 / sums.count;
            const int nextX = cvRound(static_cast<std::int32_t>(sums.x) * share);
            const int nextY = cvRound(static_cast<std::int32_t>(sums.y) * share);
            const bool stays = nextX == x && nextY == y;
            int change = std::abs(nextX - x) + std::abs(nextY - y);
            x = nextX;
            y = nextY;
            for (std::size_t c = 0; c < channels; ++c) {
                const int next = cvRound(sums.color[c] * share);
                change += squared(next - color[c]);
                color[c] = next;
            }
            if (stays || change <= 1) break;
        }
        for (std::size_t c = 0; c < channels; ++c) {
            level_.result.ptr<cv::Vec3b>(row)[column][static_cast<int>(c)] = static_cast<uchar>(color[c]);
            if (level_.inPlace())
                level_.after.at(row, column)[c * level_.after.length()] =
                    static_cast<std::uint16_t>(color[c]);
        }
    }

    MIRAVEX_INLINE void waitForRowsAbove(int row, int columns)
    {
        while (doneAbove_ < columns) {
            doneAbove_ = level_.progress.columnsAbove(row, firstUndone_);
            if (doneAbove_ < columns) std::this_thread::yield();
        }
    }

    const Level& level_;
    int rowsAtOnce_;
    int doneAbove_ = 0; ///< columns that are known to be done in all rows above
    int firstUndone_ = 0; ///< all rows before it are known to be done whole
};

template <int lanes, bool far> MIRAVEX_INLINE void moveRows(const Level& level)
{
    RowMover<lanes, far> mover(level);
    for (int row = level.progress.begin(); row < level.rows(); row = level.progress.begin()) mover.move(row);
}

void moveRowsBaseline(const Level& level)
{
    if (level.limitIsFar())
        moveRows<8, true>(level);
    else
        moveRows<8, false>(level);
}

MIRAVEX_FOR_AVX2 void moveRowsAvx2(const Level& level)
{
    if (level.limitIsFar())
        moveRows<16, true>(level);
    else
        moveRows<16, false>(level);
}

/// Where a level's pixels are to be moved: around those of the coarser one that differ from a neighbour.
cv::Mat edgesOf(const cv::Mat& coarse, cv::Size size, int limit)
{
    cv::Mat edges = cv::Mat::zeros(size, CV_8U);
    const int far = std::max(limit, 16);
    for (int y = 1; y < coarse.rows - 1; ++y) {
        for (int x = 1; x < coarse.cols - 1; ++x) {
            const auto* center = coarse.ptr<cv::Vec3b>(y) + x;
            bool differs = false;
            for (int dy = -1; dy <= 1 && !differs; ++dy) {
                const auto* others = coarse.ptr<cv::Vec3b>(y + dy) + x;
                for (int dx = -1; dx <= 1 && !differs; ++dx) {
                    int distance = 0;
                    for (int c = 0; c < channels; ++c) distance += squared((*center)[c] - others[dx][c]);
                    differs = distance >= far;
                }
            }
            if (differs) edges.ptr<uchar>(2 * y + 1)[2 * x - 1] = 1; // as OpenCV places them, two rows lower
        }
    }
    cv::dilate(edges, edges, cv::Mat());
    return edges;
}

/// Moves the pixels of one level that are wanted. `seen` is what windows look at; the others keep what
/// `result` has. In place, they look at the result as it comes to be.
void moveLevel(const cv::Mat& seen, bool inPlace, cv::Mat& result, const cv::Mat& wanted, const MeanShift& by,
               int halvings, int limit, InstructionSet instructions)
{
    Planes before(seen);
    std::unique_ptr<Planes> after;
    if (inPlace) after = std::make_unique<Planes>(seen);
    Progress progress(result.rows, result.cols);
    float radius = static_cast<float>(by.spatialRadius / (1 << halvings));
    if (radius < 1) radius = 1; // not of NaN, which has no window
    const Level level { .before = before,
                        .after = after ? *after : before,
                        .result = result,
                        .wanted = wanted,
                        .radius = radius,
                        .limit = limit,
                        .steps =
                            static_cast<int>(std::clamp<int64_t>(by.steps, 1, bounds::meanShiftIterations)),
                        .progress = progress };
    cv::parallel_for_(cv::Range(0, std::min(std::max(cv::getNumThreads(), 1), result.rows)),
                      [&](const cv::Range& workers) {
                          for (int i = workers.start; i < workers.end; ++i) {
                              if (instructions == InstructionSet::Avx2)
                                  moveRowsAvx2(level);
                              else
                                  moveRowsBaseline(level);
                          }
                      });
}

} // namespace

void meanShift(const cv::Mat& source, cv::Mat& flattened, const MeanShift& by, InstructionSet instructions)
{
    CV_Assert(source.type() == CV_8UC3 && source.data != flattened.data);
    CV_Assert(!(by.spatialRadius > meanShiftReach));
    if (by.levels < 0 || by.levels > bounds::meanShiftLevels)
        CV_Error(cv::Error::StsOutOfRange, "the pyramid of mean shift has no such level");
    flattened.create(source.size(), source.type());

    // Radii whose square passes 32 bits, and NaN, become negative: nothing is near.
    const int square = cvRound(by.colorRadius * by.colorRadius), limit = std::clamp(square, -1, farthest);
    std::vector<cv::Mat> pictures { source }, results { flattened };
    for (int i = 1; i <= by.levels; ++i) {
        const cv::Mat& finer = pictures.back();
        cv::Mat coarser;
        cv::pyrDown(finer, coarser, cv::Size((finer.cols + 1) / 2, (finer.rows + 1) / 2));
        results.emplace_back(coarser.size(), coarser.type());
        pictures.push_back(coarser);
    }
    for (int i = by.levels; i >= 0; --i) {
        const auto at = static_cast<std::size_t>(i);
        cv::Mat wanted;
        if (i < by.levels) {
            cv::pyrUp(results[at + 1], results[at], results[at].size());
            wanted = edgesOf(results[at + 1], results[at].size(), square);
        }
        // The picture itself is worked on in place, where the coarser result has replaced it by now.
        const bool inPlace = i == 0;
        const cv::Mat& seen = inPlace && by.levels > 0 ? results[0] : pictures[at];
        moveLevel(seen, inPlace, results[at], wanted, by, i, limit, instructions);
    }
}

} // namespace miravex
