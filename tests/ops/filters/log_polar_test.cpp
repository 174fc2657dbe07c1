#include "tests/support/host_check.h"

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace miravex::test {

// Expected values: OpenCV called directly, with tables from the plain formulas where the tables are ours.

namespace {

constexpr double fullTurn = 6.283185307179586;

Values byOpenCv(ImagePointer image, TensorPointer centre, double magnitude, std::string interpolation,
                bool fillOutliers, bool inverse)
{
    return {
        std::move(image), std::move(centre), magnitude, std::move(interpolation), fillOutliers, inverse
    };
}

Values byTables(ImagePointer image, TensorPointer centre, double magnitude, std::string interpolation,
                std::string padding, TensorPointer color, bool inverse)
{
    return { std::move(image),   std::move(centre), magnitude, std::move(interpolation),
             std::move(padding), std::move(color),  inverse };
}

TensorPointer color() { return realList({ 10, 20, 30 }); }

struct Tables {
    cv::Mat x, y;
};

Tables plainTables(cv::Size size, cv::Point2d c, double m, bool inverse)
{
    const double w = size.width, h = size.height;
    Tables tables { cv::Mat(size, CV_32F), cv::Mat(size, CV_32F) };
    for (int j = 0; j < size.height; ++j) {
        for (int i = 0; i < size.width; ++i) {
            double x = 0, y = 0;
            if (inverse) {
                const double dx = i + 0.5 - c.x, dy = h - 0.5 - c.y - j;
                x = std::atan2(dy, dx) * (w / fullTurn) + (size.width / 2 - 0.5);
                y = h - 0.5 - m * std::log(std::sqrt(dx * dx + dy * dy) + 1);
            } else {
                const double rho = std::exp((h - 0.5 - j) / m) - 1, theta = (i + 0.5) * (fullTurn / w);
                x = rho * -std::cos(theta) + (c.x - 0.5);
                y = rho * std::sin(theta) + (h - 0.5 - c.y);
            }
            tables.x.at<float>(j, i) = static_cast<float>(x);
            tables.y.at<float>(j, i) = static_cast<float>(y);
        }
    }
    return tables;
}

struct Method {
    const char* name;
    int flag;
};
constexpr Method interpolations[] = { { "Nearest", cv::INTER_NEAREST },
                                      { "Linear", cv::INTER_LINEAR },
                                      { "Cubic", cv::INTER_CUBIC },
                                      { "Area", cv::INTER_AREA },
                                      { "Lanczos4", cv::INTER_LANCZOS4 } };
constexpr Method paddings[] = { { "Constant", cv::BORDER_CONSTANT },
                                { "Fixed", cv::BORDER_REPLICATE },
                                { "Reversed", cv::BORDER_REFLECT },
                                { "Periodic", cv::BORDER_WRAP },
                                { "Reflected", cv::BORDER_REFLECT_101 } };

bool sameOrZero(const cv::Mat& actual, const cv::Mat& expected)
{
    const cv::Mat samples = actual.reshape(1);
    return cv::countNonZero((samples != expected.reshape(1)) & (samples != 0)) == 0;
}

} // namespace

TEST(LogPolarCV, LeavesOutliersOfTheInverseBlack)
{
    // A white log-polar picture of radii below 5 stands for a disc: what lies outside is written by nobody.
    const double magnitude = 20 / std::log(5.0);
    const Values values = byOpenCv(imageOf(cv::Mat(20, 20, CV_8U, cv::Scalar(255))), realList({ 10, 10 }),
                                   magnitude, "Linear", false, true);
    for (int i = 0; i < 3; ++i) {
        cv::Mat(20, 20, CV_8U, cv::Scalar(170)).release(); // leaves its samples in the memory
        const cv::Mat disc = matrixOf(succeed("LogPolarCV", values).image());
        EXPECT_EQ(disc.at<uchar>(10, 12), 255);
        for (const cv::Point corner :
             { cv::Point(0, 0), cv::Point(19, 0), cv::Point(0, 19), cv::Point(19, 19) })
            EXPECT_EQ(disc.at<uchar>(corner), 0) << corner;
    }
}

TEST(LogPolarCV, MatchesOpenCv)
{
    const cv::Mat picture = noise(40, 61, CV_8UC3);
    for (const auto& [name, flag] : interpolations) {
        for (const bool fill : { false, true }) {
            for (const bool inverse : { false, true }) {
                const int flags =
                    flag + (fill ? cv::WARP_FILL_OUTLIERS : 0) + (inverse ? cv::WARP_INVERSE_MAP : 0);
                cv::Mat middle = picture.clone(), given = picture.clone();
                cv::logPolar(middle, middle, cv::Point2f(30.5F, 20), 15.0F, flags);
                cv::logPolar(given, given, cv::Point2f(12.25F, 33), 7.5F, flags);
                const Outcome first =
                    succeed("LogPolarCV", byOpenCv(imageOf(picture), emptyList(), 15, name, fill, inverse));
                const Outcome second =
                    succeed("LogPolarCV",
                            byOpenCv(imageOf(picture), realList({ 12.25, 33 }), 7.5, name, fill, inverse));
                const bool unwritten = inverse && !fill; // in places, by OpenCV
                EXPECT_TRUE(unwritten ? sameOrZero(matrixOf(first.image()), middle)
                                      : sameBits(matrixOf(first.image()), middle))
                    << name << ", flags " << flags;
                EXPECT_TRUE(unwritten ? sameOrZero(matrixOf(second.image()), given)
                                      : sameBits(matrixOf(second.image()), given))
                    << name << ", flags " << flags;
                EXPECT_EQ(first.image().colorSpace, ColorSpaceUnspecified);
            }
        }
    }
}

TEST(LogPolarCV, KeepsTheMatrixType)
{
    const auto type = [](ImagePointer image) {
        return succeed("LogPolarCV", byOpenCv(std::move(image), emptyList(), 5, "Linear", true, false))
            .image()
            .pixelType;
    };
    EXPECT_EQ(type(imageOf(noise(9, 8, CV_16U))), PixelTypeBit16);
    EXPECT_EQ(type(imageOf(noise(9, 8, CV_32FC4))), PixelTypeReal32);
    EXPECT_EQ(type(imageOf(noise(9, 8, CV_64F))), PixelTypeReal);
    EXPECT_EQ(type(planarImageOf(noise(9, 8, CV_8UC3))), PixelTypeByte);
    EXPECT_EQ(type(bitImageOf(noise(9, 8, CV_8U) > 99)), PixelTypeByte);
    EXPECT_EQ(type(imageOf(noise(1, 1, CV_8U))), PixelTypeByte);
}

TEST(LogPolarCV, RefusesWhatSinglePrecisionCannotHold)
{
    const ImagePointer good = imageOf(noise(8, 9, CV_8U));
    const auto with = [&](TensorPointer centre, double magnitude) {
        return byOpenCv(good, std::move(centre), magnitude, "Linear", true, false);
    };
    expectRefused("LogPolarCV", with(realList({ 1e39, 0 }), 5));
    expectRefused("LogPolarCV", with(realList({ 0, -1e39 }), 5));
    expectRefused("LogPolarCV", with(realList({ 0, INFINITY }), 5));
    expectRefused("LogPolarCV", with(emptyList(), 1e39));
    expectRefused("LogPolarCV", with(emptyList(), INFINITY));
    succeed("LogPolarCV", with(realList({ 3e38, -3e38 }), 3e38));
    succeed("LogPolarCV", with(realList({ NAN, NAN }), 1e-30));
}

TEST(LogPolarRemap, MatchesTheFormulasAndRemap)
{
    const cv::Mat picture = noise(43, 50, CV_8UC3);
    const cv::Scalar fill(10, 20, 30);
    for (const bool inverse : { false, true }) {
        for (const auto& [centre, point] : std::vector<std::pair<TensorPointer, cv::Point2d>> {
                 { emptyList(), { 25, 21.5 } },
                 { realList({ 12.3, 30.75 }), { 12.3, 30.75 } },
                 { realList({ 10.5, 8.5 }), { 10.5, 8.5 } } }) {
            const Tables tables = plainTables(picture.size(), point, 11.5, inverse);
            for (const auto& [interpolation, flag] : interpolations) {
                for (const auto& [padding, border] : paddings) {
                    cv::Mat expected;
                    cv::remap(picture, expected, tables.x, tables.y, flag, border, fill);
                    const Outcome outcome = succeed(
                        "LogPolarRemap",
                        byTables(imageOf(picture), centre, 11.5, interpolation, padding, color(), inverse));
                    EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected))
                        << interpolation << ", " << padding << (inverse ? ", inverse" : "");
                    EXPECT_EQ(outcome.image().colorSpace, ColorSpaceUnspecified);
                }
            }
        }
    }
}

