#include "miravex/miravex_host.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

/// What a dilation through the C door takes longer when the picture and its result lie column by column, as
/// kernels keep them, than when they are borrowed row by row; with and without a watch for interrupts. Turn
/// by turn; least and median.

namespace {

constexpr int64_t side = 2000;
constexpr int rounds = 31;

using Clock = std::chrono::steady_clock;

double milliseconds(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

struct Picture {
    mvx_samples samples {};
    std::vector<uint8_t> bytes;

    Picture(int64_t channels, bool byColumns)
        : bytes(static_cast<std::size_t>(side * side * channels), 100)
    {
        samples.data = bytes.data();
        samples.type = MVX_BYTE;
        samples.color = MVX_USUAL;
        const int64_t sizes[] = { 0, side, side, channels };
        const int64_t rows[] = { 0, side * channels, channels, 1 }, columns[] = { 0, 1, side, side * side };
        std::copy_n(sizes, 4, samples.size);
        std::copy_n(byColumns ? columns : rows, 4, samples.step);
    }
};

double called(const Picture& from, const Picture& to, bool isWatched)
{
    const auto start = Clock::now();
    mvx_call* call = mvx_begin("dilation");
    mvx_set_image(call, "image", &from.samples);
    mvx_set_integer(call, "radius", 1);
    if ((isWatched ? mvx_run_watched(call, nullptr, nullptr) : mvx_run(call)) != MVX_DONE
        || mvx_copy(call, &to.samples) != MVX_DONE) {
        std::fprintf(stderr, "%s\n", mvx_error(call));
        std::exit(1);
    }
    mvx_end(call);
    return milliseconds(start);
}

void measure(const char* name, int64_t channels)
{
    const Picture rows(channels, false), toRows(channels, false), columns(channels, true),
        toColumns(channels, true);
    std::vector<double> borrowed, turned, watched;
    for (int i = 0; i <= rounds; ++i) {
        borrowed.push_back(called(rows, toRows, false));
        turned.push_back(called(columns, toColumns, false));
        watched.push_back(called(columns, toColumns, true));
    }
    for (auto* times : { &borrowed, &turned, &watched }) {
        times->erase(times->begin()); // the first touches everything
        std::sort(times->begin(), times->end());
    }
    constexpr std::size_t middle = rounds / 2;
    std::printf("%-5s borrowed %5.1f (%5.1f) ms, by columns +%4.1f (+%4.1f) ms, watched +%4.1f (+%4.1f) ms\n",
                name, borrowed[0], borrowed[middle], turned[0] - borrowed[0],
                turned[middle] - borrowed[middle], watched[0] - borrowed[0],
                watched[middle] - borrowed[middle]);
}

} // namespace

int main()
{
    std::printf("dilation of 2000 x 2000 bytes by 3 x 3, least (median) of %d\n", rounds);
    measure("gray", 1);
    measure("RGB", 3);
}
