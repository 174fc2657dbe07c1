#include "ops/photo/domain_transform.h"
#include "tests/ops/photo/fenced_matrices.h"
#include "tests/support/host_check.h"
#include "tests/support/own_kernels.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>

#include <cmath>
#include <cstdlib>

namespace miravex::test {

// Expected values: OpenCV called directly with the stated arguments. With MIRAVEX_LONG_TESTS in the
// environment the sweep is a hundred times as long.

namespace {

/// Calls of the three operations with the same image and sigmas.
std::vector<std::pair<std::string, Values>> calls(const ImagePointer& image, double spatial, double range)
{
    return { { "DetailEnhance", { image, spatial, range } },
             { "EdgePreservingFilter", { image, "RECURS_FILTER", spatial, range } },
             { "EdgePreservingFilter", { image, "NORMCONV_FILTER", spatial, range } },
             { "Stylization", { image, spatial, range } } };
}

/// All of them against OpenCV's.
void expectSame(const cv::Mat& picture, float spatial, float range)
{
    cv::Mat enhanced, stylized, recursive, convolved;
    cv::detailEnhance(picture, enhanced, spatial, range);
    cv::stylization(picture, stylized, spatial, range);
    cv::edgePreservingFilter(picture, recursive, cv::RECURS_FILTER, spatial, range);
    cv::edgePreservingFilter(picture, convolved, cv::NORMCONV_FILTER, spatial, range);
    const cv::Mat expected[] = { enhanced, recursive, convolved, stylized };
    const cv::Mat* next = expected;
    for (const auto& [operation, values] : calls(imageOf(picture), double { spatial }, double { range })) {
        const Outcome outcome = succeed(operation, values);
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), *next++))
            << operation << " of " << picture.size() << " by " << spatial << ", " << range << " on "
            << cv::getNumThreads() << " threads";
        EXPECT_EQ(outcome.image().colorSpace, ColorSpaceUnspecified) << operation;
    }
}

} // namespace

TEST(DetailFilters, AreOpenCvs)
{
    sweep(1000, [](cv::RNG& random) {
        constexpr float unusual[] = { 0, 1e-30F, 1e-3F, 1 };
        const auto rarely = [&] { return random.uniform(0, 6) == 0; };
        const cv::Mat picture = drawnPicture(random, 48);
        const float spatial = rarely() ? 200 * unusual[random.next() % 4] : random.uniform(0.5F, 80.0F);
        expectSame(picture, spatial, rarely() ? unusual[random.next() % 4] : random.uniform(0.01F, 1.0F));
    });
}

TEST(DetailFilters, AreOpenCvsAcrossStrips)
{
    for (const cv::Size size :
         { cv::Size(40, 30), cv::Size(1, 1), cv::Size(1, 9), cv::Size(9, 1), cv::Size(1, 70), cv::Size(70, 1),
           cv::Size(32, 64), cv::Size(33, 31), cv::Size(97, 65) })
        expectSame(noise(size.height, size.width, CV_8UC3), 12.5F, 0.2F);
}

TEST(DetailFilters, AreOpenCvsOnAPhoto)
{
    const cv::Mat picture = photo("fruits.jpg");
    SKIP_WITHOUT(picture);
    for (const int threads : { 1, 2, 5 }) {
        const Threads limited(threads);
        expectSame(picture(cv::Rect(37, 51, 300, 200)).clone(), 60, 0.4F);
        expectSame(picture(cv::Rect(101, 5, 200, 300)).clone(), 10, 0.15F);
    }
}

TEST(DomainTransform, RecursesAsOpenCv) // or the library would leave it to OpenCV unnoticed
{
#ifdef __FP_FAST_FMAF
    GTEST_SKIP() << "OpenCV rounds otherwise on this processor";
#endif
    const cv::Mat picture = noise(40, 50, CV_8UC3);
    cv::Mat expected, image, filtered;
    cv::edgePreservingFilter(picture, expected, cv::RECURS_FILTER, 30, 0.5F);
    picture.convertTo(image, CV_32F, 1.0 / 255);
    domain_transform::filterRecursively(image, 30, 0.5F);
    cv::convertScaleAbs(image, filtered, 255);
    EXPECT_TRUE(sameBits(filtered, expected));
}

