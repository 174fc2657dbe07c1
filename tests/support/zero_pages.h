#pragma once

#include "host/objects.h"

namespace miravex::test {

/// An interleaved image of zeros on pages that no memory stands behind until they are written: for sizes that
/// a test could not afford otherwise. In the usual colour space of its channels.
ImagePointer imageOfZeros(ImageShape shape, PixelType pixelType);

} // namespace miravex::test
