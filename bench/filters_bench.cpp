#include "bench/ratio.h"

#include "host/services.h"
#include "ops/filters/large_median.h"
#include "ops/filters/local_statistics.h"

#include <fmt/format.h>
#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>

#include <cmath>
#include <numeric>

namespace miravex::bench {

// Each operation through the library against the same calls of OpenCV on matrices that are there already.

namespace {

struct Size {
    const char* name;
    int rows, columns;
    Goal goal;
};
constexpr Size sizes[] = { { "1 megapixel", 1000, 1000, wrapperGoal },
                           { "12 megapixels", 3000, 4000, largeWrapperGoal } };

std::string named(const char* operation, const Size& size)
{
    return fmt::format("{}, {}", operation, size.name);
}

TensorPointer tensorOf(const cv::Mat& matrix)
{
    return makeRealTensor({ matrix.rows, matrix.cols },
                          std::span<const double>(matrix.ptr<double>(), matrix.total()));
}

/// Positions that ripple by a few pixels.
std::pair<cv::Mat, cv::Mat> ripples(int rows, int columns)
{
    cv::Mat x(rows, columns, CV_64F), y(rows, columns, CV_64F);
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < columns; ++c) {
            x.at<double>(r, c) = c + 6 * std::sin(r / 20.0);
            y.at<double>(r, c) = r + 6 * std::sin(c / 20.0);
        }
    }
    return { x, y };
}

const std::vector<double>& blurTaps()
{
    static const std::vector<double> taps(9, 1.0 / 9);
    return taps;
}

void neighbourhoods(const Size& size)
{
    const cv::Mat colors = smooth(size.rows, size.columns, CV_8UC3),
                  gray = smooth(size.rows, size.columns, CV_8U);
    const cv::Mat reals = smooth(size.rows, size.columns, CV_32F);

    ratio(
        named("image-convolve, 9 x 9 taps", size),
        operation(
            "ImageConvolve",
            { imageOfMatrix(reals), realList(blurTaps()), realList(blurTaps()), std::string("Reflected") }),
        [reals](cv::Mat& out) { cv::sepFilter2D(reals, out, -1, blurTaps(), blurTaps()); }, size.goal);

    const cv::Mat kernel = noise(31, 31, CV_8U);
    ratio(
        named("image-correlate, 31 x 31 kernel", size),
        operation("ImageCorrelate",
                  { imageOfMatrix(gray), imageOfMatrix(kernel), std::string("CorrelationDistance"),
                    std::string("Fixed"), 0.0 }),
        [gray, kernel](cv::Mat& out) {
            cv::Mat padded;
            cv::copyMakeBorder(gray, padded, 15, 15, 15, 15, cv::BORDER_REPLICATE);
            cv::matchTemplate(padded, kernel, out, cv::TM_CCOEFF_NORMED);
            cv::subtract(cv::Mat::ones(out.size(), out.type()), out, out);
        },
        size.goal);

    ratio(
        named("dilation, radius 5", size), operation("Dilation", { imageOfMatrix(colors), int64_t { 5 } }),
        [colors](cv::Mat& out) {
            cv::dilate(colors, out, cv::getStructuringElement(cv::MORPH_RECT, cv::Size(11, 11)));
        },
        size.goal);

    ratio(
        named("image-pad, 100 pixels", size),
        operation("ImagePad",
                  { imageOfMatrix(colors), int64_t { 100 }, int64_t { 100 }, int64_t { 100 }, int64_t { 100 },
                    std::string("Reflected"), emptyList() }),
        [colors](cv::Mat& out) {
            cv::copyMakeBorder(colors, out, 100, 100, 100, 100, cv::BORDER_REFLECT_101);
        },
        size.goal);

    for (const int64_t radius : { 1, 5 })
        ratio(
            fmt::format("median-filter, radius {}, {}", radius, size.name),
            operation("MedianFilter", { imageOfMatrix(gray), radius }),
            [gray, radius](cv::Mat& out) { cv::medianBlur(gray, out, static_cast<int>(2 * radius + 1)); },
            size.goal);
    const int64_t width = size.columns, height = size.rows;
    ratio(
        named("pyr-down", size),
        operation("PyrDown", { imageOfMatrix(colors), std::string("Reflected"), width / 2, height / 2 }),
        [colors](cv::Mat& out) { cv::pyrDown(colors, out); }, size.goal);
    ratio(
        named("pyr-up", size), operation("PyrUp", { imageOfMatrix(colors), width * 2, height * 2 }),
        [colors](cv::Mat& out) { cv::pyrUp(colors, out); }, size.goal);
}

