#include "convert/own_kernels.h"
#include "tests/support/host_check.h"

#include <opencv2/photo.hpp>

#include <cmath>

namespace miravex::test {

// Expected values: OpenCV called directly with the stated arguments, or worked by hand where said so.

namespace {

Values gray(ImagePointer image, double strength, int64_t patch, int64_t search)
{
    return { std::move(image), strength, patch, search };
}

Values colored(ImagePointer image, double strength, double color, int64_t patch, int64_t search)
{
    return { std::move(image), strength, color, patch, search };
}

Values multi(ImagePointer frames, int64_t frame, int64_t temporal, double strength, int64_t patch,
             int64_t search)
{
    return { std::move(frames), frame, temporal, strength, patch, search };
}

Values coloredMulti(ImagePointer frames, int64_t frame, int64_t temporal, double strength, double color,
                    int64_t patch, int64_t search)
{
    return { std::move(frames), frame, temporal, strength, color, patch, search };
}

std::vector<cv::Mat> frames(int count, int type, int rows = 24, int columns = 28)
{
    std::vector<cv::Mat> made;
    for (int i = 0; i < count; ++i) made.push_back(noise(rows, columns, type, static_cast<uint64_t>(i) + 1));
    return made;
}

/// Black and white at random: the largest differences that bytes can have.
cv::Mat checkers(int rows, int columns, int type) { return (noise(rows, columns, type) > 127); }

/// A call that OpenCV would not survive works with our own kernels, and is refused without.
void expectWorksWithOwnKernels(std::string_view operation, const Values& values)
{
    if (ownKernels()) {
        succeed(operation, values);
        return;
    }
    const Outcome outcome = invoke(operation, values);
    EXPECT_EQ(outcome.status, StatusFunctionError);
    EXPECT_THAT(outcome.openCvError, ::testing::HasSubstr("does not survive"));
}

} // namespace

// --- one image ------------------------------------------------------------------------------------------

TEST(FastNlMeansDenoising, MatchesOpenCv)
{
    for (const int channels : { 1, 2, 3 }) {
        const cv::Mat picture = noise(30, 41, CV_8UC(channels));
        cv::Mat expected;
        cv::fastNlMeansDenoising(picture, expected, 30.0F, 5, 11);
        const Outcome outcome = succeed("FastNlMeansDenoising", gray(imageOf(picture), 30, 5, 11));
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected)) << channels << " channels";
        EXPECT_EQ(outcome.image().colorSpace, ColorSpaceUnspecified);
        EXPECT_EQ(outcome.image().pixelType, PixelTypeByte);
    }
}

TEST(FastNlMeansDenoising, LeavesFlatPicturesAlone) // by hand: every mean is the value itself
{
    const cv::Mat flat(9, 11, CV_8U, cv::Scalar(77));
    const Outcome outcome = succeed("FastNlMeansDenoising", gray(imageOf(flat), 10, 3, 7));
    EXPECT_TRUE(sameBits(matrixOf(outcome.image()), flat));
}

TEST(FastNlMeansDenoising, PassesStrengthsAsTheNearestFloat)
{
    const cv::Mat picture = noise(16, 16, CV_8U) / 8;
    for (const double strength : { 0.1, 3.3, 1e-60, 0.0, -5.0, std::nan(""), 1e300 }) {
        cv::Mat expected;
        cv::fastNlMeansDenoising(picture, expected, static_cast<float>(strength), 3, 5);
        const Outcome outcome = succeed("FastNlMeansDenoising", gray(imageOf(picture), strength, 3, 5));
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected)) << strength;
    }
}

TEST(FastNlMeansDenoising, AcceptsTinyPicturesAndPlanarOnes)
{
    for (const cv::Size size : { cv::Size(1, 1), cv::Size(1, 9), cv::Size(9, 1) }) {
        const cv::Mat picture = noise(size.height, size.width, CV_8U);
        cv::Mat expected;
        cv::fastNlMeansDenoising(picture, expected, 10.0F, 7, 21);
        const Outcome outcome = succeed("FastNlMeansDenoising", gray(imageOf(picture), 10, 7, 21));
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected)) << size;
    }
    const cv::Mat colour = noise(12, 10, CV_8UC3);
    EXPECT_TRUE(
        sameBits(matrixOf(succeed("FastNlMeansDenoising", gray(planarImageOf(colour), 20, 3, 5)).image()),
                 matrixOf(succeed("FastNlMeansDenoising", gray(imageOf(colour), 20, 3, 5)).image())));
}

