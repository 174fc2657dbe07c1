#include "tests/support/host_check.h"

#include "host/services.h"

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace miravex::test {

// Expected values: worked by hand, or the stated calls of OpenCV on what the host makes of the samples. The
// embedded host's comparison 7 is "greater than".

namespace {

Values binarize(ImagePointer image, int64_t radius, TensorPointer coefficients, std::string padding,
                double value = 0)
{
    return { std::move(image), radius, std::move(coefficients), std::move(padding), value };
}

struct Padding {
    const char* name;
    int border;
};
constexpr Padding paddings[] = { { "Constant", cv::BORDER_CONSTANT },     { "Fixed", cv::BORDER_REPLICATE },
                                 { "Reversed", cv::BORDER_REFLECT },      { "Periodic", cv::BORDER_WRAP },
                                 { "Reflected", cv::BORDER_REFLECT_101 }, { "None", cv::BORDER_ISOLATED } };

cv::Mat realsOf(const ImagePointer& image) { return matrixOf(*convertImage(*image, PixelTypeReal, false)); }

/// The bits by plain calls: mean with the padding, deviation with reflections where the padding is by hand.
cv::Mat plainBits(cv::Mat picture, int r, double c0, double c1, double c2, int border, double value)
{
    if (border == cv::BORDER_CONSTANT || border == cv::BORDER_WRAP) {
        cv::Mat padded;
        cv::copyMakeBorder(picture, padded, r, r, r, r, border,
                           cv::Scalar(border == cv::BORDER_CONSTANT ? value : 0));
        picture = padded(cv::Rect(r, r, picture.cols, picture.rows));
        border = cv::BORDER_REFLECT_101;
    }
    const cv::Size side(2 * r + 1, 2 * r + 1);
    cv::Mat mean, deviation, squares;
    cv::blur(picture, mean, side, cv::Point(-1, -1), border);
    cv::multiply(picture, picture, squares);
    cv::blur(squares, deviation, side, cv::Point(-1, -1), border);
    cv::subtract(deviation, mean.mul(mean), deviation);
    cv::sqrt(deviation, deviation);
    cv::Mat bits(picture.size(), CV_8U);
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < picture.cols; ++x) {
            double difference = picture.at<double>(y, x);
            if (c0 != 0) difference -= mean.at<double>(y, x) * c0;
            if (c1 != 0) difference -= deviation.at<double>(y, x) * c1;
            bits.at<uchar>(y, x) = difference > c2;
        }
    }
    return bits;
}

// A host whose comparison writes down what it is asked.

std::vector<double> asked;
bool onlySeven = true;

int noteAndCompare(int operation, double tolerance, int64_t count, const double* values)
{
    onlySeven = onlySeven && operation == 7 && tolerance == 0.0 && count == 2;
    asked.push_back(values[0]);
    asked.push_back(values[1]);
    return values[0] > 2 ? -5 : 0; // nonzero is true
}

using Initialize = HostErrorCode (*)(LibraryData);

void initializeWith(HostCompareReals compare)
{
    const auto initialize = reinterpret_cast<Initialize>(library().symbol("KorvaneLibrary_initialize"));
    const CompileSupport support { compare };
    LibraryDataTable table = hostServices();
    table.compileSupport = &support;
    ASSERT_EQ(initialize(&table), StatusOk);
}

} // namespace

TEST(LocalAdaptiveBinarize, ThresholdsGloballyWithoutWeights) // by hand
{
    const cv::Mat picture = (cv::Mat_<double>(2, 3) << 0.1, 0.5, 0.6, 0.5000001, 0.9, -3);
    const cv::Mat expected = (cv::Mat_<uchar>(2, 3) << 0, 0, 1, 1, 1, 0);
    for (const auto& padding : paddings) {
        const Outcome outcome = succeed("LocalAdaptiveBinarize",
                                        binarize(imageOf(picture), 3, realList({ 0, 0, 0.5 }), padding.name));
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected)) << padding.name;
        EXPECT_EQ(outcome.image().pixelType, PixelTypeBit);
        EXPECT_EQ(outcome.image().colorSpace, ColorSpaceUnspecified);
        EXPECT_FALSE(outcome.image().interleaved);
    }
}

TEST(LocalAdaptiveBinarize, ComparesWithMeanAndDeviation) // by hand, on numbers that add up exactly
{
    // The middle pixel: mean 5, mean of squares 33, deviation sqrt(8).
    const cv::Mat picture = (cv::Mat_<double>(3, 3) << 1, 1, 1, 5, 9, 5, 9, 5, 9);
    const auto middle = [&](double c0, double c1, double c2) {
        const Outcome outcome = succeed("LocalAdaptiveBinarize",
                                        binarize(imageOf(picture), 1, realList({ c0, c1, c2 }), "Fixed"));
        return static_cast<int>(matrixOf(outcome.image()).at<uchar>(1, 1));
    };
    EXPECT_EQ(middle(1, 0, 3.9), 1);
    EXPECT_EQ(middle(1, 0, 4.1), 0);
    const double deviation = std::sqrt((1 * 3 + 25 * 3 + 81 * 3) / 9.0 - 25);
    EXPECT_EQ(middle(1, 1, 4 - deviation - 1e-9), 1);
    EXPECT_EQ(middle(1, 1, 4 - deviation + 1e-9), 0);
    EXPECT_EQ(middle(0, 2, 9 - 2 * deviation - 1e-9), 1);
    EXPECT_EQ(middle(0, 2, 9 - 2 * deviation + 1e-9), 0);
}

