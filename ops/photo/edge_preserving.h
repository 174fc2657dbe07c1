#pragma once

#include <opencv2/core.hpp>

namespace miravex {

/// The operations that smooth an image but for its edges, bit for bit as OpenCV has them where OpenCV's own
/// are sound; domain_transform.h says where they are not, and what is made there.
///
/// `source` has 3 byte channels and is not empty; the other may be the same matrix, and keeps its memory when
/// it has that size and type. Sigmas: pixels, and a share of the range of samples.

/// cv::edgePreservingFilter, with RECURS_FILTER or NORMCONV_FILTER.
void preserveEdges(const cv::Mat& source, cv::Mat& filtered, int filter, float spatialSigma,
                   float rangeSigma);

/// cv::detailEnhance.
void enhanceDetail(const cv::Mat& source, cv::Mat& enhanced, float spatialSigma, float rangeSigma);

/// cv::stylization.
void stylize(const cv::Mat& source, cv::Mat& stylized, float spatialSigma, float rangeSigma);

} // namespace miravex
