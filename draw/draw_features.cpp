#include "draw/draw_features.h"

#include "host/results.h"

#include <fmt/format.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

namespace miravex::painters {

namespace {

using Row = std::vector<double>;

const cv::Scalar strong(255, 64, 32);
const cv::Scalar mild(64, 224, 64);
constexpr int smooth = cv::LINE_AA;

/// Colours that differ well from their neighbours in the list.
cv::Scalar colorOf(std::size_t index)
{
    static const std::array<cv::Scalar, 8> palette { { { 255, 64, 32 },
                                                       { 48, 200, 64 },
                                                       { 48, 112, 255 },
                                                       { 255, 200, 0 },
                                                       { 224, 64, 224 },
                                                       { 0, 208, 208 },
                                                       { 255, 136, 0 },
                                                       { 160, 224, 32 } } };
    return palette[index % palette.size()];
}

std::vector<Row> rowsOf(Layout layout, const Tensor& tensor, std::size_t least)
{
    Table table = tableOf(layout, tensor);
    if (table.columns.size() < least) throw std::invalid_argument("the rows have too few columns to draw");
    return std::move(table.rows);
}

/// Drawing functions take ints; whatever is far outside is not seen anyway.
int pixel(double value)
{
    constexpr double far = 1e6;
    return std::isfinite(value) ? static_cast<int>(std::lround(std::clamp(value, -far, far))) : 0;
}

/// Where a point of the host's frame (y up, pixel centres at halves) lies on the canvas.
cv::Point at(const cv::Mat& canvas, double x, double y)
{
    return { pixel(x - 0.5), pixel(canvas.rows - y - 0.5) };
}

int lineWidth(const cv::Mat& canvas) { return std::max(1, std::min(canvas.rows, canvas.cols) / 400); }

void write(cv::Mat& canvas, const std::string& text, cv::Point where, const cv::Scalar& color)
{
    const double scale = std::clamp(std::min(canvas.rows, canvas.cols) / 1000.0, 0.35, 2.0);
    const int width = lineWidth(canvas);
    where.y = std::max(where.y, pixel(20 * scale));
    cv::putText(canvas, text, where, cv::FONT_HERSHEY_SIMPLEX, scale, cv::Scalar::all(0), width + 2, smooth);
    cv::putText(canvas, text, where, cv::FONT_HERSHEY_SIMPLEX, scale, color, width, smooth);
}

/// A circle of the keypoint's size and, where it has an angle (degrees, turning as y grows downward), a hand.
void keypoint(cv::Mat& canvas, const Row& row, const cv::Scalar& color)
{
    constexpr double smallest = 2;
    const cv::Point centre = at(canvas, row[0], row[1]);
    const double radius = std::max(row[2] / 2, smallest);
    cv::circle(canvas, centre, std::max(pixel(radius), 1), color, 1, smooth);
    if (row[3] < 0) return;
    const double angle = row[3] * CV_PI / 180;
    cv::line(canvas, centre,
             { pixel(centre.x + radius * std::cos(angle)), pixel(centre.y + radius * std::sin(angle)) },
             color, 1, smooth);
}

} // namespace

void keypoints(cv::Mat& canvas, const Tensor& rows)
{
    for (const Row& row : rowsOf(Layout::Keypoints, rows, 7)) keypoint(canvas, row, mild);
}

void regions(cv::Mat& canvas, const Tensor& rows)
{
    std::size_t index = 0;
    for (const Row& row : rowsOf(Layout::Regions, rows, 5)) {
        const cv::Scalar color = colorOf(index++);
        const cv::Point topLeft(pixel(row[1]), pixel(canvas.rows - row[2]));
        const cv::Point bottomRight(pixel(row[3]) - 1, pixel(canvas.rows - row[4]) - 1);
        cv::rectangle(canvas, topLeft, bottomRight, color, lineWidth(canvas));
        constexpr int roomForNumber = 24;
        if (bottomRight.x - topLeft.x >= roomForNumber)
            write(canvas, fmt::format("{:.0f}", row[0]), topLeft + cv::Point(2, 12), color);
    }
}

void labels(cv::Mat& canvas, const Tensor& table)
{
    if (table.elementType != TensorTypeReal
        || table.dimensions != std::vector<int64_t> { canvas.rows, canvas.cols })
        throw std::invalid_argument("the labels have not the size of the picture");
    const auto values = table.reals();
    for (int y = 0; y < canvas.rows; ++y) {
        for (int x = 0; x < canvas.cols; ++x) {
            const double label = values[static_cast<std::size_t>(y) * static_cast<std::size_t>(canvas.cols)
                                        + static_cast<std::size_t>(x)];
            if (!(label >= 1)) continue;
            const cv::Scalar color = colorOf(static_cast<std::size_t>(std::min(label, 1e9)) - 1);
            auto& sample = canvas.at<cv::Vec3b>(y, x);
            for (int c = 0; c < 3; ++c)
                sample[c] = cv::saturate_cast<uchar>(0.4 * sample[c] + 0.6 * color[c]);
        }
    }
}

void polarLines(cv::Mat& canvas, const Tensor& list)
{
    const double reach = canvas.rows + canvas.cols;
    for (const Row& row : rowsOf(Layout::PolarLines, list, 2)) {
        const double across = std::cos(row[1]);
        const double down = std::sin(row[1]);
        const double x = row[0] * across;
        const double y = row[0] * down;
        cv::line(canvas, { pixel(x - reach * down), pixel(y + reach * across) },
                 { pixel(x + reach * down), pixel(y - reach * across) }, strong, lineWidth(canvas), smooth);
    }
}

void borderLines(cv::Mat& canvas, const Tensor& list)
{
    for (const Row& row : rowsOf(Layout::BorderLines, list, 4)) {
        // Zeros stand for lines that were skipped.
        if (std::ranges::all_of(row, [](double value) { return value == 0; })) continue;
        cv::line(canvas, { pixel(row[0]), pixel(canvas.rows - row[1]) },
                 { pixel(row[2]), pixel(canvas.rows - row[3]) }, strong, lineWidth(canvas), smooth);
    }
}

void segments(cv::Mat& canvas, const Tensor& list)
{
    for (const Row& row : rowsOf(Layout::Segments, list, 4))
        cv::line(canvas, at(canvas, row[0], row[1]), at(canvas, row[2], row[3]), strong,
                 2 * lineWidth(canvas), smooth);
}

void wideSegments(cv::Mat& canvas, const Tensor& list)
{
    constexpr int widest = 255;
    std::size_t index = 0;
    for (const Row& row : rowsOf(Layout::WideSegments, list, 5))
        cv::line(canvas, at(canvas, row[0], row[1]), at(canvas, row[2], row[3]), colorOf(index++),
                 std::clamp(pixel(row[4]), 1, widest), smooth);
}

void circles(cv::Mat& canvas, const Tensor& list)
{
    for (const Row& row : rowsOf(Layout::Circles, list, 3)) {
        const cv::Point centre = at(canvas, row[0], row[1]);
        cv::circle(canvas, centre, std::max(pixel(row[2]), 0), mild, 2 * lineWidth(canvas), smooth);
        cv::circle(canvas, centre, 2, strong, cv::FILLED, smooth);
    }
}

void contours(cv::Mat& canvas, const Tensor& list)
{
    const std::vector<TracedContour> traced = contoursOf(list);
    const auto level = [&](std::size_t index) {
        std::size_t depth = 0;
        int64_t parent = traced[index].parent;
        while (parent >= 0 && parent < std::ssize(traced) && depth < traced.size()) {
            ++depth;
            parent = traced[static_cast<std::size_t>(parent)].parent;
        }
        return depth;
    };
    for (std::size_t i = 0; i < traced.size(); ++i) {
        std::vector<cv::Point> points;
        for (const auto& [x, y] : traced[i].points)
            points.emplace_back(pixel(static_cast<double>(x)),
                                pixel(canvas.rows - 1 - static_cast<double>(y)));
        cv::polylines(canvas, points, true, colorOf(level(i)), 2 * lineWidth(canvas), smooth);
    }
}

void faces(cv::Mat& canvas, const Tensor& list)
{
    for (const Row& row : rowsOf(Layout::FaceBoxes, list, 5)) {
        const cv::Point bottomLeft = at(canvas, row[0], row[1]);
        const cv::Point topRight = at(canvas, row[2], row[3]);
        cv::rectangle(canvas, bottomLeft, topRight, mild, 2 * lineWidth(canvas), smooth);
        const std::string score =
            row[4] == std::floor(row[4]) ? fmt::format("{:.0f}", row[4]) : fmt::format("{:.3f}", row[4]);
        write(canvas, score, { bottomLeft.x, topRight.y - 4 }, mild);
    }
}

cv::Mat matches(const cv::Mat& first, const Tensor& firstRows, const cv::Mat& second,
                const Tensor& secondRows, const Tensor& list)
{
    cv::Mat canvas(std::max(first.rows, second.rows), first.cols + second.cols, CV_8UC3, cv::Scalar::all(0));
    first.copyTo(canvas(cv::Rect(0, 0, first.cols, first.rows)));
    second.copyTo(canvas(cv::Rect(first.cols, 0, second.cols, second.rows)));

    const std::vector<Row> queries = rowsOf(Layout::Keypoints, firstRows, 2);
    const std::vector<Row> trained = rowsOf(Layout::Keypoints, secondRows, 2);
    std::size_t index = 0;
    for (const MatchedPair& pair : matchesOf(list)) {
        if (pair.query < 1 || pair.query > std::ssize(queries) || pair.train < 1
            || pair.train > std::ssize(trained))
            throw std::invalid_argument("a match names a keypoint that is not there");
        const Row& from = queries[static_cast<std::size_t>(pair.query - 1)];
        const Row& to = trained[static_cast<std::size_t>(pair.train - 1)];
        const cv::Point start = at(first, from[0], from[1]);
        const cv::Point end = at(second, to[0], to[1]) + cv::Point(first.cols, 0);
        const cv::Scalar color = colorOf(index++);
        cv::line(canvas, start, end, color, 1, smooth);
        cv::circle(canvas, start, 3, color, 1, smooth);
        cv::circle(canvas, end, 3, color, 1, smooth);
    }
    return canvas;
}

} // namespace miravex::painters