TEST(LocalAdaptiveBinarize, MeanSeesConstantPaddingAndDeviationDoesNot) // by hand
{
    // One pixel of 1 in nines of 10: mean (1 + 8 * 10) / 9 = 9; mean of squares 1, reflected; 1 - 81 < 0.
    const ImagePointer pixel = imageOf(cv::Mat(1, 1, CV_64F, cv::Scalar(1)));
    const auto bit = [&](double c0, double c1, double c2) {
        const Outcome outcome =
            succeed("LocalAdaptiveBinarize", binarize(pixel, 1, realList({ c0, c1, c2 }), "Constant", 10));
        return static_cast<int>(matrixOf(outcome.image()).at<uchar>(0, 0));
    };
    EXPECT_EQ(bit(1, 0, -8.01), 1);
    EXPECT_EQ(bit(1, 0, -7.99), 0);
    EXPECT_EQ(bit(0, 1, -1e300), 0); // the root of a negative number passes no comparison
}

TEST(LocalAdaptiveBinarize, MatchesThePlainCallsOnEveryType)
{
    const cv::Mat bytes = noise(37, 41, CV_8U);
    cv::Mat smooth;
    cv::GaussianBlur(bytes, smooth, cv::Size(9, 9), 3);
    const ImagePointer pictures[] = { imageOf(bytes),
                                      imageOf(smooth),
                                      bitImageOf(bytes > 128),
                                      imageOf(noise(20, 30, CV_16U)),
                                      imageOf(noise(20, 30, CV_32F)),
                                      imageOf(noise(20, 30, CV_64F)),
                                      imageOf(cv::Mat(30, 40, CV_8U, cv::Scalar(77))),
                                      imageOf(noise(1, 9, CV_8U)),
                                      imageOf(noise(9, 1, CV_16U)) };
    for (const ImagePointer& picture : pictures) {
        for (const auto& [name, border] : paddings) {
            for (const int radius : { 1, 2, 3, 8 }) {
                for (const auto& [c0, c1, c2] : std::vector<std::tuple<double, double, double>> {
                         { 1, 0, 0 }, { 1, 1, 0 }, { 0.8, 0.2, -0.01 }, { 0, -1, 0.3 } }) {
                    const cv::Mat expected = plainBits(realsOf(picture), radius, c0, c1, c2, border, 0.25);
                    const Outcome outcome =
                        succeed("LocalAdaptiveBinarize",
                                binarize(picture, radius, realList({ c0, c1, c2 }), name, 0.25));
                    EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected))
                        << describe(picture) << ", " << name << ", radius " << radius << ", weights " << c0
                        << ", " << c1;
                }
            }
        }
    }
}

TEST(LocalAdaptiveBinarize, SeparatesInkFromAPhotographedPage)
{
    const cv::Mat page = photo("sudoku.png", true);
    SKIP_WITHOUT(page);
    const Outcome outcome =
        succeed("LocalAdaptiveBinarize", binarize(imageOf(page), 12, realList({ 1, 0, -0.05 }), "Reflected"));
    cv::Mat reals;
    page.convertTo(reals, CV_64F, 1.0 / 255);
    const double white = cv::mean(matrixOf(outcome.image()))[0];
    EXPECT_GT(white, 0.7);
    EXPECT_LT(white, 0.95);
}

TEST(LocalAdaptiveBinarize, AsksTheHostOncePerPixelRowByRow)
{
    const cv::Mat picture = (cv::Mat_<double>(2, 3) << 1, 2, 3, 4, 5, 6);
    asked.clear();
    initializeWith(noteAndCompare);
    const Outcome outcome =
        succeed("LocalAdaptiveBinarize", binarize(imageOf(picture), 1, realList({ 0, 0, 2.5 }), "Fixed"));
    initializeWith(hostServices().compileSupport->hostCompareReals);
    EXPECT_TRUE(onlySeven);
    EXPECT_EQ(asked, (std::vector<double> { 1, 2.5, 2, 2.5, 3, 2.5, 4, 2.5, 5, 2.5, 6, 2.5 }));
    EXPECT_TRUE(sameBits(matrixOf(outcome.image()), (cv::Mat_<uchar>(2, 3) << 0, 0, 1, 1, 1, 1)));
}