TEST(FastNlMeansDenoising, RefusesEvenWindows)
{
    const ImagePointer image = imageOf(noise(12, 12, CV_8U));
    expectRefused("FastNlMeansDenoising", gray(image, 10, 6, 21));
    expectRefused("FastNlMeansDenoising", gray(image, 10, 7, 20));
    expectRefused("FastNlMeansDenoising", gray(image, 10, 0, 0));
    cv::Mat result; // OpenCV itself takes them
    EXPECT_NO_THROW(cv::fastNlMeansDenoising(noise(12, 12, CV_8U), result, 10.0F, 6, 20));
}

TEST(FastNlMeansDenoising, CutsWindowsTo32Bits)
{
    const ImagePointer image = imageOf(noise(12, 12, CV_8U));
    const int64_t beyond = int64_t { 1 } << 32;
    EXPECT_TRUE(
        sameBits(matrixOf(succeed("FastNlMeansDenoising", gray(image, 10, beyond + 3, beyond + 5)).image()),
                 matrixOf(succeed("FastNlMeansDenoising", gray(image, 10, 3, 5)).image())));
}

TEST(FastNlMeansDenoising, RefusesOtherImages)
{
    expectRefused("FastNlMeansDenoising", gray(imageOf(noise(12, 12, CV_8UC4)), 10, 3, 5));
    expectRefused("FastNlMeansDenoising", gray(imageOf(noise(12, 12, CV_8UC3), 7), 10, 3, 5));
    expectRefused("FastNlMeansDenoising", gray(imageOf(noise(12, 12, CV_8UC3), ColorSpaceGray), 10, 3, 5));
    succeed("FastNlMeansDenoising", gray(imageOf(noise(12, 12, CV_8U), 7), 10, 3, 5));
    expectRefused("FastNlMeansDenoising", gray(imageOf(noise(12, 12, CV_32F)), 10, 3, 5));
    expectRefused("FastNlMeansDenoising", gray(imageOf(noise(12, 12, CV_16U)), 10, 3, 5));
    expectRefused("FastNlMeansDenoising", gray(bitImageOf(noise(12, 12, CV_8U)), 10, 3, 5));
    expectRefused("FastNlMeansDenoising", gray(sequenceOf(frames(3, CV_8U)), 10, 3, 5));
    expectRefused("FastNlMeansDenoising", gray(nullptr, 10, 3, 5));
}

TEST(FastNlMeansDenoising, RefusesWindowsBeyondItsBounds)
{
    const ImagePointer image = imageOf(noise(20, 20, CV_8U));
    EXPECT_REFUSED_IN_CHILD("FastNlMeansDenoising", gray(image, 10, 7, -7));
    EXPECT_REFUSED_IN_CHILD("FastNlMeansDenoising", gray(image, 10, -7, 7));
    EXPECT_REFUSED_IN_CHILD("FastNlMeansDenoising", gray(image, 10, 7, 4097));
    EXPECT_REFUSED_IN_CHILD("FastNlMeansDenoising", gray(image, 10, 7, INT32_MAX));
    EXPECT_REFUSED_IN_CHILD("FastNlMeansDenoising", gray(image, 10, INT32_MAX, 7));
    // 4095 is within its sums, but there are more than 2^42 pixels to compare.
    EXPECT_REFUSED_IN_CHILD("FastNlMeansDenoising", gray(imageOf(noise(520, 520, CV_8U)), 10, 7, 4095));
    expectWorksWithOwnKernels("FastNlMeansDenoising", gray(imageOf(noise(1, 1, CV_8U)), 10, 1, 2903));
}

