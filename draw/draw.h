#pragma once

#include "catalog/record.h"
#include "host/objects.h"

namespace miravex {

/// True for layouts that draw() can show.
bool canDraw(Layout layout);

/// A picture with a result drawn over it, as RGB bytes of the picture's size: what the command line's
/// --overlay and the Python package's draw module show. The picture may be of any pixel type, gray or colour.
/// Throws std::invalid_argument for layouts that can't be drawn.
ImagePointer draw(const Image& picture, Layout layout, const Tensor& result);

/// Two pictures side by side with a line between the keypoints of each matched pair. Keypoints are rows of at
/// least x, y in the frame of their picture; `matches` is a result of Layout::Matches, whose query rows are
/// of `first` and whose train rows are of `second`. Throws std::invalid_argument when they don't fit
/// together.
ImagePointer drawMatches(const Image& first, const Tensor& firstKeypoints, const Image& second,
                         const Tensor& secondKeypoints, const Tensor& matches);

} // namespace miravex
