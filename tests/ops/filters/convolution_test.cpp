#include "tests/support/host_check.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace miravex::test {

// Expected values: worked by hand, an independent sum over the taps, or OpenCV called directly with reversed
// kernels, as said.

namespace {

Values convolve(ImagePointer image, TensorPointer horizontal, TensorPointer vertical, std::string padding)
{
    return { std::move(image), std::move(horizontal), std::move(vertical), std::move(padding) };
}

std::vector<double> randomTaps(int count, uint64_t seed)
{
    const cv::Mat taps = noise(1, count, CV_64F, seed);
    return { taps.begin<double>(), taps.end<double>() };
}

std::vector<double> reversed(std::vector<double> taps)
{
    std::ranges::reverse(taps);
    return taps;
}

std::vector<double> elementsOf(const TensorPointer& tensor)
{
    return { tensor->reals().begin(), tensor->reals().end() };
}

/// The definition, on a picture that repeats without end: taps count backward from their centre.
cv::Mat periodicConvolution(const cv::Mat& picture, const std::vector<double>& across,
                            const std::vector<double>& down)
{
    const auto wrap = [](int i, int n) { return ((i % n) + n) % n; };
    const auto offset = [](const std::vector<double>& taps, std::size_t i) {
        const int count = static_cast<int>(taps.size());
        return count - 1 - static_cast<int>(i) - count / 2;
    };
    cv::Mat result(picture.size(), CV_64F, cv::Scalar(0));
    for (int y = 0; y < picture.rows; ++y)
        for (int x = 0; x < picture.cols; ++x)
            for (std::size_t i = 0; i < across.size(); ++i)
                for (std::size_t j = 0; j < down.size(); ++j)
                    result.at<double>(y, x) += across[i] * down[j]
                        * picture.at<double>(wrap(y + offset(down, j), picture.rows),
                                             wrap(x + offset(across, i), picture.cols));
    return result;
}

} // namespace

TEST(ImageConvolve, OneTapReturnsThePictureAsReals) // by hand
{
    const cv::Mat picture = (cv::Mat_<uchar>(2, 3) << 0, 51, 102, 153, 204, 255);
    cv::Mat expected;
    picture.convertTo(expected, CV_32F, 1.0 / 255);
    const Outcome outcome =
        succeed("ImageConvolve", convolve(imageOf(picture, 5), realList({ 1 }), realList({ 1 }), "Fixed"));
    EXPECT_LE(largestDifference(matrixOf(outcome.image()), expected), 1e-7);
    EXPECT_EQ(outcome.image().pixelType, PixelTypeReal32);
    EXPECT_EQ(outcome.image().colorSpace, 5);
}

TEST(ImageConvolve, LastTapMovesThePictureRightAndDown) // by hand
{
    const cv::Mat picture = (cv::Mat_<double>(2, 3) << 1, 2, 3, 4, 5, 6);
    const cv::Mat right = (cv::Mat_<double>(2, 3) << 0, 1, 2, 0, 4, 5);
    const cv::Mat down = (cv::Mat_<double>(2, 3) << 0, 0, 0, 1, 2, 3);
    const Values moveRight = convolve(imageOf(picture), realList({ 0, 0, 1 }), realList({ 1 }), "Constant");
    const Values moveDown = convolve(imageOf(picture), realList({ 1 }), realList({ 0, 0, 1 }), "None");
    EXPECT_TRUE(sameBits(matrixOf(succeed("ImageConvolve", moveRight).image()), right));
    EXPECT_TRUE(sameBits(matrixOf(succeed("ImageConvolve", moveDown).image()), down));
}

TEST(ImageConvolve, ReversesTheHostsKernels)
{
    const TensorPointer across = realList({ 1, 2, 3, 4 }), down = realList({ 5, 6, 7 });
    succeed("ImageConvolve", convolve(imageOf(noise(9, 9, CV_8U)), across, down, "Fixed"));
    EXPECT_EQ(elementsOf(across), (std::vector<double> { 4, 3, 2, 1 }));
    EXPECT_EQ(elementsOf(down), (std::vector<double> { 7, 6, 5 }));

    // Unknown padding is found out after the kernels were reversed, other refusals before.
    expectRefused("ImageConvolve", convolve(imageOf(noise(9, 9, CV_8U)), across, down, "fixed"));
    EXPECT_EQ(elementsOf(across), (std::vector<double> { 1, 2, 3, 4 }));
    EXPECT_EQ(elementsOf(down), (std::vector<double> { 5, 6, 7 }));
    expectRefused("ImageConvolve",
                  convolve(imageOf(noise(9, 9, CV_8U)), across, makeRealTensor({ 1, 3 }), "Fixed"));
    EXPECT_EQ(elementsOf(across), (std::vector<double> { 1, 2, 3, 4 }));
}