TEST(FastNlMeansDenoising, RefusesTemplatesThatOverflow)
{
    // The least templates that may overflow on black and white, and the greatest that can't. OpenCV survives
    // less than that.
    for (const auto& [channels, side] :
         std::vector<std::pair<int, int>> { { 1, 259 }, { 2, 183 }, { 3, 149 } }) {
        const ImagePointer image = imageOf(checkers(40, 40, CV_8UC(channels)));
        EXPECT_REFUSED_IN_CHILD("FastNlMeansDenoising", gray(image, 10, side, 5));
        expectWorksWithOwnKernels("FastNlMeansDenoising", gray(image, 10, side - 2, 3));
    }
    for (const auto& [channels, side] :
         std::vector<std::pair<int, int>> { { 1, 181 }, { 2, 127 }, { 3, 103 } }) {
        const cv::Mat picture = checkers(40, 40, CV_8UC(channels));
        cv::Mat expected;
        cv::fastNlMeansDenoising(picture, expected, 200.0F, side, 3);
        const Outcome outcome = succeed("FastNlMeansDenoising", gray(imageOf(picture), 200, side, 3));
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected)) << channels << " channels";
        expectWorksWithOwnKernels("FastNlMeansDenoising", gray(imageOf(picture), 200, side + 2, 3));
    }
}

TEST(FastNlMeansDenoising, RemovesRealNoise)
{
    const cv::Mat picture = photo("baboon.jpg", true);
    SKIP_WITHOUT(picture);
    const cv::Mat clean = picture(cv::Rect(150, 100, 96, 96)).clone();
    cv::Mat grain(clean.size(), CV_32F), noisy;
    cv::RNG(5).fill(grain, cv::RNG::NORMAL, 0, 25);
    clean.convertTo(noisy, CV_32F);
    cv::Mat(noisy + grain).convertTo(noisy, CV_8U);
    const Outcome outcome = succeed("FastNlMeansDenoising", gray(imageOf(noisy), 22, 5, 15));
    EXPECT_GT(cv::PSNR(matrixOf(outcome.image()), clean), cv::PSNR(noisy, clean) + 1);
}

TEST(FastNlMeansDenoising, SurvivesFaults)
{
    expectSurvivesFaults("FastNlMeansDenoising", gray(planarImageOf(noise(8, 9, CV_8UC3)), 10, 3, 5));
}

// --- colour ---------------------------------------------------------------------------------------------

TEST(FastNlMeansDenoisingColored, MatchesOpenCv)
{
    const cv::Mat picture = noise(25, 31, CV_8UC3);
    cv::Mat expected;
    cv::fastNlMeansDenoisingColored(picture, expected, 8.1F, 20.2F, 5, 9);
    const Outcome outcome =
        succeed("FastNlMeansDenoisingColored", colored(imageOf(picture), 8.1, 20.2, 5, 9));
    EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected));
    EXPECT_EQ(outcome.image().colorSpace, ColorSpaceUnspecified);
}

TEST(FastNlMeansDenoisingColored, RefusesOtherImagesAndWindows)
{
    const cv::Mat picture = noise(12, 12, CV_8UC3);
    const ImagePointer good = imageOf(picture);
    expectRefused("FastNlMeansDenoisingColored", colored(good, 5, 5, 6, 9));
    expectRefused("FastNlMeansDenoisingColored", colored(good, 5, 5, 5, 8));
    for (const ColorSpace space : std::vector<ColorSpace> { ColorSpaceGray, 2, 7, ColorSpaceUnspecified })
        expectRefused("FastNlMeansDenoisingColored", colored(imageOf(picture, space), 5, 5, 3, 5));
    for (const int channels : { 1, 2, 4 })
        expectRefused("FastNlMeansDenoisingColored",
                      colored(imageOf(noise(12, 12, CV_8UC(channels)), ColorSpaceRGB), 5, 5, 3, 5));
    expectRefused("FastNlMeansDenoisingColored", colored(imageOf(noise(12, 12, CV_32FC3)), 5, 5, 3, 5));
    expectRefused("FastNlMeansDenoisingColored", colored(imageOf(noise(12, 12, CV_16UC3)), 5, 5, 3, 5));
    expectRefused("FastNlMeansDenoisingColored", colored(sequenceOf(frames(2, CV_8UC3)), 5, 5, 3, 5));
    expectRefused("FastNlMeansDenoisingColored", colored(nullptr, 5, 5, 3, 5));
    EXPECT_REFUSED_IN_CHILD("FastNlMeansDenoisingColored", colored(good, 5, 5, 3, -5));
    EXPECT_REFUSED_IN_CHILD("FastNlMeansDenoisingColored", colored(good, 5, 5, 183, 5));
    EXPECT_REFUSED_IN_CHILD("FastNlMeansDenoisingColored", colored(good, 5, 5, 7, 4097));
    succeed("FastNlMeansDenoisingColored", colored(good, 5, 5, 127, 3));
    expectWorksWithOwnKernels("FastNlMeansDenoisingColored", colored(good, 5, 5, 181, 3));
}

