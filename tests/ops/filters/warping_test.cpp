#include "tests/support/host_check.h"

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace miravex::test {

// Expected values: worked by hand, or OpenCV called directly with the rewritten homography.

namespace {

using Homography = std::array<double, 9>;
constexpr Homography identity { 1, 0, 0, 0, 1, 0, 0, 0, 1 };

TensorPointer tensor(const Homography& elements) { return makeRealTensor({ 3, 3 }, elements); }
TensorPointer color() { return realList({ 10, 20, 30 }); }

Values warp(ImagePointer image, TensorPointer homography, std::string interpolation = "Linear",
            std::string padding = "Constant", TensorPointer fill = color())
{
    return { std::move(image), std::move(homography), std::move(interpolation), std::move(padding),
             std::move(fill) };
}

Values look(ImagePointer image, TensorPointer x, TensorPointer y, std::string interpolation = "Linear",
            std::string padding = "Constant", TensorPointer fill = color())
{
    return { std::move(image), std::move(interpolation), std::move(padding), std::move(fill), std::move(x),
             std::move(y) };
}

/// On the right by (1, 0, 0), (0, -1, h), (0, 0, 1).
Homography turned(const Homography& m, double h)
{
    Homography result = m;
    for (std::size_t i = 0; i < 9; i += 3) {
        result[i + 2] = m[i + 2] + h * m[i + 1];
        result[i + 1] = -m[i + 1];
    }
    return result;
}

Homography elementsOf(const TensorPointer& tensor)
{
    Homography elements {};
    std::ranges::copy(tensor->reals(), elements.begin());
    return elements;
}

/// Tables of the columns and rows themselves.
std::pair<cv::Mat, cv::Mat> positions(cv::Size size)
{
    cv::Mat x(size, CV_64F), y(size, CV_64F);
    for (int r = 0; r < size.height; ++r) {
        for (int c = 0; c < size.width; ++c) {
            x.at<double>(r, c) = c;
            y.at<double>(r, c) = r;
        }
    }
    return { x, y };
}

} // namespace

TEST(ImagePerspectiveTransformation, IdentityReturnsThePicture)
{
    for (const int type : { CV_8UC3, CV_16U, CV_32FC4, CV_64F }) {
        for (const cv::Size size : { cv::Size(13, 9), cv::Size(1, 1), cv::Size(1, 6) }) {
            for (const char* interpolation : { "Nearest", "Linear" }) {
                const cv::Mat picture = noise(size.height, size.width, type);
                const TensorPointer homography = tensor(identity);
                const Outcome outcome = succeed("ImagePerspectiveTransformation",
                                                warp(imageOf(picture), homography, interpolation));
                EXPECT_TRUE(sameBits(matrixOf(outcome.image()), picture)) << type << ", " << size;
                EXPECT_EQ(outcome.image().colorSpace, ColorSpaceUnspecified);
                EXPECT_EQ(elementsOf(homography), turned(identity, size.height));
            }
        }
    }
}

TEST(ImagePerspectiveTransformation, WarpsByTheRewrittenHomographyAndFlips)
{
    const cv::Mat picture = noise(30, 41, CV_8UC3);
    for (const Homography& m : std::vector<Homography> { { 1, 0, 3.25, 0, 1, -2, 0, 0, 1 },
                                                         { 0.9, 0.2, 1, -0.15, 1.1, 4, 0.001, -0.002, 1 },
                                                         { 2, 0, 0, 0, 2, 0, 0, 0, 2 },
                                                         { 0, 0, 0, 0, 0, 0, 0, 0, 0 } }) {
        for (const auto& [interpolation, flag] : std::vector<std::pair<std::string, int>> {
                 { "Nearest", cv::INTER_NEAREST }, { "Linear", cv::INTER_LINEAR } }) {
            for (const auto& [padding, border] : std::vector<std::pair<std::string, int>> {
                     { "Constant", cv::BORDER_CONSTANT }, { "Fixed", cv::BORDER_REPLICATE } }) {
                Homography rewritten = turned(m, 30);
                cv::Mat expected;
                cv::warpPerspective(picture, expected, cv::Mat(3, 3, CV_64F, rewritten.data()),
                                    picture.size(), flag, border, cv::Scalar(10, 20, 30));
                cv::flip(expected, expected, 0);
                const TensorPointer homography = tensor(m);
                const Outcome outcome = succeed("ImagePerspectiveTransformation",
                                                warp(imageOf(picture), homography, interpolation, padding));
                EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected))
                    << interpolation << ", " << padding;
                EXPECT_EQ(elementsOf(homography), rewritten);
            }
        }
    }
}

TEST(ImagePerspectiveTransformation, MovesUpwardForPositiveY) // by hand, with the row that a warp adds
{
    cv::Mat picture(9, 9, CV_8U, cv::Scalar(0));
    picture.at<uchar>(6, 2) = 200;
    const Outcome outcome = succeed("ImagePerspectiveTransformation",
                                    warp(imageOf(picture), tensor({ 1, 0, 4, 0, 1, 2, 0, 0, 1 }), "Nearest"));
    EXPECT_EQ(matrixOf(outcome.image()).at<uchar>(6 - 2 - 1, 2 + 4), 200);
}

