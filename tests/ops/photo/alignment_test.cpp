#include "tests/support/host_check.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>

namespace miravex::test {

namespace {

/// A scene and the same scene moved by (dx, dy), darker.
std::vector<cv::Mat> movedScene(int dx, int dy)
{
    cv::Mat scene = noise(90, 120, CV_8UC3);
    cv::GaussianBlur(scene, scene, cv::Size(9, 9), 3);
    cv::normalize(scene, scene, 0, 255, cv::NORM_MINMAX);
    const cv::Rect middle(20, 20, 80, 50);
    return { scene(middle + cv::Point(dx, dy)) * 0.7, scene(middle).clone() };
}

Values align(ImagePointer frames, int64_t levels, int64_t excluded)
{
    return { std::move(frames), levels, excluded };
}

ImagePointer flatFrames(int rows, int columns, int type = CV_8UC3)
{
    return sequenceOf({ noise(rows, columns, type), noise(rows, columns, type, 2) });
}

} // namespace

TEST(AlignMTB, MatchesOpenCv)
{
    const std::vector<cv::Mat> frames = movedScene(3, -2);
    std::vector<cv::Mat> expected;
    cv::createAlignMTB(4, 6, false)->process(frames, expected);
    const Outcome outcome = succeed("AlignMTB", align(sequenceOf(frames), 4, 6));
    ASSERT_EQ(outcome.image().shape.slices, 2);
    for (int64_t i = 0; i < 2; ++i)
        EXPECT_TRUE(sameBits(sliceOf(outcome.image(), i), expected[static_cast<std::size_t>(i)])) << i;
    EXPECT_EQ(outcome.image().colorSpace, ColorSpaceUnspecified);
    EXPECT_EQ(outcome.image().pixelType, PixelTypeByte);
}

TEST(AlignMTB, UndoesAKnownShift) // by hand: away from the edges the frames agree again
{
    const std::vector<cv::Mat> frames = movedScene(5, 3);
    const Outcome outcome = succeed("AlignMTB", align(sequenceOf(frames), 5, 4));
    const cv::Rect inner(12, 12, 50, 25);
    const cv::Mat expected = frames[1] * 0.7;
    EXPECT_LE(largestDifference(sliceOf(outcome.image(), 0)(inner).clone(), expected(inner).clone()), 0);
}

TEST(AlignMTB, ReturnsASingleFrameAsItIs)
{
    const cv::Mat frame = noise(40, 30, CV_8UC3);
    const Outcome outcome = succeed("AlignMTB", align(sequenceOf({ frame }), 3, 4));
    EXPECT_EQ(outcome.image().rank(), 3);
    EXPECT_EQ(outcome.image().shape.slices, 1);
    EXPECT_TRUE(sameBits(sliceOf(outcome.image(), 0), frame));
}

TEST(AlignMTB, BoundsLevelsByTheShorterSide)
{
    succeed("AlignMTB", align(flatFrames(60, 100), 5, 4)); // log2(60) is 5.91
    expectRefused("AlignMTB", align(flatFrames(60, 100), 6, 4));
    expectRefused("AlignMTB", align(flatFrames(100, 60), 6, 4));
    succeed("AlignMTB", align(flatFrames(64, 64), 6, 4));
    expectRefused("AlignMTB", align(flatFrames(64, 64), 7, 4));
    expectRefused("AlignMTB", align(flatFrames(1, 64), 1, 4));
    for (const int64_t levels : { int64_t { 0 }, int64_t { -1 }, INT64_MIN, INT64_MAX, int64_t { 1 } << 32 })
        expectRefused("AlignMTB", align(flatFrames(64, 64), levels, 4));
}

TEST(AlignMTB, BoundsTheExcludedRangeByTheLongerSide)
{
    succeed("AlignMTB", align(flatFrames(20, 30), 2, 30));
    succeed("AlignMTB", align(flatFrames(30, 20), 2, 30));
    succeed("AlignMTB", align(flatFrames(20, 30), 2, 1));
    for (const int64_t excluded : { int64_t { 31 }, int64_t { 0 }, int64_t { -4 }, INT64_MAX })
        expectRefused("AlignMTB", align(flatFrames(20, 30), 2, excluded));
}

TEST(AlignMTB, CutsItsIntegersToTheirLow32Bits)
{
    constexpr int64_t beyond = int64_t { 1 } << 32;
    const ImagePointer frames = sequenceOf(movedScene(3, -2));
    const Outcome cut = succeed("AlignMTB", align(frames, beyond + 4, beyond + 6));
    const Outcome plain = succeed("AlignMTB", align(frames, 4, 6));
    EXPECT_TRUE(sameBits(matrixOf(cut.image()), matrixOf(plain.image())));
    expectRefused("AlignMTB", align(frames, beyond + 40, 6));
}

TEST(AlignMTB, RefusesOtherImages)
{
    expectRefused("AlignMTB", align(flatFrames(32, 32, CV_8U), 3, 4));
    expectRefused("AlignMTB", align(flatFrames(32, 32, CV_16UC3), 3, 4));
    expectRefused("AlignMTB", align(flatFrames(32, 32, CV_32FC3), 3, 4));
    expectRefused("AlignMTB", align(sequenceOf({ noise(32, 32, CV_8UC3) }, 7), 3, 4));
    expectRefused("AlignMTB", align(imageOf(noise(32, 32, CV_8UC3)), 3, 4));
    expectRefused("AlignMTB", align(nullptr, 3, 4));
}

TEST(AlignMTB, SurvivesThinFramesAndFaults)
{
    succeed("AlignMTB", align(flatFrames(2, 300), 1, 4));
    succeed("AlignMTB", align(flatFrames(300, 2), 1, 4));
    expectSurvivesFaults("AlignMTB", align(flatFrames(16, 16), 2, 4));
}

} // namespace miravex::test