TEST(FastNlMeansDenoisingColored, SurvivesFaults)
{
    expectSurvivesFaults("FastNlMeansDenoisingColored",
                         colored(planarImageOf(noise(8, 9, CV_8UC3)), 5, 5, 3, 5));
}

// --- sequences ------------------------------------------------------------------------------------------

TEST(FastNlMeansDenoisingMulti, MatchesOpenCvAndCountsFramesFrom1)
{
    for (const int channels : { 1, 2, 3, 4 }) {
        const std::vector<cv::Mat> sequence = frames(5, CV_8UC(channels));
        for (const int64_t frame : { 2, 3, 4 }) {
            cv::Mat expected;
            cv::fastNlMeansDenoisingMulti(sequence, expected, static_cast<int>(frame) - 1, 3, 25.5F, 3, 7);
            const Outcome outcome =
                succeed("FastNlMeansDenoisingMulti", multi(sequenceOf(sequence), frame, 3, 25.5, 3, 7));
            EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected)) << channels << ", frame " << frame;
            EXPECT_EQ(outcome.image().colorSpace, ColorSpaceUnspecified);
            EXPECT_EQ(outcome.image().rank(), 2);
        }
    }
}

TEST(FastNlMeansDenoisingMulti, IgnoresTheColourSpace)
{
    const std::vector<cv::Mat> sequence = frames(1, CV_8UC3);
    succeed("FastNlMeansDenoisingMulti", multi(sequenceOf(sequence, 7), 1, 1, 10, 3, 5));
    succeed("FastNlMeansDenoisingColoredMulti", coloredMulti(sequenceOf(sequence, 7), 1, 1, 10, 10, 3, 5));
}

TEST(FastNlMeansDenoisingMulti, ChecksTheTemporalRange)
{
    const ImagePointer five = sequenceOf(frames(5, CV_8U));
    const auto at = [&](int64_t frame, int64_t temporal) { return multi(five, frame, temporal, 10, 3, 5); };
    for (const auto& values : { at(1, 3), at(0, 1), at(-1, 1), at(INT64_MIN, 1), at(INT64_MAX, 1), at(6, 1),
                                at(7, 1), at(2, 5), at(3, 7), at(3, INT32_MAX) })
        expectRefused("FastNlMeansDenoisingMulti", values);
    for (const auto& values : { at(1, 1), at(5, 1), at(2, 3), at(4, 3), at(3, 5) })
        succeed("FastNlMeansDenoisingMulti", values);
}

TEST(FastNlMeansDenoisingMulti, RefusesTheFrameBehindTheLastWithAReason)
{
    // i + half equal to the number of frames passes the first check of the library.
    const ImagePointer five = sequenceOf(frames(5, CV_8U));
    const Outcome outcome = invoke("FastNlMeansDenoisingMulti", multi(five, 5, 3, 10, 3, 5));
    EXPECT_EQ(outcome.status, StatusFunctionError);
    EXPECT_THAT(outcome.openCvError, ::testing::HasSubstr("temporal window"));
    EXPECT_TRUE(invoke("FastNlMeansDenoisingMulti", multi(five, 6, 3, 10, 3, 5)).openCvError.empty());
}

