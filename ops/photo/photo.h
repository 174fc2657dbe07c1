#pragma once

#include "miravex/host_interface.h"

/// Computational photography: denoising, detail filters, exposure brackets, tone mapping, optical flow and
/// super resolution.
///
/// Every function returns StatusOk and a new object in *result, owned by the caller, or another status with
/// *result untouched and nothing left allocated in the host. OpenCV's exceptions pass through. A missing
/// table or handle is refused, and so is NaN wherever a range is stated. Integers that OpenCV takes as `int`
/// are cut to their low 32 bits, reals that it takes as `float` are rounded. A sequence is a 3D image whose
/// slices are the frames. Images that are made here have ColorSpaceUnspecified.
namespace miravex {

// --- non-local means ------------------------------------------------------------------------------------

/// Replaces every pixel by the mean of the pixels of its search window, weighted by how alike the templates
/// around them are.
///
/// Image: 2D, bytes, 1 or 2 channels or 3 of ColorSpaceRGB. Strength: any; larger removes more. Template and
/// search window: odd sides in pixels, from 1 to limits::denoisingTemplate (127 with two channels, 103 with
/// three) and limits::denoisingSearch. Calls beyond limits::denoisingScratch or limits::work are refused.
/// Source: A. Buades, B. Coll, J.-M. Morel, "A non-local algorithm for image denoising", 2005.
HostErrorCode fastNlMeansDenoising(LibraryData data, KImage image, double strength, int64_t templateWindow,
                                   int64_t searchWindow, KImage* result);

/// The same on lightness and, with a strength of its own, on the two colour components of CIE L*a*b*.
///
/// Image: 2D, bytes, 3 channels of ColorSpaceRGB. Template: at most 127.
HostErrorCode fastNlMeansDenoisingColored(LibraryData data, KImage image, double strength,
                                          double colorStrength, int64_t templateWindow, int64_t searchWindow,
                                          KImage* result);

/// Denoises one frame of a sequence with the search windows of its neighbours in time too.
///
/// Image: 3D, bytes, 1 to 4 channels; no side shorter than the windows. Frame: counted from 1. Temporal
/// window: odd, at least 1, and within the sequence around the frame. Templates: at most 181, 127, 103 or 89
/// for 1 to 4 channels; all search windows together at most limits::denoisingWeights.
HostErrorCode fastNlMeansDenoisingMulti(LibraryData data, KImage image, int64_t frame, int64_t temporalWindow,
                                        double strength, int64_t templateWindow, int64_t searchWindow,
                                        KImage* result);

/// The same on lightness and colour apart. Image: 3D, bytes, 3 channels.
HostErrorCode fastNlMeansDenoisingColoredMulti(LibraryData data, KImage image, int64_t frame,
                                               int64_t temporalWindow, double strength, double colorStrength,
                                               int64_t templateWindow, int64_t searchWindow, KImage* result);

// --- detail filters -------------------------------------------------------------------------------------

/// Strengthens the detail of a picture, smooths it while it keeps its edges, or makes it look painted.
///
/// Image: 2D, bytes, 3 channels. Spatial sigma: 0 to 200 pixels; range sigma: 0 to 1 of the sample range;
/// both compared after rounding to float. Filter: "RECURS_FILTER" or "NORMCONV_FILTER". Source: E. Gastal,
/// M. Oliveira, "Domain transform for edge-aware image and video processing", 2011.
HostErrorCode detailEnhance(LibraryData data, KImage image, double spatialSigma, double rangeSigma,
                            KImage* result);
HostErrorCode edgePreservingFilter(LibraryData data, KImage image, const char* filter, double spatialSigma,
                                   double rangeSigma, KImage* result);
HostErrorCode stylization(LibraryData data, KImage image, double spatialSigma, double rangeSigma,
                          KImage* result);

// --- exposure brackets ----------------------------------------------------------------------------------

/// Shifts the frames of a bracket onto the middle one by comparing bitmaps above and below the median.
///
/// Image: 3D, bytes, 3 channels of ColorSpaceRGB. Levels: from 1 to the base-2 logarithm of the shorter side.
/// Excluded range: 1 to the longer side, in intensities around the median. The result is 3D. Source: G. Ward,
/// "Fast, robust image registration for compositing high dynamic range photographs", 2003.
HostErrorCode alignMtb(LibraryData data, KImage image, int64_t levels, int64_t excludedRange, KImage* result);

/// Estimates the camera's response: 256 intensities x 3 channels, flat, intensity by intensity.
///
/// Image: 3D, bytes, 3 channels. Exposures: one positive real per frame, the reciprocal of its exposure time.
/// Samples: 2 to limits::calibrationSamples; without `random` they form a grid that must fit the picture.
/// Lambda weighs the smoothness of the curve, at most limits::calibrationSmoothness up or down. Source: P.
/// Debevec, J. Malik, "Recovering high dynamic range radiance maps from photographs", 1997.
HostErrorCode calibrateDebevec(LibraryData data, KImage image, KTensor exposures, int64_t samples,
                               double lambda, HostBoolean random, KTensor* result);

/// The same from all pixels, by turns estimating radiances and the curve, scaled to 1 at intensity 128.
/// Intensities that occur nowhere get 0.
///
/// Image: 3D, bytes, 3 channels of ColorSpaceRGB. Iterations: at most limits::calibrationIterations (none for
/// 0 and less) and limits::work. Threshold: ends the iterations when the curve changes less. Source: M.
/// Robertson, S. Borman, R. Stevenson, "Dynamic range improvement through multiple exposures", 1999.
HostErrorCode calibrateRobertson(LibraryData data, KImage image, KTensor exposures, int64_t iterations,
                                 double threshold, KTensor* result);

/// Merges a bracket into one picture of 32-bit reals, by the weighted mean of logarithmic or of plain
/// radiances.
///
/// Image: 3D, bytes, 3 channels of ColorSpaceRGB. Exposures: as above. Response: 768 reals as the
/// calibrations give them, or empty for a linear camera. Sources as of the calibrations.
HostErrorCode mergeDebevec(LibraryData data, KImage image, KTensor exposures, KTensor response,
                           KImage* result);
HostErrorCode mergeRobertson(LibraryData data, KImage image, KTensor exposures, KTensor response,
                             KImage* result);

/// Fuses a bracket into one displayable picture of 32-bit reals, weighing pixels by contrast and saturation.
///
/// Image: 3D, bytes, ColorSpaceGray or ColorSpaceRGB, 1 or 3 channels. Source: T. Mertens, J. Kautz, F. Van
/// Reeth, "Exposure fusion", 2007.
HostErrorCode mergeMertens(LibraryData data, KImage image, KImage* result);

/// Maps a picture of high dynamic range to the range of a display.
///
/// Image: 2D, 32-bit reals, 3 channels of ColorSpaceRGB. Method and parameters: toneMappings in
/// photo/tone_mappings.h; no parameters stand for the defaults. The space sigma of "Durand" is at most
/// limits::toneSpaceSigma, and pixels times its window at most limits::work.
HostErrorCode tonemap(LibraryData data, KImage image, const char* method, KTensor parameters, KImage* result);

// --- motion ---------------------------------------------------------------------------------------------

/// Dense optical flow between consecutive frames by polynomial expansion: pairs x rows x columns x (u, v),
/// in pixels, v upward. Vectors that are not finite or reach 1e9 become (replacement, replacement).
///
/// Image: 3D, at least 2 frames, bytes, 1 channel, ColorSpaceGray. Pyramid scale: above 0, to 1 (OpenCV
/// refuses exactly 1). Levels and iterations: at least 1. Window: 0 to limits::flowWindow, cut to an integer.
/// Neighbourhood: 0 to limits::flowNeighbourhood. Sigma: at least 0. Flag: "Gaussian" or "Standard".
/// Initial flow: rows x columns x 2, or empty; an empty one with `useInitialFlow` starts each pair but the
/// first with the flow of the pair before. Calls beyond limits::work are refused. Source: G. Farneback,
/// "Two-frame motion estimation based on polynomial expansion", 2003.
HostErrorCode opticalFlowFarneback(LibraryData data, KImage image, double pyramidScale, int64_t levels,
                                   double window, int64_t iterations, int64_t neighbourhood, double sigma,
                                   const char* flag, HostBoolean useInitialFlow, KTensor initialFlow,
                                   double replacement, KTensor* result);

/// The same by total variation and the L1 norm: pairs x rows x columns x (u, v, valid), valid 1 or 0.
///
/// Image: as above, both sides at least limits::flowSide. Epsilon, tau, theta: above 0. Lambda: at least 0.
/// Iterations, scales, warpings: at least 1. Source: C. Zach, T. Pock, H. Bischof, "A duality based approach
/// for realtime TV-L1 optical flow", 2007.
HostErrorCode opticalFlowDualTvl1(LibraryData data, KImage image, double epsilon, int64_t iterations,
                                  double lambda, int64_t scales, double tau, double theta, int64_t warpings,
                                  HostBoolean useInitialFlow, KTensor initialFlow, double replacement,
                                  KTensor* result);

/// Enlarges the second frame of a film by what its neighbours add, seven pixels less on every side.
///
/// Path: a film of at least limits::filmFrames frames that OpenCV can read. Flow: "Farneback" or "DualTVL1".
/// Scale: 2 to limits::filmScale, the enlarged frame at most limits::filmPixels. The result has bytes with
/// the channels in OpenCV's order, blue first. Source: D. Mitzel, T. Pock, T. Schoenemann, D. Cremers, "Video
/// super resolution using duality based TV-L1 optical flow", 2009.
HostErrorCode superResolution(LibraryData data, const char* path, const char* flow, int64_t scale,
                              KImage* result);

} // namespace miravex
