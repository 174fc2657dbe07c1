#pragma once

#include "host/library.h"

#include <pybind11/pybind11.h>

namespace miravex::python {

/// Adds the class BatchOptions and the function load_batch to the module.
void addBatches(pybind11::module_& module, const Library& library);

} // namespace miravex::python
