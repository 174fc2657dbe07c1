#include "ops/photo/non_local_means.h"

#include "ops/photo/bounds.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <type_traits>
#include <vector>

/// One offset at a time instead of one pixel at a time: between a picture and itself moved by an offset, the
/// distances of all templates are sums over windows of the one picture of squared differences, which are kept
/// down its columns while the windows move down, and added up across for a whole row at once. And a pixel is
/// as like another as that is like it: half the offsets serve both.
///
/// All sums are integers, so that their order does not matter and tiles may be computed by any thread.
namespace miravex {

namespace {

/// Distances of templates and sums over search windows; bounds.h has them fit.
using Sum = uint32_t;

/// What stays in the caches while all offsets pass over it.
constexpr int tileRows = 64;
constexpr int tileColumns = 256;

/// Weights by distance. A distance, the sum of a template's squared differences, is divided not by the pixels
/// of the template but by the next power of two, and so counts in steps that the table makes up for.
class Weights {
public:
    Weights(const NonLocalMeans& parameters, int channels, std::size_t frames)
    {
        const int pixels = parameters.templateSide * parameters.templateSide;
        while ((1 << shift_) < pixels) ++shift_;
        const double perStep = static_cast<double>(1 << shift_) / pixels;
        const int steps = static_cast<int>(255 * 255 * channels / perStep + 1);
        const int one = unit(static_cast<int64_t>(frames) * parameters.searchSide * parameters.searchSide);
        const float scale = parameters.strength * parameters.strength * static_cast<float>(channels);
        for (int step = 0; step < steps; ++step) {
            const double exponent = step * perStep / scale;
            if (exponent > 8) break; // from there on all are 0, and a short table stays in the cache
            table_.push_back(weight(exponent, one));
        }
        table_.push_back(0);
    }

    /// By step; last() stands for all beyond.
    [[nodiscard]] const Sum* table() const { return table_.data(); }
    [[nodiscard]] Sum last() const { return static_cast<Sum>(table_.size() - 1); }
    /// Steps are distances, shifted right by so many bits.
    [[nodiscard]] int shift() const { return shift_; }

private:
    /// The weight of 1: as much as lets so many pixels of white add up within 31 bits.
    static int unit(int64_t pixels)
    {
        const int64_t most = std::numeric_limits<int32_t>::max() / (255 * pixels);
        return static_cast<int>(std::max<int64_t>(most, 1));
    }

    static Sum weight(double exponent, int one)
    {
        const double exact = std::exp(-exponent);
        if (std::isnan(exact)) return static_cast<Sum>(one); // strength NaN, or 0 and equal templates
        const int rounded = cvRound(one * exact);
        return rounded < 0.001 * one ? 0 : static_cast<Sum>(rounded);
    }

    int shift_ = 0;
    std::vector<Sum> table_;
};

/// The place that stands for one beyond the edges: mirrored at the first and the last, as often as it takes.
int mirrored(int64_t place, int length)
{
    if (length == 1) return 0;
    const int64_t period = 2 * (int64_t { length } - 1);
    const int64_t within = std::abs(place) % period;
    return static_cast<int>(std::min(within, period - within));
}

/// The samples of a frame's tile and of a margin around it, channel by channel. Numbers of 16 bits, so that
/// differences are taken and squared without being widened first.
class Planes {
public:
    Planes(const cv::Rect& tile, int margin)
        : tile_(tile)
        , margin_(margin)
        , stride_(tile.width + 2 * margin)
        , plane_((tile.height + 2 * margin) * stride_)
    {
    }

    void fill(const cv::Mat& frame)
    {
        const int channels = frame.channels();
        std::vector<std::ptrdiff_t> columns;
        for (int64_t x = tile_.x - margin_; x < tile_.x + tile_.width + margin_; ++x)
            columns.push_back(std::ptrdiff_t { mirrored(x, frame.cols) } * channels);
        samples_.resize(static_cast<std::size_t>(plane_ * channels));
        int16_t* sample = samples_.data();
        for (int channel = 0; channel < channels; ++channel) {
            for (int64_t y = tile_.y - margin_; y < tile_.y + tile_.height + margin_; ++y) {
                const uchar* row = frame.ptr<uchar>(mirrored(y, frame.rows)) + channel;
                for (const std::ptrdiff_t column : columns) *sample++ = row[column];
            }
        }
    }

