#pragma once

#include <string>
#include <thread>

namespace miravex {

/// Catches what OpenCV says when it throws, instead of letting it print to standard error, from construction
/// to destruction. OpenCV has one error handler per process: the first of several overlapping objects
/// installs it and the last restores it. Errors on a thread that holds no such object (a worker of OpenCV's)
/// are shown to all.
class OpenCvErrors {
public:
    OpenCvErrors();
    ~OpenCvErrors();
    OpenCvErrors(const OpenCvErrors&) = delete;
    OpenCvErrors& operator=(const OpenCvErrors&) = delete;

    /// The last error of this thread, or else of a worker; empty when there was none.
    [[nodiscard]] std::string text() const;
};

} // namespace miravex