TEST(LogPolarRemap, StripsOfRowsChangeNothing)
{
    const cv::Mat picture = noise(1000, 701, CV_16U);
    for (const bool inverse : { false, true }) {
        const Tables tables = plainTables(picture.size(), { 350.5, 500 }, 150, inverse);
        cv::Mat expected;
        cv::remap(picture, expected, tables.x, tables.y, cv::INTER_CUBIC, cv::BORDER_REFLECT,
                  cv::Scalar(10, 20, 30));
        const Outcome outcome =
            succeed("LogPolarRemap",
                    byTables(imageOf(picture), emptyList(), 150, "Cubic", "Reversed", color(), inverse));
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected)) << inverse;
    }
}

TEST(LogPolarRemap, ThereAndBackReturnsTheDisc)
{
    cv::Mat picture = photo("fruits.jpg");
    SKIP_WITHOUT(picture);
    cv::resize(picture, picture, cv::Size(256, 256), 0, 0, cv::INTER_AREA);
    cv::GaussianBlur(picture, picture, cv::Size(0, 0), 2);
    const double magnitude = 256 / std::log(100.0 + 1); // the top row lies 100 pixels out
    const Outcome there =
        succeed("LogPolarRemap",
                byTables(imageOf(picture), emptyList(), magnitude, "Linear", "Constant", color(), false));
    const Outcome back = succeed("LogPolarRemap",
                                 byTables(std::get<ImagePointer>(there.result), emptyList(), magnitude,
                                          "Linear", "Constant", color(), true));
    cv::Mat disc(picture.size(), CV_8U, cv::Scalar(0));
    cv::circle(disc, { 128, 128 }, 80, cv::Scalar(1), cv::FILLED);
    const cv::Mat returned = matrixOf(back.image());
    EXPECT_LT(cv::norm(returned, picture, cv::NORM_L1, disc) / (3 * cv::countNonZero(disc)), 3.0);
    EXPECT_EQ(returned.at<cv::Vec3b>(0, 0), cv::Vec3b(10, 20, 30)); // outside the disc
}

