#include "ops/photo/edge_preserving.h"

#include "convert/own_kernels.h"
#include "ops/photo/domain_transform.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>

#include <vector>

namespace miravex {

namespace {

/// Samples from 0 to 1.
cv::Mat unitSamples(const cv::Mat& source)
{
    cv::Mat image;
    source.convertTo(image, CV_32F, 1.0 / 255.0);
    return image;
}

void toBytes(const cv::Mat& image, cv::Mat& filtered) { cv::convertScaleAbs(image, filtered, 255); }

cv::Mat recursivelyFiltered(cv::Mat image, float spatialSigma, float rangeSigma)
{
    domain_transform::filterRecursively(image, spatialSigma, rangeSigma);
    return image;
}

/// True where our recursive filter has the bits of the OpenCV that runs.
bool recursesAsOpenCv()
{
#ifdef __FP_FAST_FMAF
    // An OpenCV for such processors fuses products with sums, and rounds otherwise.
    return false;
#else
    // Some versions filter the first third of every row and column alone.
    static const bool same = [] {
        cv::Mat picture(19, 23, CV_8UC3), expected, filtered;
        cv::RNG(19).fill(picture, cv::RNG::UNIFORM, 0, 256);
        cv::edgePreservingFilter(picture, expected, cv::RECURS_FILTER, 20, 1);
        toBytes(recursivelyFiltered(unitSamples(picture), 20, 1), filtered);
        return cv::norm(filtered, expected, cv::NORM_INF) == 0;
    }();
    return same;
#endif
}

bool recursesByOwnKernel() { return ownKernels() && recursesAsOpenCv(); }

bool convolvesByOwnKernel(const cv::Mat& source, float spatialSigma, float rangeSigma)
{
    return ownKernels() || domain_transform::misleadsOpenCv(unitSamples(source), spatialSigma, rangeSigma);
}

/// NaN where OpenCV divides by zero.
cv::Mat normalizedConvolution(const cv::Mat& source, float spatialSigma, float rangeSigma)
{
    cv::Mat image = unitSamples(source);
    domain_transform::convolveNormalized(image, spatialSigma, rangeSigma);
    return image;
}

/// 1 less the length of the gradient, summed over the channels.
cv::Mat darknessOfEdges(const std::vector<cv::Mat>& channels)
{
    cv::Mat sum;
    for (const cv::Mat& channel : channels) {
        cv::Mat alongRows, alongColumns, length;
        cv::Sobel(channel, alongRows, CV_32F, 1, 0);
        cv::Sobel(channel, alongColumns, CV_32F, 0, 1);
        cv::magnitude(alongRows, alongColumns, length);
        sum = sum.empty() ? length : cv::Mat(sum + length);
    }
    return 1.0F - sum;
}

} // namespace

void preserveEdges(const cv::Mat& source, cv::Mat& filtered, int filter, float spatialSigma, float rangeSigma)
{
    const bool recursive = filter == cv::RECURS_FILTER;
    if (recursive && recursesByOwnKernel())
        toBytes(recursivelyFiltered(unitSamples(source), spatialSigma, rangeSigma), filtered);
    else if (!recursive && convolvesByOwnKernel(source, spatialSigma, rangeSigma))
        toBytes(normalizedConvolution(source, spatialSigma, rangeSigma), filtered);
    else
        cv::edgePreservingFilter(source, filtered, filter, spatialSigma, rangeSigma);
}

void enhanceDetail(const cv::Mat& source, cv::Mat& enhanced, float spatialSigma, float rangeSigma)
{
    if (!recursesByOwnKernel()) {
        cv::detailEnhance(source, enhanced, spatialSigma, rangeSigma);
        return;
    }
    cv::Mat lab, lightness;
    cv::cvtColor(unitSamples(source), lab, cv::COLOR_BGR2Lab);
    cv::extractChannel(lab, lightness, 0);
    lightness.convertTo(lightness, CV_32F, 1.0 / 255.0);
    const cv::Mat smooth = recursivelyFiltered(lightness.clone(), spatialSigma, rangeSigma);
    cv::Mat detail = lightness - smooth;
    detail *= 3;
    lightness = smooth + detail;
    lightness.convertTo(lightness, CV_32F, 255);
    cv::insertChannel(lightness, lab, 0);
    cv::Mat colors;
    cv::cvtColor(lab, colors, cv::COLOR_Lab2BGR);
    colors.convertTo(enhanced, CV_8U, 255);
}

void stylize(const cv::Mat& source, cv::Mat& stylized, float spatialSigma, float rangeSigma)
{
    if (!convolvesByOwnKernel(source, spatialSigma, rangeSigma)) {
        cv::stylization(source, stylized, spatialSigma, rangeSigma);
        return;
    }
    std::vector<cv::Mat> channels;
    cv::split(normalizedConvolution(source, spatialSigma, rangeSigma), channels);
    const cv::Mat darkness = darknessOfEdges(channels);
    for (cv::Mat& channel : channels) cv::multiply(channel, darkness, channel);
    cv::Mat merged;
    cv::merge(channels, merged);
    merged.convertTo(stylized, CV_8U, 255);
}

} // namespace miravex