TEST(ImagePerspectiveTransformation,
     FillsFourChannelsWithThreeComponentsAndZero) // by hand: moved out of sight
{
    const cv::Mat picture(4, 5, CV_8UC4, cv::Scalar::all(99));
    const Outcome outcome =
        succeed("ImagePerspectiveTransformation",
                warp(imageOf(picture), tensor({ 1, 0, 100, 0, 1, 0, 0, 0, 1 }), "Nearest"));
    EXPECT_TRUE(
        sameBits(matrixOf(outcome.image()), cv::Mat(picture.size(), CV_8UC4, cv::Scalar(10, 20, 30, 0))));
}

TEST(ImagePerspectiveTransformation, RewritesTheHomographyAlsoWhenTheWarpFails)
{
    const ImagePointer tooWide = imageOf(cv::Mat(2, 40000, CV_8U, cv::Scalar(1))); // OpenCV's own bound
    const Homography m { 1, 2, 3, 4, 5, 6, 7, 8, 9 };
    const TensorPointer homography = tensor(m);
    expectRefused("ImagePerspectiveTransformation", warp(tooWide, homography));
    EXPECT_EQ(elementsOf(homography), turned(m, 2));
}

TEST(ImagePerspectiveTransformation, LeavesTheHomographyAloneBeforeThat)
{
    const Homography m { 1, 2, 3, 4, 5, 6, 7, 8, 9 };
    const TensorPointer homography = tensor(m);
    const ImagePointer good = imageOf(noise(8, 9, CV_8U));
    const auto refused = [&](const Values& values) {
        expectRefused("ImagePerspectiveTransformation", values);
        EXPECT_EQ(elementsOf(homography), m);
    };
    refused(warp(nullptr, homography));
    refused(warp(good, nullptr));
    refused(warp(good, homography, "Linear", "Constant", nullptr));
    refused(warp(sequenceOf({ noise(8, 8, CV_8U) }), homography));
    refused(warp(imageOf(cv::Mat(0, 8, CV_8U)), homography));
    for (const char* name : { "Cubic", "Area", "Lanczos4", "linear", "Line", "" })
        refused(warp(good, homography, name));
    for (const char* name : { "Periodic", "Reversed", "Reflected", "None", "fixed", "" })
        refused(warp(good, homography, "Linear", name));
    for (const auto& fill :
         { emptyList(), realList({ 1, 2 }), realList({ 1, 2, 3, 4 }), makeRealTensor({ 3, 1 }) })
        refused(warp(good, homography, "Linear", "Constant", fill));
    for (const auto& shape : { std::vector<int64_t> { 9 }, { 3, 4 }, { 4, 3 }, { 2, 3 }, { 3, 3, 1 } })
        refused(warp(good, makeRealTensor(shape)));
    refused(warp(good, makeIntegerTensor({ 3, 3 })));
}

TEST(ImagePerspectiveTransformation, CopesWithStrangeHomographies)
{
    const ImagePointer picture = imageOf(noise(20, 30, CV_8UC3));
    for (const double value : { std::nan(""), double { INFINITY }, 1e300, -1e-300 }) {
        Homography m {};
        m.fill(value);
        for (const char* padding : { "Constant", "Fixed" })
            succeed("ImagePerspectiveTransformation", warp(picture, tensor(m), "Linear", padding));
    }
    succeed("ImagePerspectiveTransformation",
            warp(imageOf(noise(6, 7, CV_8UC(5))), tensor({ 1, 0, 1, 0, 1, 0, 0, 0, 1 })));
}

TEST(ImagePerspectiveTransformation, SurvivesFaults)
{
    expectSurvivesFaults("ImagePerspectiveTransformation",
                         warp(planarImageOf(noise(8, 9, CV_8UC3)), tensor({ 1, 0, 1, 0, 1, 0, 0, 0, 1 })));
    expectSurvivesFaults("ImagePerspectiveTransformation",
                         warp(bitImageOf(noise(8, 9, CV_8U) > 9), tensor(identity)));
}

TEST(RemapTensor, IdentityTablesReturnThePicture)
{
    for (const int type : { CV_8UC3, CV_16U, CV_32FC4, CV_64F, CV_8UC2 }) {
        for (const cv::Size size : { cv::Size(13, 9), cv::Size(1, 1), cv::Size(1, 6), cv::Size(700, 210) }) {
            const auto [x, y] = positions(size);
            const cv::Mat picture = noise(size.height, size.width, type);
            const Outcome outcome = succeed("RemapTensor", look(imageOf(picture), tensorOf(x), tensorOf(y)));
            EXPECT_TRUE(sameBits(matrixOf(outcome.image()), picture)) << type << ", " << size;
            EXPECT_EQ(outcome.image().colorSpace, ColorSpaceUnspecified);
        }
    }
}

