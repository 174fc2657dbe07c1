#include "tests/support/host_check.h"

#include "tests/ops/photo/bracket.h"

#include <nlohmann/json.hpp>
#include <opencv2/photo.hpp>

#include <cmath>
#include <cstdlib>
#include <fstream>

namespace miravex::test {

// Expected values: OpenCV called directly with the stated arguments, or worked by hand where said so.

namespace {

Values debevec(ImagePointer frames, TensorPointer exposures, int64_t samples, double lambda = 10,
               bool random = false)
{
    return { std::move(frames), std::move(exposures), samples, lambda, random };
}

Values robertson(ImagePointer frames, TensorPointer exposures, int64_t iterations, double threshold = 0.01)
{
    return { std::move(frames), std::move(exposures), iterations, threshold };
}

/// A bracket in which every intensity occurs, in all channels and frames.
std::vector<cv::Mat> fullBracket()
{
    std::vector<cv::Mat> frames;
    for (const double gain : { 0.6, 1.0, 1.6 }) {
        cv::Mat frame(32, 64, CV_8UC3);
        for (int i = 0; i < 32 * 64 * 3; ++i)
            frame.ptr()[i] = cv::saturate_cast<uchar>(i / 3 % 1024 * gain / 4);
        frames.push_back(frame);
    }
    return frames;
}

/// A curve of 768 reals as OpenCV holds it.
cv::Mat curveOf(const Outcome& outcome)
{
    cv::Mat curve(256, 1, CV_32FC3);
    const auto reals = outcome.tensor().reals();
    for (std::size_t i = 0; i < reals.size(); ++i) curve.ptr<float>()[i] = static_cast<float>(reals[i]);
    return curve;
}

} // namespace

TEST(CalibrateDebevec, MatchesOpenCv)
{
    const std::vector<cv::Mat> frames = bracket(3);
    for (const bool random : { false, true }) {
        cv::Mat expected;
        std::srand(7);
        cv::createCalibrateDebevec(30, 12.5F, random)->process(frames, expected, bracketTimes(3));
        std::srand(7);
        const Outcome outcome =
            succeed("CalibrateDebevec", debevec(sequenceOf(frames), bracketExposures(3), 30, 12.5, random));
        EXPECT_EQ(outcome.tensor().dimensions, std::vector<int64_t> { 768 });
        EXPECT_EQ(outcome.tensor().elementType, TensorTypeReal);
        EXPECT_TRUE(sameBits(curveOf(outcome), expected)) << random;
    }
}

TEST(CalibrateDebevec, FindsALinearResponse) // closed form: the bracket is linear up to rounding
{
    const Outcome outcome =
        succeed("CalibrateDebevec", debevec(sequenceOf(bracket(3)), bracketExposures(3), 60));
    const cv::Mat curve = curveOf(outcome);
    const auto at = [&](int value) { return curve.at<cv::Vec3f>(value)[1]; };
    EXPECT_NEAR(at(200) / at(100), 2, 0.2);
    EXPECT_NEAR(at(120) / at(60), 2, 0.2);
}

TEST(CalibrateDebevec, IgnoresTheColourSpace)
{
    succeed("CalibrateDebevec", debevec(sequenceOf(bracket(2), 7), bracketExposures(2), 10));
}

TEST(CalibrateDebevec, BoundsItsSamples)
{
    const ImagePointer frames = sequenceOf(bracket(2));
    const TensorPointer exposures = bracketExposures(2);
    for (const int64_t samples : { int64_t { 1 }, int64_t { 0 }, int64_t { -5 }, INT64_MIN })
        expectRefused("CalibrateDebevec", debevec(frames, exposures, samples));
    succeed("CalibrateDebevec", debevec(frames, exposures, 2));
    succeed("CalibrateDebevec", debevec(frames, exposures, (int64_t { 1 } << 32) + 2));
    EXPECT_REFUSED_IN_CHILD("CalibrateDebevec", debevec(frames, exposures, 2000, 10, true));
    EXPECT_REFUSED_IN_CHILD("CalibrateDebevec", debevec(frames, exposures, INT32_MAX));
    for (const bool random : { false, true })
        expectRefused("CalibrateDebevec", debevec(frames, exposures, 500, 10, random));
}

TEST(CalibrateDebevec, RefusesGridsThatDoNotFit)
{
    // Two samples over 1 x 300 pixels come to no point in a row or more than the picture has in a column.
    const auto thin = [](int rows, int columns) {
        return sequenceOf({ noise(rows, columns, CV_8UC3), noise(rows, columns, CV_8UC3, 2) });
    };
    EXPECT_REFUSED_IN_CHILD("CalibrateDebevec", debevec(thin(300, 1), bracketExposures(2), 2));
    EXPECT_REFUSED_IN_CHILD("CalibrateDebevec", debevec(thin(1, 300), bracketExposures(2), 2));
    EXPECT_REFUSED_IN_CHILD("CalibrateDebevec", debevec(thin(2, 2), bracketExposures(2), 70));
    succeed("CalibrateDebevec", debevec(thin(300, 1), bracketExposures(2), 2, 10, true));
}

TEST(CalibrateDebevec, RefusesOtherImagesAndExposures)
{
    const ImagePointer frames = sequenceOf(bracket(3));
    const auto list = [](std::vector<double> values) {
        return makeRealTensor({ static_cast<int64_t>(values.size()) }, values);
    };
    for (const TensorPointer& exposures :
         { list({ 1, 2 }), list({ 1, 2, 3, 4 }), list({ 1, 0, 3 }), list({ 1, -1, 3 }),
           list({ 1, std::nan(""), 3 }), list({}), TensorPointer(), makeIntegerTensor({ 3 }) }) {
        expectRefused("CalibrateDebevec", debevec(frames, exposures, 10));
        expectRefused("CalibrateRobertson", robertson(frames, exposures, 2));
    }
    for (const ImagePointer& other :
         { sequenceOf({ noise(20, 20, CV_16UC3) }), sequenceOf({ noise(20, 20, CV_32FC3) }),
           sequenceOf({ noise(20, 20, CV_8U) }), sequenceOf({ noise(20, 20, CV_8UC4) }), ImagePointer() }) {
        expectRefused("CalibrateDebevec", debevec(other, list({ 1 }), 10));
        expectRefused("CalibrateRobertson", robertson(other, list({ 1 }), 2));
    }
    expectRefused("CalibrateDebevec", debevec(imageOf(noise(20, 20, CV_8UC3)), list({}), 10));
    expectRefused("CalibrateRobertson", robertson(imageOf(noise(20, 20, CV_8UC3)), list({}), 2));
    expectRefused("CalibrateRobertson", robertson(sequenceOf(bracket(3), 7), bracketExposures(3), 2));
}

TEST(CalibrateDebevec, AcceptsExtremeExposures)
{
    const auto list = [](std::vector<double> values) { return makeRealTensor({ 2 }, values); };
    const ImagePointer frames = sequenceOf(bracket(2));
    for (const double extreme : { HUGE_VAL, 1e-300, 1e300 }) {
        succeed("CalibrateDebevec", debevec(frames, list({ 1, extreme }), 2));
        succeed("CalibrateRobertson", robertson(frames, list({ 1, extreme }), 3));
    }
    for (const double lambda : { 0.0, 1e36, -1e36 })
        succeed("CalibrateDebevec", debevec(frames, list({ 1, 2 }), 2, lambda));
    for (const double lambda : { 3e38, -HUGE_VAL })
        EXPECT_REFUSED_IN_CHILD("CalibrateDebevec", debevec(frames, list({ 1, 2 }), 2, lambda));
    for (const double lambda : { 1.1e36, 1e300, std::nan("") })
        expectRefused("CalibrateDebevec", debevec(frames, list({ 1, 2 }), 2, lambda));
}

TEST(CalibrateDebevec, SurvivesFaults)
{
    expectSurvivesFaults("CalibrateDebevec", debevec(sequenceOf(bracket(2)), bracketExposures(2), 4));
}

TEST(CalibrateRobertson, MatchesOpenCvWhereAllIntensitiesOccur)
{
    const std::vector<cv::Mat> frames = fullBracket();
    for (const auto& [iterations, threshold] :
         std::vector<std::pair<int, float>> { { 5, 0.01F }, { 1, 0.0F }, { 0, 0.01F }, { -3, 1.0F } }) {
        cv::Mat expected;
        cv::createCalibrateRobertson(iterations, threshold)->process(frames, expected, bracketTimes(3));
        const Outcome outcome = succeed(
            "CalibrateRobertson", robertson(sequenceOf(frames), bracketExposures(3), iterations, threshold));
        EXPECT_EQ(outcome.tensor().dimensions, std::vector<int64_t> { 768 });
        EXPECT_TRUE(sameBits(curveOf(outcome), expected)) << iterations;
    }
}

TEST(CalibrateRobertson, CutsIterationsToTheirLow32Bits)
{
    const ImagePointer frames = sequenceOf(bracket(2));
    const int64_t beyond = int64_t { 1 } << 32;
    const auto curve = [&](int64_t iterations) {
        return curveOf(
            succeed("CalibrateRobertson", robertson(frames, bracketExposures(2), iterations, 0.0001)));
    };
    EXPECT_TRUE(sameBits(curve(beyond + 3), curve(3)));
    EXPECT_FALSE(sameBits(curve(3), curve(1)));
}

/// The full bracket without the intensity 50, and without 77 in green.
std::vector<cv::Mat> bracketWithGaps()
{
    std::vector<cv::Mat> frames = fullBracket();
    for (cv::Mat& frame : frames) {
        frame.setTo(cv::Scalar(40, 41, 42), frame == cv::Scalar(50, 50, 50));
        for (int i = 0; i < 32 * 64; ++i) {
            uchar& green = frame.ptr()[3 * i + 1];
            if (green == 77) green = 78;
        }
    }
    return frames;
}

TEST(CalibrateRobertson, GivesAbsentIntensities0)
{
    const std::vector<cv::Mat> frames = bracketWithGaps();
    constexpr float endless = 0;
    cv::Mat expected;
    cv::createCalibrateRobertson(4, endless)->process(frames, expected, bracketTimes(3));
    const cv::Mat curve = curveOf(
        succeed("CalibrateRobertson", robertson(sequenceOf(frames), bracketExposures(3), 4, endless)));
    EXPECT_EQ(curve.at<cv::Vec3f>(77)[1], 0);
    EXPECT_GT(curve.at<cv::Vec3f>(77)[0], 0);
    EXPECT_EQ(cv::norm(curve.at<cv::Vec3f>(50)), 0);
    cv::patchNaNs(expected, 0);
    EXPECT_TRUE(sameBits(curve, expected));
}

TEST(CalibrateRobertson, StopsAtTheThresholdAlsoWhereIntensitiesAreAbsent)
{
    const ImagePointer frames = sequenceOf(bracketWithGaps());
    const auto curve = [&](int64_t iterations, double threshold) {
        return curveOf(
            succeed("CalibrateRobertson", robertson(frames, bracketExposures(3), iterations, threshold)));
    };
    // The first curve changes by less than 256 in all; any change at all is more than 0.
    EXPECT_TRUE(sameBits(curve(30, 256), curve(1, 0)));
    EXPECT_FALSE(sameBits(curve(30, 0), curve(1, 0)));
    // The change is the sum over the entries, as a mean over the channels.
    const cv::Mat first = curve(1, 0), second = curve(2, 0);
    const double change = cv::norm(first, second, cv::NORM_L1) / 3;
    EXPECT_TRUE(sameBits(curve(30, change * 1.001), second));
    EXPECT_FALSE(sameBits(curve(30, change * 0.999), second));
}

TEST(CalibrateRobertson, AgreesWithStoredCurvesOfOpenCv34)
{
    const auto folder = testData();
    if (!folder || !exists(*folder / "robertson-34.json")) GTEST_SKIP() << "MIRAVEX_TEST_DATA has no curves";
    std::ifstream file(*folder / "robertson-34.json");
    const nlohmann::json cases = nlohmann::json::parse(file).at("cases");
    EXPECT_EQ(cases.size(), 12U);
    for (const nlohmann::json& stored : cases) {
        const int rows = stored.at("rows"), columns = stored.at("columns"), step = stored.at("step");
        const int count = stored.at("frames");
        std::vector<cv::Mat> frames;
        std::vector<double> exposures;
        for (int k = 0; k < count; ++k) {
            cv::Mat frame(rows, columns, CV_8UC3);
            for (int i = 0; i < rows * columns * 3; ++i)
                frame.ptr()[i] = cv::saturate_cast<uchar>((i / 3 * step + 17 * (i % 3)) * (1 << k) / 4);
            frames.push_back(frame);
            exposures.push_back(8.0 / (1 << k));
        }
        const Outcome outcome = succeed("CalibrateRobertson",
                                        robertson(sequenceOf(frames), makeRealTensor({ count }, exposures),
                                                  stored.at("iterations"), stored.at("threshold")));
        const auto curve = outcome.tensor().reals();
        const std::vector<double> expected = stored.at("curve");
        ASSERT_EQ(expected.size(), curve.size());
        for (std::size_t i = 0; i < expected.size(); ++i)
            ASSERT_NEAR(curve[i], expected[i], 1e-6)
                << "element " << i << " after " << stored.at("iterations") << " iterations, threshold "
                << stored.at("threshold");
    }
}

TEST(CalibrateRobertson, LeavesChannelsWithoutTheMiddleIntensityAlone)
{
    std::vector<cv::Mat> frames = fullBracket();
    for (cv::Mat& frame : frames)
        for (int i = 0; i < 32 * 64; ++i)
            if (frame.ptr()[3 * i] == 128) frame.ptr()[3 * i] = 127;
    const cv::Mat curve =
        curveOf(succeed("CalibrateRobertson", robertson(sequenceOf(frames), bracketExposures(3), 2, 0.01)));
    EXPECT_TRUE(CV_VERSION_MAJOR < 4 || std::isnan(curve.at<cv::Vec3f>(128)[0]));
    EXPECT_EQ(curve.at<cv::Vec3f>(128)[1], 1);
}

TEST(CalibrateRobertson, RefusesEndlessIterations)
{
    const ImagePointer frames = sequenceOf(bracket(3));
    for (const double threshold : { 0.0, -1.0, std::nan("") })
        EXPECT_REFUSED_IN_CHILD("CalibrateRobertson",
                                robertson(frames, bracketExposures(3), INT32_MAX, threshold));
    expectRefused("CalibrateRobertson", robertson(frames, bracketExposures(3), 10001));
    EXPECT_ACCEPTED_IN_CHILD(
        "CalibrateRobertson",
        robertson(sequenceOf({ noise(2, 2, CV_8UC3) }), bracketExposures(1), 10000, std::nan("")));
}

TEST(CalibrateRobertson, CreatesItsTensorBeforeItConvertsAndLooksAtItLast)
{
    // Planar frames make the host convert them: a conversion that follows the refused tensor shows that the
    // refusal was noticed in the end only.
    ImagePointer frames = makeImage({ .rows = 9, .columns = 8, .channels = 3, .slices = 1 }, PixelTypeByte,
                                    ColorSpaceRGB, false);
    const Values values = robertson(frames, bracketExposures(1), 2);
    ASSERT_EQ(invoke("CalibrateRobertson", values).accounting.allocations, 2);
    const Outcome outcome = invoke("CalibrateRobertson", values, { .failingAllocation = 0 });
    EXPECT_EQ(outcome.status, StatusFunctionError);
    EXPECT_EQ(outcome.accounting.allocations, 2);
}

TEST(CalibrateRobertson, SurvivesFaults)
{
    expectSurvivesFaults("CalibrateRobertson", robertson(sequenceOf(bracket(2)), bracketExposures(2), 2));
}

} // namespace miravex::test
