#pragma once

#include "catalog/call_view.h"
#include "catalog/record.h"

#include <string>
#include <vector>

namespace miravex {

/// Why a call can't succeed, in words for a person: "radius is 0, expected at least 1 (try 1)".
struct Refusal {
    std::string argument; ///< empty when no single argument is to blame
    std::string value; ///< what was given, in words
    std::string expected; ///< what is accepted
    std::string suggestion; ///< the nearest accepted value or a likely word; may be empty

    [[nodiscard]] std::string message() const;
};

/// Everything that the record says against a call: kinds, bounds, choices, image and tensor rules,
/// constraints. Empty when the record has no objection. Never calls the library.
std::vector<Refusal> check(const CallView& call);

/// A value in words: "3", "\"Linear\"", "640 x 480 byte image with 3 channels (RGB)", "3 x 3 reals".
std::string inWords(const ValueView& value);

/// What an argument accepts, in words: "at least 1 and at most 127", "one of Nearest, Linear". Empty when it
/// accepts everything of its kind.
std::string accepted(const Argument& argument);

/// Shortest decimal that reads back as the same double; integers without a fraction.
std::string numberText(double value);

} // namespace miravex
