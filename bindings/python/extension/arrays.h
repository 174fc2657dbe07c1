#pragma once

#include "catalog/record.h"
#include "host/objects.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <stdexcept>
#include <string>

/// Python objects as values of a call, and results of a call as NumPy arrays.
namespace miravex::python {

/// An argument that can't be handed to the library; becomes Python's ValueError, as every
/// std::invalid_argument does.
class Refused : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

/// The library failed after its arguments were found acceptable; becomes Python's MiravexError.
class Failed : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// How the arguments of one call are read beyond what their record says.
struct Reading {
    pybind11::object colorSpace; ///< None, a name, a code, or a mapping of argument names to these
    bool inPlace = false; ///< arrays that the library rewrites are handed over themselves
    bool factsOnly =
        false; ///< sizes and types alone are wanted: no sample is read, so that arrays may be views of one
};

/// The value that a Python object stands for as this argument; absent for None. C-contiguous arrays of
/// images are wrapped, everything else is copied. Throws Refused with the argument, what was given and what
/// is accepted.
Value valueOf(const Argument& argument, const pybind11::object& object, const Reading& reading);

/// An image that an array holds, of the rank that `rule` wants; with `factsOnly` its samples are not to be
/// read.
ImagePointer imageOf(const std::string& name, const ImageRule& rule, const pybind11::object& object,
                     const pybind11::object& colorSpace, bool factsOnly = false);

/// The type of arrays of such samples.
pybind11::dtype dtypeOf(PixelType type);

/// A number, a flag or a text; None for anything else.
pybind11::object scalarOf(const Value& value);

/// A tensor over a copy of a sequence's or array's elements.
TensorPointer tensorOf(const std::string& name, Kind kind, const pybind11::object& object);

/// A result as an array over its own memory, which lives as long as the array.
pybind11::array arrayOf(const ImagePointer& image);
pybind11::array arrayOf(const TensorPointer& tensor);

/// An array, a float, or None.
pybind11::object objectOf(const Value& result);

} // namespace miravex::python
