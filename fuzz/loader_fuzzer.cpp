#include "catalog/catalog.h"
#include "tests/support/bounded_memory.h"
#include "tests/support/drawn_call.h"
#include "tests/support/sample_files.h"

#include <opencv2/core/utility.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

/// Files of any content in the batch loader: a few bytes choose the batch's form, the rest is the file. The
/// file stands between two others, one good and one missing, whose fate it must not change.

namespace {

using namespace miravex;
using namespace miravex::test;

const Library& library()
{
    static const auto* const loaded = new Library(MIRAVEX_FUZZED_LIBRARY);
    return *loaded;
}

const Operation& loader()
{
    static const Operation* const found = findOperation("LoadImagesFromPathInto");
    if (!found) {
        std::fputs("the catalogue has no batch loader\n", stderr);
        std::exit(1);
    }
    return *found;
}

constexpr std::string_view colorSpaces[] = { "RGB", "XYZ", "LAB", "LUV", "Grayscale" };

struct Batch {
    std::vector<std::string> files;
    std::vector<Value> values;
    ArrayPointer destination;
};

Batch drawBatch(Bytes& bytes, const std::string& file)
{
    Batch batch;
    batch.files = { sampleFiles().front(), file, "/nowhere/at/all.png" };
    const auto form = bytes.next();
    const bool channelsLast = form & 1, withMean = form & 2, withDeviation = form & 4;
    const int64_t channels = form & 8 ? 1 : 3;
    const int64_t height = 1 + bytes.next() % 40, width = 1 + bytes.next() % 40;
    const std::vector<int64_t> slot =
        channelsLast ? std::vector { height, width, channels } : std::vector { channels, height, width };
    std::vector<int64_t> whole = slot;
    whole.insert(whole.begin(), static_cast<int64_t>(batch.files.size()));
    batch.destination = makeFloatArray(whole);
    const ArrayPointer mean = makeFloatArray(slot), deviation = makeFloatArray(slot);
    std::ranges::fill(mean->floats(), 0.5F);
    std::ranges::fill(deviation->floats(), 2.0F);

    std::string names;
    std::vector<int64_t> lengths;
    for (const std::string& name : batch.files) {
        names += name;
        lengths.push_back(static_cast<int64_t>(name.size()));
    }
    const std::string color(bytes.oneOf(colorSpaces));
    batch.values = { batch.destination,
                     names,
                     makeIntegerTensor({ static_cast<int64_t>(lengths.size()) }, lengths),
                     color,
                     int64_t { withMean },
                     mean,
                     int64_t { withDeviation },
                     deviation,
                     int64_t { bytes.next() % 4 },
                     int64_t { channelsLast } };
    return batch;
}

/// What is wrong with the list of failed positions: the first file must load, the third must not.
std::string misreported(const Outcome& outcome)
{
    if (!outcome.ok()) return {}; // the colour space does not fit the channels
    const auto failed = outcome.tensor().integers();
    if (std::ranges::count(failed, 1) != 0) return "the good file was not loaded";
    if (std::ranges::count(failed, 3) != 1) return "the missing file was not reported once";
    if (!std::ranges::is_sorted(failed)) return "the failed positions are not in order";
    return {};
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    cv::setNumThreads(1);
    library();
    loader();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Bytes bytes({ data, size });
    const std::uint8_t head[] = { bytes.next(), bytes.next(), bytes.next(), bytes.next(), bytes.next() };
    Bytes form(head);
    const MemoryFile file(bytes.rest());
    const Batch batch = drawBatch(form, file.path());

    Outcome outcome;
    std::string broken = brokenPromise(library(), loader(), batch.values, &outcome);
    if (broken.empty()) broken = misreported(outcome);
    if (!broken.empty()) {
        std::fprintf(stderr, "%s: %s\n", describeCall(loader(), batch.values).c_str(), broken.c_str());
        std::abort();
    }
    return 0;
}
