#pragma once

#include <cstdlib>
#include <string_view>

namespace miravex {

/// True where the library computes with kernels of its own what OpenCV computes slower, bit for bit the same.
/// For whoever suspects them: a build with MIRAVEX_OWN_KERNELS=OFF has none, and with MIRAVEX_OWN_KERNELS=0
/// in the environment, which is read when this is first asked, OpenCV does the work. Calls that only a kernel
/// of ours survives are refused then.
inline bool ownKernels()
{
#ifdef MIRAVEX_WITHOUT_OWN_KERNELS
    return false;
#else
    static const bool wanted = [] {
        const char* set = std::getenv("MIRAVEX_OWN_KERNELS");
        return !set || std::string_view(set) != "0";
    }();
    return wanted;
#endif
}

} // namespace miravex
