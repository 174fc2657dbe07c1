#include "catalog/catalog.h"
#include "tests/support/bounded_memory.h"
#include "tests/support/drawn_call.h"
#include "tests/support/sample_files.h"

#include <opencv2/core/utility.hpp>

#include <cstdio>
#include <cstdlib>

/// Any operation with any arguments: the first byte chooses the operation, the rest its values.

namespace {

using namespace miravex;

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
    static const fuzz::Paths paths = fuzz::sampleFiles();
    static const bool tell = std::getenv("MIRAVEX_FUZZ_TELL") != nullptr;
    fuzz::Bytes bytes({ data, size });
    const Operation& operation = *bytes.oneOf(catalog());
    const std::vector<Value> values = fuzz::drawValues(operation, bytes, paths);
    if (tell) std::fprintf(stderr, "%s\n", fuzz::describeCall(operation, values).c_str());

    Outcome outcome;
    const std::string broken = fuzz::brokenPromise(library(), operation, values, &outcome);
    if (tell) std::fprintf(stderr, "  status %d %s\n", outcome.status, outcome.openCvError.c_str());
    if (!broken.empty()) {
        std::fprintf(stderr, "%s: %s\n", fuzz::describeCall(operation, values).c_str(), broken.c_str());
        std::abort();
    }
    return 0;
}
