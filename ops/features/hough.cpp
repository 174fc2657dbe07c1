#include "ops/features/operations.h"

#include "convert/image_to_mat.h"
#include "ops/features/bounds.h"
#include "ops/features/flat_result.h"
#include "ops/features/keypoints.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>
#include <utility>

namespace miravex {

namespace {

/// Range of the distances of lines from the origin, in pixels, as OpenCV sizes it. In floating point: a host
/// may claim any size before its samples are asked for.
double distanceRange(int64_t rows, int64_t columns)
{
    return 2 * (static_cast<double>(rows) + static_cast<double>(columns)) + 1;
}

/// True when the accumulator over half a turn, sized as OpenCV sizes it, is within bounds and filling it is
/// foreseeable. Resolutions that give no size at all (0, negative, NaN) have none.
bool accumulatorFits(int64_t rows, int64_t columns, double rho, double theta)
{
    if (!(rho > 0) || !(theta > 0)) return false;
    const double distances = distanceRange(rows, columns) / rho + 2;
    const double angles = CV_PI / theta + 2;
    const double pixels = static_cast<double>(rows) * static_cast<double>(columns);
    return distances * angles <= static_cast<double>(bounds::houghCounters)
        && pixels * angles <= static_cast<double>(bounds::work);
}

/// What keeps the multi-scale transform from reading and writing outside its tables: at least two steps of
/// distance and one of angle over the whole turn, divisors that are counts, and tables within bounds.
bool multiScaleFits(int64_t rows, int64_t columns, double rho, double theta, double srn, double stn)
{
    const double diagonal = std::hypot(static_cast<double>(rows), static_cast<double>(columns));
    constexpr double most = static_cast<double>(bounds::houghCounters);
    if (!(srn >= 0 && srn <= most && stn >= 0 && stn <= most)) return false;
    if (2 * rho > diagonal || theta > 2 * CV_PI) return false;
    const double distances = diagonal / rho;
    const double angles = 2 * CV_PI / theta;
    const double cell = std::ceil(srn) * std::ceil(stn);
    if (distances * angles > most || 5 * angles * std::ceil(stn) > most || cell > most) return false;
    // At most one cell in a hundred is looked at again, with every pixel.
    const double pixels = static_cast<double>(rows) * static_cast<double>(columns);
    return distances * angles / 100 * (cell + pixels * stn) <= static_cast<double>(bounds::work);
}

/// Both ends of every segment, one after the other.
template <typename Segment> std::vector<cv::Point2d> endPoints(const std::vector<Segment>& segments)
{
    std::vector<cv::Point2d> ends;
    ends.reserve(2 * segments.size());
    for (const Segment& segment : segments) {
        ends.emplace_back(segment[0], segment[1]);
        ends.emplace_back(segment[2], segment[3]);
    }
    return ends;
}

template <typename Position> bool toHost(std::vector<Position>& positions, int64_t rows, int64_t columns)
{
    return convertCoordinates(std::span(positions), columns, rows, Direction::ToHost, false, false);
}

struct BorderPoints {
    cv::Point first, second;
};

/// Where the line x cos theta + y sin theta = rho leaves the rectangle from the origin to (width, height);
/// nothing when it has not exactly two such points: it misses the rectangle, touches a corner, or passes
/// through one so closely that three candidates differ.
std::optional<BorderPoints> borderPoints(double rho, double theta, double width, double height)
{
    std::set<std::pair<double, double>> points;
    if (theta == 0 && rho >= 0 && rho <= width) {
        points = { { rho, 0.0 }, { rho, height } };
    } else {
        const auto add = [&](double along, double side, double x, double y) {
            if (along >= 0 && along <= side) points.emplace(x, y);
        };
        const double slope = -(std::cos(theta) / std::sin(theta));
        const double intercept = rho / std::sin(theta);
        if (slope != 0) {
            const double atTop = -(intercept / slope);
            const double atBottom = (height - intercept) / slope;
            add(atTop, width, atTop, 0);
            add(atBottom, width, atBottom, height);
        }
        if (theta != 0) {
            const double atRight = width * slope + intercept;
            add(intercept, height, 0, intercept);
            add(atRight, height, width, atRight);
        }
        if (points.size() != 2) return std::nullopt;
    }
    const auto cut = [](const std::pair<double, double>& at) {
        return cv::Point(static_cast<int>(at.first), static_cast<int>(at.second));
    };
    return BorderPoints { cut(*points.begin()), cut(*points.rbegin()) };
}

HostErrorCode writeEquations(LibraryData data, const std::vector<cv::Vec2f>& lines, KTensor* result)
{
    FlatResult list(data, 2 * lines.size());
    for (const cv::Vec2f& line : lines) list.add({ line[0], line[1] });
    return list.finish(result);
}

/// Room for every line, the skipped ones leaving the tail as the host made it.
HostErrorCode writeBorderLines(LibraryData data, const std::vector<cv::Vec2f>& lines, int64_t rows,
                               int64_t columns, KTensor* result)
{
    FlatResult list(data, 4 * lines.size());
    const double height = static_cast<double>(rows);
    for (const cv::Vec2f& line : lines) {
        const auto ends = borderPoints(static_cast<double>(line[0]), static_cast<double>(line[1]),
                                       static_cast<double>(columns), height);
        if (!ends) continue;
        list.add({ static_cast<double>(ends->first.x), height - ends->first.y,
                   static_cast<double>(ends->second.x), height - ends->second.y });
    }
    return list.finish(result);
}

} // namespace

/// Finds straight lines among the nonzero pixels.
///
/// Image: 2D, one channel of bits or bytes. Rho and theta: resolutions, above 0; srn and stn: their divisors
/// in the multi-scale transform, 0 for the plain one, and a stn with a srn. "Equation" gives pairs rho, theta
/// in the matrix frame; "Coordinates" gives x1, y1, x2, y2 on the picture's border, y counted from the bottom
/// edge without half pixels, lines that cross it in other than two points leaving zeros at the end. Refused:
/// accumulators and tables beyond bounds::houghCounters, and in the multi-scale transform negative divisors,
/// a rho above half the diagonal or a theta above a whole turn, on which OpenCV crashes. Source: R. Duda, P.
/// Hart, "Use of the Hough transformation to detect lines and curves in pictures", 1972.
HostErrorCode houghLines(LibraryData data, KImage image, double rho, double theta, int64_t threshold,
                         double srn, double stn, const char* formName, KTensor* result)
{
    if (!data || !image) return StatusFunctionError;
    if (srn != 0 && stn == 0) return StatusFunctionError;
    const LineForm form = valueOf(lineForms, formName, LineForm::Unknown);
    if (form == LineForm::Unknown) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2 || images.imageGetChannels(image) != 1) return StatusFunctionError;
    if (images.imageGetPixelType(image) > PixelTypeByte) return StatusFunctionError;
    const int64_t rows = images.imageGetRowCount(image);
    const int64_t columns = images.imageGetColumnCount(image);
    if (!accumulatorFits(rows, columns, rho, theta)) return StatusFunctionError;
    const bool multiScale = srn != 0 || stn != 0;
    if (multiScale && !multiScaleFits(rows, columns, rho, theta, srn, stn)) return StatusFunctionError;

