#include "files/unfinished_file.h"

#include <limits.h>
#include <unistd.h>

#include <array>
#include <cstring>

namespace miravex::files {

namespace {

/// Read by a signal handler, hence plain memory: the path of the file being written, or "".
std::array<char, PATH_MAX> unfinished {};

} // namespace

void removeUnfinishedFile() noexcept
{
    if (unfinished[0] != '\0') unlink(unfinished.data());
}

UnfinishedFile::UnfinishedFile(std::filesystem::path path)
    : path_(std::move(path))
{
    const std::string name = path_.string();
    if (name.size() < unfinished.size()) std::memcpy(unfinished.data(), name.c_str(), name.size() + 1);
}

UnfinishedFile::~UnfinishedFile()
{
    unfinished[0] = '\0';
    std::error_code ignored;
    if (!kept_) std::filesystem::remove(path_, ignored);
}

} // namespace miravex::files