    /// In the first channel, counted from the tile's first pixel. The next channel is plane() samples on.
    [[nodiscard]] const int16_t* at(int y, int x) const
    {
        return samples_.data() + (y + margin_) * stride_ + x + margin_;
    }
    [[nodiscard]] std::ptrdiff_t plane() const { return plane_; }

private:
    cv::Rect tile_;
    int64_t margin_;
    std::ptrdiff_t stride_, plane_;
    std::vector<int16_t> samples_;
};

/// One tile at work.
template <int Channels> struct Tile {
    /// A pixel's squared difference: 255 x 255 of one channel fit 16 bits.
    using Square = std::conditional_t<Channels == 1, uint16_t, uint32_t>;

    cv::Rect area;
    int half, reach; ///< of the template, of the search window: sides less one, halved
    const Weights& weights;
    Planes own, other; ///< of the middle frame, of another
    bool paired; ///< weights within the middle frame serve both pixels
    std::vector<Sum> sums; ///< of weights, then for each channel of weighted samples; for each pixel

    std::vector<Square> squares; ///< of as many rows as a template has, those that `columns` adds up
    std::vector<Sum> columns; ///< squared differences, summed down columns as high as a template
    std::vector<Sum> steps, found; ///< of a row of templates: steps of the table, weights

    Tile(const cv::Rect& tile, const NonLocalMeans& parameters, const Weights& table)
        : area(tile)
        , half(parameters.templateSide / 2)
        , reach(parameters.searchSide / 2)
        , weights(table)
        , own(tile, half + reach)
        , other(tile, half + reach)
        , sums(static_cast<std::size_t>(tile.area()) * (Channels + 1))
        , columns(static_cast<std::size_t>(tile.width + reach + 2 * half))
        , steps(columns.size())
        , found(columns.size())
    {
        squares.resize(columns.size() * static_cast<std::size_t>(side()));
        // Pairs are sought in a tile that is, on average, larger by half the reach on two sides.
        const double sought = (tile.height + reach / 2.0) * (tile.width + reach / 2.0);
        paired = sought < 1.8 * tile.area();
    }

    [[nodiscard]] int side() const { return 2 * half + 1; }
    [[nodiscard]] Sum* sumsOf(int y) { return sums.data() + std::ptrdiff_t { y } * area.width; }
};

/// Lets a row of squared differences enter the sums of columns and take the place of one that leaves them.
template <int Channels, typename Square>
MIRAVEX_INLINE void moveColumns(Sum* columns, Square* squares, const int16_t* own, const int16_t* other,
                                std::ptrdiff_t plane, int count)
{
    MIRAVEX_INDEPENDENT_STEPS
    for (int x = 0; x < count; ++x) {
        Square square = 0;
        for (int channel = 0; channel < Channels; ++channel) {
            const std::ptrdiff_t place = x + channel * plane;
            const auto difference = static_cast<int16_t>(own[place] - other[place]);
            square = static_cast<Square>(square + static_cast<Square>(difference * difference));
        }
        columns[x] += static_cast<Sum>(square) - static_cast<Sum>(squares[x]);
        squares[x] = square;
    }
}

/// Steps of a row of templates of a small side, from the sums of their columns.
template <int Side, int Channels> MIRAVEX_INLINE void findSteps(Tile<Channels>& tile, int count)
{
    const Sum* const columns = tile.columns.data();
    Sum* const steps = tile.steps.data();
    const int shift = tile.weights.shift();
    const Sum last = tile.weights.last();
    MIRAVEX_INDEPENDENT_STEPS
    for (int x = 0; x < count; ++x) {
        Sum sum = columns[x];
        for (int i = 1; i < Side; ++i) sum += columns[x + i];
        steps[x] = std::min(sum >> shift, last);
    }
}

/// The same for any side, by way of sums of 2, 4, 8 ... columns.
template <int Channels> MIRAVEX_INLINE void findStepsByDoubling(Tile<Channels>& tile, int count)
{
    const int side = tile.side();
    Sum* const wider = tile.found.data(); // not needed before weights are found
    Sum* const steps = tile.steps.data();
    const int shift = tile.weights.shift();
    const Sum last = tile.weights.last();
    std::copy_n(tile.columns.data(), count + side - 1, wider);
    std::fill_n(steps, count, 0);
    int summed = 0;
    for (int width = 1;; width *= 2) {
        if (side & width) {
            MIRAVEX_INDEPENDENT_STEPS
            for (int x = 0; x < count; ++x) steps[x] += wider[x + summed];
            summed += width;
        }
        if (summed == side) break;
        for (int x = 0; x < count + side - 2 * width; ++x) wider[x] += wider[x + width];
    }
    for (int x = 0; x < count; ++x) steps[x] = std::min(steps[x] >> shift, last);
}

/// Finds the weights of a row of templates.
template <int Channels> MIRAVEX_INLINE void findWeights(Tile<Channels>& tile, int count)
{
    switch (tile.side()) {
    case 1: findSteps<1>(tile, count); break;
    case 3: findSteps<3>(tile, count); break;
    case 5: findSteps<5>(tile, count); break;
    case 7: findSteps<7>(tile, count); break;
    case 9: findSteps<9>(tile, count); break;
    default: findStepsByDoubling(tile, count); break;
    }
    const Sum* const table = tile.weights.table();
    const Sum* const steps = tile.steps.data();
    Sum* const found = tile.found.data();
    // As quick as vectors that gather.
    MIRAVEX_EIGHT_STEPS
    for (int x = 0; x < count; ++x) found[x] = table[steps[x]];
}

/// Adds weighted samples to the sums of one row of the tile.
template <int Channels>
MIRAVEX_INLINE void addSamples(Tile<Channels>& tile, int y, const Sum* weights, const int16_t* samples)
{
    Sum* const sums = tile.sumsOf(y);
    const std::ptrdiff_t area = tile.area.area(), plane = tile.own.plane();
    const int count = tile.area.width;
    MIRAVEX_INDEPENDENT_STEPS
    for (int x = 0; x < count; ++x) {
        sums[x] += weights[x];
        for (int channel = 0; channel < Channels; ++channel)
            sums[x + (channel + 1) * area] += weights[x] * static_cast<Sum>(samples[x + channel * plane]);
    }
}

/// Where a pixel of a search window lies from the pixel that is denoised.
struct Offset {
    int down, right;
};

/// Averages over one place of the search windows: of pixel p and q = p + offset in the other frame, q counts
/// for p, if p is in the tile. When the other frame is the tile's own and `both`, p counts as much for q.
template <int Channels>
MIRAVEX_INLINE void addOffset(Tile<Channels>& tile, const Planes& other, const Offset& offset, bool both)
{
    // The pixels p: the tile, and the tile moved back by the offset.
    const int top = both ? -offset.down : 0; // pairs never go up
    const int left = both ? std::min(-offset.right, 0) : 0;
    const int right = tile.area.width + (both ? std::max(-offset.right, 0) : 0);
    const int half = tile.half, side = tile.side();
    const int count = right - left, wide = count + side - 1;

    std::fill_n(tile.columns.begin(), wide, 0);
    std::fill(tile.squares.begin(), tile.squares.end(), 0);
    int leaving = 0;
    for (int entering = top - half; entering < tile.area.height + half; ++entering) {
        moveColumns<Channels>(tile.columns.data(), tile.squares.data() + std::ptrdiff_t { leaving } * wide,
                              tile.own.at(entering, left - half),
                              other.at(entering + offset.down, left - half + offset.right), other.plane(),
                              wide);
        leaving = leaving + 1 == side ? 0 : leaving + 1;
        const int y = entering - half;
        if (y < top) continue;
        findWeights(tile, count);
        const Sum* const weights = tile.found.data() - left;
        if (y >= 0) addSamples(tile, y, weights, other.at(y + offset.down, offset.right));
        if (both && y + offset.down < tile.area.height)
            addSamples(tile, y + offset.down, weights - offset.right, tile.own.at(y, -offset.right));
    }
}

template <int Channels>
void addOffsetBaseline(Tile<Channels>& tile, const Planes& other, const Offset& offset, bool both)
{
    addOffset(tile, other, offset, both);
}

template <int Channels>
MIRAVEX_FOR_AVX2 void addOffsetAvx2(Tile<Channels>& tile, const Planes& other, const Offset& offset,
                                    bool both)
{
    addOffset(tile, other, offset, both);
}

/// Divides the sums by those of the weights, to the nearest.
template <int Channels> void writeMeans(Tile<Channels>& tile, cv::Mat& denoised)
{
    const std::ptrdiff_t area = tile.area.area();
    for (int y = 0; y < tile.area.height; ++y) {
        uchar* sample = denoised.ptr<uchar>(tile.area.y + y) + std::ptrdiff_t { tile.area.x } * Channels;
        const Sum* const sums = tile.sumsOf(y);
        for (int x = 0; x < tile.area.width; ++x) {
            for (int channel = 0; channel < Channels; ++channel) {
                const Sum samples = sums[x + (channel + 1) * area];
                *sample++ = static_cast<uchar>((samples + sums[x] / 2) / sums[x]);
            }
        }
    }
}

template <int Channels>
void denoiseTile(std::span<const cv::Mat> frames, cv::Mat& denoised, const cv::Rect& area,
                 const NonLocalMeans& parameters, const Weights& weights, InstructionSet instructions)
{
    const auto add =
        instructions == InstructionSet::Avx2 ? addOffsetAvx2<Channels> : addOffsetBaseline<Channels>;
    Tile<Channels> tile(area, parameters, weights);
    const cv::Mat& middle = frames[frames.size() / 2];
    tile.own.fill(middle);
    for (const cv::Mat& frame : frames) {
        const bool own = &frame == &middle, paired = own && tile.paired;
        if (!own) tile.other.fill(frame);
        for (int down = paired ? 0 : -tile.reach; down <= tile.reach; ++down) {
            for (int right = paired && down == 0 ? 0 : -tile.reach; right <= tile.reach; ++right)
                add(tile, own ? tile.own : tile.other, { down, right }, paired && (down > 0 || right > 0));
        }
    }
    writeMeans(tile, denoised);
}

/// Where one of `count` equal parts of a side begins; the part after the last begins at its end.
int beginOf(int part, int count, int side) { return static_cast<int>(int64_t { side } * part / count); }

} // namespace

void nonLocalMeans(std::span<const cv::Mat> frames, cv::Mat& denoised, const NonLocalMeans& parameters,
                   InstructionSet instructions)
{
    constexpr std::array denoise { denoiseTile<1>, denoiseTile<2>, denoiseTile<3>, denoiseTile<4> };
    const auto count = static_cast<int64_t>(frames.size());
    CV_Assert(count % 2 == 1 && parameters.templateSide % 2 == 1 && parameters.searchSide % 2 == 1);
    const cv::Mat& middle = frames[frames.size() / 2];
    const int channels = middle.channels();
    CV_Assert(middle.depth() == CV_8U && middle.dims == 2 && channels <= 4 && !middle.empty());
    CV_Assert(bounds::denoisingTemplateFits(parameters.templateSide, channels));
    CV_Assert(bounds::denoisingSearchFits(count, parameters.searchSide));
    for (const cv::Mat& frame : frames)
        CV_Assert(frame.dims == 2 && frame.size() == middle.size() && frame.type() == middle.type());

    denoised.create(middle.size(), middle.type());
    const Weights weights(parameters, channels, frames.size());
    const int down = (middle.rows - 1) / tileRows + 1, across = (middle.cols - 1) / tileColumns + 1;
    cv::parallel_for_(cv::Range(0, down * across), [&](const cv::Range& tiles) {
        for (int tile = tiles.start; tile < tiles.end; ++tile) {
            const int row = tile / across, column = tile % across;
            const cv::Point first(beginOf(column, across, middle.cols), beginOf(row, down, middle.rows));
            const cv::Point end(beginOf(column + 1, across, middle.cols),
                                beginOf(row + 1, down, middle.rows));
            denoise[static_cast<std::size_t>(channels - 1)](frames, denoised, cv::Rect(first, end),
                                                            parameters, weights, instructions);
        }
    });
}

} // namespace miravex