    cv::Mat picture;
    if (!imageToMat(images, image, picture, CV_8U)) return StatusFunctionError;
    // OpenCV computes lines as floats and refuses to store them as doubles.
    std::vector<cv::Vec2f> lines;
    cv::HoughLines(picture, lines, rho, theta, saturated(threshold), srn, stn, 0.0, CV_PI);
    return form == LineForm::Equation ? writeEquations(data, lines, result)
                                      : writeBorderLines(data, lines, rows, columns, result);
}

/// Finds line segments among the nonzero pixels by random sampling (with a fixed seed).
///
/// Image: as houghLines(). Result: x1, y1, x2, y2 per segment. Refused besides other resolutions than above
/// 0: accumulators beyond bounds::houghCounters and a rho above 2 (rows + columns) + 1, on which OpenCV
/// crashes. Source: J. Matas, C. Galambos, J. Kittler, "Robust detection of lines using the progressive
/// probabilistic Hough transform", 2000.
HostErrorCode houghLinesP(LibraryData data, KImage image, double rho, double theta, int64_t threshold,
                          double minLineLength, double maxLineGap, KTensor* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2 || images.imageGetPixelType(image) > PixelTypeByte)
        return StatusFunctionError;
    if (images.imageGetChannels(image) != 1) return StatusFunctionError;
    const int64_t rows = images.imageGetRowCount(image);
    const int64_t columns = images.imageGetColumnCount(image);
    if (!accumulatorFits(rows, columns, rho, theta)) return StatusFunctionError;
    // With less than one step of distance OpenCV counts outside its accumulator.
    if (rho > distanceRange(rows, columns)) return StatusFunctionError;

    cv::Mat picture;
    if (!imageToMat(images, image, picture, CV_8U)) return StatusFunctionError;
    std::vector<cv::Vec4i> lines;
    cv::HoughLinesP(picture, lines, rho, theta, saturated(threshold), minLineLength, maxLineGap);
    std::vector<cv::Point2d> ends = endPoints(lines);
    if (!toHost(ends, rows, columns)) return StatusFunctionError;
    FlatResult list(data, 2 * ends.size());
    for (const cv::Point2d& end : ends) list.add({ end.x, end.y });
    return list.finish(result);
}