TEST(LogPolarRemap, FillsFourChannelsWithThreeComponentsAndZero) // by hand: far outside of the picture
{
    const cv::Mat picture(4, 5, CV_8UC4, cv::Scalar::all(99));
    const Outcome outcome = succeed(
        "LogPolarRemap",
        byTables(imageOf(picture), realList({ 1000, 1000 }), 100, "Nearest", "Constant", color(), false));
    EXPECT_TRUE(
        sameBits(matrixOf(outcome.image()), cv::Mat(picture.size(), CV_8UC4, cv::Scalar(10, 20, 30, 0))));
}

TEST(LogPolarRemap, PassesNoneOnToOpenCv)
{
    const ImagePointer picture = imageOf(noise(20, 20, CV_8U));
    expectRefused("LogPolarRemap", byTables(picture, emptyList(), 4, "Linear", "None", color(), false));
    succeed("LogPolarRemap", byTables(picture, emptyList(), 20, "Nearest", "None", color(), false));
}

TEST(LogPolarRemap, RefusesAColourOfOtherThanThreeComponents)
{
    const ImagePointer picture = imageOf(noise(20, 20, CV_8U));
    for (const auto& given : { TensorPointer(), emptyList(), realList({ 1, 2 }), realList({ 1, 2, 3, 4 }) })
        expectRefused("LogPolarRemap", byTables(picture, emptyList(), 4, "Linear", "Fixed", given, false));
    for (const char* padding : { "fixed", "", "Fixe", "Fixed " })
        expectRefused("LogPolarRemap", byTables(picture, emptyList(), 4, "Linear", padding, color(), false));
}

