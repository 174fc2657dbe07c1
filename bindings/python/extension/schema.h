#pragma once

#include <pybind11/pybind11.h>

namespace miravex::python {

/// Adds the classes Operation, Argument and Result and the function catalog() to the module: the catalogue's
/// records as Python reads them.
void addSchema(pybind11::module_& module);

} // namespace miravex::python