TEST(ImageConvolve, OneTensorForBothKernelsIsReversedTwice)
{
    const std::vector<double> taps { 1, 2, 5 };
    const TensorPointer both = realList(taps);
    const cv::Mat picture = noise(12, 15, CV_64F);
    const Outcome outcome = succeed("ImageConvolve", convolve(imageOf(picture), both, both, "Fixed"));
    cv::Mat expected;
    cv::sepFilter2D(picture, expected, -1, taps, taps, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
    EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected));
    EXPECT_EQ(elementsOf(both), taps);
}

TEST(ImageConvolve, MatchesOpenCvWithReversedKernels)
{
    for (const auto& [name, border] :
         std::vector<std::pair<std::string, int>> { { "Constant", cv::BORDER_CONSTANT },
                                                    { "Fixed", cv::BORDER_REPLICATE },
                                                    { "Reversed", cv::BORDER_REFLECT },
                                                    { "Reflected", cv::BORDER_REFLECT_101 },
                                                    { "None", cv::BORDER_ISOLATED } }) {
        for (const int type : { CV_32F, CV_64F, CV_32FC3, CV_64FC4 }) {
            for (const auto& [across, down] :
                 std::vector<std::pair<int, int>> { { 1, 3 }, { 4, 5 }, { 31, 2 }, { 40, 41 } }) {
                const cv::Mat picture = noise(19, 23, type);
                const auto x = randomTaps(across, 2), y = randomTaps(down, 3);
                cv::Mat expected = picture.clone();
                cv::sepFilter2D(expected, expected, -1, reversed(x), reversed(y), cv::Point(-1, -1), 0,
                                border);
                const Outcome outcome =
                    succeed("ImageConvolve", convolve(imageOf(picture), realList(x), realList(y), name));
                EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected))
                    << name << ", type " << type << ", " << across << " x " << down << " taps";
            }
        }
    }
}

TEST(ImageConvolve, PeriodicIsTheDefinitionAtAnyKernelLength) // independent sum
{
    for (const cv::Size size : { cv::Size(7, 5), cv::Size(1, 6), cv::Size(3, 1), cv::Size(1, 1) }) {
        for (const auto& [across, down] : std::vector<std::pair<int, int>> {
                 { 1, 1 }, { 3, 3 }, { 2, 4 }, { 5, 1 }, { 20, 13 }, { 1, 40 } }) {
            const cv::Mat picture = noise(size.height, size.width, CV_64F);
            const auto x = randomTaps(across, 4), y = randomTaps(down, 5);
            const Outcome outcome =
                succeed("ImageConvolve", convolve(imageOf(picture), realList(x), realList(y), "Periodic"));
            EXPECT_LE(largestDifference(matrixOf(outcome.image()), periodicConvolution(picture, x, y)), 1e-10)
                << size << ", " << across << " x " << down << " taps";
        }
    }
}

TEST(ImageConvolve, PeriodicWrapsEveryChannel)
{
    const cv::Mat picture = noise(6, 8, CV_32FC3);
    std::vector<cv::Mat> planes;
    cv::split(picture, planes);
    const Outcome all = succeed(
        "ImageConvolve", convolve(imageOf(picture), realList({ 1, 2 }), realList({ 3, 0, 1 }), "Periodic"));
    cv::Mat expected;
    for (cv::Mat& plane : planes)
        plane =
            matrixOf(succeed("ImageConvolve",
                             convolve(imageOf(plane), realList({ 1, 2 }), realList({ 3, 0, 1 }), "Periodic"))
                         .image());
    cv::merge(planes, expected);
    EXPECT_TRUE(sameBits(matrixOf(all.image()), expected));
}

TEST(ImageConvolve, TakesMoreThanFourChannels) // OpenCV refuses "Constant" there
{
    const cv::Mat picture = noise(6, 8, CV_64FC(5));
    for (const char* padding : { "Constant", "Fixed", "Periodic" }) {
        const Outcome outcome = succeed(
            "ImageConvolve", convolve(imageOf(picture), realList({ 1, 2, 3 }), realList({ 2, 1 }), padding));
        cv::Mat fifth, expected;
        cv::extractChannel(picture, fifth, 4);
        expected =
            matrixOf(succeed("ImageConvolve",
                             convolve(imageOf(fifth), realList({ 1, 2, 3 }), realList({ 2, 1 }), padding))
                         .image());
        cv::Mat actual;
        cv::extractChannel(matrixOf(outcome.image()), actual, 4);
        EXPECT_TRUE(sameBits(actual, expected)) << padding;
    }
}

