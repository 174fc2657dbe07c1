#pragma once

#include "miravex/host_interface.h"

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

/// Convolves with a separable kernel: `horizontal` along the rows, `vertical` along the columns.
///
/// Image: 2D; the result has its size and colour space and is real (double) for a real image, real32 for any
/// other. Kernels: lists of 1 to limits::kernelTaps reals, the centre of n taps at n / 2 of the reversed
/// kernel. Both are reversed in place, also when the call fails later; one tensor given for both is thus
/// reversed twice, stays as it was, and correlates. Padding: any known name; "None" is zero fill. Kernels
/// whose work passes limits::work or whose margin passes limits::marginSamples are refused.
HostErrorCode imageConvolve(LibraryData data, KImage image, KTensor horizontal, KTensor vertical,
                            const char* padding, KImage* result);

/// Compares a kernel image with the picture around every pixel.
///
/// Image and kernel: 2D, 1 channel, both byte or both real32, the kernel no larger than the image. Distance:
/// "SquaredEuclideanDistance" and "Dot" (sums of squared differences and of products, of bytes as if between
/// 0 and 1), "CosineDistance" and "CorrelationDistance" (1 less the normalised product, without and with
/// means). Padding: any known name, "Constant" with `paddingValue`; the result has the image's size. "None":
/// only positions inside, (rows - kernel rows + 1) x (columns - kernel columns + 1). The result is real32
/// with ColorSpaceUnspecified. Source: J. Lewis, "Fast normalized cross-correlation", 1995.
HostErrorCode imageCorrelate(LibraryData data, KImage image, KImage kernel, const char* distance,
                             const char* padding, double paddingValue, KImage* result);

/// Replaces every pixel by the maximum over the (2 radius + 1)-sided square around it, channel by channel;
/// nothing is assumed beyond the edge.
///
/// Image: 2D, its type and colour space kept. Radius: at least 1 pixel; beyond the picture's sides it makes
/// no difference. Source: J. Serra, "Image analysis and mathematical morphology", 1982.
HostErrorCode dilation(LibraryData data, KImage image, int64_t radius, KImage* result);

/// Grows an image by so many rows and columns on each side.
///
/// Image: 2D, 1 to 4 channels, its type and colour space kept. Margins: at least 0 pixels; together they may
/// add limits::resultSamples at most. Padding: any known name; "Constant" takes one value per channel in the
/// units of the samples, which are looked at for no other padding; "None" is zero fill.
HostErrorCode imagePad(LibraryData data, KImage image, int64_t top, int64_t bottom, int64_t left,
                       int64_t right, const char* padding, KTensor values, KImage* result);

/// Sets the pixels whose value, less c0 local means and c1 local standard deviations, passes the host's
/// comparison 7 with c2; (c0, c1, c2) are the coefficients.
///
/// Image: 2D, 1 channel of any type, taken as reals by the host's rules; the result is a bit image. Radius:
/// the window has 2 radius + 1 pixels a side, at least 1, and its margin at most limits::marginSamples
/// samples. Padding: any known name, "Constant" with `paddingValue`; with it and "Periodic" only the mean
/// sees the padding, and the deviation reflections at the edge. The host compares once per pixel, row by row.
/// Refused before the library is initialised. Source: J. Sauvola, M. Pietikainen, "Adaptive document image
/// binarization", 2000, for thresholds of this kind.
HostErrorCode localAdaptiveBinarize(LibraryData data, KImage image, int64_t radius, KTensor coefficients,
                                    const char* padding, double paddingValue, KImage* result);

/// Resamples a picture to log-polar form or back with cv::logPolar.
///
/// Image: 2D, at most 4 channels; the result has its size and ColorSpaceUnspecified (bit images become
/// bytes). Centre: {x, y} in OpenCV's coordinates, y downward, or the empty list for the middle. Magnitude:
/// above 0, and like the centre within single precision. Interpolation: any known name. `fillOutliers` makes
/// what comes from outside the picture 0; without it the picture's own pixel stays in its place (0 in the
/// inverse). Source: E. Schwartz, "Spatial mapping in the primate sensory projection", 1977.
HostErrorCode logPolarCV(LibraryData data, KImage image, KTensor centre, double magnitude,
                         const char* interpolation, HostBoolean fillOutliers, HostBoolean inverse,
                         KImage* result);

