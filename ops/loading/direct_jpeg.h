#pragma once

#include "ops/loading/scratch.h"

#include <opencv2/core.hpp>

#include <string>

namespace miravex::importops {

/// The picture in a JPEG file, bit for bit as cv::imread gives it, in half its time: libjpeg writes the
/// channels in OpenCV's order, and to rows that lie 8 bytes off its vectors' alignment, which keeps it from
/// storing past the cache.
///
/// Empty for everything that might come out differently or that this is not made for: other formats, four
/// channels, EXIF orientation, damage of any kind, pictures beyond OpenCV's limits. The caller then asks
/// OpenCV. Rows that a bilinear resize to `targetRows` rows never looks at may hold anything. The pixels lie
/// in the scratch memory until its next use.
cv::Mat readJpegDirectly(const std::string& path, bool color, int targetRows, Scratch& scratch);

} // namespace miravex::importops
