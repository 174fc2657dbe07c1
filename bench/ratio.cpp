#include "bench/ratio.h"

#include "catalog/arguments.h"
#include "catalog/catalog.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <opencv2/imgproc.hpp>
#include <sys/prctl.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>

namespace miravex::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double shortestSample = 2e-3; ///< seconds: quicker work is repeated within one sample
constexpr double enoughTime = 0.8; ///< seconds spent on one ratio, when there are enough pairs
constexpr double patience = 20; ///< seconds after which fewer pairs must do
constexpr std::size_t enoughPairs = 9;
constexpr std::size_t leastPairs = 3;

double secondsOf(const Work& work, int64_t repetitions)
{
    const auto start = Clock::now();
    for (int64_t i = 0; i < repetitions; ++i) work();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Repetitions that make one sample long enough to be timed; warms the caches up on the way.
int64_t repetitionsFor(const Work& work)
{
    for (int64_t repetitions = 1;; repetitions *= 4)
        if (secondsOf(work, repetitions) >= shortestSample) return repetitions;
}

double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

/// Calls `measure` until there are enough samples for a median.
template <typename Measure> void sample(Measure measure)
{
    const auto start = Clock::now();
    for (std::size_t count = 0;;) {
        measure(count++ % 2 == 0);
        const double spent = std::chrono::duration<double>(Clock::now() - start).count();
        if (count >= enoughPairs && spent >= enoughTime) return;
        if (count >= leastPairs && spent >= patience) return;
    }
}

/// Gives OpenCV a number of threads for a while; 0 leaves it alone.
class Threads {
public:
    explicit Threads(int count)
        : before_(cv::getNumThreads())
    {
        if (count > 0) cv::setNumThreads(count);
    }
    ~Threads() { cv::setNumThreads(before_); }
    Threads(const Threads&) = delete;
    Threads& operator=(const Threads&) = delete;

private:
    int before_;
};

void measureRatio(benchmark::State& state, const std::vector<Work>& works, const Goal& goal)
{
    const Threads threads(goal.threads);
    int64_t repetitions = 1;
    for (const Work& work : works) repetitions = std::max(repetitions, repetitionsFor(work));
    std::vector<std::vector<double>> seconds(works.size()), ratios(works.size());
    for (auto _ : state) {
        sample([&](bool forward) {
            std::vector<double> round(works.size());
            for (std::size_t i = 0; i < works.size(); ++i) {
                const std::size_t turn = forward ? i : works.size() - 1 - i;
                round[turn] = secondsOf(works[turn], repetitions);
            }
            for (std::size_t i = 0; i < works.size(); ++i) {
                seconds[i].push_back(round[i] / static_cast<double>(repetitions));
                ratios[i].push_back(round.front() / round[i]);
            }
        });
        state.SetIterationTime(median(seconds.front()));
    }
    const double baseline = median(seconds[1]) * 1e3;
    state.counters["ratio"] = median(ratios[1]);
    state.counters["baseline_ms"] = baseline;
    state.counters["rounds"] = static_cast<double>(ratios[1].size());
    if (works.size() > 2) state.counters["floor"] = median(ratios[2]);
    if (!goal.most) return;
    const bool counts = baseline >= goal.fromMilliseconds;
    state.counters[counts ? "target" : "below_ms"] = counts ? *goal.most : goal.fromMilliseconds;
    if (works.size() > 2 && counts) state.counters["floor_target"] = mostOverFloor;
}

void measureDuration(benchmark::State& state, const Work& subject, std::optional<double> target)
{
    const int64_t repetitions = repetitionsFor(subject);
    std::vector<double> seconds;
    for (auto _ : state) {
        sample([&](bool) {
            seconds.push_back(secondsOf(subject, repetitions) / static_cast<double>(repetitions));
        });
        state.SetIterationTime(median(seconds));
    }
    state.counters["ns"] = median(seconds) * 1e9;
    if (target) state.counters["target_ns"] = *target;
}

} // namespace

namespace {

void registerRatio(const std::string& name, const std::vector<Work>& works, const Goal& goal)
{
    benchmark::RegisterBenchmark(name.c_str(),
                                 [=](benchmark::State& state) { measureRatio(state, works, goal); })
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1);
}

} // namespace

void ratio(std::string name, Work subject, Work baseline, Goal goal)
{
    registerRatio(name, { std::move(subject), std::move(baseline) }, goal);
}

void ratio(std::string name, Work subject, Calls calls, Goal goal)
{
    const Work plain = [calls] {
        cv::Mat out;
        calls(out);
        keep(out.data);
    };
    // Made by the first round, which warms up.
    const Work floor = [calls, out = std::make_shared<cv::Mat>()] {
        calls(*out);
        keep(out->data);
    };
    registerRatio(name, { std::move(subject), plain, floor }, goal);
}

void duration(std::string name, Work subject, std::optional<double> targetNanoseconds)
{
    benchmark::RegisterBenchmark(
        name.c_str(), [=](benchmark::State& state) { measureDuration(state, subject, targetNanoseconds); })
        ->UseManualTime()
        ->Unit(benchmark::kNanosecond)
        ->Iterations(1);
}

const Library& library()
{
    static const Library loaded;
    return loaded;
}

Work operation(std::string_view name, std::vector<Value> values)
{
    const Operation* record = findOperation(name);
    if (!record) {
        fmt::print(stderr, "no operation is called {}\n", name);
        std::exit(1);
    }
    return [record, values = std::move(values)] {
        const Outcome outcome = call(library(), *record, values);
        if (outcome.ok()) return;
        fmt::print(stderr, "{} was refused: {}\n", record->name, outcome.openCvError);
        std::exit(1);
    };
}

cv::Mat noise(int rows, int columns, int type, uint64_t seed)
{
    cv::Mat matrix(rows, columns, type);
    cv::RNG generator(seed);
    const double range = CV_MAT_DEPTH(type) == CV_8U ? 256 : CV_MAT_DEPTH(type) == CV_16U ? 65536 : 1;
    generator.fill(matrix, cv::RNG::UNIFORM, 0, range);
    return matrix;
}

cv::Mat smooth(int rows, int columns, int type, uint64_t seed)
{
    cv::Mat blobs;
    cv::resize(noise((rows + 15) / 16, (columns + 15) / 16, type, seed), blobs, cv::Size(columns, rows), 0, 0,
               cv::INTER_CUBIC);
    return blobs;
}

Registration::Registration(void (*registerAll)()) { registerAll(); }

} // namespace miravex::bench

/// `--plain-malloc` measures as on a host that takes its memory from malloc and asks for no large pages.
int main(int argc, char** argv)
{
    if (argc > 1 && std::string_view(argv[1]) == "--plain-malloc") {
        prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0);
        std::rotate(argv + 1, argv + 2, argv + argc);
        --argc;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
