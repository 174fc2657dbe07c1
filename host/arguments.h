#pragma once

#include "catalog/arguments.h"
#include "host/objects.h"

#include <map>
#include <span>
#include <string>
#include <vector>

/// Values of the embedded host as arguments of a call.
namespace miravex {

/// The values as the catalogue sees them; valid as long as they live and stay unchanged.
CallView viewOf(const Operation& operation, std::span<const Value> values);

using NamedValues = std::map<std::string, Value, std::less<>>;

/// Puts named values into the library's order: fills defaults, sets flags implied by optional arguments, and
/// puts placeholders where an optional argument is left out. Whatever is unknown or missing is reported, with
/// names that may have been meant; the values are complete only when nothing is.
struct Completed {
    std::vector<Value> values;
    std::vector<Refusal> refusals;
};
Completed complete(const Operation& operation, NamedValues given);

/// Everything that the record says against these values; see catalog/arguments.h.
std::vector<Refusal> check(const Operation& operation, std::span<const Value> values);

/// Completed values, checked: what complete() reports or, when that is nothing, what the record says against
/// them.
Completed acceptable(const Operation& operation, NamedValues given);

/// The image in a pixel type that the argument accepts: its own, the next larger one, else the largest of the
/// smaller ones, of which `notes` tells. An image stays as it is when no type is accepted.
ImagePointer withPixelTypeFor(const Argument& argument, ImagePointer image, std::vector<std::string>& notes);

/// A value in words: "3", "\"Linear\"", "640 x 480 byte image with 3 channels (RGB)", "3 x 3 reals".
std::string describe(const Value& value);

} // namespace miravex
