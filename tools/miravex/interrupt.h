#pragma once

namespace miravex::tool {

/// From now on Ctrl-C ends the process with status 130, and no half-written file stays behind.
void exitOnInterrupt();

/// While one exists, the first Ctrl-C is only noted, so that a batch can finish its current files and report.
class PoliteInterrupt {
public:
    PoliteInterrupt();
    ~PoliteInterrupt();
    PoliteInterrupt(const PoliteInterrupt&) = delete;
    PoliteInterrupt& operator=(const PoliteInterrupt&) = delete;

    [[nodiscard]] bool requested() const noexcept;
};

} // namespace miravex::tool