TEST(LogPolar, BothRefuseTheSame)
{
    const ImagePointer good = imageOf(noise(8, 9, CV_8U));
    const auto refused = [](const ImagePointer& image, const TensorPointer& centre, double magnitude,
                            const char* interpolation) {
        expectRefused("LogPolarCV", byOpenCv(image, centre, magnitude, interpolation, true, false));
        for (const bool inverse : { false, true })
            expectRefused("LogPolarRemap",
                          byTables(image, centre, magnitude, interpolation, "Fixed", color(), inverse));
    };
    refused(nullptr, emptyList(), 5, "Linear");
    refused(good, nullptr, 5, "Linear");
    refused(sequenceOf({ noise(8, 9, CV_8U) }), emptyList(), 5, "Linear");
    refused(imageOf(noise(8, 9, CV_8UC(5))), emptyList(), 5, "Linear");
    refused(imageOf(cv::Mat(0, 9, CV_8U)), emptyList(), 5, "Linear");
    refused(imageOf(cv::Mat(2, 40000, CV_8U, cv::Scalar(1))), emptyList(), 5, "Linear"); // OpenCV's own bound
    for (const auto& centre : { realList({ 1 }), realList({ 1, 2, 3 }), makeRealTensor({ 1, 2 }),
                                makeRealTensor({ 2, 1 }), makeIntegerTensor({ 2 }) })
        refused(good, centre, 5, "Linear");
    for (const double magnitude : { 0.0, -0.0, -1.0, std::nan(""), -1e300 })
        refused(good, emptyList(), magnitude, "Linear");
    for (const char* name : { "linear", "Line", "Linear ", "Lanczos", "" })
        refused(good, emptyList(), 5, name);
}

TEST(LogPolar, BothTakeAnyTensorWithoutElementsAsNoCentre)
{
    const ImagePointer picture = imageOf(noise(8, 9, CV_8U));
    for (const auto& shape : { std::vector<int64_t> { 0 }, { 0, 2 }, { 2, 0 } }) {
        const TensorPointer none = makeRealTensor(shape), middle = realList({ 4.5, 4 });
        EXPECT_TRUE(sameBits(
            matrixOf(succeed("LogPolarCV", byOpenCv(picture, none, 5, "Linear", true, false)).image()),
            matrixOf(succeed("LogPolarCV", byOpenCv(picture, middle, 5, "Linear", true, false)).image())));
        EXPECT_TRUE(sameBits(
            matrixOf(succeed("LogPolarRemap", byTables(picture, none, 5, "Linear", "Fixed", color(), true))
                         .image()),
            matrixOf(succeed("LogPolarRemap", byTables(picture, middle, 5, "Linear", "Fixed", color(), true))
                         .image())));
    }
}

TEST(LogPolar, BothCopeWithStrangeCentresAndSmallPictures)
{
    for (const cv::Size size : { cv::Size(1, 1), cv::Size(7, 1), cv::Size(1, 7), cv::Size(8, 9) }) {
        const ImagePointer picture = imageOf(noise(size.height, size.width, CV_32FC2));
        for (const double magnitude : { 1e-300, 1e-3, 1.0, 1e30 }) {
            for (const auto& centre : { emptyList(), realList({ 1e30, -1e30 }), realList({ NAN, 0 }) }) {
                for (const bool inverse : { false, true }) {
                    succeed("LogPolarCV", byOpenCv(picture, centre, magnitude, "Linear", true, inverse));
                    succeed("LogPolarRemap",
                            byTables(picture, centre, magnitude, "Linear", "Periodic", color(), inverse));
                }
            }
        }
    }
    succeed("LogPolarRemap",
            byTables(imageOf(noise(5, 5, CV_8U)), realList({ INFINITY, 0 }), INFINITY, "Cubic", "Fixed",
                     color(), true));
}

TEST(LogPolar, BothSurviveFaults)
{
    const ImagePointer planar = planarImageOf(noise(8, 9, CV_8UC3));
    expectSurvivesFaults("LogPolarCV", byOpenCv(planar, emptyList(), 5, "Linear", true, false));
    for (const bool inverse : { false, true })
        expectSurvivesFaults("LogPolarRemap",
                             byTables(planar, realList({ 3, 4 }), 5, "Linear", "Constant", color(), inverse));
}

} // namespace miravex::test
