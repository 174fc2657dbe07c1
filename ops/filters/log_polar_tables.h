#pragma once

#include <opencv2/core.hpp>

#include <vector>

namespace miravex {

/// Tables between a image and its log-polar image of the same size, in the host's coordinates: x to the
/// right, y upward from the bottom edge, pixel centres at halves. Entries are computed in double and rounded
/// to float once. Builders write any strip of rows at a time and throw for sizes or magnitudes below 0.

/// Where in the image each pixel of the log-polar image comes from: the angle along the columns, from
/// the left of the centre clockwise as pictures are drawn, the logarithm of the radius upward along the rows.
class ForwardLogPolarTables {
public:
    ForwardLogPolarTables(cv::Size size, cv::Point2d centre, double magnitude);

    /// Writes as many rows of both tables as the CV_32F matrices have, from row `first` on.
    void operator()(int first, cv::Mat& mapX, cv::Mat& mapY) const;

private:
    cv::Point2d origin_; ///< the centre in matrix coordinates
    std::vector<double> radii_; ///< by row
    std::vector<double> cosines_, sines_; ///< by column
};

/// Where in the log-polar image each pixel of the image comes from.
class InverseLogPolarTables {
public:
    InverseLogPolarTables(cv::Size size, cv::Point2d centre, double magnitude);

    void operator()(int first, cv::Mat& mapX, cv::Mat& mapY);

private:
    cv::Size size_;
    double magnitude_;
    double top_; ///< y of row 0 from the centre
    std::vector<double> x_; ///< x of each column from the centre
    std::vector<double> angles_, logRadii_; ///< of one row
};

} // namespace miravex