TEST(RemapTensor, MatchesOpenCvWithNarrowedTables)
{
    const cv::Mat picture = noise(300, 400, CV_8UC3);
    cv::Mat x = noise(300, 400, CV_64F, 5) * 430 - 15, y = noise(300, 400, CV_64F, 6) * 330 - 15;
    x.at<double>(0, 0) = std::nan("");
    y.at<double>(3, 7) = -INFINITY;
    x.at<double>(5, 5) = 1e300;
    cv::Mat mapX, mapY;
    x.convertTo(mapX, CV_32F);
    y.convertTo(mapY, CV_32F);
    EXPECT_EQ(mapX.at<float>(9, 9), static_cast<float>(x.at<double>(9, 9)));
    int interpolation = 0;
    for (const char* name : { "Nearest", "Linear", "Cubic", "Area", "Lanczos4" }) {
        int border = 0;
        for (const char* padding : { "Constant", "Fixed", "Reversed", "Periodic", "Reflected" }) {
            cv::Mat expected;
            cv::remap(picture, expected, mapX, mapY, interpolation, border++, cv::Scalar(10, 20, 30));
            const Outcome outcome =
                succeed("RemapTensor", look(imageOf(picture), tensorOf(x), tensorOf(y), name, padding));
            EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected)) << name << ", " << padding;
        }
        ++interpolation;
    }
}

TEST(RemapTensor, CountsColumnsAndRowsFromTheTop) // by hand
{
    const cv::Mat picture = (cv::Mat_<uchar>(2, 3) << 10, 20, 30, 40, 50, 60);
    const cv::Mat x = (cv::Mat_<double>(2, 3) << 2, 1, 0, 0, 0.5, 9),
                  y = (cv::Mat_<double>(2, 3) << //
                           0,
                       0, 1, 0, 1, 0);
    const Outcome outcome = succeed("RemapTensor", look(imageOf(picture), tensorOf(x), tensorOf(y)));
    EXPECT_TRUE(sameBits(matrixOf(outcome.image()), (cv::Mat_<uchar>(2, 3) << 30, 20, 40, 10, 45, 10)));
}

TEST(RemapTensor, FillsFourChannelsWithThreeComponentsAndZero) // by hand: all positions outside
{
    const cv::Mat picture(4, 5, CV_8UC4, cv::Scalar::all(99)), outside(4, 5, CV_64F, cv::Scalar(-100));
    const Outcome outcome =
        succeed("RemapTensor", look(imageOf(picture), tensorOf(outside), tensorOf(outside)));
    EXPECT_TRUE(
        sameBits(matrixOf(outcome.image()), cv::Mat(picture.size(), CV_8UC4, cv::Scalar(10, 20, 30, 0))));
}

TEST(RemapTensor, PassesNoneOnToOpenCv)
{
    const auto [x, y] = positions(cv::Size(9, 8));
    const ImagePointer picture = imageOf(noise(8, 9, CV_8U));
    succeed("RemapTensor", look(picture, tensorOf(x), tensorOf(y), "Nearest", "None"));
    expectRefused("RemapTensor", look(picture, tensorOf(x + 30), tensorOf(y), "Nearest", "None"));
}

TEST(RemapTensor, RefusesWhatItCannotLookUp)
{
    const auto table = [] { return makeRealTensor({ 8, 9 }); };
    const ImagePointer good = imageOf(noise(8, 9, CV_8U));
    const auto refused = [](const Values& values) { expectRefused("RemapTensor", values); };
    refused(look(nullptr, table(), table()));
    refused(look(good, nullptr, table()));
    refused(look(good, table(), nullptr));
    refused(look(good, table(), table(), "Linear", "Constant", nullptr));
    refused(look(sequenceOf({ noise(8, 9, CV_8U) }), table(), table()));
    refused(look(imageOf(noise(8, 9, CV_8UC(5))), table(), table()));
    refused(look(imageOf(cv::Mat(0, 9, CV_8U)), makeRealTensor({ 0, 9 }), makeRealTensor({ 0, 9 })));
    for (const auto& shape : { std::vector<int64_t> { 72 }, { 9, 8 }, { 8, 8 }, { 8, 9, 1 }, { 0, 0 } }) {
        refused(look(good, makeRealTensor(shape), table()));
        refused(look(good, table(), makeRealTensor(shape)));
    }
    refused(look(good, makeIntegerTensor({ 8, 9 }), table()));
    for (const auto& fill : { emptyList(), realList({ 1, 2 }), realList({ 1, 2, 3, 4 }) })
        refused(look(good, table(), table(), "Linear", "Constant", fill));
    for (const char* name : { "linear", "Linea", "Linear ", "" }) refused(look(good, table(), table(), name));
    for (const char* name : { "constant", "Fixe", "Fixed ", "" })
        refused(look(good, table(), table(), "Linear", name));
    const cv::Mat wide(1, 40000, CV_8U, cv::Scalar(1)); // OpenCV's own bound
    refused(look(imageOf(wide), makeRealTensor({ 1, 40000 }), makeRealTensor({ 1, 40000 })));
}

TEST(RemapTensor, SurvivesFaults)
{
    expectSurvivesFaults(
        "RemapTensor",
        look(planarImageOf(noise(8, 9, CV_8UC3)), makeRealTensor({ 8, 9 }), makeRealTensor({ 8, 9 })));
}

} // namespace miravex::test
