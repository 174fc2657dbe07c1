#include "host/installed_file.h"

#include <dlfcn.h>
#include <link.h>

namespace miravex {

namespace {

/// Of the program or of the Python extension that this code is linked into.
std::filesystem::path directoryOfThisCode()
{
    Dl_info info {};
    link_map* object = nullptr;
    const auto* code = reinterpret_cast<const void*>(&directoryOfThisCode);
    if (dladdr1(code, &info, reinterpret_cast<void**>(&object), RTLD_DL_LINKMAP) == 0 || !object) return {};
    // A program has no name there, and the one it was started by says nothing of where it lies.
    const bool isProgram = !object->l_name || !*object->l_name;
    std::error_code error;
    return std::filesystem::weakly_canonical(isProgram ? "/proc/self/exe" : object->l_name, error)
        .parent_path();
}

} // namespace

std::filesystem::path installedFile(std::initializer_list<std::string> names,
                                    const std::filesystem::path& installed)
{
    const std::filesystem::path directory = directoryOfThisCode();
    for (const std::filesystem::path& place :
         { std::filesystem::path("."), std::filesystem::path("../lib"), installed }) {
        for (const std::string& name : names) {
            std::filesystem::path candidate = (directory / place / name).lexically_normal();
            if (std::filesystem::exists(candidate)) return candidate;
        }
    }
    return *names.begin();
}

} // namespace miravex
