#pragma once

#include <cstdlib>
#include <string_view>

/// Compiles a function once for every instruction set that it names, "default" among them; the best that the
/// processor has is chosen when the library is loaded. Sanitizers start before that choice could be made, so
/// their builds have the one version.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(MIRAVEX_SANITIZED)
#define MIRAVEX_FOR_CPUS(...) __attribute__((target_clones(__VA_ARGS__)))
#else
#define MIRAVEX_FOR_CPUS(...)
#endif

/// Compiles a function for AVX2, where a caller chooses between two versions of it by instructionSet(). What
/// it calls is compiled for AVX2 too as far as it is inlined: MIRAVEX_INLINE.
#if defined(__x86_64__) && defined(__GNUC__)
#define MIRAVEX_FOR_AVX2 __attribute__((target("avx2")))
#else
#define MIRAVEX_FOR_AVX2
#endif
#define MIRAVEX_INLINE __attribute__((always_inline)) inline

/// Before a loop: no step of it reads what an earlier one wrote, so that it may be vectorised; and before one
/// that can't be: eight steps at a time. Clang, which the fuzzers are built with, warns where it does
/// neither.
#if defined(__GNUC__) && !defined(__clang__)
#define MIRAVEX_INDEPENDENT_STEPS _Pragma("GCC ivdep")
#define MIRAVEX_EIGHT_STEPS _Pragma("GCC unroll 8")
#else
#define MIRAVEX_INDEPENDENT_STEPS
#define MIRAVEX_EIGHT_STEPS
#endif

namespace miravex {

/// Instructions that a kernel of ours may use.
enum class InstructionSet {
    Baseline, ///< what every processor of the architecture has
    Avx2
};

/// The best that the processor has, or the baseline where the environment says MIRAVEX_INSTRUCTIONS=baseline
/// when it is first asked.
inline InstructionSet instructionSet()
{
#if defined(__x86_64__) && defined(__GNUC__)
    static const InstructionSet best = [] {
        const char* wanted = std::getenv("MIRAVEX_INSTRUCTIONS");
        if (wanted && std::string_view(wanted) == "baseline") return InstructionSet::Baseline;
        return __builtin_cpu_supports("avx2") ? InstructionSet::Avx2 : InstructionSet::Baseline;
    }();
    return best;
#else
    return InstructionSet::Baseline;
#endif
}

} // namespace miravex
