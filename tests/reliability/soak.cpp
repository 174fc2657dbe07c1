#include "catalog/catalog.h"
#include "host/memory.h"
#include "tests/support/allocations.h"
#include "tests/support/drawn_call.h"
#include "tests/support/sample_files.h"

#include <fmt/format.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

/// Makes mixed calls of every operation for a long time on small inputs and prints how memory and open files
/// fare. Usage: soak CALLS [SEED]. Exit status 1 when memory grew by more than 5 %, a call in 500 left
/// a block behind, a file stayed open, or a promise was broken.

namespace {

using namespace miravex;
using namespace miravex::test;

/// The figures, on what was standard output; the complaints of the batch loader and of OpenCV's readers about
/// broken files, which are many, go nowhere.
FILE* figures()
{
    static FILE* const kept = [] {
        FILE* output = fdopen(dup(STDOUT_FILENO), "w");
        if (!output || !std::freopen("/dev/null", "w", stdout) || !std::freopen("/dev/null", "w", stderr))
            std::abort();
        return output;
    }();
    return kept;
}

double residentMebibytes()
{
    std::ifstream statm("/proc/self/statm");
    double total = 0, resident = 0;
    statm >> total >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1048576;
}

std::size_t entriesOf(const char* folder)
{
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

/// What the process holds at one moment.
struct Holding {
    // What the host and malloc keep for later is given up first: left are the objects that are still there.
    int trimmed = (releaseKeptMemory(), malloc_trim(0));
    double memory = residentMebibytes();
    int64_t blocks = liveAllocations();
    std::size_t files = entriesOf("/proc/self/fd");
    std::size_t threads = entriesOf("/proc/self/task");
};

struct Tally {
    int64_t accepted = 0;
    int64_t refused = 0;
    std::pair<double, std::string> slowest; ///< seconds, and the call
    std::vector<double> secondsOf = std::vector<double>(catalog().size());
    double seconds = 0;
    std::vector<int64_t> acceptedOf = std::vector<int64_t>(catalog().size());
};

/// Slow operations sit out some of their turns, so that none takes more than its share of the time.
bool sitsOut(std::size_t turn, const Tally& tally)
{
    constexpr double share = 0.04;
    return tally.secondsOf[turn] > 1 + share * tally.seconds;
}

/// One call: the operations take turns, the seed decides the values. False when a promise was broken.
bool callOnce(const Library& library, uint32_t number, Tally& tally)
{
    const std::size_t turn = number % catalog().size();
    const Operation& operation = *catalog()[turn];
    const auto source = randomBytes(number, 512);
    Bytes bytes(source);
    const auto values = drawValues(operation, bytes, sampleFiles(), { .side = 24, .elements = 128 });
    Outcome outcome;
    const auto start = std::chrono::steady_clock::now();
    const std::string broken = brokenPromise(library, operation, values, &outcome);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    tally.secondsOf[turn] += taken.count();
    tally.seconds += taken.count();
    tally.slowest = std::max(tally.slowest, { taken.count(), describeCall(operation, values) });
    if (outcome.ok()) {
        ++tally.accepted;
        ++tally.acceptedOf[turn];
    } else {
        ++tally.refused;
    }
    if (broken.empty()) return true;
    fmt::print(figures(), "broken: {}: {} (call {})\n", describeCall(operation, values), broken, number);
    return false;
}

void print(int64_t calls, const Holding& holding)
{
    fmt::print(figures(), "{:>10} calls {:>9.1f} MiB resident {:>9} blocks {:>5} open files {:>4} threads\n",
               calls, holding.memory, holding.blocks, holding.files, holding.threads);
    std::fflush(figures());
}

} // namespace

int main(int argc, char** argv)
{
    uint32_t calls = 0, seed = 0;
    for (int i = 1; i < argc && i < 3; ++i) {
        const char* const end = argv[i] + std::strlen(argv[i]);
        if (std::from_chars(argv[i], end, i == 1 ? calls : seed).ptr != end) calls = 0;
    }
    if (calls == 0) {
        fmt::print(stderr, "usage: soak CALLS [SEED]\n");
        return 2;
    }

    figures();
    const Library library;
    Tally tally;
    bool kept = true;
    // OpenCV sets up its pool, tables and caches in the first calls; the bar is what is held after them.
    const uint32_t warmUp = std::max(calls / 5, static_cast<uint32_t>(catalog().size()));
    const uint32_t report = std::max(calls / 10, 1U);
    Holding settled;
    const auto start = std::chrono::steady_clock::now();
    uint32_t number = seed;
    for (uint32_t i = 0; i < calls; ++i, ++number) {
        while (sitsOut(number % catalog().size(), tally)) ++number;
        kept = callOnce(library, number, tally) && kept;
        if (i + 1 == warmUp) settled = Holding();
        if ((i + 1) % report == 0) print(i + 1, Holding());
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    const Holding end;

    const double growth = end.memory / settled.memory - 1;
    fmt::print(figures(),
               "{} accepted, {} refused, {:.0f} s; memory {:+.2f} % since call {}; open files {:+d}\n",
               tally.accepted, tally.refused, taken.count(), 100 * growth, warmUp,
               static_cast<int>(end.files) - static_cast<int>(settled.files));
    fmt::print(figures(), "slowest, {:.1f} s: {}\n", tally.slowest.first, tally.slowest.second);
    for (std::size_t i = 0; i < catalog().size(); ++i)
        if (tally.acceptedOf[i] == 0) fmt::print(figures(), "never accepted: {}\n", catalog()[i]->name);
    // Blocks that stay are leaks, however small; a cache may still fill up a little.
    constexpr double allowed = 0.05;
    const int64_t blocksAllowed = calls / 500;
    if (end.blocks - settled.blocks > blocksAllowed) {
        fmt::print(figures(), "{} blocks more than after call {}\n", end.blocks - settled.blocks, warmUp);
        kept = false;
    }
    // Valgrind, which has a malloc of its own and so leaves nothing to count, keeps what was freed for a
    // while.
    const bool steady = growth <= allowed || end.blocks == 0;
    return kept && steady && end.files <= settled.files ? 0 : 1;
}
