#include "tests/ops/features/rows.h"

#include <set>

namespace miravex::test {

// Expected values: OpenCV called directly with the stated arguments, or worked by hand where said so.

namespace {

constexpr double degree = CV_PI / 180;

cv::Mat edges(int rows, int columns)
{
    cv::Mat picture(rows, columns, CV_8U, cv::Scalar(0));
    cv::line(picture, { 3, 5 }, { columns - 8, rows - 12 }, cv::Scalar(255));
    cv::line(picture, { 0, rows / 2 }, { columns - 1, rows / 2 }, cv::Scalar(255));
    cv::line(picture, { columns / 3, 0 }, { columns / 3, rows - 1 }, cv::Scalar(255));
    cv::line(picture, { 10, rows - 3 }, { columns - 5, 4 }, cv::Scalar(255));
    return picture;
}

Values lines(const cv::Mat& picture, NamedValues given = {})
{
    given["image"] = imageOf(picture);
    return arguments("HoughLines", given);
}

/// The border points of the only line of a picture of so many rows and columns.
std::vector<double> borderPoints(const cv::Mat& picture, int64_t threshold, double theta = degree)
{
    return listOf(
        succeed("HoughLines", lines(picture, { { "threshold", threshold }, { "theta", theta } })).tensor());
}

Values segments(const cv::Mat& picture, NamedValues given = {})
{
    given["image"] = imageOf(picture);
    return arguments("HoughLinesP", given);
}

Values circles(const cv::Mat& picture, NamedValues given = {})
{
    given["image"] = imageOf(picture);
    return arguments("HoughCircles", given);
}

std::vector<double> hostSegments(const std::vector<cv::Vec4i>& found, int rows)
{
    std::vector<double> list;
    for (const cv::Vec4i& line : found)
        for (const double value :
             { line[0] + 0.5, rows - line[1] - 0.5, line[2] + 0.5, rows - line[3] - 0.5 })
            list.push_back(value);
    return list;
}

} // namespace

// --- lines ----------------------------------------------------------------------------------------------

TEST(HoughLines, GivesOpenCvsEquations)
{
    const cv::Mat picture = edges(90, 120);
    for (const auto& [rho, theta, threshold, srn, stn] :
         std::vector<std::tuple<double, double, int, double, double>> { { 1, degree, 50, 0, 0 },
                                                                        { 2, 2 * degree, 40, 0, 0 },
                                                                        { 0.5, degree / 2, 30, 0, 0 },
                                                                        { 1, degree, 40, 2, 3 },
                                                                        { 2, 2 * degree, 30, 1, 1 },
                                                                        { 1, degree, -5, 0, 0 },
                                                                        { 1e9, degree, 5, 0, 0 } }) {
        std::vector<cv::Vec2f> expected;
        cv::HoughLines(picture, expected, rho, theta, threshold, srn, stn, 0.0, CV_PI);
        const Outcome outcome = succeed("HoughLines",
                                        lines(picture,
                                              { { "rho", rho },
                                                { "theta", theta },
                                                { "threshold", int64_t { threshold } },
                                                { "srn", srn },
                                                { "stn", stn },
                                                { "form", "Equation" } }));
        std::vector<double> flat;
        for (const cv::Vec2f& line : expected) {
            flat.push_back(static_cast<double>(line[0]));
            flat.push_back(static_cast<double>(line[1]));
        }
        EXPECT_EQ(listOf(outcome.tensor()), flat) << rho << " " << theta;
    }
}

TEST(HoughLines, FindsAVerticalLineFromBottomToTop) // by hand
{
    cv::Mat picture(10, 20, CV_8U, cv::Scalar(0));
    picture.col(5).setTo(255);
    const Outcome equation = succeed(
        "HoughLines",
        lines(picture, { { "theta", CV_PI / 2 }, { "threshold", int64_t { 9 } }, { "form", "Equation" } }));
    EXPECT_EQ(listOf(equation.tensor()), (std::vector<double> { 5, 0 }));
    EXPECT_EQ(borderPoints(picture, 9, CV_PI / 2), (std::vector<double> { 5, 10, 5, 0 }));
}

TEST(HoughLines, FindsAHorizontalLine) // by hand: y = 3 from the top is 7 from the bottom
{
    cv::Mat picture(10, 20, CV_8U, cv::Scalar(0));
    picture.row(3).setTo(255);
    EXPECT_EQ(borderPoints(picture, 19, CV_PI / 2), (std::vector<double> { 0, 7, 20, 7 }));
}

TEST(HoughLines, SkipsLinesWithoutTwoBorderPoints) // by hand
{
    // Lines by equation, so that the expected border points follow from geometry alone.
    // Coarse distances put some of those through the dots in the corners outside the picture.
    cv::Mat picture = edges(60, 80);
    for (const cv::Point& corner : { cv::Point(0, 0), cv::Point(77, 57), cv::Point(77, 0) })
        picture(cv::Rect(corner, cv::Size(3, 3))).setTo(255);
    const NamedValues given { { "threshold", int64_t { 8 } }, { "theta", 3 * degree }, { "rho", 7.0 } };
    NamedValues asEquations = given;
    asEquations["form"] = "Equation";
    const auto equations = listOf(succeed("HoughLines", lines(picture, asEquations)).tensor());
    const auto borders = listOf(succeed("HoughLines", lines(picture, given)).tensor());
    ASSERT_GT(equations.size(), 10U);
    ASSERT_EQ(borders.size(), 2 * equations.size());
    std::size_t kept = 0;
    for (std::size_t i = 0; i < equations.size(); i += 2) {
        // Where the line x cos + y sin = rho meets the sides, cut to integers like the result.
        const double across = std::cos(equations[i + 1]);
        const double down = std::sin(equations[i + 1]);
        const double rho = equations[i];
        std::set<std::pair<double, double>> crossings;
        for (const double y : { 0.0, 60.0 })
            if (const double x = (rho - y * down) / across; x >= 0 && x <= 80) crossings.emplace(x, y);
        if (equations[i + 1] != 0)
            for (const double x : { 0.0, 80.0 })
                if (const double y = (rho - x * across) / down; y >= 0 && y <= 60) crossings.emplace(x, y);
        if (crossings.size() != 2) continue;
        // Cut off, not rounded; where that hangs on the last bit, either side is right.
        const auto isCut = [](double value, double of) {
            return value == std::trunc(of - 1e-9) || value == std::trunc(of + 1e-9);
        };
        for (const auto& [x, y] : crossings) {
            EXPECT_TRUE(isCut(borders[kept], x)) << borders[kept] << " for " << x << ", line " << i / 2;
            EXPECT_TRUE(isCut(60 - borders[kept + 1], y))
                << borders[kept + 1] << " for 60 - " << y << ", line " << i / 2;
            kept += 2;
        }
    }
    EXPECT_GT(kept, 40U);
    EXPECT_LT(kept, borders.size()) << "no line was skipped";
    for (; kept < borders.size(); ++kept) EXPECT_EQ(borders[kept], 0) << "the tail";
}

TEST(HoughLines, LeavesZerosForALineThatOnlyTouchesACorner) // by hand
{
    // Six pixels around the top left corner: at steps of 3 pixels and 45 degrees, all six lie on two lines of
    // distance 0. The one at 45 degrees meets the picture in (0, 0) alone and is skipped; the one at 135 is
    // the diagonal, which moves up into its place.
    cv::Mat picture(41, 41, CV_8U, cv::Scalar(0));
    for (const cv::Point& point : { cv::Point(0, 0), cv::Point(1, 0), cv::Point(2, 0), cv::Point(0, 1),
                                    cv::Point(1, 1), cv::Point(0, 2) })
        picture.at<uchar>(point) = 255;
    const NamedValues given { { "rho", 3.0 }, { "theta", CV_PI / 4 }, { "threshold", int64_t { 5 } } };
    NamedValues asEquations = given;
    asEquations["form"] = "Equation";
    const auto equations = listOf(succeed("HoughLines", lines(picture, asEquations)).tensor());
    ASSERT_EQ(equations.size(), 4U);
    EXPECT_EQ(equations[0], 0);
    EXPECT_NEAR(equations[1], CV_PI / 4, 1e-6);
    EXPECT_EQ(equations[2], 0);
    EXPECT_NEAR(equations[3], 3 * CV_PI / 4, 1e-6);
    const auto borders = listOf(succeed("HoughLines", lines(picture, given)).tensor());
    ASSERT_EQ(borders.size(), 8U);
    EXPECT_THAT(std::vector<double>(borders.begin(), borders.begin() + 4),
                ::testing::Pointwise(::testing::DoubleNear(1), { 0, 41, 41, 0 }));
    EXPECT_THAT(std::vector<double>(borders.begin() + 4, borders.end()), ::testing::Each(0));
}

TEST(HoughLines, SkipsALineOfThreeBorderPoints) // by hand: through the top right corner but for a rounding
{
    // Meeting the top 3e-14 pixels before the corner and the right side in it, and the bottom near 97.
    const double theta = 0x1.cc7d0ap-1, rho = 0x1.15735ap+7;
    const double slope = -(std::cos(theta) / std::sin(theta)), intercept = rho / std::sin(theta);
    if (!(-(intercept / slope) < 223) || 223 * slope + intercept != 0)
        GTEST_SKIP() << "this machine rounds otherwise";
    // These three pixels lie on it, at steps of that distance and angle, and on the left side.
    cv::Mat picture(100, 223, CV_8U, cv::Scalar(0));
    for (const int x : { 59, 60, 61 }) picture.at<uchar>(99, x) = 255;
    const NamedValues given { { "rho", rho }, { "theta", theta }, { "threshold", int64_t { 2 } } };
    NamedValues asEquations = given;
    asEquations["form"] = "Equation";
    EXPECT_THAT(listOf(succeed("HoughLines", lines(picture, asEquations)).tensor()),
                ::testing::ElementsAre(0, 0, rho, theta));
    EXPECT_THAT(listOf(succeed("HoughLines", lines(picture, given)).tensor()),
                ::testing::ElementsAre(0, 100, 0, 0, 0, 0, 0, 0));
}

TEST(HoughLines, AcceptsBitsAndFindsNothingInNothing)
{
    const cv::Mat picture = edges(50, 60);
    Values values = lines(picture, { { "threshold", int64_t { 30 } } });
    const auto bytes = listOf(succeed("HoughLines", values).tensor());
    EXPECT_FALSE(bytes.empty());
    values[0] = bitImageOf(picture);
    EXPECT_EQ(listOf(succeed("HoughLines", values).tensor()), bytes);
    const cv::Mat nothing(30, 30, CV_8U, cv::Scalar(0));
    EXPECT_EQ(succeed("HoughLines", lines(nothing)).tensor().dimensions, (std::vector<int64_t> { 0 }));
    EXPECT_EQ(succeed("HoughLinesP", segments(nothing)).tensor().dimensions, (std::vector<int64_t> { 0 }));
    EXPECT_EQ(succeed("HoughCircles", circles(nothing)).tensor().dimensions, (std::vector<int64_t> { 0 }));
    EXPECT_EQ(succeed("LineSegmentDetector", { imageOf(nothing) }).tensor().dimensions,
              (std::vector<int64_t> { 0 }));
}

TEST(HoughLines, RefusesWhatItCannotUse)
{
    const cv::Mat picture = edges(40, 50);
    expectRefused("HoughLines", lines(picture, { { "srn", 2.0 } }));
    expectRefused("HoughLines", lines(picture, { { "srn", std::nan("") } }));
    succeed("HoughLines", lines(picture, { { "stn", 2.0 } }));
    for (const char* form : { "coordinates", "Equations", "Equation ", "" })
        expectRefused("HoughLines", lines(picture, { { "form", form } }));
    for (const double value : { 0.0, -1.0, std::nan("") }) {
        expectRefused("HoughLines", lines(picture, { { "rho", value } }));
        expectRefused("HoughLines", lines(picture, { { "theta", value } }));
        expectRefused("HoughLinesP", segments(picture, { { "rho", value } }));
        expectRefused("HoughLinesP", segments(picture, { { "theta", value } }));
    }
}

TEST(Hough, RefusesOtherPictures)
{
    for (const char* operation : { "HoughLines", "HoughLinesP", "LineSegmentDetector", "HoughCircles" }) {
        const Values good = arguments(operation, { { "image", imageOf(edges(40, 50)) } });
        expectRefused(operation, with(operation, good, "image", ImagePointer()));
        expectRefused(operation, with(operation, good, "image", imageOf(noise(40, 50, CV_8UC3))));
        expectRefused(operation, with(operation, good, "image", imageOf(noise(40, 50, CV_16U))));
        expectRefused(operation, with(operation, good, "image", imageOf(noise(40, 50, CV_64F))));
        expectRefused(operation,
                      with(operation, good, "image", sequenceOf({ edges(40, 50), edges(40, 50) })));
        const bool bits = std::string_view(operation) != "HoughCircles";
        EXPECT_EQ(invoke(operation, with(operation, good, "image", bitImageOf(edges(40, 50)))).ok(), bits);
        expectSurvivesFaults(operation, good);
    }
}

TEST(Hostile, HoughLinesAccumulatorsAreBounded)
{
    const cv::Mat picture = edges(60, 80);
    const auto refused = [&](NamedValues given) {
        EXPECT_REFUSED_IN_CHILD("HoughLines", lines(picture, given));
    };
    refused({ { "theta", 1e-6 } });
    refused({ { "theta", 1e-300 } });
    refused({ { "rho", 1e-7 } });
    refused({ { "rho", 1e-300 } });
    for (const double rho : { 0.0, 51.0, 100.0, 1e9, std::nan(""), std::numeric_limits<double>::infinity() })
        refused({ { "rho", rho }, { "srn", 2.0 }, { "stn", 2.0 } });
    for (const double theta : { 0.0, 6.3, 1e9, std::nan(""), std::numeric_limits<double>::infinity() })
        refused({ { "theta", theta }, { "srn", 2.0 }, { "stn", 2.0 } });
    for (const auto& [srn, stn] : std::vector<std::pair<double, double>> { { -1, 1 },
                                                                           { 1, -1 },
                                                                           { 0, 1e9 },
                                                                           { 1e5, 1e5 },
                                                                           { std::nan(""), 1 },
                                                                           { 1, std::nan("") },
                                                                           { 1e300, 1 } })
        refused({ { "srn", srn }, { "stn", stn } });
}

// --- segments -------------------------------------------------------------------------------------------

TEST(HoughLinesP, MatchesOpenCv)
{
    const cv::Mat picture = edges(90, 120);
    for (const auto& [rho, theta, threshold, length, gap] :
         std::vector<std::tuple<double, double, int, double, double>> { { 1, degree, 30, 20, 3 },
                                                                        { 2, degree, 20, 5, 1 },
                                                                        { 1, 5 * degree, 20, 5, 3 },
                                                                        { 1, degree, -30, 10, 3 },
                                                                        { 421, degree, 3, 1, 1 },
                                                                        { 1, degree, 30, -1, -1 } }) {
        std::vector<cv::Vec4i> expected;
        cv::HoughLinesP(picture, expected, rho, theta, threshold, length, gap);
        const Outcome outcome = succeed("HoughLinesP",
                                        segments(picture,
                                                 { { "rho", rho },
                                                   { "theta", theta },
                                                   { "threshold", int64_t { threshold } },
                                                   { "min_line_length", length },
                                                   { "max_line_gap", gap } }));
        EXPECT_EQ(listOf(outcome.tensor()), hostSegments(expected, 90)) << rho;
    }
}

TEST(HoughLinesP, CountsFromTheBottomToPixelCentres) // by hand
{
    cv::Mat picture(10, 30, CV_8U, cv::Scalar(0));
    picture.row(2).setTo(1);
    const auto found = listOf(
        succeed("HoughLinesP",
                segments(
                    picture,
                    { { "theta", CV_PI / 2 }, { "threshold", int64_t { 10 } }, { "min_line_length", 20.0 } }))
            .tensor());
    EXPECT_THAT(found,
                ::testing::AnyOf(::testing::ElementsAre(0.5, 7.5, 29.5, 7.5),
                                 ::testing::ElementsAre(29.5, 7.5, 0.5, 7.5)));
}

TEST(Hostile, HoughLinesPAccumulatorsAreBounded)
{
    const cv::Mat picture = edges(60, 80);
    // More than 2 (60 + 80) + 1 leaves no distance to count.
    for (const double rho : { 281.001, 564.0, 1e9, std::numeric_limits<double>::infinity() })
        EXPECT_REFUSED_IN_CHILD("HoughLinesP", segments(picture, { { "rho", rho } }));
    for (const double theta : { 1e-6, 1e-300 })
        EXPECT_REFUSED_IN_CHILD("HoughLinesP", segments(picture, { { "theta", theta } }));
    succeed("HoughLinesP", segments(picture, { { "theta", std::numeric_limits<double>::infinity() } }));
    succeed("HoughLinesP",
            segments(picture, { { "min_line_length", std::nan("") }, { "max_line_gap", 1e300 } }));
    succeed("HoughLinesP", segments(picture, { { "threshold", INT64_MAX } }));
}

// --- circles --------------------------------------------------------------------------------------------

TEST(HoughCircles, MatchesOpenCv)
{
    cv::Mat picture(120, 160, CV_8U, cv::Scalar(20));
    cv::circle(picture, { 50, 60 }, 25, cv::Scalar(200), cv::FILLED);
    cv::circle(picture, { 115, 50 }, 18, cv::Scalar(160), 3);
    std::set<std::size_t> counts;
    for (const auto& [dp, distance, upper, votes, least, most] :
         std::vector<std::tuple<double, double, double, double, int, int>> { { 1, 20, 100, 15, 0, 0 },
                                                                             { 2, 20, 100, 15, 10, 40 },
                                                                             { 1, 20, 100, 15, 22, 0 },
                                                                             { 1, 3, 100, 8, 0, 0 },
                                                                             { 1, 3, 30, 8, 0, 0 },
                                                                             { 1, 90, 30, 8, 0, 0 } }) {
        std::vector<cv::Vec3f> expected;
        cv::HoughCircles(picture, expected, cv::HOUGH_GRADIENT, dp, distance, upper, votes, least, most);
        ASSERT_FALSE(expected.empty());
        counts.insert(expected.size());
        std::vector<double> flat;
        for (const cv::Vec3f& circle : expected) {
            flat.push_back(static_cast<double>(circle[0] + 0.5F));
            flat.push_back(
                static_cast<double>(static_cast<float>(120.0 - static_cast<double>(circle[1]) - 0.5)));
            flat.push_back(static_cast<double>(circle[2]));
        }
        const Outcome outcome = succeed("HoughCircles",
                                        circles(picture,
                                                { { "dp", dp },
                                                  { "min_dist", distance },
                                                  { "param1", upper },
                                                  { "param2", votes },
                                                  { "min_radius", int64_t { least } },
                                                  { "max_radius", int64_t { most } } }));
        EXPECT_EQ(listOf(outcome.tensor()), flat) << dp << ", " << distance << ", " << upper;
    }
    EXPECT_GT(counts.size(), 3U) << "the parameters hardly matter to this picture";
}

TEST(HoughCircles, ChecksItsRanges)
{
    const cv::Mat picture = scene(50, 60);
    for (const char* name : { "dp", "min_dist", "param1", "param2" })
        for (const double value : { 0.0, -1.0, std::nan("") })
            expectRefused("HoughCircles", circles(picture, { { name, value } }));
    expectRefused("HoughCircles", circles(picture, { { "min_radius", int64_t { -1 } } }));
    expectRefused("HoughCircles", circles(picture, { { "max_radius", int64_t { -1 } } }));
    expectRefused("HoughCircles",
                  circles(picture, { { "min_radius", int64_t { 10 } }, { "max_radius", int64_t { 5 } } }));
    succeed("HoughCircles", circles(picture, { { "min_radius", int64_t { 10 } } }));
}

TEST(Hostile, HoughCirclesRadiiAreClipped)
{
    const cv::Mat picture = scene(60, 80);
    const auto found = [&](int64_t most) {
        return listOf(succeed("HoughCircles", circles(picture, { { "param2", 8.0 }, { "max_radius", most } }))
                          .tensor());
    };
    const auto widest = found(140);
    EXPECT_FALSE(widest.empty());
    EXPECT_EQ(found(100000000), widest);
    EXPECT_EQ(found(INT64_MAX), widest);
    for (const int64_t most : { int64_t { 100000000 }, INT64_MAX })
        EXPECT_ACCEPTED_IN_CHILD("HoughCircles",
                                 circles(picture, { { "param2", 8.0 }, { "max_radius", most } }));
    succeed("HoughCircles", circles(picture, { { "min_radius", INT64_MAX } }));
    for (const double dp : { 1e-9, 50.0, 1e30, std::numeric_limits<double>::infinity() })
        succeed("HoughCircles", circles(picture, { { "dp", dp } }));
}

// --- line segment detector ------------------------------------------------------------------------------

TEST(LineSegmentDetector, MatchesOpenCv)
{
    const cv::Mat picture = scene(90, 130);
    std::vector<cv::Vec4f> expected;
    std::vector<double> widths;
    cv::createLineSegmentDetector(cv::LSD_REFINE_STD, 0.8, 0.6, 2.0, 22.5, 0.0, 0.7, 1024)
        ->detect(picture, expected, widths);
    ASSERT_GT(expected.size(), 5U);
    std::vector<double> flat;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const auto end = [&](int k) { return static_cast<double>(expected[i][k]); };
        for (const double value :
             { end(0) + 0.5, 90 - end(1) - 0.5, end(2) + 0.5, 90 - end(3) - 0.5, widths[i] })
            flat.push_back(value);
    }
    EXPECT_EQ(listOf(succeed("LineSegmentDetector", { imageOf(picture) }).tensor()), flat);
    for (const cv::Size size : { cv::Size(1, 1), cv::Size(40, 1), cv::Size(1, 40), cv::Size(3, 3) })
        succeed("LineSegmentDetector", { imageOf(noise(size.height, size.width, CV_8U)) });
}

} // namespace miravex::test
