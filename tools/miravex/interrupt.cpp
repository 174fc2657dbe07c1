#include "tools/miravex/interrupt.h"

#include "files/unfinished_file.h"
#include "tools/miravex/failure.h"

#include <unistd.h>

#include <csignal>

namespace miravex::tool {

namespace {

volatile std::sig_atomic_t politeness = 0;
volatile std::sig_atomic_t interrupted = 0;

void onInterrupt(int)
{
    if (politeness != 0 && interrupted == 0) {
        interrupted = 1;
        return;
    }
    files::removeUnfinishedFiles();
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

} // namespace miravex::tool
