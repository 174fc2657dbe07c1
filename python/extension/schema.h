#pragma once

#include "host/record.h"

#include <pybind11/pybind11.h>

#include <string_view>

namespace miravex::python {

/// Adds the classes Operation, Argument and Result and the function catalog() to the module: the catalogue's
/// records as Python reads them.
void addSchema(pybind11::module_& module);

/// The name of a layout, as in the record's vocabulary, and back; throws std::invalid_argument for none.
std::string_view layoutName(Layout layout);
Layout layoutOf(std::string_view name);

} // namespace miravex::python
