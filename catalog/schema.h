#pragma once

#include "catalog/record.h"

#include <nlohmann/json.hpp>

namespace miravex {

/// One record as JSON: everything it says, with bounds, choices and rules as data and in words.
nlohmann::ordered_json schemaOf(const Operation& operation);

/// The whole catalogue: {"interfaceVersion", "operations": [...]}.
nlohmann::ordered_json schema();

/// The command line's option for an argument: "--spatial-radius" for "spatial_radius".
std::string optionOf(const Argument& argument);

/// A default in words: "2", "Reflected", "half of the image's columns"; empty when there is none.
std::string defaultText(const Argument& argument);

} // namespace miravex