TEST(DetailFilters, DivideByZeroWhereOpenCvDoes)
{
    // Rows and columns within the radius, wholly or in part, and range sigmas of 0: black, and all else
    // alike.
    std::size_t seed = 0, black = 0, shown = 0;
    for (const cv::Size size :
         { cv::Size(1, 1), cv::Size(1, 9), cv::Size(9, 1), cv::Size(14, 11), cv::Size(40, 30) })
        for (const int flatRow : { -1, 0, size.height - 1 })
            for (const auto& [spatial, range] : std::vector<std::pair<float, float>> { { 12.5F, 0.0F },
                                                                                       { 0.0F, 0.0F },
                                                                                       { 0.0F, 0.4F },
                                                                                       { 60.0F, 1e-30F },
                                                                                       { 3.0F, 0.1F },
                                                                                       { 200.0F, 1.0F } }) {
                cv::Mat picture = noise(size.height, size.width, CV_8UC3, ++seed);
                if (flatRow >= 0) picture.row(flatRow).setTo(cv::Scalar(90, 80, 70));
                cv::Mat filtered, stylized;
                cv::edgePreservingFilter(picture, filtered, cv::NORMCONV_FILTER, spatial, range);
                cv::stylization(picture, stylized, spatial, range);
                const ImagePointer image = imageOf(picture);
                const double s = spatial, r = range;
                const Outcome edges = succeed("EdgePreservingFilter", { image, "NORMCONV_FILTER", s, r });
                EXPECT_TRUE(sameBits(matrixOf(edges.image()), filtered)) << size << " " << s << ", " << r;
                const Outcome style = succeed("Stylization", { image, s, r });
                EXPECT_TRUE(sameBits(matrixOf(style.image()), stylized)) << size << " " << s << ", " << r;
                ++(cv::countNonZero(filtered.reshape(1)) > 0 ? shown : black);
            }
    EXPECT_GT(black, 10U);
    EXPECT_GT(shown, 10U);
}

/// Ends the process with 0 when these calls succeed with fences behind all matrices.
[[noreturn]] void exitAfterFencedCalls(const ImagePointer& image, double spatial, double range)
{
    const FencedMatrices fences;
    bool succeeded = true;
    for (const auto& [operation, values] : calls(image, spatial, range))
        succeeded = call(library(), record(operation), values).ok() && succeeded;
    std::_Exit(succeeded ? 0 : 1);
}

