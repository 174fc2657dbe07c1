#pragma once

#include "catalog/record.h"
#include "host/objects.h"
#include "tools/miravex/failure.h"

#include <string>

namespace miravex::tool {

/// Makes a picture acceptable to an argument where that needs no decision of the user: colour becomes gray
/// and gray colour, alpha is dropped, samples take an accepted type, a picture becomes a sequence of one
/// frame and a sequence its first frame. What the record accepts anyway stays as it is. Each change that
/// loses something is told in `notes`.
ImagePointer fitted(ImagePointer image, const Argument& argument, Notes& notes);

/// The luminance of a colour picture, by OpenCV's weights; alpha is dropped. Gray pictures stay.
ImagePointer grayOf(ImagePointer image);

/// The pixel type of a name ("byte"); throws a usage failure for an unknown one.
PixelType pixelTypeOf(const std::string& name);

} // namespace miravex::tool
