#include "tests/support/host_check.h"

#include "tests/ops/photo/bracket.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/photo.hpp>

#include <cmath>
#include <fstream>

namespace miravex::test {

// Expected values: OpenCV called directly with the stated arguments, or worked by hand where said so.

namespace {

const std::vector<std::string> merges { "MergeDebevec", "MergeRobertson" };

Values merge(ImagePointer frames, TensorPointer exposures, TensorPointer response)
{
    return { std::move(frames), std::move(exposures), std::move(response) };
}

TensorPointer noResponse() { return emptyList(); }

/// A response of `length` reals that rises like a square.
TensorPointer squares(int64_t length)
{
    std::vector<double> values;
    for (int64_t i = 0; i < length; ++i) values.push_back(1e-3 + static_cast<double>(i / 3 * (i / 3)) / 1e4);
    return makeRealTensor({ length }, values);
}

cv::Mat matrixOfResponse(const Tensor& response)
{
    cv::Mat matrix(256, 1, CV_32FC3);
    for (int i = 0; i < 768; ++i)
        matrix.ptr<float>()[i] = static_cast<float>(response.reals()[static_cast<std::size_t>(i)]);
    return matrix;
}

template <typename Merger>
cv::Mat merged(const cv::Ptr<Merger>& merger, const std::vector<cv::Mat>& frames, const Tensor& response)
{
    cv::Mat result;
    const std::vector<float> times = bracketTimes(static_cast<int>(frames.size()));
    if (response.length() == 0)
        merger->process(frames, result, times);
    else
        merger->process(frames, result, times, matrixOfResponse(response));
    return result;
}

} // namespace

TEST(Merges, MatchOpenCv)
{
    const std::vector<cv::Mat> frames = bracket(4);
    for (const TensorPointer& response : { noResponse(), squares(768) }) {
        const Values values = merge(sequenceOf(frames), bracketExposures(4), response);
        const cv::Mat expected[] = { merged(cv::createMergeDebevec(), frames, *response),
                                     merged(cv::createMergeRobertson(), frames, *response) };
        for (std::size_t i = 0; i < merges.size(); ++i) {
            const Outcome outcome = succeed(merges[i], values);
            EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected[i])) << merges[i];
            EXPECT_EQ(outcome.image().pixelType, PixelTypeReal32);
            EXPECT_EQ(outcome.image().colorSpace, ColorSpaceUnspecified);
        }
    }
}

TEST(Merges, TakeTheReciprocalsOfExposureTimes) // by hand: half the exposure value is twice the time
{
    const cv::Mat frame(4, 5, CV_8UC3, cv::Scalar::all(100));
    for (const std::string& operation : merges) {
        const auto radiance = [&](double exposure) {
            const Outcome outcome = succeed(
                operation,
                merge(sequenceOf({ frame }), makeRealTensor({ 1 }, std::vector { exposure }), noResponse()));
            return matrixOf(outcome.image()).at<cv::Vec3f>(0, 0)[0];
        };
        EXPECT_NEAR(radiance(8) / radiance(4), 2, 1e-4) << operation;
    }
}

TEST(Merges, RoundReciprocalsOnce) // the double's, not the float's
{
    const std::vector<cv::Mat> frames = bracket(3);
    const std::vector<double> exposures { 6.7, 2.3, 1.1 };
    std::vector<float> times, roundedTwice;
    for (const double exposure : exposures) {
        times.push_back(static_cast<float>(1.0 / exposure));
        roundedTwice.push_back(1.0F / static_cast<float>(exposure));
    }
    cv::Mat expected, other;
    cv::createMergeDebevec()->process(frames, expected, times);
    cv::createMergeDebevec()->process(frames, other, roundedTwice);
    ASSERT_FALSE(sameBits(other, expected));
    const Outcome outcome =
        succeed("MergeDebevec", merge(sequenceOf(frames), makeRealTensor({ 3 }, exposures), noResponse()));
    EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected));
}

TEST(Merges, AcceptTheCurvesOfTheCalibrations)
{
    const ImagePointer frames = sequenceOf(bracket(3));
    const auto curve = [&](const std::string& operation, const Values& values) {
        return std::get<TensorPointer>(succeed(operation, values).result);
    };
    const TensorPointer exposures = bracketExposures(3);
    succeed("MergeDebevec",
            merge(frames, exposures,
                  curve("CalibrateDebevec", { frames, exposures, int64_t { 20 }, 10.0, false })));
    succeed(
        "MergeRobertson",
        merge(frames, exposures, curve("CalibrateRobertson", { frames, exposures, int64_t { 5 }, 0.01 })));
}

TEST(Merges, RefuseOtherResponsesAndExposures)
{
    const ImagePointer frames = sequenceOf(bracket(3));
    const auto list = [](std::vector<double> values) {
        return makeRealTensor({ static_cast<int64_t>(values.size()) }, values);
    };
    for (const std::string& operation : merges) {
        for (const TensorPointer& response :
             { squares(767), squares(769), squares(256), TensorPointer(), makeIntegerTensor({ 768 }) })
            expectRefused(operation, merge(frames, bracketExposures(3), response));
        for (const TensorPointer& exposures :
             { bracketExposures(2), bracketExposures(4), list({ 1, 0, 2 }), list({ 1, -1, 2 }),
               list({ 1, 2, std::nan("") }), TensorPointer(), makeIntegerTensor({ 3 }) })
            expectRefused(operation, merge(frames, exposures, noResponse()));
    }
}

