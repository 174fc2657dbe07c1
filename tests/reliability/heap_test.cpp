#include "catalog/catalog.h"
#include "tests/reliability/accepted_calls.h"
#include "tests/reliability/raw_call.h"

#include <malloc.h>

#include <cstdlib>

/// Answers don't depend on what the memory held that the library and OpenCV were given: a result that did
/// would show bytes of the host's heap, and others at the next call.
namespace miravex::test {

namespace {

/// While this lives, glibc's malloc fills what it gives out with one byte (the complement of what it is
/// told).
class SoiledHeap {
public:
    explicit SoiledHeap(int byte) { mallopt(M_PERTURB, 255 - byte); }
    ~SoiledHeap() { mallopt(M_PERTURB, 0); }
    SoiledHeap(const SoiledHeap&) = delete;
    SoiledHeap& operator=(const SoiledHeap&) = delete;
};

std::string answerOn(int byte, const Operation& operation, const Values& values)
{
    const Values own = ownCopy(values);
    const SoiledHeap heap(byte);
    std::srand(7); // OpenCV's random samples
    const Outcome outcome = call(library(), operation, own);
    return outcome.ok() ? bytesOfResult(outcome.result) : "refused";
}

class Heap : public ::testing::TestWithParam<const Operation*> { };

} // namespace

TEST_P(Heap, DecidesNothing)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers have a malloc of their own";
#endif
    const Operation& operation = *GetParam();
    const std::size_t count = isSlow(operation) ? 1 : 8;
    for (const Values& values : acceptedCalls(operation, count, { .side = 32, .elements = 256 })) {
        const std::string expected = answerOn(0x11, operation, values);
        for (const int byte : { 0xEE, 0x7F })
            EXPECT_TRUE(answerOn(byte, operation, values) == expected) << describeCall(operation, values);
    }
}

INSTANTIATE_TEST_SUITE_P(Catalogue, Heap, ::testing::ValuesIn(catalog()), nameOfParameter);

} // namespace miravex::test