TEST(DetailFilters, ReadNothingBehindTheirMatrices)
{
    const cv::Mat flat(9, 12, CV_8UC3, cv::Scalar(90, 80, 70));
    const ImagePointer noisy = imageOf(noise(9, 12, CV_8UC3));
    EXPECT_EXIT(exitAfterFencedCalls(noisy, 12.5, 0.4), ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(exitAfterFencedCalls(noisy, 12.5, 0.0), ::testing::ExitedWithCode(0), "") << "range sigma 0";
    EXPECT_EXIT(exitAfterFencedCalls(noisy, 0.0, 0.0), ::testing::ExitedWithCode(0), "") << "both sigmas 0";
    EXPECT_EXIT(exitAfterFencedCalls(imageOf(flat), 12.5, 0.4), ::testing::ExitedWithCode(0), "") << "flat";
}

TEST(EdgePreservingFilter, FiltersLargeImagesAsTheirParts)
{
    // A column of black and white pixels in turn between the halves separates them; rows are so many that
    // OpenCV's own count of samples would go wrong.
    const cv::Mat part = noise(700, 30, CV_8UC3);
    cv::Mat large;
    cv::repeat(part, 1, 300, large);
    cv::Mat small = large.colRange(0, 60).clone();
    for (cv::Mat* picture : { &large, &small })
        for (int y = 0; y < picture->rows; ++y)
            for (int x = 29; x < picture->cols; x += 30)
                picture->at<cv::Vec3b>(y, x) = cv::Vec3b::all((y + x / 30) % 2 == 0 ? 0 : 255);
    const auto filter = [](const cv::Mat& picture) {
        return matrixOf(
            succeed("EdgePreservingFilter", { imageOf(picture), "NORMCONV_FILTER", 2.0, 0.1 }).image());
    };
    const cv::Mat expected = filter(small).colRange(0, 29), actual = filter(large);
    EXPECT_TRUE(sameBits(actual.colRange(0, 29).clone(), expected.clone()));
}

TEST(DetailFilters, IgnoreTheColourSpaceAndTheLayout)
{
    const cv::Mat picture = noise(12, 14, CV_8UC3);
    for (std::size_t i = 0; i < 4; ++i) {
        const auto [operation, values] = calls(imageOf(picture), 5, 0.3)[i];
        const cv::Mat expected = matrixOf(succeed(operation, values).image());
        for (const ImagePointer& image : { imageOf(picture, 7), planarImageOf(picture, ColorSpaceGray) })
            EXPECT_TRUE(
                sameBits(matrixOf(succeed(operation, calls(image, 5, 0.3)[i].second).image()), expected))
                << operation;
    }
}

TEST(DetailFilters, AcceptSigmasWithinTheirInclusiveBounds)
{
    const ImagePointer image = imageOf(noise(10, 12, CV_8UC3));
    for (const auto& [spatial, range] : std::vector<std::pair<double, double>> {
             { 200, 1 }, { 0, 0 }, { 0, 1 }, { 200, 0 }, { -0.0, -0.0 } })
        for (const auto& [operation, values] : calls(image, spatial, range)) succeed(operation, values);
}

TEST(DetailFilters, CompareSigmasAsFloats)
{
    // The nearest floats are 200 and 1.
    const ImagePointer image = imageOf(noise(10, 12, CV_8UC3));
    for (const auto& [operation, values] : calls(image, 200.000001, 1.00000001)) succeed(operation, values);
}

TEST(DetailFilters, RefuseSigmasBeyondThem)
{
    const ImagePointer image = imageOf(noise(10, 12, CV_8UC3));
    const double nan = std::nan(""), infinite = HUGE_VAL;
    for (const auto& [spatial, range] : std::vector<std::pair<double, double>> { { 200.5, 0.5 },
                                                                                 { 10, 1.01 },
                                                                                 { -1, 0.5 },
                                                                                 { 10, -0.1 },
                                                                                 { nan, 0.5 },
                                                                                 { 10, nan },
                                                                                 { infinite, 0.5 },
                                                                                 { 10, infinite } })
        for (const auto& [operation, values] : calls(image, spatial, range)) expectRefused(operation, values);
}

TEST(DetailFilters, RefuseOtherImages)
{
    for (const ImagePointer& image :
         { imageOf(noise(10, 12, CV_8U)), imageOf(noise(10, 12, CV_8UC4)), imageOf(noise(10, 12, CV_8UC2)),
           imageOf(noise(10, 12, CV_32FC3)), imageOf(noise(10, 12, CV_64FC3)),
           imageOf(noise(10, 12, CV_16UC3)), sequenceOf({ noise(10, 12, CV_8UC3) }), ImagePointer() })
        for (const auto& [operation, values] : calls(image, 10, 0.2)) expectRefused(operation, values);
}

TEST(EdgePreservingFilter, KnowsItsFilters)
{
    const ImagePointer image = imageOf(noise(10, 12, CV_8UC3));
    for (const char* filter : { "recurs_filter", "RECURS", "NORMCONV", "RECURS_FILTER ", "normconv_filter",
                                "", "NORMCONV_FILTERS" })
        expectRefused("EdgePreservingFilter", { image, filter, 10.0, 0.2 });
}

TEST(DetailFilters, SurviveFaults)
{
    for (const auto& [operation, values] : calls(planarImageOf(noise(10, 12, CV_8UC3)), 5, 0.3))
        expectSurvivesFaults(operation, values);
}

} // namespace miravex::test
