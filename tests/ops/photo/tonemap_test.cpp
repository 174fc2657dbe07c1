#include "tests/ops/photo/tone_reference.h"
#include "tests/support/host_check.h"

#include <opencv2/photo.hpp>

#include <cmath>

namespace miravex::test {

// Expected values: OpenCV called directly where the picture has no black pixel; figures of tone_reference.py,
// an independent implementation, for "Durand" and for black pixels.

namespace {

TensorPointer list(const std::vector<double>& values)
{
    return makeRealTensor({ static_cast<int64_t>(values.size()) }, values);
}

Values tone(ImagePointer image, std::string method, const std::vector<double>& parameters = {})
{
    return { std::move(image), std::move(method), list(parameters) };
}

/// The picture of tone_reference.py.
cv::Mat referencePicture(bool black)
{
    cv::Mat picture(toneRows, toneColumns, CV_32FC3);
    for (int i = 0; i < toneRows * toneColumns * 3; ++i)
        picture.ptr<float>()[i] = static_cast<float>((i * 7919 + 13) % 1000 + 1) / 64.0F;
    if (black) picture.at<cv::Vec3f>(2, 3) = picture.at<cv::Vec3f>(6, 8) = cv::Vec3f::all(0);
    return picture;
}

cv::Mat brightPicture(int rows = 24, int columns = 33)
{
    cv::Mat picture = noise(rows, columns, CV_32FC3) + cv::Scalar::all(0.01);
    cv::pow(picture, 4, picture);
    return picture;
}

cv::Ptr<cv::Tonemap> openCvMapper(const std::string& method, const std::vector<float>& p)
{
    if (method == "basic") return cv::createTonemap(p[0]);
    if (method == "Drago") return cv::createTonemapDrago(p[0], p[1], p[2]);
    if (method == "Reinhard") return cv::createTonemapReinhard(p[0], p[1], p[2], p[3]);
    return cv::createTonemapMantiuk(p[0], p[1], p[2]);
}

cv::Mat mapped(const cv::Mat& picture, const std::string& method, const std::vector<double>& parameters = {})
{
    return matrixOf(succeed("Tonemap", tone(imageOf(picture), method, parameters)).image());
}

const std::vector<std::pair<std::string, std::vector<double>>> defaults {
    { "basic", { 1 } },           { "Durand", { 1, 4, 1, 2, 2 } },
    { "Drago", { 1, 1, 0.85 } },  { "Reinhard", { 1, 0, 1, 0 } },
    { "Mantiuk", { 1, 0.7, 1 } },
};

/// Largest difference relative to the expected value, where that is not nearly 0.
double relativeDifference(const cv::Mat& actual, const std::vector<double>& expected)
{
    double worst = 0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const double difference = std::abs(actual.ptr<float>()[i] - expected[i]);
        worst = std::max(worst, difference / std::max(std::abs(expected[i]), 1e-7));
    }
    return worst;
}

bool allFinite(const cv::Mat& picture) { return cv::checkRange(picture); }

} // namespace

TEST(Tonemap, MatchesOpenCv)
{
    const cv::Mat picture = brightPicture();
    const std::vector<std::pair<std::string, std::vector<double>>> calls {
        { "basic", { 2.2 } },
        { "basic", { 0 } },
        { "Drago", { 1.5, 1.2, 0.7 } },
        { "Drago", { 0, 0, 0 } },
        { "Reinhard", { 1.1, -2, 0.4, 0.3 } },
        { "Reinhard", { 0, 5, 1, 1 } },
        { "Reinhard", { 1, 0, 0, 0 } },
        { "Mantiuk", { 2.2, 0.9, 1.3 } },
        { "Mantiuk", { 0, -3, 0 } },
    };
    for (const auto& [method, parameters] : calls) {
        std::vector<float> floats;
        for (const double value : parameters) floats.push_back(static_cast<float>(value));
        cv::Mat expected;
        openCvMapper(method, floats)->process(picture, expected);
        const Outcome outcome = succeed("Tonemap", tone(imageOf(picture), method, parameters));
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected)) << method;
        EXPECT_EQ(outcome.image().colorSpace, ColorSpaceUnspecified);
        EXPECT_EQ(outcome.image().pixelType, PixelTypeReal32);
    }
}

TEST(Tonemap, EmptyParametersAreTheDefaults)
{
    const cv::Mat picture = brightPicture();
    for (const auto& [method, parameters] : defaults)
        EXPECT_TRUE(sameBits(mapped(picture, method), mapped(picture, method, parameters))) << method;
}

