#pragma once

#include "catalog/record.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace miravex {

/// All rooms, in the order of ops/rooms.def.
std::span<const Room> rooms();

/// All records, ordered by name without regard to case.
const std::vector<const Operation*>& catalog();

/// The operation of a name as exported ("MedianFilter"), with or without "opencv_", in kebab case
/// ("median-filter") or snake case ("median_filter"); null for an unknown name.
const Operation* findOperation(std::string_view name);

/// "median-filter" and "median_filter" for "MedianFilter". Digits and runs of capitals stay together:
/// "AlignMTB" becomes "align-mtb", "FaceDetectionDNN" "face-detection-dnn".
std::string kebabCase(std::string_view name);
std::string snakeCase(std::string_view name);

/// Candidates that `word` may have been meant for, best first; empty when none is near.
std::vector<std::string> closest(std::string_view word, std::span<const std::string> candidates);

/// Position of an argument by name, or -1.
int argumentIndex(const Operation& operation, std::string_view name);

/// True when one of the arguments is an image.
bool takesPictures(const Operation& operation);

/// The name of a kind, a layout ("face-boxes"), a pixel type or a colour space, as people read it.
std::string_view nameOf(Kind kind);
std::string_view nameOf(ResultKind kind);
std::string_view nameOf(Layout layout);
std::string_view nameOf(Extent::Of of); ///< "exactly", "rowsOf"
std::string_view pixelTypeName(PixelType type);
std::string colorSpaceName(ColorSpace space);

/// The layout of that name, or nothing.
std::optional<Layout> layoutNamed(std::string_view name);

} // namespace miravex