void colors(const Size& size)
{
    const cv::Mat gray = smooth(size.rows, size.columns, CV_8U),
                  colors = smooth(size.rows, size.columns, CV_8UC3);
    ratio(
        named("image-demosaic", size),
        operation("imageDemosaic", { imageOfMatrix(gray), std::string("RGGB") }),
        [gray](cv::Mat& out) { cv::cvtColor(gray, out, cv::COLOR_BayerBG2RGB); }, size.goal);

    const cv::Mat a = noise(size.rows, size.columns, CV_32F, 1),
                  b = noise(size.rows, size.columns, CV_32F, 2);
    ratio(
        named("phase-correlate", size),
        operation("PhaseCorrelate", { imageOfMatrix(a), imageOfMatrix(b), emptyList() }),
        [a, b] { keep(cv::phaseCorrelate(a, b)); }, size.goal);
}

void geometry(const Size& size)
{
    const cv::Mat colors = smooth(size.rows, size.columns, CV_8UC3);
    const cv::Matx33d rewritten(0.9, -0.1, 40.0 + 0.1 * size.rows, 0.05, -1.05, 1.05 * size.rows, 0, 0, 1);
    const auto homography = [size] {
        return makeRealTensor({ 3, 3 }, std::vector<double> { 0.9, 0.1, 40, 0.05, 1.05, 0, 0, 0, 1 });
    };
    // The call rewrites its homography, so each gets its own.
    ratio(
        named("image-perspective-transformation", size),
        [colors, homography, image = imageOfMatrix(colors)] {
            operation("ImagePerspectiveTransformation",
                      { image, homography(), std::string("Linear"), std::string("Constant"),
                        realList({ 0, 0, 0 }) })();
        },
        [colors, rewritten](cv::Mat& out) {
            cv::warpPerspective(colors, out, rewritten, colors.size());
            cv::flip(out, out, 0);
        },
        size.goal);

    const auto [x, y] = ripples(size.rows, size.columns);
    ratio(
        named("remap-tensor", size),
        operation("RemapTensor",
                  { imageOfMatrix(colors), std::string("Linear"), std::string("Constant"),
                    realList({ 0, 0, 0 }), tensorOf(x), tensorOf(y) }),
        [colors, x = x, y = y] {
            cv::Mat mapX, mapY, out;
            x.convertTo(mapX, CV_32F);
            y.convertTo(mapY, CV_32F);
            cv::remap(colors, out, mapX, mapY, cv::INTER_LINEAR);
            keep(out.data);
        },
        size.goal);

    const double magnitude = 0.14 * size.columns;
    ratio(
        named("log-polar-cv", size),
        operation("LogPolarCV",
                  { imageOfMatrix(colors), emptyList(), magnitude, std::string("Linear"), true, false }),
        [colors, magnitude](cv::Mat& out) {
            const cv::Point2f centre(static_cast<float>(colors.cols) / 2,
                                     static_cast<float>(colors.rows) / 2);
            cv::logPolar(colors, out, centre, magnitude, cv::INTER_LINEAR + cv::WARP_FILL_OUTLIERS);
        },
        size.goal);
}

/// The whole operation, tables included, against cv::remap alone with tables that are there already.
void logPolarTables(const Size& size)
{
    const double magnitude = size.rows / std::log(std::hypot(size.rows, size.columns) / 2 + 1);
    for (const int type : { CV_8U, CV_8UC3 }) {
        const cv::Mat picture = smooth(size.rows, size.columns, type);
        for (const bool inverse : { false, true }) {
            cv::Mat mapX(size.rows, size.columns, CV_32F), mapY(size.rows, size.columns, CV_32F);
            for (int j = 0; j < size.rows; ++j) {
                for (int i = 0; i < size.columns; ++i) {
                    const double x = i + 0.5 - size.columns / 2.0, y = size.rows / 2.0 - 0.5 - j;
                    const double rho = std::exp((size.rows - 0.5 - j) / magnitude) - 1;
                    const double theta = (i + 0.5) * (2 * CV_PI / size.columns);
                    mapX.at<float>(j, i) = static_cast<float>(
                        inverse ? std::atan2(y, x) * (size.columns / (2 * CV_PI)) + size.columns / 2 - 0.5
                                : -rho * std::cos(theta) + size.columns / 2.0 - 0.5);
                    mapY.at<float>(j, i) = static_cast<float>(
                        inverse ? size.rows - 0.5 - magnitude * std::log(std::hypot(x, y) + 1)
                                : rho * std::sin(theta) + size.rows / 2.0 - 0.5);
                }
            }
            ratio(fmt::format("log-polar-remap, {}, {} channels, {} against remap alone",
                              inverse ? "inverse" : "forward", picture.channels(), size.name),
                  operation("LogPolarRemap",
                            { imageOfMatrix(picture), emptyList(), magnitude, std::string("Linear"),
                              std::string("Constant"), realList({ 0, 0, 0 }), inverse }),
                  [picture, mapX, mapY](cv::Mat& out) {
                      cv::remap(picture, out, mapX, mapY, cv::INTER_LINEAR);
                  },
                  { .most = inverse ? 2.0 : 1.1, .threads = 1 });
        }
    }
}

