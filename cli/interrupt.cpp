#include "cli/interrupt.h"

#include "cli/failure.h"

#include <unistd.h>

#include <array>
#include <csignal>
#include <cstring>
#include <limits.h>

namespace miravex::cli {

namespace {

volatile std::sig_atomic_t politeness = 0;
volatile std::sig_atomic_t interrupted = 0;

/// Read by the signal handler, hence plain memory: the path of the file being written, or "".
std::array<char, PATH_MAX> unfinished {};

void onInterrupt(int)
{
    if (politeness != 0 && interrupted == 0) {
        interrupted = 1;
        return;
    }
    if (unfinished[0] != '\0') unlink(unfinished.data());
    _exit(static_cast<int>(ExitStatus::Interrupted));
}

} // namespace

void exitOnInterrupt()
{
    struct sigaction action { };
    action.sa_handler = onInterrupt;
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

PoliteInterrupt::PoliteInterrupt()
{
    interrupted = 0;
    politeness = 1;
}
PoliteInterrupt::~PoliteInterrupt() { politeness = 0; }
bool PoliteInterrupt::requested() const noexcept { return interrupted != 0; }

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

} // namespace miravex::cli
