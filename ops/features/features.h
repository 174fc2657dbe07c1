#pragma once

#include "miravex/host_interface.h"

/// Features, shapes and detection: operations that find things in images and compare what was found.
///
/// Every function returns StatusOk and a new tensor (or a number) in *result, owned by the caller, or another
/// status with *result untouched and nothing left allocated in the host. OpenCV's exceptions pass through. A
/// missing table or handle is refused. Integers are clipped to what OpenCV's int holds, and further where
/// larger ones give the same result. Words are compared exactly.
///
/// Coordinates in results count x from the left and y from the bottom edge, with pixel centres at halves,
/// unless stated otherwise. A keypoint is a row of 7: x, y, size, angle, response, octave, class_id.
namespace miravex {

/// Finds corners by the adaptive segment test on 9 of 16 pixels.
///
/// Image: 2D, one byte channel. Mask, when used: one channel of bits of the same size, nonzero where
/// keypoints may lie. Threshold: at least 0, in grey levels. Result: n x 7. Source: E. Mair et al., "Adaptive
/// and generic corner detection based on the accelerated segment test", 2010.
HostErrorCode agast(LibraryData data, KImage image, HostBoolean useMask, KImage mask, int64_t threshold,
                    HostBoolean nonmaxSuppression, KTensor* result);

/// Finds corners by the segment test on 9 of 16 pixels.
///
/// As agast(), but both sides must be at least 7, and a mask must be passed even when it is not used. Source:
/// E. Rosten, T. Drummond, "Machine learning for high-speed corner detection", 2006.
HostErrorCode fast(LibraryData data, KImage image, HostBoolean useMask, KImage mask, int64_t threshold,
                   HostBoolean nonmaxSuppression, KTensor* result);

/// Finds ("detect") or describes ("compute") keypoints in an accelerated nonlinear scale space, or both
/// ("detectAndCompute").
///
/// Image and mask: as agast(). Octaves: at least 1; layers: 1 to 11; descriptor size: 0 (all) to 486 bits,
/// channels 1 to 3. Keypoints: n x 7 in the host's frame, inside the picture, read only by "compute". Result:
/// n x 7, n x d or n x (7 + d). Besides what the checks name, binary descriptors of a size above 0 with one
/// channel are refused, and those of size 0 with fewer than three where something is described (OpenCV writes
/// beyond its memory for both); so are keypoints with numbers that are not finite, sizes beyond the diagonal
/// or octaves above limits::shiftedOctave. Source: P. Alcantarilla, J. Nuevo, A. Bartoli, "Fast explicit
/// diffusion for accelerated features in nonlinear scale spaces", 2013.
HostErrorCode akaze(LibraryData data, KImage image, HostBoolean useMask, KImage mask, const char* modeName,
                    double threshold, int64_t nOctaves, int64_t nOctaveLayers, const char* diffusivityName,
                    const char* descriptorName, int64_t descriptorSize, int64_t descriptorChannels,
                    KTensor keypointRows, KTensor* result);

/// Finds or describes keypoints by concentric rings of brightness comparisons; modes as akaze().
///
/// Threshold: at least 1; octaves: at least 0 (detection fails where a level would have no pixels); pattern
/// scale: above 0. Descriptors of 64 bytes. Keypoints with numbers that are not finite or sizes beyond the
/// diagonal are refused. Source: S. Leutenegger, M. Chli, R. Siegwart, "BRISK: binary robust invariant
/// scalable keypoints", 2011.
HostErrorCode brisk(LibraryData data, KImage image, HostBoolean useMask, KImage mask, const char* modeName,
                    int64_t threshold, int64_t octaves, double patternScale, KTensor keypointRows,
                    KTensor* result);

/// Finds or describes keypoints in a nonlinear scale space; modes as akaze().
///
/// Both sides at least 2. Octaves: 1 to 15, those that can't find anything in a picture of this size skipped
/// (keypoints given with a class_id of theirs are refused); layers: 1 to 11. Descriptors of 64 or, extended,
/// 128 floats. Scale spaces beyond limits::scaleSpaceSamples are refused, and keypoints as in brisk().
/// Source: P. Alcantarilla, A. Bartoli, A. Davison, "KAZE features", 2012.
HostErrorCode kaze(LibraryData data, KImage image, HostBoolean useMask, KImage mask, const char* modeName,
                   double threshold, int64_t nOctaves, int64_t nOctaveLayers, const char* diffusivityName,
                   HostBoolean extended, HostBoolean upright, KTensor keypointRows, KTensor* result);

/// Finds or describes oriented corners by pairs of brightness comparisons; modes as akaze().
///
/// Features: at least 0; scale factor above 1; levels: at least 1; edge threshold: at least 0, and also the
/// side of the described patch (OpenCV refuses less than 2); WTA_K: 2 to 4. Descriptors of 32 bytes. Refused:
/// pyramids with a level without pixels or beyond limits::resultSamples in all, with a border of the edge
/// threshold around each level, and keypoints as in brisk(). Source: E. Rublee et al., "ORB: an efficient
/// alternative to SIFT or SURF", 2011.
HostErrorCode orb(LibraryData data, KImage image, HostBoolean useMask, KImage mask, const char* modeName,
                  int64_t fastThreshold, int64_t nFeatures, double scaleFactor, int64_t nLevels,
                  int64_t edgeThreshold, int64_t wtaK, const char* scoreName, KTensor keypointRows,
                  KTensor* result);

/// Finds regions that stay stable while a threshold runs through the grey levels (or, of colours, while
/// similar neighbours merge).
///
/// Image: 2D, 1, 3 or 4 byte channels, both sides at least 2 (OpenCV wants 3); one colour has no regions.
/// Areas, variation and margin: at least 0; diversity: above 0; area threshold: above 1; evolution: 1 to
/// limits::mserEvolution; edge blur: odd, at most limits::mserEdgeBlur. "Rectangle" gives n x 5: number from
/// 1, left, top, right, bottom, with y from the bottom edge and no half pixel. "LabelMatrix" gives rows x
/// columns, top row first: the number of the last region at each pixel, 0 for none. Source: J. Matas et al.,
/// "Robust wide baseline stereo from maximally stable extremal regions", 2002; P.-E. Forssen, "Maximally
/// stable colour regions", 2007.
HostErrorCode mserDetect(LibraryData data, KImage image, int64_t delta, int64_t minArea, int64_t maxArea,
                         double maxVariation, double minDiversity, int64_t maxEvolution, double areaThreshold,
                         double minMargin, int64_t edgeBlurSize, const char* formName, KTensor* result);

/// Matches descriptors of one set with those of another: the k nearest ("Best Match") or all within a radius
/// ("Radius Match").
///
/// Query: q x d, train: t x d, reals, compared as floats (which the Hamming matchers refuse). Parameter: k,
/// from 1 to t, cut to an integer; or the largest distance. Mask, when used: q x t integers whose lowest byte
/// is nonzero for allowed pairs. Result: q, the number of matches of each query, then the train indices from
/// 1, best first. Descriptors without elements are refused, and so are more than limits::matchedPairs pairs
/// to keep (k q, or q t in a radius).
HostErrorCode descriptorMatcher(LibraryData data, KTensor query, HostBoolean useMask, KTensor mask,
                                KTensor train, const char* matcherName, const char* modeName,
                                double parameter, KTensor* result);

/// Finds straight lines among the nonzero pixels.
///
/// Image: 2D, one channel of bits or bytes. Rho and theta: resolutions, above 0; srn and stn: their divisors
/// in the multi-scale transform, 0 for the plain one, and a stn with a srn. "Equation" gives pairs rho, theta
/// in the matrix frame; "Coordinates" gives x1, y1, x2, y2 on the picture's border, y counted from the bottom
/// edge without half pixels, lines that cross it in other than two points leaving zeros at the end. Refused:
/// accumulators and tables beyond limits::houghCounters, and in the multi-scale transform negative divisors,
/// a rho above half the diagonal or a theta above a whole turn, on which OpenCV crashes. Source: R. Duda, P.
/// Hart, "Use of the Hough transformation to detect lines and curves in pictures", 1972.
HostErrorCode houghLines(LibraryData data, KImage image, double rho, double theta, int64_t threshold,
                         double srn, double stn, const char* formName, KTensor* result);

/// Finds line segments among the nonzero pixels by random sampling (with a fixed seed).
///
/// Image: as houghLines(). Result: x1, y1, x2, y2 per segment. Refused besides other resolutions than above
/// 0: accumulators beyond limits::houghCounters and a rho above 2 (rows + columns) + 1, on which OpenCV
/// crashes. Source: J. Matas, C. Galambos, J. Kittler, "Robust detection of lines using the progressive
/// probabilistic Hough transform", 2000.
HostErrorCode houghLinesP(LibraryData data, KImage image, double rho, double theta, int64_t threshold,
                          double minLineLength, double maxLineGap, KTensor* result);

/// Finds circles by the gradients of their edges.
///
/// Image: 2D, one byte channel. dp, minDist, param1 (upper edge threshold), param2 (votes): above 0. Radii:
/// at least 0, the smaller not above the larger unless one is 0. Result: x, y, radius per circle. Source: H.
/// Yuen et al., "Comparative study of Hough transform methods for circle finding", 1990.
HostErrorCode houghCircles(LibraryData data, KImage image, double dp, double minDist, double param1,
                           double param2, int64_t minRadius, int64_t maxRadius, KTensor* result);

/// Finds line segments by growing regions of like gradient direction.
///
/// Image: as houghLines(). Result: x1, y1, x2, y2, width per segment. Source: R. Grompone von Gioi et al.,
/// "LSD: a line segment detector", 2012.
HostErrorCode lineSegmentDetector(LibraryData data, KImage image, KTensor* result);

/// Traces the borders of the regions of nonzero pixels.
///
/// Image: 2D, one byte channel. Points are columns and rows counted from the bottom, both from 0. Without
/// chainCode: the number of contours, their lengths, their points, then next, previous, first child and
/// parent of each (indices from 0, -1 for none). With it: the number of contours, then for each -1 and its
/// Freeman codes, the last of them from the first point to the last. "FloodFill" treats all nonzero pixels
/// alike, as the other modes do. Source: S. Suzuki, K. Abe, "Topological structural analysis of digitized
/// binary images by border following", 1985.
HostErrorCode findContours(LibraryData data, KImage image, const char* modeName, const char* methodName,
                           HostBoolean chainCode, KTensor* result);

/// Compares two contours (n x 2 reals, rounded to integers with ties to even) by their Hu moments.
///
/// The result is 0 for equal shapes. Coordinates that no 32-bit integer holds are refused. Source: M.-K. Hu,
/// "Visual pattern recognition by moment invariants", 1962.
HostErrorCode matchShapes(LibraryData data, KTensor contour1, KTensor contour2, const char* methodName,
                          double* result);

/// The least cost per unit of mass that turns one weighted set of points into another.
///
/// Points: n x d; weights: a list of n; distance: "ManhattanDistance", "EuclideanDistance",
/// "ChessboardDistance", or "Custom" with a cost of n1 x n2. The cost is empty, or of that size, for the
/// named distances, which ignore it. Sizes with n1 n2 (n1 + n2) beyond limits::transportSteps are refused.
/// Source: Y. Rubner, C. Tomasi, L. Guibas, "The earth mover's distance as a metric for image retrieval",
/// 2000.
HostErrorCode earthMoverDistance(LibraryData data, KTensor points1, KTensor weights1, KTensor points2,
                                 KTensor weights2, const char* name, KTensor cost, double* result);

/// The flow of mass, n1 x n2, that earthMoverDistance() is the cost of.
HostErrorCode earthMoverDistanceFlowMatrix(LibraryData data, KTensor points1, KTensor weights1,
                                           KTensor points2, KTensor weights2, const char* name, KTensor cost,
                                           KTensor* result);

/// The same for weights alone under a given cost of n1 x n2.
HostErrorCode earthMoverDistanceWeightsFlowMatrix(LibraryData data, KTensor weights1, KTensor weights2,
                                                  KTensor cost, KTensor* result);

/// Finds faces with a boosted cascade read from a file.
///
/// Image: 2D, one byte channel, both sides at least 2. Face sizes: at least 0, the largest not below the
/// smallest. Scale factor: above 1. Equalize: 1 to equalise the histogram first. Target size: -1, or at least
/// 1 to search the picture shrunk by the integer quotient of its smaller side by it. Result: n, n boxes
/// (left, bottom, right, top) from the top of the picture down, then n counts of neighbours. Refused besides:
/// a target size of 0, and scale factors so near to 1 that the sizes searched exceed limits::cascadeSamples.
/// The file must be trusted: OpenCV does not check its indices. Source: P. Viola, M. Jones, "Rapid object
/// detection using a boosted cascade of simple features", 2001.
HostErrorCode faceDetection(LibraryData data, KImage image, int64_t minWidth, int64_t minHeight,
                            int64_t maxWidth, int64_t maxHeight, const char* cascadePath,
                            int64_t minNeighbors, double scaleFactor, int64_t equalize, int64_t targetSize,
                            KTensor* result);

/// Finds faces with a single-shot detector network read from two Caffe files, with input "data" and output
/// "detection_out" (four dimensions, the last of 7).
///
/// Image: 2D, 3 or 4 channels of bits, bytes or 32-bit reals (OpenCV refuses others), both sides at least 2.
/// Threshold: 0 to 1; candidates of a higher confidence
/// count. Size ratio: 1 to 4 times 300 pixels. Candidates that touch the left or top edge or reach the right
/// one are dropped, and so are those whose corners no 32-bit integer holds; the bottom is not checked.
/// Result: n, n boxes (left, bottom, right, top), then n confidences. Failures throw std::runtime_error.
/// Source: W. Liu et al., "SSD: single shot multibox detector", 2016.
HostErrorCode faceDetectionDnn(LibraryData data, KImage image, const char* descriptionPath,
                               const char* weightsPath, double confidenceThreshold,
                               int64_t useAlternativeMean, int64_t sizeRatio, KTensor* result);

} // namespace miravex