TEST(Tonemap, RescalesWithBasicAlone) // by hand
{
    const cv::Mat picture = (cv::Mat_<float>(1, 6) << 2, 4, 6, 3, 10, 2);
    const cv::Mat result = mapped(picture.reshape(3, 1), "basic");
    const cv::Mat expected = (cv::Mat_<float>(1, 6) << 0, 0.25, 0.5, 0.125, 1, 0);
    EXPECT_LT(largestDifference(result.reshape(1, 1), expected), 1e-6);
}

TEST(Tonemap, AgreesWithAnIndependentImplementation)
{
    for (const ToneReference& reference : toneReferences()) {
        const cv::Mat result =
            mapped(referencePicture(reference.black), reference.method, reference.parameters);
        EXPECT_LT(relativeDifference(result, reference.samples), 1e-5)
            << reference.method << (reference.black ? " with black pixels" : "") << ", "
            << list(reference.parameters)->reals()[0];
    }
}

TEST(Tonemap, KeepsBlackPixelsBlack)
{
    cv::Mat picture = brightPicture();
    picture.at<cv::Vec3f>(5, 7) = cv::Vec3f::all(0);
    for (const auto& [method, parameters] : defaults) {
        const cv::Mat result = mapped(picture, method, parameters);
        EXPECT_TRUE(allFinite(result)) << method;
        EXPECT_EQ(cv::norm(result.at<cv::Vec3f>(5, 7)), 0) << method;
        double most = 0;
        cv::minMaxLoc(result.reshape(1), nullptr, &most);
        EXPECT_GT(most, 0.9) << method;
    }
    // A single pixel must not change the others much: the least sample was nearly 0 before.
    for (const auto& [method, parameters] : { defaults[2], defaults[4] }) {
        std::vector<double> saturated = parameters;
        saturated[method == "Drago" ? 1 : 2] = 1.3;
        const cv::Mat result = mapped(picture, method, saturated);
        EXPECT_TRUE(allFinite(result)) << method;
        EXPECT_GT(cv::mean(result)[0], 0.02) << method;
    }
}

TEST(Tonemap, GivesOpenCvsResultForSaturation0WithBlackPixels)
{
    cv::Mat picture = brightPicture();
    picture.at<cv::Vec3f>(5, 7) = cv::Vec3f::all(0);
    cv::Mat expected;
    cv::createTonemapMantiuk(1, 0.7F, 0)->process(picture, expected);
    EXPECT_TRUE(sameBits(mapped(picture, "Mantiuk", { 1, 0.7, 0 }), expected));
}

TEST(Tonemap, ReinhardOfDarknessOrInfinityIs0)
{
    cv::Mat infinite = brightPicture();
    infinite.at<cv::Vec3f>(1, 1)[2] = HUGE_VALF;
    for (const cv::Mat& picture : { cv::Mat(9, 8, CV_32FC3, cv::Scalar::all(0)), infinite,
                                    cv::Mat(9, 8, CV_32FC3, cv::Scalar::all(HUGE_VALF)) })
        EXPECT_EQ(cv::norm(mapped(picture, "Reinhard"), cv::NORM_INF), 0);
}

TEST(Tonemap, SurvivesDarknessInfinityAndNan)
{
    const cv::Mat dark(9, 8, CV_32FC3, cv::Scalar::all(0));
    EXPECT_EQ(cv::norm(mapped(dark, "basic"), cv::NORM_INF), 0);
    EXPECT_EQ(cv::norm(mapped(dark, "Durand"), cv::NORM_INF), 0);
    // OpenCV refuses pictures without light in both versions.
    expectRefused("Tonemap", tone(imageOf(dark), "Drago"));
    expectRefused("Tonemap", tone(imageOf(dark), "Mantiuk"));
    for (const float value : { HUGE_VALF, -HUGE_VALF, std::nanf("") }) {
        cv::Mat one = brightPicture(), all(9, 8, CV_32FC3, cv::Scalar::all(value));
        one.at<cv::Vec3f>(3, 3)[1] = value;
        for (const auto& [method, parameters] : defaults)
            for (const cv::Mat& picture : { one, all }) {
                const Outcome outcome = invoke("Tonemap", tone(imageOf(picture), method));
                if (outcome.ok())
                    EXPECT_EQ(outcome.image().shape, imageOf(picture)->shape) << method << " with " << value;
                else
                    EXPECT_FALSE(outcome.openCvError.empty()) << method << " with " << value;
            }
    }
    for (const cv::Size size : { cv::Size(1, 1), cv::Size(1, 9), cv::Size(9, 1) })
        for (const auto& [method, parameters] : defaults)
            invoke("Tonemap", tone(imageOf(brightPicture(size.height, size.width)), method));
}

TEST(Tonemap, KnowsItsMethods)
{
    const ImagePointer image = imageOf(brightPicture());
    for (const char* method :
         { "durand", "Durand ", "DURAND", "Duran", "Basic", "drago", "reinhard", "mantiuk", "", "Linear" })
        expectRefused("Tonemap", tone(image, method));
}

