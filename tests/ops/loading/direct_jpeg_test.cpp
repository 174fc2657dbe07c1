#include "ops/loading/direct_jpeg.h"

#include "tests/ops/loading/picture_files.h"
#include "tests/support/host_check.h"

#include <opencv2/imgcodecs.hpp>

#include <filesystem>

// The reader stands in this program too: from outside the library nobody sees who decoded a file.
namespace miravex::test {

using ::testing::UnorderedElementsAreArray;

namespace {

/// Which files the direct reader takes. What it takes must have OpenCV's bits.
std::vector<std::string> takenOf(const std::vector<std::string>& files, bool color)
{
    importops::Scratch scratch;
    std::vector<std::string> taken;
    for (const std::string& file : files) {
        const cv::Mat picture = importops::readJpegDirectly(file, color, 0, scratch);
        if (picture.empty()) continue;
        const std::string name = std::filesystem::path(file).filename();
        taken.push_back(name);
        const cv::Mat expected = cv::imread(file, color ? cv::IMREAD_COLOR : cv::IMREAD_GRAYSCALE);
        EXPECT_TRUE(sameBits(picture, expected)) << name << (color ? " as colours" : " as gray");
    }
    return taken;
}

} // namespace

class DirectJpeg : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!MIRAVEX_USES_DIRECT_JPEG) GTEST_SKIP() << "this build leaves all files to OpenCV";
    }
    TemporaryFolder folder;
};

TEST_F(DirectJpeg, TakesTheseKindsOfFile)
{
    const std::vector<std::string> files = picturesOfEveryKind(folder);
    // Left to OpenCV: four channels and RGB as stored, arithmetic coding, every orientation that turns or is
    // none, damage, and whatever is no JPEG.
    const std::vector<std::string> always {
        "444.jpg",    "422.jpg",      "440.jpg",        "420.jpg",     "411.jpg",        "410.jpg",
        "gray.jpg",   "rough.jpg",    "restart.jpg",    "xmp.jpg",     "exif1.jpg",      "exif-unmarked.jpg",
        "tiny.jpg",   "line.jpg",     "column.jpg",     "exact.jpg",   "exact-gray.jpg", "tall.jpg",
        "double.jpg", "trailing.jpg", "jpeg-named.png", "damaged.jpg", // where libjpeg does not notice
    };
    std::vector<std::string> asColours { "progressive.jpg", "progressive444.jpg", "progressive-gray.jpg" };
    asColours.insert(asColours.end(), always.begin(), always.end());
    EXPECT_THAT(takenOf(files, true), UnorderedElementsAreArray(asColours));
    EXPECT_THAT(takenOf(files, false), UnorderedElementsAreArray(always));
}

TEST_F(DirectJpeg, LeavesTurningToOpenCvWhateverTheBlockBeginsWith)
{
    const cv::Mat picture = scene(40, 64);
    const auto written = [&](const JpegOptions& options) {
        const std::string path = folder.file("exif.jpg");
        writeJpeg(path, picture, options);
        return path;
    };
    for (const char* head : { "II", "MM", "XX", "IM", "MI", "\xFF\xFE" }) {
        const bool bigEndian = head != std::string("II");
        const std::string turned =
            written({ .orientation = 6, .bigEndianExif = bigEndian, .exifHead = head });
        EXPECT_EQ(cv::imread(turned).size(), cv::Size(40, 64)) << head; // OpenCV turns it
        EXPECT_TRUE(takenOf({ turned }, true).empty()) << head;
        const std::string upright =
            written({ .orientation = 1, .bigEndianExif = bigEndian, .exifHead = head });
        EXPECT_EQ(takenOf({ upright }, true).size(), 1U) << head;
    }
    // The mark in the other order, or another mark: no EXIF to OpenCV, and the picture stays as it is.
    for (const char* head : { "XX", "MM" }) {
        const std::string backwards = written({ .orientation = 6, .bigEndianExif = false, .exifHead = head });
        EXPECT_EQ(cv::imread(backwards).size(), cv::Size(64, 40)) << head;
        EXPECT_EQ(takenOf({ backwards }, true).size(), 1U) << head;
    }
}

TEST_F(DirectJpeg, HoldsNoPixelsOfAPictureThatItGaveUp)
{
    const std::string whole = folder.file("whole.jpg");
    writeJpeg(whole, scene(400, 400));
    const std::string cut = folder.file("cut.jpg");
    truncateFile(whole, cut, readFile(whole).size() / 2);
    importops::Scratch scratch;
    EXPECT_TRUE(importops::readJpegDirectly(cut, true, 0, scratch).empty());
    EXPECT_EQ(scratch.pixels.size(), 0U);
    EXPECT_FALSE(importops::readJpegDirectly(whole, true, 0, scratch).empty());
    EXPECT_GE(scratch.pixels.size(), 400U * 400 * 3);
}

} // namespace miravex::test
