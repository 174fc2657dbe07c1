#pragma once

#include "catalog/arguments.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace miravex::files {

/// Why a file was not read or written, for the user.
class Error : public std::runtime_error {
public:
    enum class Kind {
        Request, ///< what was asked for can't be: a format that holds no such picture, a list of words
        Input, ///< a file can't be read
        Output, ///< a file can't be written
    };

    /// `refusals` names the arguments to blame.
    Error(Kind kind, const std::string& message, std::vector<Refusal> refusals = {})
        : std::runtime_error(message)
        , kind_(kind)
        , refusals_(std::move(refusals))
    {
    }
    [[nodiscard]] Kind kind() const noexcept { return kind_; }
    [[nodiscard]] const std::vector<Refusal>& refusals() const noexcept { return refusals_; }

private:
    Kind kind_;
    std::vector<Refusal> refusals_;
};

} // namespace miravex::files
