#include "tools/miravex/commands.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>

namespace miravex::tool {

namespace fs = std::filesystem;

namespace {

bool holdsPage(const fs::path& packages) { return fs::exists(packages / "miravex/explore/__main__.py"); }

/// Where Python finds the package: beside this program, in a build tree, in an installation, or where Debian
/// has packages.
std::optional<fs::path> packagesWithPage(const fs::path& program)
{
    const fs::path folder = program.parent_path();
    for (const fs::path& packages : { folder.parent_path(), folder.parent_path() / "python" })
        if (holdsPage(packages)) return packages;
    for (const fs::path& libraries : { folder.parent_path() / "lib", fs::path("/usr/lib") }) {
        std::error_code unreadable;
        for (const fs::directory_entry& entry : fs::directory_iterator(libraries, unreadable))
            if (entry.path().filename().string().starts_with("python3")
                && holdsPage(entry.path() / "dist-packages"))
                return entry.path() / "dist-packages";
    }
    return std::nullopt;
}

} // namespace

ExitStatus explore(const std::vector<std::string>& words)
{
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    const std::optional<fs::path> packages = packagesWithPage(program);
    if (!packages)
        throw Failure(ExitStatus::OperationFailed,
                      "the page is served by the Python package miravex, which is not installed beside this "
                      "program: install it (cmake --install, the wheel or Debian's python3-miravex) and "
                      "python3-tornado");
    const char* before = std::getenv("PYTHONPATH");
    const std::string path = packages->string() + (before && *before ? ":" + std::string(before) : "");
    setenv("PYTHONPATH", path.c_str(), 1);
    setenv("MIRAVEX_TOOL", program.c_str(), 1);

    std::vector<std::string> command { "python3", "-m", "miravex.explore" };
    command.insert(command.end(), words.begin(), words.end());
    std::vector<char*> pointers;
    for (std::string& word : command) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    // Debian's own Python, for which the package is built; another one may come first on PATH.
    execv("/usr/bin/python3", pointers.data());
    execvp("python3", pointers.data());
    throw Failure(ExitStatus::OperationFailed,
                  fmt::format("python3 cannot be started: {}", std::generic_category().message(errno)));
}

} // namespace miravex::tool
