#pragma once

#include "convert/instruction_sets.h"
#include "tests/support/opencv_threads.h"

#include <cstdlib>
#include <vector>

/// What tests of kernels of our own share.
namespace miravex::test {

/// The instruction sets that this processor has.
inline std::vector<InstructionSet> instructionSets()
{
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2")) return { InstructionSet::Baseline, InstructionSet::Avx2 };
#endif
    return { InstructionSet::Baseline };
}

/// How many cases a sweep tries: a hundred times as many as usual with MIRAVEX_LONG_TESTS in the environment.
inline int sweepLength(int usual) { return std::getenv("MIRAVEX_LONG_TESTS") ? 100 * usual : usual; }

} // namespace miravex::test
