#include "bench/ratio.h"

#include <fmt/format.h>
#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>
#include <opencv2/superres/optical_flow.hpp>
#include <opencv2/video.hpp>

#include <tuple>

/// The photo room's operations against the same OpenCV calls made directly. Where OpenCV does the work, what
/// the library adds is the copies in and out, and ratios near 1 are wanted.
namespace miravex::bench {

namespace {

std::vector<cv::Mat> frames(int count, int rows, int columns, int type)
{
    std::vector<cv::Mat> made;
    for (int i = 0; i < count; ++i) made.push_back(smooth(rows, columns, type, static_cast<uint64_t>(i) + 1));
    return made;
}

TensorPointer exposures(int count)
{
    std::vector<double> values;
    for (int i = 0; i < count; ++i) values.push_back(8.0 / (1 << i));
    return realList(values);
}

std::vector<float> times(int count)
{
    std::vector<float> values;
    for (int i = 0; i < count; ++i) values.push_back(static_cast<float>(1 << i) / 8);
    return values;
}

cv::Mat radiance(int rows, int columns)
{
    cv::Mat picture;
    smooth(rows, columns, CV_8UC3).convertTo(picture, CV_32F, 1.0 / 64, 0.01);
    return picture;
}

/// One tone mapping with its defaults against OpenCV's operator.
void mapping(const std::string& method, const cv::Ptr<cv::Tonemap>& direct)
{
    const cv::Mat picture = radiance(800, 1000);
    ratio(
        "tonemap " + method + ", 0.8 megapixel",
        operation("Tonemap", { imageOfMatrix(picture), method, emptyList() }),
        [=](cv::Mat& out) { direct->process(picture, out); }, wrapperGoal);
}

/// Our own non-local means against OpenCV's, with everyday windows: on one image, ...
void denoisingOfOne(const std::string& megapixels, int rows, int columns, int threads)
{
    const cv::Mat gray = smooth(rows, columns, CV_8U), picture = smooth(rows, columns, CV_8UC3);
    const Goal goal { .most = 1.0 / 4, .threads = threads };
    const std::string with = fmt::format(", {} megapixel, threads: {}", megapixels, threads);
    ratio(
        "fast-nl-means-denoising" + with,
        operation("FastNlMeansDenoising", { imageOfMatrix(gray), 10.0, int64_t { 7 }, int64_t { 21 } }),
        [=] {
            cv::Mat out;
            cv::fastNlMeansDenoising(gray, out, 10, 7, 21);
            keep(out.data);
        },
        goal);
    ratio(
        "fast-nl-means-denoising-colored" + with,
        operation("FastNlMeansDenoisingColored",
                  { imageOfMatrix(picture), 10.0, 10.0, int64_t { 7 }, int64_t { 21 } }),
        [=] {
            cv::Mat out;
            cv::fastNlMeansDenoisingColored(picture, out, 10, 10, 7, 21);
            keep(out.data);
        },
        goal);
}

/// ... and on the middle of three frames as well.
void denoising(const std::string& megapixels, int rows, int columns, int threads)
{
    denoisingOfOne(megapixels, rows, columns, threads);
    const std::vector<cv::Mat> gray = frames(3, rows, columns, CV_8U);
    const std::vector<cv::Mat> colored = frames(3, rows, columns, CV_8UC3);
    const Goal goal { .most = 1.0 / 3, .threads = threads };
    const std::string with = fmt::format(", {} megapixel x 3, threads: {}", megapixels, threads);
    ratio(
        "fast-nl-means-denoising-multi" + with,
        operation("FastNlMeansDenoisingMulti",
                  { imageOfFrames(gray), int64_t { 2 }, int64_t { 3 }, 10.0, int64_t { 7 }, int64_t { 21 } }),
        [=] {
            cv::Mat out;
            cv::fastNlMeansDenoisingMulti(gray, out, 1, 3, 10, 7, 21);
            keep(out.data);
        },
        goal);
    ratio(
        "fast-nl-means-denoising-colored-multi" + with,
        operation("FastNlMeansDenoisingColoredMulti",
                  { imageOfFrames(colored), int64_t { 2 }, int64_t { 3 }, 10.0, 10.0, int64_t { 7 },
                    int64_t { 21 } }),
        [=] {
            cv::Mat out;
            cv::fastNlMeansDenoisingColoredMulti(colored, out, 1, 3, 10, 10, 7, 21);
            keep(out.data);
        },
        goal);
}

/// Our own domain transform against OpenCV's, with the arguments that OpenCV proposes: the recursive filter,
/// ...
void recursiveFilters(const std::string& megapixels, int rows, int columns, int threads)
{
    const cv::Mat picture = smooth(rows, columns, CV_8UC3);
    const std::string with = fmt::format(", {} megapixel, threads: {}", megapixels, threads);
    ratio("detail-enhance" + with, operation("DetailEnhance", { imageOfMatrix(picture), 10.0, 0.15 }),
          [=](cv::Mat& out) { cv::detailEnhance(picture, out, 10, 0.15F); },
          { .most = 1 / 1.7, .threads = threads });
    ratio("edge-preserving-filter RECURS_FILTER" + with,
          operation("EdgePreservingFilter",
                    { imageOfMatrix(picture), std::string("RECURS_FILTER"), 60.0, 0.4 }),
          [=](cv::Mat& out) { cv::edgePreservingFilter(picture, out, cv::RECURS_FILTER, 60, 0.4F); },
          { .most = 1.0 / 2, .threads = threads });
}

/// ... and the normalized convolution, up to the size that OpenCV can count.
void normalizedConvolutions(const std::string& megapixels, int rows, int columns, int threads)
{
    const cv::Mat picture = smooth(rows, columns, CV_8UC3);
    const std::string with = fmt::format(", {} megapixel, threads: {}", megapixels, threads);
    ratio("edge-preserving-filter NORMCONV_FILTER" + with,
          operation("EdgePreservingFilter",
                    { imageOfMatrix(picture), std::string("NORMCONV_FILTER"), 60.0, 0.4 }),
          [=](cv::Mat& out) { cv::edgePreservingFilter(picture, out, cv::NORMCONV_FILTER, 60, 0.4F); },
          { .most = 1.0 / 2, .threads = threads });
    ratio("stylization" + with, operation("Stylization", { imageOfMatrix(picture), 60.0, 0.45 }),
          [=](cv::Mat& out) { cv::stylization(picture, out, 60, 0.45F); },
          { .most = 1.0 / 2, .threads = threads });
}

} // namespace

MIRAVEX_BENCH(denoising)
{
    for (const int threads : { 1, 2 }) {
        for (const auto& [megapixels, rows, columns] : { std::tuple("0.12", 300, 400), { "1", 866, 1155 } })
            denoising(megapixels, rows, columns, threads);
    }
    denoisingOfOne("4", 1732, 2309, 1);
}

MIRAVEX_BENCH(detail)
{
    for (const int threads : { 1, 2 }) {
        for (const auto& [megapixels, rows, columns] : { std::tuple("0.12", 300, 400), { "1", 866, 1155 } }) {
            recursiveFilters(megapixels, rows, columns, threads);
            normalizedConvolutions(megapixels, rows, columns, threads);
        }
    }
    recursiveFilters("12", 3000, 4000, 1);
}

MIRAVEX_BENCH(exposure)
{
    const std::vector<cv::Mat> bracket = frames(4, 600, 800, CV_8UC3);
    const ImagePointer image = imageOfFrames(bracket);
    ratio(
        "align-mtb, 0.5 megapixel x 4", operation("AlignMTB", { image, int64_t { 5 }, int64_t { 4 } }),
        [=] {
            std::vector<cv::Mat> out;
            cv::createAlignMTB(5, 4, false)->process(bracket, out);
            keep(out.data());
        },
        wrapperGoal);
    ratio(
        "merge-debevec, 0.5 megapixel x 4", operation("MergeDebevec", { image, exposures(4), emptyList() }),
        [=](cv::Mat& out) { cv::createMergeDebevec()->process(bracket, out, times(4)); }, wrapperGoal);
    ratio(
        "merge-robertson, 0.5 megapixel x 4",
        operation("MergeRobertson", { image, exposures(4), emptyList() }),
        [=](cv::Mat& out) { cv::createMergeRobertson()->process(bracket, out, times(4)); }, wrapperGoal);
    ratio(
        "merge-mertens, 0.5 megapixel x 4", operation("MergeMertens", { image }),
        [=](cv::Mat& out) { cv::createMergeMertens(1, 1, 0)->process(bracket, out); }, wrapperGoal);
    ratio(
        "calibrate-robertson, 0.5 megapixel x 4, 2 iterations",
        operation("CalibrateRobertson", { image, exposures(4), int64_t { 2 }, 0.0 }),
        [=](cv::Mat& out) { cv::createCalibrateRobertson(2, 0)->process(bracket, out, times(4)); },
        wrapperGoal);
}

MIRAVEX_BENCH(tone)
{
    mapping("basic", cv::createTonemap(1));
    mapping("Drago", cv::createTonemapDrago(1, 1, 0.85F));
    mapping("Reinhard", cv::createTonemapReinhard(1, 0, 1, 0));
    mapping("Mantiuk", cv::createTonemapMantiuk(1, 0.7F, 1));
    duration(
        "tonemap Durand, 0.8 megapixel",
        operation("Tonemap", { imageOfMatrix(radiance(800, 1000)), std::string("Durand"), emptyList() }));
}

MIRAVEX_BENCH(flow)
{
    const std::vector<cv::Mat> pair = frames(2, 300, 400, CV_8U);
    const ImagePointer image = imageOfFrames(pair);
    ratio(
        "optical-flow-farneback, 0.12 megapixel",
        operation("OpticalFlowFarneback",
                  { image, 0.5, int64_t { 5 }, 13.0, int64_t { 10 }, int64_t { 5 }, 1.1,
                    std::string("Standard"), false, emptyList(), 0.0 }),
        [=] {
            cv::Mat flow;
            cv::calcOpticalFlowFarneback(pair[0], pair[1], flow, 0.5, 5, 13, 10, 5, 1.1, 0);
            keep(flow.data);
        },
        wrapperGoal);
    ratio(
        "optical-flow-dual-tvl1, 0.12 megapixel",
        operation("OpticalFlowDualTVL1",
                  { image, 0.01, int64_t { 1 }, 0.15, int64_t { 5 }, 0.25, 0.3, int64_t { 1 }, false,
                    emptyList(), 0.0 }),
        [=] {
            const auto method = cv::superres::createOptFlow_DualTVL1();
            method->setIterations(1);
            method->setWarpingsNumber(1);
            cv::Mat_<cv::Point2f> flow;
            method->calc(pair[0], pair[1], flow, cv::noArray());
            keep(flow.data);
        },
        wrapperGoal);
}

} // namespace miravex::bench