TEST(Tonemap, ChecksHowManyParametersThereAre)
{
    const ImagePointer image = imageOf(brightPicture());
    for (const auto& [method, parameters] : defaults) {
        std::vector<double> fewer(parameters.begin(), parameters.end() - 1), more = parameters;
        more.push_back(1);
        if (!fewer.empty()) expectRefused("Tonemap", tone(image, method, fewer));
        expectRefused("Tonemap", tone(image, method, more));
    }
}

TEST(Tonemap, ChecksTheirRanges)
{
    const ImagePointer image = imageOf(brightPicture());
    const double nan = std::nan("");
    const std::vector<std::pair<std::string, std::vector<double>>> refused {
        { "basic", { -0.1 } },
        { "basic", { nan } },
        { "Durand", { 0, 4, 1, 2, 2 } },
        { "Durand", { -1, 4, 1, 2, 2 } },
        { "Durand", { 1, 4, -0.1, 2, 2 } },
        { "Drago", { -0.1, 1, 0.85 } },
        { "Drago", { 1, -0.1, 0.85 } },
        { "Drago", { 1, 1, -0.1 } },
        { "Reinhard", { -1, 0, 1, 0 } },
        { "Reinhard", { 1, 0, 1.0001, 0 } },
        { "Reinhard", { 1, 0, -0.0001, 0 } },
        { "Reinhard", { 1, 0, 1, 1.0001 } },
        { "Reinhard", { 1, 0, 1, -0.0001 } },
        { "Mantiuk", { -1, 0.7, 1 } },
        { "Mantiuk", { 1, 0.7, -0.1 } },
    };
    for (const auto& [method, parameters] : refused)
        expectRefused("Tonemap", tone(image, method, parameters));
    const std::vector<std::pair<std::string, std::vector<double>>> accepted {
        { "basic", { 0 } },
        { "Durand", { 0.5, -3, 0, -2, -2 } },
        { "Drago", { 0, 0, 0 } },
        { "Reinhard", { 0, -8, 1, 1 } },
        { "Reinhard", { 0, -8, 0, 0 } },
        { "Mantiuk", { 0, -0.7, 0 } },
    };
    for (const auto& [method, parameters] : accepted) succeed("Tonemap", tone(image, method, parameters));
}

TEST(Tonemap, ReadsParametersOfAnyRank)
{
    const ImagePointer image = imageOf(brightPicture());
    const std::vector<double> values { 1.5, 0, 0.8, 0.1 };
    const Outcome flat = succeed("Tonemap", tone(image, "Reinhard", values));
    const Outcome square =
        succeed("Tonemap", { image, std::string("Reinhard"), makeRealTensor({ 2, 2 }, values) });
    EXPECT_TRUE(sameBits(matrixOf(square.image()), matrixOf(flat.image())));
}

TEST(Tonemap, RefusesOtherImages)
{
    for (const ImagePointer& image :
         { imageOf(noise(8, 8, CV_8UC3)), imageOf(noise(8, 8, CV_32F)), imageOf(noise(8, 8, CV_32FC4)),
           imageOf(noise(8, 8, CV_64FC3)), imageOf(brightPicture(), ColorSpaceUnspecified),
           sequenceOf({ brightPicture() }), ImagePointer() })
        for (const auto& [method, parameters] : defaults) expectRefused("Tonemap", tone(image, method));
    expectRefused("Tonemap", { imageOf(brightPicture()), std::string("basic"), TensorPointer() });
    expectRefused("Tonemap", { imageOf(brightPicture()), std::string("basic"), makeIntegerTensor({ 1 }) });
}

TEST(Tonemap, RefusesHugeBilateralFilters)
{
    const ImagePointer image = imageOf(brightPicture());
    EXPECT_REFUSED_IN_CHILD("Tonemap", tone(image, "Durand", { 1, 4, 1, 2, 1e9 }));
    for (const double sigma : { 1001.0, 1e300, HUGE_VAL })
        expectRefused("Tonemap", tone(image, "Durand", { 1, 4, 1, 2, sigma }));
    succeed("Tonemap", tone(imageOf(brightPicture(2, 3)), "Durand", { 1, 4, 1, 2, 1000 }));
    succeed("Tonemap", tone(image, "Durand", { 1, 4, 1, HUGE_VAL, 3 }));
}

TEST(Tonemap, SurvivesFaults)
{
    for (const auto& [method, parameters] : defaults)
        expectSurvivesFaults("Tonemap", tone(planarImageOf(brightPicture(8, 9)), method, parameters));
}

} // namespace miravex::test
