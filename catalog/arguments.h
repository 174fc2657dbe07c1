#pragma once

#include "catalog/call_view.h"
#include "catalog/record.h"
#include "host/objects.h"

#include <map>
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

using NamedValues = std::map<std::string, Value, std::less<>>;

/// Puts named values into the library's order: fills defaults, sets flags implied by optional arguments, and
/// puts placeholders where an optional argument is left out. Whatever is unknown or missing is reported, with
/// names that may have been meant; the values are complete only when nothing is.
struct Completed {
    std::vector<Value> values;
    std::vector<Refusal> refusals;
};
Completed complete(const Operation& operation, NamedValues given);

/// Everything that the record says against these values: kinds, bounds, choices, image and tensor rules,
/// constraints. Empty when the record has no objection. Never calls the library.
std::vector<Refusal> check(const Operation& operation, std::span<const Value> values);

/// A value in words: "3", "\"Linear\"", "a 640 x 480 byte image with 3 channels (RGB)", "3 x 3 reals".
std::string describe(const Value& value);

/// What an argument accepts, in words: "at least 1 and at most 127", "one of Nearest, Linear". Empty when it
/// accepts everything of its kind.
std::string accepted(const Argument& argument);

/// A placeholder for an argument that is left out: a 1 x 1 image, an empty list, 0.
Value placeholder(const Argument& argument);

/// Shortest decimal that reads back as the same double; integers without a fraction.
std::string numberText(double value);

} // namespace miravex