TEST(ImageConvolve, KeepsRealsAndMakesReal32OfTheRest)
{
    const auto type = [](ImagePointer image) {
        return succeed("ImageConvolve",
                       convolve(std::move(image), realList({ 1, 1 }), realList({ 1 }), "Reflected"))
            .image()
            .pixelType;
    };
    EXPECT_EQ(type(imageOf(noise(5, 5, CV_64F))), PixelTypeReal);
    EXPECT_EQ(type(imageOf(noise(5, 5, CV_32FC3))), PixelTypeReal32);
    EXPECT_EQ(type(imageOf(noise(5, 5, CV_16U))), PixelTypeReal32);
    EXPECT_EQ(type(planarImageOf(noise(5, 5, CV_8UC3))), PixelTypeReal32);
    EXPECT_EQ(type(bitImageOf(noise(5, 5, CV_8U) > 128)), PixelTypeReal32);
    EXPECT_EQ(type(imageOf(noise(1, 1, CV_8U))), PixelTypeReal32);
    EXPECT_EQ(type(imageOf(noise(1, 9, CV_8U))), PixelTypeReal32);
}

TEST(ImageConvolve, RefusesWhatItCannotConvolve)
{
    const ImagePointer good = imageOf(noise(8, 8, CV_8U));
    const auto one = [] { return realList({ 1 }); };
    expectRefused("ImageConvolve", convolve(nullptr, one(), one(), "Fixed"));
    expectRefused("ImageConvolve", convolve(good, nullptr, one(), "Fixed"));
    expectRefused("ImageConvolve", convolve(good, one(), nullptr, "Fixed"));
    expectRefused("ImageConvolve", convolve(sequenceOf({ noise(8, 8, CV_8U) }), one(), one(), "Fixed"));
    expectRefused("ImageConvolve", convolve(good, makeRealTensor({ 3, 3 }), one(), "Fixed"));
    expectRefused("ImageConvolve", convolve(good, one(), makeRealTensor({ 1, 1 }), "Fixed"));
    expectRefused("ImageConvolve", convolve(good, emptyList(), one(), "Fixed"));
    expectRefused("ImageConvolve", convolve(good, one(), emptyList(), "Fixed"));
    expectRefused("ImageConvolve", convolve(good, makeIntegerTensor({ 3 }), one(), "Fixed"));
    expectRefused("ImageConvolve", convolve(imageOf(cv::Mat(0, 5, CV_8U)), one(), one(), "Fixed"));
    for (const char* padding : { "fixed", "Fixe", "Fixed ", "", "Wrap" })
        expectRefused("ImageConvolve", convolve(good, one(), one(), padding));
}

TEST(ImageConvolve, RefusesEndlessKernels)
{
    const ImagePointer picture = imageOf(noise(60, 80, CV_8U)), tiny = imageOf(noise(2, 2, CV_8U));
    for (const char* padding : { "Reflected", "Constant", "Periodic" })
        EXPECT_REFUSED_IN_CHILD(
            "ImageConvolve",
            convolve(picture, makeRealTensor({ 200000 }), makeRealTensor({ 200000 }), padding));
    EXPECT_REFUSED_IN_CHILD("ImageConvolve",
                            convolve(tiny, realList({ 1 }), makeRealTensor({ 32769 }), "Reflected"));
    EXPECT_REFUSED_IN_CHILD("ImageConvolve",
                            convolve(tiny, makeRealTensor({ 32768 }), makeRealTensor({ 32768 }), "Periodic"));
    succeed("ImageConvolve", convolve(tiny, realList({ 1 }), makeRealTensor({ 32768 }), "Reflected"));
}

TEST(ImageConvolve, SurvivesFaults)
{
    expectSurvivesFaults(
        "ImageConvolve",
        convolve(planarImageOf(noise(8, 9, CV_8UC3)), realList({ 1, 2, 3 }), realList({ 1, 2 }), "Periodic"));
    expectSurvivesFaults(
        "ImageConvolve",
        convolve(imageOf(noise(8, 9, CV_64F)), realList({ 1, 2, 3 }), realList({ 1, 2 }), "Fixed"));
}

} // namespace miravex::test