TEST(LocalAdaptiveBinarize, MeanSeesPeriodicPaddingAndDeviationDoesNot) // by hand
{
    // Where the row repeats, the first pixel lies between 9 and 0: mean 3. The mean of squares reflects: 0 on
    // both sides, and 0 - 9 has no root. Had it been periodic too, 27 - 9 would have one.
    const ImagePointer row = imageOf((cv::Mat_<double>(1, 3) << 0, 0, 9));
    const auto first = [&](double c0, double c1, double c2) {
        const Outcome outcome =
            succeed("LocalAdaptiveBinarize", binarize(row, 1, realList({ c0, c1, c2 }), "Periodic"));
        return static_cast<int>(matrixOf(outcome.image()).at<uchar>(0, 0));
    };
    EXPECT_EQ(first(1, 0, -3.01), 1);
    EXPECT_EQ(first(1, 0, -2.99), 0);
    EXPECT_EQ(first(0, 1, -1e300), 0);
}

TEST(LocalAdaptiveBinarize, CutsTheRadiusToItsLow32Bits)
{
    const ImagePointer picture = imageOf(noise(9, 11, CV_8U));
    const auto bits = [&](int64_t radius) {
        const Values values = binarize(picture, radius, realList({ 1, 1, 0 }), "Fixed");
        return matrixOf(succeed("LocalAdaptiveBinarize", values).image());
    };
    EXPECT_TRUE(sameBits(bits((int64_t { 1 } << 32) + 2), bits(2)));
}

TEST(LocalAdaptiveBinarize, RefusesWithoutAComparison)
{
    initializeWith(nullptr);
    expectRefused("LocalAdaptiveBinarize",
                  binarize(imageOf(noise(4, 4, CV_8U)), 1, realList({ 1, 0, 0 }), "Fixed"));
    initializeWith(hostServices().compileSupport->hostCompareReals);
}

TEST(LocalAdaptiveBinarize, RefusesWhatItCannotBinarize)
{
    const ImagePointer good = imageOf(noise(8, 8, CV_8U));
    const auto weights = [] { return realList({ 1, 0, 0 }); };
    const auto refused = [](const Values& values) { expectRefused("LocalAdaptiveBinarize", values); };
    refused(binarize(nullptr, 1, weights(), "Fixed"));
    refused(binarize(imageOf(noise(8, 8, CV_8UC3)), 1, weights(), "Fixed"));
    refused(binarize(sequenceOf({ noise(8, 8, CV_8U) }), 1, weights(), "Fixed"));
    refused(binarize(imageOf(cv::Mat(0, 4, CV_8U)), 1, weights(), "Fixed"));
    for (const int64_t radius : { int64_t { 0 }, int64_t { -1 }, INT64_MIN, INT64_MAX, int64_t { 1 } << 31 })
        refused(binarize(good, radius, weights(), "Fixed"));
    for (const auto& tensor : { TensorPointer(), emptyList(), realList({ 1, 0 }), realList({ 1, 0, 0, 0 }),
                                makeRealTensor({ 1, 3 }), makeIntegerTensor({ 3 }) })
        refused(binarize(good, 1, tensor, "Fixed"));
    for (const char* padding : { "fixed", "Fixe", "Fixed ", "" })
        refused(binarize(good, 1, weights(), padding));
}

TEST(LocalAdaptiveBinarize, RefusesHugeWindows)
{
    for (const int type : { CV_8U, CV_32F }) {
        const ImagePointer picture = imageOf(noise(60, 80, type));
        for (const char* padding : { "Constant", "Periodic", "Reflected", "None" })
            for (const int64_t radius : { int64_t { INT32_MAX }, int64_t { 1000000 }, int64_t { 9000 } })
                EXPECT_REFUSED_IN_CHILD("LocalAdaptiveBinarize",
                                        binarize(picture, radius, realList({ 1, 1, 0 }), padding));
    }
    // Without weights no window is needed; with a large one that fits it is used.
    const ImagePointer tiny = imageOf(noise(2, 2, CV_8U));
    succeed("LocalAdaptiveBinarize", binarize(tiny, INT32_MAX, realList({ 0, 0, 0.5 }), "Constant"));
    succeed("LocalAdaptiveBinarize", binarize(tiny, 8000, realList({ 1, 1, 0 }), "Reflected"));
}

TEST(LocalAdaptiveBinarize, SurvivesFaults)
{
    const Values bytes = binarize(imageOf(noise(8, 9, CV_8U)), 2, realList({ 1, 1, 0 }), "Constant");
    expectSurvivesFaults("LocalAdaptiveBinarize", bytes);
    const Values reals = binarize(imageOf(noise(8, 9, CV_64F)), 2, realList({ 1, 1, 0 }), "Fixed");
    expectSurvivesFaults("LocalAdaptiveBinarize", reals);
}

} // namespace miravex::test
