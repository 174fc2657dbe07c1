#pragma once

#include "catalog/record.h"
#include "files/npy.h"
#include "host/objects.h"

#include <filesystem>
#include <string>

namespace miravex::files {

/// The tensor that a word of the command line means for an argument: numbers as "1,2,3" or "1,0,0;0,1,0", a
/// JSON array, or a .npy, .csv or .json file ("-" reads JSON). Lists take the shape of the record where it
/// is plain: a list becomes one row, or rows of as many columns as the record fixes. Throws Error.
TensorPointer readTensor(const Argument& argument, const std::string& word);

/// A float array for a numeric-array argument: a .npy file, or sizes such as "8x224x224x3" for zeros.
ArrayPointer readArray(const Argument& argument, const std::string& word);

/// A result that is a tensor or a real, written by extension: .npy holds it as it is, .csv its table with
/// named columns, .json what jsonOf() makes of it.
void writeNumbers(const Operation& operation, const Result& result, const Value& value,
                  const std::filesystem::path& path, const std::string& extension);

/// True for the extensions that writeNumbers knows.
bool isNumbersExtension(const std::string& extension);

NpyArray npyOf(const Tensor& tensor);

} // namespace miravex::files
