#include "tests/support/allocations.h"
#include "tests/support/host_check.h"
#include "tests/support/zero_pages.h"

/// Children that tell a refusal of the library from one of OpenCV's, and from memory that ran out.
namespace miravex::test {

namespace {

const auto itFails = ::testing::ExitedWithCode(1);

Values withLevels(int64_t levels) // OpenCV itself refuses more than 8
{
    return { imageOf(noise(9, 9, CV_8UC3)), 2.0, 0.1, levels, int64_t { 1 } };
}

/// Pads a small image of reals to this many pixels each way.
Values paddedBy(int64_t pixels)
{
    return { imageOf(noise(9, 9, CV_64F)), int64_t { 0 },  pixels, int64_t { 0 }, pixels,
             std::string("Fixed"),         realList({ 0 }) };
}

} // namespace

TEST(Children, TellWhoRefused)
{
    EXPECT_REFUSED_BY_OPENCV_IN_CHILD("PyrMeanShiftFilter", withLevels(9));
    EXPECT_EXIT(exitAfter(Ending::Refused, "PyrMeanShiftFilter", withLevels(9)), itFails,
                "left it to OpenCV");
    EXPECT_EXIT(
        exitAfter(Ending::RefusedByOpenCv, "MedianFilter", { imageOf(noise(9, 9, CV_8U)), int64_t { 0 } }),
        itFails, "OpenCV said nothing");
    EXPECT_REFUSED_IN_CHILD("MedianFilter", { imageOf(noise(9, 9, CV_8U)), int64_t { 0 } });
    EXPECT_EXIT(exitAfter(Ending::Refused, "PyrMeanShiftFilter", withLevels(1)), itFails, "was accepted");
}

TEST(Children, NoticeThatMemoryRanOut)
{
    if (!allocationsAreCounted) GTEST_SKIP() << "sanitizers have a malloc of their own";
    // The host can't convert these to reals, nor make room for that result; OpenCV needs many times its
    // input.
    const Values large { imageOfZeros({ .rows = 46000, .columns = 46000 }, PixelTypeByte), int64_t { 1 },
                         realList({ 1, 0, 0 }), std::string("Fixed"), 0.0 };
    EXPECT_EXIT(exitAfter(Ending::Refused, "LocalAdaptiveBinarize", large), itFails, "lack of memory");
    EXPECT_EXIT(exitAfter(Ending::Refused, "ImagePad", paddedBy(30000)), itFails, "lack of memory");
    const Values photo =
        arguments("Akaze", { { "image", imageOfZeros({ .rows = 12000, .columns = 12000 }, PixelTypeByte) } });
    EXPECT_EXIT(exitAfter(Ending::RefusedByOpenCv, "Akaze", photo), itFails, "lack of memory");
    EXPECT_EXIT(exitAfter(Ending::Refused, "Akaze", photo), itFails, "left it to OpenCV");
}

} // namespace miravex::test
