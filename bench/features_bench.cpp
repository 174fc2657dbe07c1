#include "bench/ratio.h"

#include "catalog/catalog.h"
#include "host/arguments.h"

#include <fmt/format.h>
#include <opencv2/features2d.hpp>
#include <opencv2/imgproc.hpp>

#include <array>

namespace miravex::bench {

// Each operation through the library against the same calls of OpenCV on matrices that are there already: the
// library's share is the copy of the picture and the tensor of the result.

namespace {

struct Size {
    const char* name;
    int rows, columns;
};
constexpr std::array sizes { Size { "1 megapixel", 1000, 1000 }, Size { "12 megapixels", 3000, 4000 } };

Value text(const char* word) { return std::string(word); }

/// Values by the record's defaults, but for those given.
Work operationWith(std::string_view name, NamedValues given)
{
    const Operation* found = findOperation(name);
    Completed call = complete(*found, std::move(given));
    if (!call.refusals.empty()) throw std::invalid_argument(call.refusals.front().message());
    return operation(name, std::move(call.values));
}

/// A detector that also describes, made afresh for each picture as the library does.
template <typename Make> Work describing(cv::Mat picture, Make make)
{
    return [=] {
        std::vector<cv::KeyPoint> keypoints;
        cv::Mat descriptors;
        make()->detectAndCompute(picture, cv::noArray(), keypoints, descriptors, false);
        keep(descriptors);
    };
}

void keypoints(const Size& size)
{
    const cv::Mat picture = smooth(size.rows, size.columns, CV_8U);
    const auto described = [&](const char* name, auto make) {
        ratio(fmt::format("{}, {}", name, size.name),
              operationWith(name,
                            { { "image", imageOfMatrix(picture) }, { "mode", text("detectAndCompute") } }),
              describing(picture, make), wrapperGoal);
    };
    described("Akaze", [] { return cv::AKAZE::create(); });
    described("Brisk", [] { return cv::BRISK::create(); });
    described("Orb", [] { return cv::ORB::create(500, 1.2F, 8, 31, 0, 2, cv::ORB::HARRIS_SCORE, 31, 20); });
    ratio(fmt::format("Fast, {}", size.name), operationWith("Fast", { { "image", imageOfMatrix(picture) } }),
          [=] {
              std::vector<cv::KeyPoint> found;
              cv::FastFeatureDetector::create(20, true)->detect(picture, found);
              keep(found);
          });
}

void shapes(const Size& size)
{
    const cv::Mat picture = smooth(size.rows, size.columns, CV_8U);
    const cv::Mat binary = picture > 128;
    ratio(fmt::format("FindContours, {}", size.name),
          operationWith("FindContours", { { "image", imageOfMatrix(binary) } }), [=] {
              std::vector<std::vector<cv::Point>> contours;
              std::vector<cv::Vec4i> hierarchy;
              cv::findContours(binary, contours, hierarchy, cv::RETR_TREE, cv::CHAIN_APPROX_SIMPLE);
              keep(contours);
          });
    ratio(
        fmt::format("MserDetect, {}", size.name),
        operationWith("MserDetect", { { "image", imageOfMatrix(picture) } }),
        [=] {
            std::vector<std::vector<cv::Point>> regions;
            std::vector<cv::Rect> boxes;
            cv::MSER::create()->detectRegions(picture, regions, boxes);
            keep(boxes);
        },
        wrapperGoal);
    cv::Mat edges;
    cv::Canny(picture, edges, 50, 150);
    ratio(
        fmt::format("HoughLines, {}", size.name),
        operationWith("HoughLines", { { "image", imageOfMatrix(edges) }, { "threshold", int64_t { 200 } } }),
        [=] {
            std::vector<cv::Vec2f> lines;
            cv::HoughLines(edges, lines, 1, CV_PI / 180, 200);
            keep(lines);
        },
        wrapperGoal);
}

void matching()
{
    const cv::Mat queries = noise(1000, 64, CV_32F, 1);
    const cv::Mat trained = noise(1000, 64, CV_32F, 2);
    const auto tensorOf = [](const cv::Mat& matrix) {
        cv::Mat doubles;
        matrix.convertTo(doubles, CV_64F);
        return makeRealTensor({ matrix.rows, matrix.cols },
                              std::span<const double>(doubles.ptr<double>(), doubles.total()));
    };
    ratio(
        "DescriptorMatcher, 1000 x 1000 of 64",
        operationWith("DescriptorMatcher",
                      { { "query", tensorOf(queries) }, { "train", tensorOf(trained) } }),
        [=] {
            std::vector<std::vector<cv::DMatch>> matches;
            cv::DescriptorMatcher::create("BruteForce")->knnMatch(queries, trained, matches, 1);
            keep(matches);
        },
        wrapperGoal);
}

} // namespace

MIRAVEX_BENCH(features)
{
    for (const Size& size : sizes) {
        keypoints(size);
        shapes(size);
    }
    matching();
}

} // namespace miravex::bench
