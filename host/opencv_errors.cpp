#include "host/opencv_errors.h"

#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>

#include <map>
#include <mutex>

namespace miravex {

namespace {

struct Record {
    std::mutex mutex;
    std::map<std::thread::id, int> callers;
    std::map<std::thread::id, std::string> errors;
    std::string workerError;
    cv::ErrorCallback previous = nullptr;
    void* previousData = nullptr;
};

/// Never destroyed: OpenCV's threads may outlive static objects.
Record& record()
{
    static Record* const instance = new Record;
    return *instance;
}

int remember(int, const char* function, const char* message, const char*, int, void*)
{
    Record& shared = record();
    const std::lock_guard lock(shared.mutex);
    std::string text = message ? message : "";
    if (function && *function) text += " (in " + std::string(function) + ")";
    const auto thread = std::this_thread::get_id();
    if (shared.callers.contains(thread))
        shared.errors[thread] = std::move(text);
    else
        shared.workerError = std::move(text);
    return 0;
}

} // namespace

OpenCvErrors::OpenCvErrors()
{
    Record& shared = record();
    const std::lock_guard lock(shared.mutex);
    if (shared.callers.empty()) {
        shared.workerError.clear();
        shared.previous = cv::redirectError(remember, nullptr, &shared.previousData);
    }
    if (++shared.callers[std::this_thread::get_id()] == 1) shared.errors.erase(std::this_thread::get_id());
}

OpenCvErrors::~OpenCvErrors()
{
    Record& shared = record();
    const std::lock_guard lock(shared.mutex);
    const auto caller = shared.callers.find(std::this_thread::get_id());
    if (--caller->second == 0) {
        shared.errors.erase(caller->first);
        shared.callers.erase(caller);
    }
    if (shared.callers.empty()) cv::redirectError(shared.previous, shared.previousData);
}

std::string OpenCvErrors::text() const
{
    Record& shared = record();
    const std::lock_guard lock(shared.mutex);
    const auto own = shared.errors.find(std::this_thread::get_id());
    return own != shared.errors.end() ? own->second : shared.workerError;
}

} // namespace miravex
