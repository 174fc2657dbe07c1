#include "tests/support/host_check.h"

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace miravex::test {

// Expected values: shifts made on purpose, and OpenCV called directly.

namespace {

Values correlate(ImagePointer first, ImagePointer second, TensorPointer window = emptyList())
{
    return { std::move(first), std::move(second), std::move(window) };
}

cv::Point2d shiftOf(const Values& values)
{
    const Outcome outcome = succeed("PhaseCorrelate", values);
    EXPECT_EQ(outcome.tensor().dimensions, (std::vector<int64_t> { 2 }));
    return { outcome.tensor().reals()[0], outcome.tensor().reals()[1] };
}

/// The picture moved right by `x` and up by `y`, around the edges.
cv::Mat moved(const cv::Mat& picture, int x, int y)
{
    cv::Mat result(picture.size(), picture.type());
    for (int r = 0; r < picture.rows; ++r)
        for (int c = 0; c < picture.cols; ++c)
            picture(cv::Rect(c, r, 1, 1))
                .copyTo(result(cv::Rect((c + x + picture.cols) % picture.cols,
                                        (r - y + picture.rows) % picture.rows, 1, 1)));
    return result;
}

} // namespace

TEST(PhaseCorrelate, MeasuresAShiftWithYUpward)
{
    for (const int type : { CV_32F, CV_64F }) {
        const cv::Mat picture = noise(48, 60, type);
        for (const auto& [x, y] :
             std::vector<std::pair<int, int>> { { 0, 0 }, { 5, 3 }, { -7, 2 }, { 4, -9 } }) {
            const cv::Point2d shift = shiftOf(correlate(imageOf(picture), imageOf(moved(picture, x, y))));
            EXPECT_NEAR(shift.x, x, 0.05) << x << ", " << y;
            EXPECT_NEAR(shift.y, y, 0.05) << x << ", " << y;
        }
    }
}

TEST(PhaseCorrelate, MatchesOpenCv)
{
    const cv::Mat a = noise(31, 45, CV_64F, 1), b = noise(31, 45, CV_64F, 2);
    cv::Mat window;
    cv::createHanningWindow(window, a.size(), CV_64F);
    const cv::Point2d plain = cv::phaseCorrelate(a, b), weighted = cv::phaseCorrelate(a, b, window);
    EXPECT_EQ(shiftOf(correlate(imageOf(a), imageOf(b))), cv::Point2d(plain.x, -plain.y));
    EXPECT_EQ(shiftOf(correlate(imageOf(a), imageOf(b), tensorOf(window))),
              cv::Point2d(weighted.x, -weighted.y));
}

TEST(PhaseCorrelate, FindsHowFarApartTwoCropsAre)
{
    cv::Mat picture = photo("home.jpg", true);
    SKIP_WITHOUT(picture);
    picture.convertTo(picture, CV_64F, 1.0 / 255);
    const cv::Mat first = picture(cv::Rect(40, 40, 256, 256)), second = picture(cv::Rect(52, 35, 256, 256));
    cv::Mat window;
    cv::createHanningWindow(window, first.size(), CV_64F);
    const cv::Point2d shift = shiftOf(correlate(imageOf(first), imageOf(second), tensorOf(window)));
    EXPECT_NEAR(shift.x, -12, 0.3); // the scene moves left and down
    EXPECT_NEAR(shift.y, -5, 0.3);
}

TEST(PhaseCorrelate, RefusesWhatItCannotCompare)
{
    const ImagePointer reals = imageOf(noise(8, 9, CV_64F)), floats = imageOf(noise(8, 9, CV_32F));
    const auto refused = [](const Values& values) { expectRefused("PhaseCorrelate", values); };
    refused(correlate(nullptr, reals));
    refused(correlate(reals, nullptr));
    refused(correlate(reals, reals, nullptr));
    refused(correlate(reals, floats));
    refused(correlate(imageOf(noise(8, 9, CV_8U)), imageOf(noise(8, 9, CV_8U))));
    refused(correlate(imageOf(noise(8, 9, CV_64FC3)), reals));
    refused(correlate(reals, imageOf(noise(8, 9, CV_64FC3))));
    refused(correlate(reals, imageOf(noise(8, 8, CV_64F))));
    refused(correlate(reals, imageOf(noise(9, 9, CV_64F))));
    const ImagePointer sequence = sequenceOf({ noise(8, 9, CV_64F), noise(8, 9, CV_64F) });
    refused(correlate(reals, sequence));
    refused(correlate(sequence, reals));
    const ImagePointer empty = imageOf(cv::Mat(0, 9, CV_64F));
    refused(correlate(empty, empty));
    refused(correlate(empty, empty, makeRealTensor({ 0, 9 })));
    for (const auto& window : { makeRealTensor({ 9, 8 }), makeRealTensor({ 8, 8 }), makeRealTensor({ 72 }),
                                makeRealTensor({ 8, 9, 1 }), makeRealTensor({ 0, 0 }), realList({ 1 }),
                                makeIntegerTensor({ 8, 9 }) })
        refused(correlate(reals, reals, window));
    // OpenCV multiplies a real window with real pictures alone.
    refused(correlate(floats, floats, makeRealTensor({ 8, 9 })));
}

TEST(PhaseCorrelate, CopesWithSmallAndStrangePictures)
{
    for (const double value : { 0.0, 1.0, 1e308, std::nan(""), double { INFINITY } })
        for (const cv::Size size : { cv::Size(1, 1), cv::Size(5, 1), cv::Size(2, 2), cv::Size(20, 21) }) {
            const ImagePointer flat = imageOf(cv::Mat(size, CV_64F, cv::Scalar(value)));
            succeed("PhaseCorrelate", correlate(flat, flat));
        }
}

TEST(PhaseCorrelate, SurvivesFaults)
{
    const ImagePointer picture = imageOf(noise(8, 9, CV_64F));
    expectSurvivesFaults("PhaseCorrelate", correlate(picture, picture, makeRealTensor({ 8, 9 })));
}

} // namespace miravex::test