/// The same in the host's coordinates, with an angle origin, a scale and a padding of its own: columns are
/// angles, rows logarithms of radii from 0 at the bottom, radius = exp(height / magnitude) - 1.
///
/// As logPolarCV, but for: centre with y upward from the bottom edge; padding of any known name (OpenCV
/// refuses "None" where something lies outside), color of exactly 3 components.
HostErrorCode logPolarRemap(LibraryData data, KImage image, KTensor centre, double magnitude,
                            const char* interpolation, const char* padding, KTensor color,
                            HostBoolean inverse, KImage* result);

/// Measures by how much the second image is shifted against the first, in pixels, as a tensor {x, y} with y
/// upward.
///
/// Images: 2D, 1 channel, of the same size, both real32 or both real. Window: rows x columns weights, or the
/// empty list for none; OpenCV takes one with real images only. Source: C. Kuglin, D. Hines, "The phase
/// correlation image alignment method", 1975.
HostErrorCode phaseCorrelate(LibraryData data, KImage first, KImage second, KTensor window, KTensor* result);

/// Makes a picture of red, green and blue from a mosaic with one colour per pixel.
///
/// Image: 2D, 1 byte channel, ColorSpaceGray. Pattern: the colours of the top left 2 x 2 pixels, "RGGB",
/// "GBRG", "GRBG" or "BGGR". The result has 3 byte channels and ColorSpaceUnspecified; it is black for
/// mosaics of fewer than 3 rows or columns. Source: B. Bayer, US patent 3971065, 1976.
HostErrorCode imageDemosaic(LibraryData data, KImage image, const char* pattern, KImage* result);

/// Contrast-preserving decolorization: decolor gives the gray picture, colorBoost the picture with its
/// colours boosted by it.
///
/// Image: 2D, 3 byte channels, ColorSpaceRGB. The results are bytes with ColorSpaceUnspecified. Source:
/// C. Lu, L. Xu, J. Jia, "Contrast preserving decolorization", 2012.
HostErrorCode colorBoost(LibraryData data, KImage image, KImage* result);
HostErrorCode decolor(LibraryData data, KImage image, KImage* result);

/// Warps a picture by a homography given in the host's coordinates, y upward from the bottom edge.
///
/// Image: 2D; the result has its size and ColorSpaceUnspecified. Homography: 3 x 3 reals that take points of
/// the picture to points of the result; rewritten in place for downward rows (also when the warp fails, and
/// so to be given afresh for every call). The identity returns the picture; any other moves it up by one row
/// besides. Interpolation: "Nearest" or "Linear"; padding: "Constant" or "Fixed"; color: exactly 3
/// components. OpenCV takes sides of 32766 pixels at most.
HostErrorCode imagePerspectiveTransformation(LibraryData data, KImage image, KTensor homography,
                                             const char* interpolation, const char* padding, KTensor color,
                                             KImage* result);

/// Looks every pixel of the result up at a position of the picture.
///
/// Image: 2D, at most 4 channels; the result has its size and ColorSpaceUnspecified. Tables: rows x columns
/// positions in OpenCV's coordinates, pixel centres at integers, y downward, narrowed to float; NaN and
/// infinity count as outside. Interpolation and padding: any known name (OpenCV refuses "None" where
/// something lies outside); color: exactly 3 components. OpenCV takes sides of 32766 pixels at most.
HostErrorCode remapTensor(LibraryData data, KImage image, const char* interpolation, const char* padding,
                          KTensor color, KTensor xTable, KTensor yTable, KImage* result);

} // namespace miravex
