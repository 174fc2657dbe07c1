#include "ops/features/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/flat_result.h"
#include "convert/integers.h"
#include "ops/features/bounds.h"
#include "ops/features/option_names.h"

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace miravex {

namespace {

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
    FlatResult<double> list(data, { 2 * countOf(lines) });
    for (const cv::Vec2f& line : lines) list.add({ line[0], line[1] });
    return list.finish(result);
}

/// Room for every line, the skipped ones leaving the tail as the host made it.
HostErrorCode writeBorderLines(LibraryData data, const std::vector<cv::Vec2f>& lines, int64_t rows,
                               int64_t columns, KTensor* result)
{
    FlatResult<double> list(data, { 4 * countOf(lines) });
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
/// a rho above half the diagonal or a theta above a whole turn, on which OpenCV crashes. Images beyond
/// bounds::indexedPixels are refused. Source: R. Duda, P. Hart, "Use of the Hough transformation to detect
/// lines and curves in pictures", 1972.
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
    if (!bounds::accumulatorFits(rows, columns, rho, theta)) return StatusFunctionError;
    const bool multiScale = srn != 0 || stn != 0;
    if (multiScale
        && (!bounds::multiScaleRhoFits(rows, columns, rho) || theta > bounds::multiScaleTheta
            || !bounds::multiScaleFits(rows, columns, rho, theta, srn, stn)))
        return StatusFunctionError;
    if (!bounds::isIndexable(rows, columns)) return StatusFunctionError;

    const BorrowedMat picture(images, image, CV_8U);
    if (!picture) return StatusFunctionError;
    // OpenCV computes lines as floats and refuses to store them as doubles.
    std::vector<cv::Vec2f> lines;
    cv::HoughLines(*picture, lines, rho, theta, clippedInt32(threshold), srn, stn, 0.0, CV_PI);
    return form == LineForm::Equation ? writeEquations(data, lines, result)
                                      : writeBorderLines(data, lines, rows, columns, result);
}

} // namespace miravex
