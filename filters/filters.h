#pragma once

#include "frame/host_interface.h"

/// Filters and geometric transforms: operations that map an image to an image.
///
/// Every function returns StatusOk and a new object in *result, owned by the caller, or another status with
/// *result untouched and nothing left allocated in the host. OpenCV's exceptions pass through. A missing
/// table or handle is refused. Integers that OpenCV takes as `int` are cut to their low 32 bits.
namespace miravex {

/// Replaces every pixel by the median of the (2 radius + 1)-sided square around it, edges replicated.
///
/// Image: 2D, 1, 3 or 4 channels of any pixel type; filtered as 8-bit samples and returned in its own type
/// and colour space. Radius: 1 to limits::medianRadius pixels. Source: T. Huang, G. Yang, G. Tang, "A fast
/// two-dimensional median filtering algorithm", 1979.
HostErrorCode medianFilter(LibraryData data, KImage image, int64_t radius, KImage* result);

/// Blurs with the 5-tap binomial kernel and drops every second row and column.
///
/// Image: 2D, its type and colour space kept. Width and height: half of the image's, with doubled values at
/// most 2 off. Padding: any known name but "Constant"; OpenCV itself refuses "None" on most pictures.
/// Source: P. Burt, E. Adelson, "The Laplacian pyramid as a compact image code", 1983.
HostErrorCode pyrDown(LibraryData data, KImage image, const char* padding, int64_t width, int64_t height,
                      KImage* result);

/// Doubles the size by inserting zeros and blurring with four times the kernel of pyrDown, edges reflected.
///
/// Image: 2D, its type and colour space kept. Width and height: twice the image's; an odd value may be one
/// off.
HostErrorCode pyrUp(LibraryData data, KImage image, int64_t width, int64_t height, KImage* result);

/// Flattens colours by mean-shift filtering over position and colour, coarse to fine.
///
/// Image: 2D, 3 byte channels; the result has ColorSpaceUnspecified. Spatial radius in pixels, colour radius
/// as a fraction of the largest colour distance, both at least 0; maximum pyramid level and iterations at
/// least 0 (OpenCV refuses levels above 8 and runs 100 iterations at most). Calls beyond limits::work are
/// refused. Source: D. Comaniciu, P. Meer, "Mean shift: a robust approach toward feature space analysis",
/// 2002.
HostErrorCode pyrMeanShiftFilter(LibraryData data, KImage image, double spatialRadius, double colorRadius,
                                 int64_t maxLevel, int64_t iterations, KImage* result);

} // namespace miravex