TEST(Merges, SurviveExtremeResponsesAndExposures)
{
    const ImagePointer frames = sequenceOf(bracket(2));
    for (const double extreme : { 0.0, -1.0, std::nan(""), HUGE_VAL, 1e300 }) {
        const TensorPointer response = makeRealTensor({ 768 }, std::vector<double>(768, extreme));
        for (const std::string& operation : merges)
            succeed(operation, merge(frames, bracketExposures(2), response));
    }
    for (const double extreme : { HUGE_VAL, 1e-300, 1e300 })
        for (const std::string& operation : merges)
            succeed(operation,
                    merge(frames, makeRealTensor({ 2 }, std::vector { 1, extreme }), noResponse()));
}

TEST(Merges, RefuseOtherImages)
{
    for (const std::string& operation : merges) {
        for (const ImagePointer& frames :
             { sequenceOf({ noise(8, 8, CV_16UC3) }), sequenceOf({ noise(8, 8, CV_32FC3) }),
               sequenceOf({ noise(8, 8, CV_8U) }), sequenceOf({ noise(8, 8, CV_8UC4) }),
               sequenceOf({ noise(8, 8, CV_8UC3) }, ColorSpaceUnspecified), ImagePointer() })
            expectRefused(operation, merge(frames, bracketExposures(1), noResponse()));
        expectRefused(operation, merge(imageOf(noise(8, 8, CV_8UC3)), emptyList(), noResponse()));
    }
}

TEST(Merges, SurviveFaults)
{
    for (const std::string& operation : merges)
        expectSurvivesFaults(operation,
                             merge(sequenceOf(bracket(2, 8, 9)), bracketExposures(2), noResponse()));
}

TEST(MergeMertens, MatchesOpenCvInGrayAndColour)
{
    for (const int type : { CV_8U, CV_8UC3 }) {
        const std::vector<cv::Mat> frames { noise(21, 30, type), noise(21, 30, type, 2),
                                            noise(21, 30, type, 3) };
        std::vector<cv::Mat> copies;
        for (const cv::Mat& frame : frames) copies.push_back(frame.clone());
        cv::Mat expected;
        cv::createMergeMertens(1, 1, 0)->process(copies, expected);
        const Outcome outcome = succeed("MergeMertens", { sequenceOf(frames) });
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected));
        EXPECT_EQ(outcome.image().pixelType, PixelTypeReal32);
        EXPECT_EQ(outcome.image().colorSpace, ColorSpaceUnspecified);
    }
}

TEST(MergeMertens, AcceptsGrayAndRgbAlone)
{
    const std::vector<cv::Mat> frames { noise(9, 9, CV_8UC3) };
    succeed("MergeMertens", { sequenceOf(frames, ColorSpaceGray) });
    for (const ColorSpace space : std::vector<ColorSpace> { -1, 2, ColorSpaceUnspecified })
        expectRefused("MergeMertens", { sequenceOf(frames, space) });
    expectRefused("MergeMertens", { sequenceOf({ noise(9, 9, CV_8UC2) }, ColorSpaceRGB) }); // OpenCV's own
    expectRefused("MergeMertens", { sequenceOf({ noise(9, 9, CV_16UC3) }) });
    expectRefused("MergeMertens", { sequenceOf({ noise(9, 9, CV_32FC3) }) });
    expectRefused("MergeMertens", { sequenceOf({ noise(9, 9, CV_64FC3) }) });
    expectRefused("MergeMertens", { imageOf(noise(9, 9, CV_8UC3)) });
    expectRefused("MergeMertens", { ImagePointer() });
}

TEST(MergeMertens, SurvivesThinFramesAndFaults)
{
    for (const cv::Size size : { cv::Size(1, 1), cv::Size(1, 30), cv::Size(30, 1), cv::Size(2, 3) })
        succeed("MergeMertens", { sequenceOf({ noise(size.height, size.width, CV_8UC3) }) });
    expectSurvivesFaults("MergeMertens", { sequenceOf({ noise(8, 9, CV_8UC3), noise(8, 9, CV_8UC3, 2) }) });
}

TEST(Merges, ReadABracketOfAChurch) // the exposures that papers on high dynamic range use
{
    const auto folder = testData();
    if (!folder) GTEST_SKIP() << "MIRAVEX_TEST_DATA is not set";
    std::ifstream list(*folder / "exposures/exposures.txt");
    std::vector<cv::Mat> frames;
    std::vector<double> exposures;
    std::string name;
    for (double value = 0; list >> name >> value; exposures.push_back(value)) {
        cv::Mat frame = cv::imread((*folder / "exposures" / name).string());
        ASSERT_FALSE(frame.empty()) << name;
        cv::resize(frame, frame, cv::Size(), 0.25, 0.25, cv::INTER_AREA);
        cv::cvtColor(frame, frame, cv::COLOR_BGR2RGB);
        frames.push_back(frame);
    }
    ASSERT_EQ(frames.size(), 8U);
    const auto count = static_cast<int64_t>(exposures.size());
    const Outcome outcome = succeed(
        "MergeRobertson", merge(sequenceOf(frames), makeRealTensor({ count }, exposures), noResponse()));
    double least = 0, most = 0;
    cv::minMaxLoc(matrixOf(outcome.image()).reshape(1), &least, &most);
    EXPECT_GT(most, 1000 * std::max(least, 1e-9)); // far more than the 1 : 255 of a single frame
}

} // namespace miravex::test
