#pragma once

#include "host/objects.h"

#include <opencv2/core.hpp>

/// Painters of what is found in pictures, each for one layout: they draw over a canvas of RGB bytes that
/// shows the picture, and throw std::invalid_argument for a tensor that has not the layout's form.
namespace miravex::painters {

void keypoints(cv::Mat& canvas, const Tensor& rows);
void regions(cv::Mat& canvas, const Tensor& rows);
void labels(cv::Mat& canvas, const Tensor& table);
void polarLines(cv::Mat& canvas, const Tensor& list);
void borderLines(cv::Mat& canvas, const Tensor& list);
void segments(cv::Mat& canvas, const Tensor& list);
void wideSegments(cv::Mat& canvas, const Tensor& list);
void circles(cv::Mat& canvas, const Tensor& list);
void contours(cv::Mat& canvas, const Tensor& list);
void faces(cv::Mat& canvas, const Tensor& list);

/// The two canvases side by side, matched keypoints joined; see drawMatches().
cv::Mat matches(const cv::Mat& first, const Tensor& firstRows, const cv::Mat& second,
                const Tensor& secondRows, const Tensor& list);

} // namespace miravex::painters
