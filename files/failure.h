#pragma once

#include "catalog/arguments.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace miravex::cli {

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
    [[nodiscard]] ExitStatus status() const noexcept { return status_; }
    [[nodiscard]] const std::vector<Refusal>& refusals() const noexcept { return refusals_; }

private:
    ExitStatus status_;
    std::vector<Refusal> refusals_;
};

/// Things worth telling that are no failure ("converted to gray"), for standard error or a page.
using Notes = std::vector<std::string>;

} // namespace miravex::cli