/// Our own median at a radius beyond OpenCV's largest, against OpenCV at that: the time per pixel of both is
/// to be the same whatever the radius.
void largeMedians(const Size& size)
{
    const cv::Mat gray = smooth(size.rows, size.columns, CV_8U);
    ratio(
        fmt::format("large median, radius 200, {} against OpenCV's at 127", size.name),
        [gray] {
            cv::Mat median;
            largeMedian(gray, median, 200);
            keep(median.data);
        },
        [gray] {
            cv::Mat median;
            cv::medianBlur(gray, median, 2 * 127 + 1);
            keep(median.data);
        },
        { .most = 1, .threads = 1 });
}

/// Binarization of bytes against its plain calls: the statistics alone, and whole with the conversion and the
/// host's comparison of every pixel.
void binarization(const Size& size)
{
    const cv::Mat gray = smooth(size.rows, size.columns, CV_8U);
    cv::Mat reals;
    gray.convertTo(reals, CV_64F, 1.0 / 255);
    for (const int radius : { 1, 7, 25 }) {
        const LocalWindow window { radius, cv::BORDER_REFLECT_101, 0 };
        ratio(
            fmt::format("local statistics, radius {}, {} against blurs", radius, size.name),
            [reals, window] { keep(differencesByRunningSums(reals, window, 0.9, 0.2).data); },
            [reals, window] { keep(differencesByBlurs(reals, window, 0.9, 0.2).data); }, { .most = 1 / 1.8 });

        const ImagePointer image = imageOfMatrix(gray);
        ratio(fmt::format("local-adaptive-binarize, radius {}, {} against plain calls", radius, size.name),
              operation(
                  "LocalAdaptiveBinarize",
                  { image, int64_t { radius }, realList({ 0.9, 0.2, 0.0 }), std::string("Reflected"), 0.0 }),
              [image, window, rows = size.rows, columns = size.columns] {
                  const ImagePointer real = convertImage(*image, PixelTypeReal, false);
                  const cv::Mat picture = differencesByBlurs(
                      cv::Mat(rows, columns, CV_64F, real->block.data()), window, 0.9, 0.2);
                  const ImagePointer bits =
                      makeImage({ .rows = rows, .columns = columns }, PixelTypeBit, ColorSpaceUnspecified);
                  auto* bit = bits->as<std::uint8_t>();
                  const auto compare = hostServices().compileSupport->hostCompareReals;
                  for (int y = 0; y < rows; ++y) {
                      for (int x = 0; x < columns; ++x) {
                          const double operands[] = { picture.at<double>(y, x), 0.0 };
                          *bit++ = compare(7, 0.0, 2, operands) != 0;
                      }
                  }
                  keep(bits->block.data());
              });
    }
}

/// Our own mean shift against OpenCV's, with the arguments that the records propose, ...
void meanShift(const std::string& megapixels, int rows, int columns, int threads)
{
    const cv::Mat picture = smooth(rows, columns, CV_8UC3);
    ratio(
        fmt::format("pyr-mean-shift-filter, {} megapixel, threads: {}", megapixels, threads),
        operation("PyrMeanShiftFilter", { imageOfMatrix(picture), 10.0, 0.1, int64_t { 1 }, int64_t { 5 } }),
        [picture] {
            cv::Mat out = picture.clone();
            cv::pyrMeanShiftFiltering(out, out, 10, 44.1, 1,
                                      cv::TermCriteria(cv::TermCriteria::COUNT, 5, 0.0));
            keep(out.data);
        },
        { .most = 1 / 3.5, .threads = threads });
}

/// ... and our own decolorization, of which each operation computes what it returns.
void decolorization(const std::string& megapixels, int rows, int columns, int threads, double gray,
                    double boost)
{
    const cv::Mat picture = smooth(rows, columns, CV_8UC3);
    const Work direct = [picture] {
        cv::Mat out, boosted;
        cv::decolor(picture, out, boosted);
        keep(out.data);
    };
    for (const auto& [name, times] : { std::pair("Decolor", gray), std::pair("Color_Boost", boost) })
        ratio(fmt::format("{}, {} megapixel, threads: {}", name, megapixels, threads),
              operation(name, { imageOfMatrix(picture) }), direct, { .most = 1 / times, .threads = threads });
}

} // namespace

MIRAVEX_BENCH(filters)
{
    for (const Size& size : sizes) {
        neighbourhoods(size);
        colors(size);
        geometry(size);
        logPolarTables(size);
        largeMedians(size);
        binarization(size);
    }
    for (const int threads : { 1, 2 }) {
        meanShift("0.12", 300, 400, threads);
        meanShift("1", 1000, 1000, threads);
        decolorization("0.12", 300, 400, threads, 2.5, 2.5);
        decolorization("1", 1000, 1000, threads, 4.5, 3.5);
        decolorization("12", 3000, 4000, threads, 12, 3.5);
    }
}

} // namespace miravex::bench
