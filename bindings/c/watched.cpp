#include "bindings/c/watched.h"

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <list>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

namespace miravex::door {

namespace {

constexpr auto pause = std::chrono::milliseconds(50); // between two questions

/// Blocks the signals that others send, on this thread and on those that start meanwhile. Handlers of kernels
/// jump out of what they interrupt, which must not be the library.
class WithoutSignals {
public:
    WithoutSignals()
    {
        sigset_t blocked;
        sigfillset(&blocked);
        for (const int own : { SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT }) sigdelset(&blocked, own);
        pthread_sigmask(SIG_BLOCK, &blocked, &before_);
    }
    ~WithoutSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    WithoutSignals(const WithoutSignals&) = delete;
    WithoutSignals& operator=(const WithoutSignals&) = delete;

private:
    sigset_t before_ {};
};

/// A call on its thread.
struct Run {
    mvx_call call;
    std::mutex mutex;
    std::condition_variable changed;
    bool hasEnded = false;

    [[nodiscard]] bool ended()
    {
        const std::lock_guard lock(mutex);
        return hasEnded;
    }
};

/// A thread of a call that was given up.
struct Left {
    std::thread thread;
    std::shared_ptr<Run> run;
    pid_t process = 0; // a child has the list but not the threads
};

class LeftBehind {
public:
    static LeftBehind& instance()
    {
        static auto* const left = new LeftBehind;
        return *left;
    }

    /// Takes the only element of a list, which needs no memory.
    void add(std::list<Left>& left)
    {
        // Before OpenCV's own objects end with the process, even those that were made since the last one.
        std::atexit([] { instance().join(true); });
        join(false);
        const std::lock_guard lock(mutex_);
        threads_.splice(threads_.end(), left);
    }

private:
    void join(bool thoseThatRun)
    {
        const std::lock_guard lock(mutex_);
        for (auto left = threads_.begin(); left != threads_.end();) {
            if (left->process == getpid() && (thoseThatRun || left->run->ended())) {
                left->thread.join();
                left = threads_.erase(left);
            } else {
                ++left;
            }
        }
    }

    std::mutex mutex_;
    std::list<Left> threads_;
};

void runOn(Run& run)
{
    mvx_run(&run.call);
    const std::lock_guard lock(run.mutex);
    run.hasEnded = true;
    run.changed.notify_one();
}

/// True when the run has ended, false when it was to be stopped before.
bool awaited(Run& run, int (*stop)(void*), void* context)
{
    std::unique_lock lock(run.mutex);
    while (!run.changed.wait_for(lock, pause, [&] { return run.hasEnded; })) {
        lock.unlock();
        const bool stopped = stop && stop(context) != 0;
        lock.lock();
        if (stopped) return run.hasEnded;
    }
    return true;
}

} // namespace

int runWatched(mvx_call& call, int (*stop)(void*), void* context)
{
    if (call.isBrief()) {
        const WithoutSignals blocked;
        return call.run();
    }
    call.ownSamples();
    std::list<Left> one;
    Left& left = one.emplace_back(Left { {}, std::make_shared<Run>(), getpid() });
    Run& run = *left.run;
    {
        const WithoutSignals blocked;
        std::swap(run.call, call);
        try {
            left.thread = std::thread([own = left.run] { runOn(*own); });
        } catch (const std::system_error&) { // no room for another thread
            std::swap(run.call, call);
            return call.run();
        }
    }
    if (!awaited(run, stop, context)) {
        LeftBehind::instance().add(one);
        return call.stopped();
    }
    left.thread.join();
    std::swap(run.call, call);
    return call.run(); // which answers what it was
}

} // namespace miravex::door