TEST(FastNlMeansDenoisingColoredMulti, ChecksTheTemporalRangeLikeTheOther)
{
    const ImagePointer five = sequenceOf(frames(5, CV_8UC3));
    const auto at = [&](int64_t frame, int64_t temporal) {
        return coloredMulti(five, frame, temporal, 10, 10, 3, 5);
    };
    for (const auto& values : { at(1, 3), at(0, 1), at(INT64_MIN, 1), at(6, 3), at(2, 5) }) {
        const Outcome outcome = invoke("FastNlMeansDenoisingColoredMulti", values);
        EXPECT_EQ(outcome.status, StatusFunctionError);
        EXPECT_TRUE(outcome.openCvError.empty()) << "refused before OpenCV is called";
    }
    for (const auto& values : { at(1, 1), at(5, 1), at(2, 3), at(3, 5) })
        succeed("FastNlMeansDenoisingColoredMulti", values);
    const Outcome behind = invoke("FastNlMeansDenoisingColoredMulti", at(5, 3));
    EXPECT_EQ(behind.status, StatusFunctionError);
    EXPECT_THAT(behind.openCvError, ::testing::HasSubstr("temporal window"));
}

TEST(FastNlMeansDenoisingColoredMulti, ChecksItsWindows)
{
    const ImagePointer flat = sequenceOf(frames(3, CV_8UC3, 16, 40));
    const auto at = [&](int64_t temporal, int64_t patch, int64_t search) {
        return coloredMulti(flat, 2, temporal, 10, 10, patch, search);
    };
    for (const auto& values : { at(3, 7, 21), at(3, 17, 5), at(2, 3, 5), at(3, 4, 5), at(3, 3, 6) }) {
        const Outcome outcome = invoke("FastNlMeansDenoisingColoredMulti", values);
        EXPECT_EQ(outcome.status, StatusFunctionError);
        EXPECT_TRUE(outcome.openCvError.empty()) << "refused before OpenCV is called";
    }
    succeed("FastNlMeansDenoisingColoredMulti", at(3, 15, 15));
}

TEST(FastNlMeansDenoisingMulti, ChecksWindowsAgainstTheFrames)
{
    const ImagePointer flat = sequenceOf(frames(3, CV_8U, 16, 40));
    const ImagePointer upright = sequenceOf(frames(3, CV_8U, 40, 16));
    for (const ImagePointer& sequence : { flat, upright }) {
        const Outcome outcome = invoke("FastNlMeansDenoisingMulti", multi(sequence, 2, 3, 10, 7, 21));
        EXPECT_EQ(outcome.status, StatusFunctionError);
        EXPECT_TRUE(outcome.openCvError.empty()) << "refused before OpenCV is called";
        expectRefused("FastNlMeansDenoisingMulti", multi(sequence, 2, 3, 10, 17, 5));
        succeed("FastNlMeansDenoisingMulti", multi(sequence, 2, 3, 10, 15, 15));
    }
    for (const auto& [temporal, patch, search] :
         std::vector<std::tuple<int, int, int>> { { 2, 3, 5 }, { 3, 4, 5 }, { 3, 3, 6 } })
        expectRefused("FastNlMeansDenoisingMulti", multi(flat, 2, temporal, 10, patch, search));
}

TEST(FastNlMeansDenoisingMulti, RefusesFramesFarBeyondTheSequence)
{
    const ImagePointer sequence = sequenceOf(frames(5, CV_8U));
    for (const int64_t frame : { INT64_MAX, INT64_MAX - 1, INT64_MIN }) {
        const Outcome outcome = invoke("FastNlMeansDenoisingMulti", multi(sequence, frame, 5, 10, 3, 5));
        EXPECT_EQ(outcome.status, StatusFunctionError) << frame;
        EXPECT_EQ(outcome.openCvError, "") << frame << " was not refused before OpenCV";
    }
}

