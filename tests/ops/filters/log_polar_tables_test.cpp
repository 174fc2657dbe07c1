#include "ops/filters/log_polar_tables.h"
#include "tests/support/host_check.h"

#include <bit>
#include <cmath>
#include <cstdlib>

namespace miravex::test {

// Entries against the plain formulas, computed in double and rounded to float once: the forward tables bit
// for bit, the inverse ones within one unit in the last place, as a vector library makes them.

namespace {

constexpr double fullTurn = 6.283185307179586;

/// Floats between two floats; adjacent ones are 1 apart, also across zero.
int64_t unitsBetween(float a, float b)
{
    const auto ordered = [](float value) {
        const auto bits = std::bit_cast<int32_t>(value);
        return bits < 0 ? int64_t { INT32_MIN } - bits : int64_t { bits };
    };
    return std::abs(ordered(a) - ordered(b));
}

struct Case {
    cv::Size size;
    cv::Point2d centre;
    double magnitude;
};

std::vector<Case> cases()
{
    std::vector<Case> all;
    for (const cv::Size size : { cv::Size(1, 1), cv::Size(2, 3), cv::Size(5, 1), cv::Size(64, 48),
                                 cv::Size(97, 131), cv::Size(400, 300), cv::Size(301, 7) }) {
        const double w = size.width, h = size.height;
        // At pixel centres x or y become 0; outside the picture, only one sign occurs.
        for (const cv::Point2d centre :
             { cv::Point2d(w / 2, h / 2), cv::Point2d(0.5, 0.5), cv::Point2d(w - 0.5, h - 0.5),
               cv::Point2d(std::floor(w / 2) + 0.5, std::floor(h / 3) + 0.5), cv::Point2d(0.1 * w, 0.77 * h),
               cv::Point2d(-20.25, h + 3), cv::Point2d(1e6, -1e6), cv::Point2d(0, 0) })
            for (const double magnitude : { 1e-3, 0.7, 12.0, 85.5, 1000.0, 1e7 })
                all.push_back({ size, centre, magnitude });
    }
    return all;
}

template <typename Tables> std::pair<cv::Mat, cv::Mat> tablesOf(const Case& c, int strip)
{
    Tables tables(c.size, c.centre, c.magnitude);
    cv::Mat x(c.size, CV_32F), y(c.size, CV_32F);
    for (int first = 0; first < c.size.height; first += strip) {
        const cv::Range rows(first, std::min(first + strip, c.size.height));
        cv::Mat stripX = x.rowRange(rows), stripY = y.rowRange(rows);
        tables(first, stripX, stripY);
    }
    return { x, y };
}

std::ostream& operator<<(std::ostream& out, const Case& c)
{
    return out << c.size << " around " << c.centre << ", magnitude " << c.magnitude;
}

} // namespace

TEST(LogPolarTables, ForwardEntriesAreThePlainFormula)
{
    for (const Case& c : cases()) {
        const auto [x, y] = tablesOf<ForwardLogPolarTables>(c, 5);
        cv::Mat plainX(c.size, CV_32F), plainY(c.size, CV_32F);
        for (int v = 0; v < c.size.height; ++v) {
            for (int u = 0; u < c.size.width; ++u) {
                const double rho = std::exp((c.size.height - 0.5 - v) / c.magnitude) - 1;
                const double theta = (u + 0.5) * (fullTurn / c.size.width);
                plainX.at<float>(v, u) = static_cast<float>(rho * -std::cos(theta) + (c.centre.x - 0.5));
                plainY.at<float>(v, u) =
                    static_cast<float>(rho * std::sin(theta) + (c.size.height - 0.5 - c.centre.y));
            }
        }
        EXPECT_TRUE(sameBits(x, plainX)) << c;
        EXPECT_TRUE(sameBits(y, plainY)) << c;
    }
}

TEST(LogPolarTables, InverseEntriesAreThePlainFormulaWithinAUnit)
{
    int64_t most = 0, different = 0, entries = 0;
    for (const Case& c : cases()) {
        const auto [mapX, mapY] = tablesOf<InverseLogPolarTables>(c, 7);
        const int w = c.size.width, h = c.size.height;
        for (int j = 0; j < h; ++j) {
            for (int i = 0; i < w; ++i) {
                const double x = i + 0.5 - c.centre.x, y = h - 0.5 - c.centre.y - j;
                const auto plainX = static_cast<float>(std::atan2(y, x) * (w / fullTurn) + (w / 2 - 0.5));
                const auto plainY =
                    static_cast<float>(h - 0.5 - c.magnitude * std::log(std::sqrt(x * x + y * y) + 1));
                const int64_t apart = std::max(unitsBetween(mapX.at<float>(j, i), plainX),
                                               unitsBetween(mapY.at<float>(j, i), plainY));
                ASSERT_LE(apart, 1) << c << ", row " << j << ", column " << i << ": " << mapX.at<float>(j, i)
                                    << ", " << mapY.at<float>(j, i) << " instead of " << plainX << ", "
                                    << plainY;
                most = std::max(most, apart);
                different += apart != 0;
                ++entries;
            }
        }
    }
    RecordProperty("largest_difference_ulp", std::to_string(most));
    RecordProperty("entries_that_differ", std::to_string(different) + " of " + std::to_string(entries));
}

TEST(LogPolarTables, ForwardEntriesOfASmallPicture) // by hand: angles of 45, 135, 225 and 315 degrees
{
    const auto [mapX, mapY] = tablesOf<ForwardLogPolarTables>({ cv::Size(4, 2), cv::Point2d(2, 1), 1 }, 2);
    // exp(1.5) - 1 = 3.48169 in the top row and exp(0.5) - 1 = 0.64872 in the bottom one, times 0.70711; from
    // the matrix position (1.5, 0.5) of the centre. The first column leads down and to the left.
    const cv::Mat x = (cv::Mat_<float>(2, 4) << -0.96193F, 3.96193F, 3.96193F, -0.96193F, //
                       1.04128F, 1.95872F, 1.95872F, 1.04128F);
    const cv::Mat y = (cv::Mat_<float>(2, 4) << 2.96193F, 2.96193F, -1.96193F, -1.96193F, //
                       0.95872F, 0.95872F, 0.04128F, 0.04128F);
    EXPECT_LT(largestDifference(mapX, x), 1e-5);
    EXPECT_LT(largestDifference(mapY, y), 1e-5);
}

TEST(LogPolarTables, LeadBackToTheSameColumnAtEvenWidths) // by hand: half a turn between the two tables
{
    // The pixels diagonally beside the centre lie at 45 degrees: in the forward tables' columns 0 (down and
    // left), 1 (down, right), 2 (up, right) and 3 (up, left), at log(1 + sqrt 2) from the bottom.
    const auto [mapX, mapY] =
        tablesOf<InverseLogPolarTables>({ cv::Size(4, 4), cv::Point2d(1.5, 2.5), 1 }, 4);
    const std::pair<cv::Point, float> pixels[] = {
        { { 0, 2 }, 0 }, { { 2, 2 }, 1 }, { { 2, 0 }, 2 }, { { 0, 0 }, 3 }
    };
    for (const auto& [pixel, column] : pixels) {
        EXPECT_NEAR(mapX.at<float>(pixel), column, 1e-6) << pixel;
        EXPECT_NEAR(mapY.at<float>(pixel), 3.5 - std::log(1 + std::sqrt(2.0)), 1e-6) << pixel;
    }
}

TEST(LogPolarTables, LeftOfTheCentreTheAngleIsHalfATurnUp) // by hand: y is +0 there, never -0
{
    const Case c { cv::Size(9, 9), cv::Point2d(4.5, 4.5), 3 };
    const auto [mapX, mapY] = tablesOf<InverseLogPolarTables>(c, 9);
    for (int i = 0; i < 4; ++i) EXPECT_FLOAT_EQ(mapX.at<float>(4, i), 8.0F) << i; // pi: 4.5 + 3.5
    for (int i = 5; i < 9; ++i) EXPECT_FLOAT_EQ(mapX.at<float>(4, i), 3.5F) << i; // 0
    EXPECT_FLOAT_EQ(mapX.at<float>(4, 4), 3.5F);
    EXPECT_FLOAT_EQ(mapY.at<float>(4, 4), 8.5F); // radius 0 is the bottom
}

TEST(LogPolarTables, RefuseNegativeSizesAndMagnitudes)
{
    EXPECT_THROW(ForwardLogPolarTables(cv::Size(-1, 2), {}, 1), cv::Exception);
    EXPECT_THROW(InverseLogPolarTables(cv::Size(1, -2), {}, 1), cv::Exception);
    EXPECT_THROW(ForwardLogPolarTables(cv::Size(1, 2), {}, -1), cv::Exception);
    EXPECT_THROW(InverseLogPolarTables(cv::Size(1, 2), {}, -1), cv::Exception);
}

} // namespace miravex::test