/// Finds circles by the gradients of their edges.
///
/// Image: 2D, one byte channel. dp, minDist, param1 (upper edge threshold), param2 (votes): above 0. Radii:
/// at least 0, the smaller not above the larger unless one is 0. Result: x, y, radius per circle. Source: H.
/// Yuen et al., "Comparative study of Hough transform methods for circle finding", 1990.
HostErrorCode houghCircles(LibraryData data, KImage image, double dp, double minDist, double param1,
                           double param2, int64_t minRadius, int64_t maxRadius, KTensor* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const int64_t columns = images.imageGetColumnCount(image);
    const int64_t rows = images.imageGetRowCount(image);
    const PixelType pixelType = images.imageGetPixelType(image);
    const int64_t channels = images.imageGetChannels(image);
    if (!(dp > 0) || maxRadius < 0 || minRadius < 0) return StatusFunctionError;
    if (!(minDist > 0) || !(param1 > 0) || !(param2 > 0)) return StatusFunctionError;
    if (minRadius != 0 && maxRadius != 0 && minRadius > maxRadius) return StatusFunctionError;
    if (images.imageGetRank(image) == 3 || channels != 1 || pixelType != PixelTypeByte)
        return StatusFunctionError;

    cv::Mat picture;
    if (!imageToMat(images, image, picture, CV_8U)) return StatusFunctionError;
    // No circle with its centre in the picture is wider than this; OpenCV steps through every radius.
    const int64_t widest = rows + columns;
    std::vector<cv::Vec3f> circles;
    cv::HoughCircles(picture, circles, cv::HOUGH_GRADIENT, dp, minDist, param1, param2,
                     saturated(std::min(minRadius, widest)), saturated(std::min(maxRadius, widest)));
    std::vector<cv::Point2f> centres;
    for (const cv::Vec3f& circle : circles) centres.emplace_back(circle[0], circle[1]);
    if (!toHost(centres, rows, columns)) return StatusFunctionError;
    FlatResult list(data, 3 * circles.size());
    for (std::size_t i = 0; i < circles.size(); ++i) list.add({ centres[i].x, centres[i].y, circles[i][2] });
    return list.finish(result);
}

/// Finds line segments by growing regions of like gradient direction.
///
/// Image: as houghLines(). Result: x1, y1, x2, y2, width per segment. Source: R. Grompone von Gioi et al.,
/// "LSD: a line segment detector", 2012.
HostErrorCode lineSegmentDetector(LibraryData data, KImage image, KTensor* result)
{
    if (!data || !image) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    if (images.imageGetRank(image) != 2 || images.imageGetChannels(image) != 1) return StatusFunctionError;
    if (images.imageGetPixelType(image) > PixelTypeByte) return StatusFunctionError;
    const int64_t rows = images.imageGetRowCount(image);
    const int64_t columns = images.imageGetColumnCount(image);

    cv::Mat picture;
    if (!imageToMat(images, image, picture, CV_8U)) return StatusFunctionError;
    const auto detector =
        cv::createLineSegmentDetector(cv::LSD_REFINE_STD, 0.8, 0.6, 2.0, 22.5, 0.0, 0.7, 1024);
    std::vector<cv::Vec4f> lines;
    std::vector<double> widths;
    detector->detect(picture, lines, widths, cv::noArray(), cv::noArray());
    std::vector<cv::Point2d> ends = endPoints(lines);
    if (!toHost(ends, rows, columns)) return StatusFunctionError;
    FlatResult list(data, 5 * lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const cv::Point2d& from = ends[2 * i];
        const cv::Point2d& to = ends[2 * i + 1];
        list.add({ from.x, from.y, to.x, to.y, widths.at(i) });
    }
    return list.finish(result);
}

} // namespace miravex
