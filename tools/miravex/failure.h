#pragma once

#include "files/error.h"
#include "files/pictures.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace miravex::tool {

enum class ExitStatus {
    Done = 0,
    OperationFailed = 1,
    Usage = 2,
    InputUnreadable = 3,
    BatchPartlyFailed = 4,
    Interrupted = 130,
};

/// Ends a command: what to tell the user, and the exit status. `refusals` names the arguments to blame.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string& message, std::vector<Refusal> refusals = {})
        : std::runtime_error(message)
        , status_(status)
        , refusals_(std::move(refusals))
    {
    }
    /// A request that can't be is wrong usage.
    explicit Failure(const files::Error& error);

    [[nodiscard]] ExitStatus status() const noexcept { return status_; }
    [[nodiscard]] const std::vector<Refusal>& refusals() const noexcept { return refusals_; }

private:
    ExitStatus status_;
    std::vector<Refusal> refusals_;
};

using files::Notes;

} // namespace miravex::tool
