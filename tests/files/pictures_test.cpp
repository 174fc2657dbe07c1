#include "files/error.h"
#include "files/files.h"
#include "files/npy.h"
#include "files/pictures.h"
#include "tests/support/host_check.h"
#include "tests/support/temporary_folder.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <cstring>
#include <fstream>

namespace miravex::test {

using files::Notes;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class Pictures : public ::testing::Test {
protected:
    [[nodiscard]] std::string path(const std::string& name) const { return folder_.file(name); }

    /// Writes a picture (OpenCV's order of colours) and returns its path.
    std::string picture(const std::string& name, const cv::Mat& matrix) const
    {
        EXPECT_TRUE(cv::imwrite(path(name), matrix)) << name;
        return path(name);
    }

    /// Writes and reads again.
    ImagePointer through(const Image& image, const std::string& name)
    {
        notes_.clear();
        files::writePicture(image, path(name), files::extensionOf(name), notes_);
        return files::readPicture(path(name));
    }

    /// The image comes back with the same shape, type and bits.
    void expectKept(const ImagePointer& image, const std::string& name)
    {
        const ImagePointer back = through(*image, name);
        EXPECT_EQ(back->shape, image->shape) << name;
        EXPECT_EQ(back->pixelType, image->pixelType) << name;
        EXPECT_TRUE(sameBits(matrixOf(*back), matrixOf(*image))) << name;
        EXPECT_THAT(notes_, IsEmpty()) << name;
    }

    Notes notes_;

private:
    TemporaryFolder folder_;
};

TEST_F(Pictures, KeepEveryTypeThatAFormatHolds)
{
    for (const int channels : { 1, 3, 4 }) {
        for (const int depth : { CV_8U, CV_16U }) {
            const ImagePointer image = imageOf(noise(13, 17, CV_MAKETYPE(depth, channels)));
            expectKept(image, "a.png");
            expectKept(image, "a.tiff");
            expectKept(image, "a.npy");
        }
        for (const int depth : { CV_32F, CV_64F }) {
            const ImagePointer image = imageOf(noise(13, 17, CV_MAKETYPE(depth, channels)));
            const bool colorDoubles = depth == CV_64F && channels > 1;
            if (!colorDoubles) expectKept(image, "b.tiff"); // see SayWhatAFormatCannotHold
            expectKept(image, "b.npy");
        }
        expectKept(imageOf(noise(13, 17, CV_MAKETYPE(CV_32F, channels)) * 100 - cv::Scalar::all(50)),
                   "c.exr");
    }
    expectKept(imageOf(noise(13, 17, CV_8UC2)), "d.npy");
    expectKept(imageOf(noise(13, 17, CV_8UC(5))), "d.npy");
    expectKept(bitImageOf(noise(9, 9, CV_8U) > 128), "bits.npy");
    expectKept(imageOf(noise(1, 1, CV_8UC3)), "one.png");
    expectKept(imageOf(noise(1, 40, CV_8U)), "row.bmp");
}

TEST_F(Pictures, KeepSequences)
{
    for (const int type : { CV_8U, CV_8UC3, CV_16UC3, CV_32F, CV_32FC3 }) {
        const ImagePointer sequence =
            sequenceOf({ noise(13, 17, type, 1), noise(13, 17, type, 2), noise(13, 17, type, 3) });
        expectKept(sequence, "s.tiff");
        expectKept(sequence, "s.npy");
    }
}

TEST_F(Pictures, PutColoursInTheHostsOrder)
{
    picture("red.png", cv::Mat(2, 2, CV_8UC3, cv::Scalar(0, 0, 255))); // OpenCV's order: blue, green, red
    const ImagePointer red = files::readPicture(path("red.png"));
    EXPECT_THAT(red->samples<uint8_t>().first(3), ElementsAre(255, 0, 0));
    EXPECT_EQ(red->colorSpace, ColorSpaceRGB);
    files::writePicture(*red, path("again.png"), ".png", notes_);
    EXPECT_EQ(cv::imread(path("again.png")).at<cv::Vec3b>(0, 0), cv::Vec3b(0, 0, 255));

    picture("half.png", cv::Mat(2, 2, CV_8UC4, cv::Scalar(1, 2, 3, 128)));
    const ImagePointer half = files::readPicture(path("half.png"));
    EXPECT_THAT(half->samples<uint8_t>().first(4), ElementsAre(3, 2, 1, 128));
}

TEST_F(Pictures, WritePlanarImagesLikeInterleavedOnes)
{
    const cv::Mat picture = noise(13, 17, CV_8UC3);
    const ImagePointer back = through(*planarImageOf(picture), "planar.png");
    EXPECT_TRUE(sameBits(matrixOf(*back), picture));
}

TEST_F(Pictures, SayWhatAFormatCannotHold)
{
    const ImagePointer reals = imageOf((cv::Mat_<float>(1, 3) << -0.5F, 0.5F, 1.5F));
    const ImagePointer back = through(*reals, "reals.png");
    EXPECT_THAT(back->samples<uint16_t>(), ElementsAre(0, 32768, 65535));
    EXPECT_THAT(notes_, ElementsAre(HasSubstr("bit16"), HasSubstr("cut off")));

    through(*imageOf(noise(4, 4, CV_16U)), "wide.jpg");
    EXPECT_THAT(notes_, ElementsAre(HasSubstr("byte")));
    through(*imageOf(noise(4, 4, CV_8UC4)), "alpha.jpg");
    EXPECT_THAT(notes_, ElementsAre(HasSubstr("fourth channel")));

    const cv::Mat doubles = noise(4, 4, CV_64FC3);
    cv::Mat singles;
    doubles.convertTo(singles, CV_32F);
    EXPECT_TRUE(sameBits(matrixOf(*through(*imageOf(doubles), "doubles.tiff")), singles));
    EXPECT_THAT(notes_, ElementsAre(HasSubstr("real32")));

    const ImagePointer bits = through(*bitImageOf((cv::Mat_<uchar>(1, 2) << 0, 1)), "bits.png");
    EXPECT_THAT(bits->samples<uint8_t>(), ElementsAre(0, 255));
    EXPECT_THAT(notes_, IsEmpty());
    const ImagePointer bytes = through(*imageOf((cv::Mat_<uchar>(1, 2) << 0, 255)), "bytes.exr");
    EXPECT_THAT(bytes->samples<float>(), ElementsAre(0.0F, 1.0F));

    EXPECT_THROW(through(*imageOf(noise(4, 4, CV_8UC2)), "two.png"), files::Error);
    EXPECT_THROW(through(*sequenceOf({ noise(4, 4, CV_8U) }), "frames.png"), files::Error);
    EXPECT_THROW(through(*imageOf(noise(4, 4, CV_8U)), "what.xyz"), files::Error);
}

TEST_F(Pictures, AreReadFromSeveralFilesAsOneSequence)
{
    const cv::Mat first = noise(8, 9, CV_8UC3, 1), second = noise(8, 9, CV_8UC3, 2);
    const std::vector<std::string> files { picture("1.png", first), picture("2.png", second) };
    const ImagePointer sequence = files::readSequence(files);
    EXPECT_EQ(sequence->shape, (ImageShape { 8, 9, 3, 2 }));
    cv::Mat swapped;
    cv::cvtColor(second, swapped, cv::COLOR_BGR2RGB);
    EXPECT_TRUE(sameBits(sliceOf(*sequence, 1), swapped));
    EXPECT_EQ(files::readSequence({ files.front() })->shape.slices, 1);
    EXPECT_EQ(files::readSequence(files, 1)->shape.slices, 1);

    const std::string other = picture("3.png", noise(8, 10, CV_8UC3));
    try {
        files::readSequence({ files.front(), other });
        ADD_FAILURE() << "frames of two sizes were accepted";
    } catch (const files::Error& error) {
        EXPECT_EQ(error.kind(), files::Error::Kind::Input);
        EXPECT_THAT(error.what(),
                    ::testing::AllOf(HasSubstr("3.png"), HasSubstr("10 x 8"), HasSubstr("9 x 8")));
    }
}

TEST_F(Pictures, AreReadFromVideos)
{
    std::vector<cv::Mat> frames;
    for (int i = 0; i < 7; ++i) frames.emplace_back(48, 64, CV_8UC3, cv::Scalar(30 * i, 100, 200));
    cv::VideoWriter video(path("film.avi"), cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 10,
                          cv::Size(64, 48));
    if (!video.isOpened()) GTEST_SKIP() << "OpenCV writes no videos here";
    for (const cv::Mat& frame : frames) video.write(frame);
    video.release();

    const ImagePointer film = files::readPicture(path("film.avi"));
    EXPECT_EQ(film->shape, (ImageShape { 48, 64, 3, 7 }));
    EXPECT_EQ(files::readPicture(path("film.avi"), 3)->shape.slices, 3);
    for (int i = 0; i < 7; ++i) { // the third host channel is blue
        const cv::Scalar mean = cv::mean(sliceOf(*film, i));
        EXPECT_NEAR(mean[2], 30 * i, 6) << i;
        EXPECT_NEAR(mean[0], 200, 6) << i;
    }
    const ImagePointer again = through(*film, "again.avi");
    EXPECT_EQ(again->shape, film->shape);
    EXPECT_LT(largestDifference(matrixOf(*again), matrixOf(*film)), 8);
}

TEST_F(Pictures, AreTurnedAsTheirExifSays)
{
    const cv::Mat wide(16, 32, CV_8UC3, cv::Scalar(10, 20, 30));
    std::string jpeg = files::readWhole(picture("plain.jpg", wide));
    // APP1 with one entry: tag 0x0112 (orientation), SHORT, 6: to be turned a quarter clockwise.
    const std::string exif("\xFF\xE1\x00\x22"
                           "Exif\0\0II*\0\x08\0\0\0\x01\0\x12\x01\x03\0\x01\0\0\0\x06\0\0\0\0\0\0\0",
                           36);
    std::ofstream(path("turned.jpg"), std::ios::binary) << jpeg.insert(2, exif);
    EXPECT_EQ(files::readPicture(path("plain.jpg"))->shape, (ImageShape { 16, 32, 3, 0 }));
    EXPECT_EQ(files::readPicture(path("turned.jpg"))->shape, (ImageShape { 32, 16, 3, 0 }));
}

TEST_F(Pictures, OfArraysFollowTheirShape)
{
    const auto shapeOf = [&](std::vector<int64_t> sizes) {
        files::NpyArray array { 'u', 1, std::move(sizes), {} };
        array.data.resize(array.length());
        files::writeNpy(path("array.npy"), array);
        return files::readPicture(path("array.npy"))->shape;
    };
    EXPECT_EQ(shapeOf({ 5, 7 }), (ImageShape { 5, 7, 1, 0 }));
    EXPECT_EQ(shapeOf({ 5, 7, 3 }), (ImageShape { 5, 7, 3, 0 }));
    EXPECT_EQ(shapeOf({ 5, 7, 9 }), (ImageShape { 7, 9, 1, 5 }));
    EXPECT_EQ(shapeOf({ 5, 7, 9, 2 }), (ImageShape { 7, 9, 2, 5 }));
    EXPECT_THROW(shapeOf({ 5 }), files::Error);
    EXPECT_THROW(shapeOf({ 0, 7 }), files::Error);
    EXPECT_THROW(shapeOf({ 1, 2, 3, 4, 5 }), files::Error);
}

} // namespace miravex::test
