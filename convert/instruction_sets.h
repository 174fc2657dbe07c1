#pragma once

/// Compiles a function once for every instruction set that it names, "default" among them; the best that the
/// processor has is chosen when the library is loaded. Sanitizers start before that choice could be made, so
/// their builds have the one version.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__)        \
    && !defined(__SANITIZE_THREAD__)
#define MIRAVEX_FOR_CPUS(...) __attribute__((target_clones(__VA_ARGS__)))
#else
#define MIRAVEX_FOR_CPUS(...)
#endif
