#include "tests/support/temporary_folder.h"

#include <cstdlib>
#include <set>
#include <stdexcept>

namespace miravex::test {

namespace {

std::set<std::filesystem::path>& folders()
{
    static std::set<std::filesystem::path> all;
    return all;
}

void removeWithFiles(const std::filesystem::path& path)
{
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

} // namespace

TemporaryFolder::TemporaryFolder()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "miravex-test-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder");
    path_ = pattern;
    folders().insert(path_);
}

TemporaryFolder::~TemporaryFolder()
{
    folders().erase(path_);
    removeWithFiles(path_);
}

void TemporaryFolder::removeAll()
{
    for (const std::filesystem::path& path : folders()) removeWithFiles(path);
}

} // namespace miravex::test
