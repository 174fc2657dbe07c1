#pragma once

#include <dlfcn.h>

#include <cfenv>
#include <cstring>
#include <stdexcept>
#include <string>

namespace miravex {

/// Loads a library that is a part of this build, and answers with the table that its function `getter`
/// returns; the table's first member is the build's version. The library stays until the process ends: the
/// codecs behind such parts keep threads and exit handlers.
///
/// Throws std::runtime_error that names the file and the reason, in the dynamic linker's words where it has
/// some.
template <typename Table> const Table& loadPart(const std::string& path, const char* getter)
{
    const std::string refusal = "cannot use the library " + path + ": ";
    // A library among the many that was built for fast arithmetic must not change how this thread rounds.
    std::fenv_t arithmetic;
    std::fegetenv(&arithmetic);
    void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    std::fesetenv(&arithmetic);
    if (!handle) {
        const char* reason = dlerror();
        throw std::runtime_error(refusal + (reason ? reason : "it can't be loaded"));
    }
    const auto get = reinterpret_cast<const Table* (*)()>(dlsym(handle, getter));
    if (get && std::strcmp(get()->version, MIRAVEX_VERSION) == 0) return *get(); // and never closed
    const std::string reason = get
        ? std::string("it belongs to version ") + get()->version + ", not " MIRAVEX_VERSION
        : "it is no part of Miravex";
    dlclose(handle);
    throw std::runtime_error(refusal + reason);
}

} // namespace miravex
