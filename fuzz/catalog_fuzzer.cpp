#include "catalog/catalog.h"
#include "tests/support/bounded_memory.h"
#include "tests/support/drawn_call.h"
#include "tests/support/sample_files.h"

#include <opencv2/core/utility.hpp>

#include <cstdio>
#include <cstdlib>

/// Any operation with any arguments: the first four bytes choose the operation by its name's
/// hash, the rest its values.

namespace {

using namespace miravex;
using namespace miravex::test;

/// Loaded before the fuzzer counts its modules and never unloaded: leaks are looked for at the end.
const Library& library()
{
    static const auto* const loaded = new Library(MIRAVEX_FUZZED_LIBRARY);
    return *loaded;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // Which worker runs what would make findings hard to repeat.
    cv::setNumThreads(1);
    library();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Paths& paths = sampleFiles();
    static const bool tell = std::getenv("MIRAVEX_FUZZ_TELL") != nullptr;
    Bytes bytes({ data, size });
    const Operation& operation = operationFor(static_cast<uint32_t>(bytes.number(4)));
    const std::vector<Value> values = drawValues(operation, bytes, paths);
    if (tell) std::fprintf(stderr, "%s\n", describeCall(operation, values).c_str());

    Outcome outcome;
    const std::string broken = brokenPromise(library(), operation, values, &outcome);
    if (tell) std::fprintf(stderr, "  status %d %s\n", outcome.status, outcome.openCvError.c_str());
    if (!broken.empty()) {
        std::fprintf(stderr, "%s: %s\n", describeCall(operation, values).c_str(), broken.c_str());
        std::abort();
    }
    return 0;
}