TEST(FastNlMeansDenoisingMulti, RefusesOtherImages)
{
    expectRefused("FastNlMeansDenoisingMulti", multi(sequenceOf(frames(3, CV_8UC(5))), 2, 3, 10, 3, 5));
    expectRefused("FastNlMeansDenoisingMulti", multi(sequenceOf(frames(3, CV_16U)), 2, 3, 10, 3, 5));
    expectRefused("FastNlMeansDenoisingMulti", multi(sequenceOf(frames(3, CV_32F)), 2, 3, 10, 3, 5));
    expectRefused("FastNlMeansDenoisingMulti", multi(imageOf(noise(12, 12, CV_8U)), 1, 1, 10, 3, 5));
    expectRefused("FastNlMeansDenoisingMulti", multi(nullptr, 1, 1, 10, 3, 5));
    expectRefused("FastNlMeansDenoisingColoredMulti",
                  coloredMulti(sequenceOf(frames(3, CV_8UC4)), 2, 3, 10, 10, 3, 5));
    expectRefused("FastNlMeansDenoisingColoredMulti",
                  coloredMulti(sequenceOf(frames(3, CV_8U)), 2, 3, 10, 10, 3, 5));
    expectRefused("FastNlMeansDenoisingColoredMulti",
                  coloredMulti(sequenceOf(frames(3, CV_16UC3)), 2, 3, 10, 10, 3, 5));
    expectRefused("FastNlMeansDenoisingColoredMulti",
                  coloredMulti(sequenceOf(frames(3, CV_32FC3)), 2, 3, 10, 10, 3, 5));
    expectRefused("FastNlMeansDenoisingColoredMulti", coloredMulti(nullptr, 1, 1, 10, 10, 3, 5));
}

TEST(FastNlMeansDenoisingMulti, RefusesWindowsBeyondItsBounds)
{
    const ImagePointer sequence = sequenceOf(frames(5, CV_8U));
    EXPECT_REFUSED_IN_CHILD("FastNlMeansDenoisingMulti", multi(sequence, 3, -3, 10, 3, 5));
    EXPECT_REFUSED_IN_CHILD("FastNlMeansDenoisingMulti", multi(sequence, 3, -1, 10, 3, 5));
    EXPECT_REFUSED_IN_CHILD("FastNlMeansDenoisingMulti", multi(sequence, 3, 1, 10, 3, -5));
    EXPECT_REFUSED_IN_CHILD("FastNlMeansDenoisingMulti", multi(sequence, 3, 1, 10, -3, 5));
    const ImagePointer colour = sequenceOf(frames(5, CV_8UC3));
    EXPECT_REFUSED_IN_CHILD("FastNlMeansDenoisingColoredMulti", coloredMulti(colour, 3, -3, 10, 10, 3, 5));
    const ImagePointer four = sequenceOf({ checkers(131, 131, CV_8UC4) });
    EXPECT_REFUSED_IN_CHILD("FastNlMeansDenoisingMulti", multi(four, 1, 1, 10, 129, 5));
    succeed("FastNlMeansDenoisingMulti", multi(four, 1, 1, 10, 89, 3));
    for (const int side : { 91, 127 })
        expectWorksWithOwnKernels("FastNlMeansDenoisingMulti", multi(four, 1, 1, 10, side, 3));
    const ImagePointer three = sequenceOf(frames(3, CV_8UC3, 185, 190));
    EXPECT_REFUSED_IN_CHILD("FastNlMeansDenoisingColoredMulti", coloredMulti(three, 2, 1, 10, 10, 183, 3));
    for (const int side : { 129, 181 })
        expectWorksWithOwnKernels("FastNlMeansDenoisingColoredMulti",
                                  coloredMulti(three, 2, 1, 10, 10, side, 3));
}

TEST(FastNlMeansDenoisingColoredMulti, MatchesOpenCv)
{
    const std::vector<cv::Mat> sequence = frames(5, CV_8UC3);
    cv::Mat expected;
    cv::fastNlMeansDenoisingColoredMulti(sequence, expected, 2, 5, 4.5F, 12.0F, 3, 7);
    const Outcome outcome =
        succeed("FastNlMeansDenoisingColoredMulti", coloredMulti(sequenceOf(sequence), 3, 5, 4.5, 12, 3, 7));
    EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected));
    EXPECT_EQ(outcome.image().colorSpace, ColorSpaceUnspecified);
}

TEST(FastNlMeansDenoisingMulti, SurvivesFaults)
{
    const std::vector<cv::Mat> sequence = frames(3, CV_8U, 9, 8);
    expectSurvivesFaults("FastNlMeansDenoisingMulti", multi(sequenceOf(sequence), 2, 3, 10, 3, 5));
    expectSurvivesFaults("FastNlMeansDenoisingColoredMulti",
                         coloredMulti(sequenceOf(frames(3, CV_8UC3, 9, 8)), 2, 3, 10, 10, 3, 5));
}

} // namespace miravex::test
