#include "host/draw.h"

#include <stdexcept>

namespace miravex {

bool canDraw(Layout) { return false; }

ImagePointer draw(const Image&, Layout, const Tensor&)
{
    throw std::invalid_argument("this result can't be drawn");
}

} // namespace miravex
