#include "ops/photo/bounds.h"
#include "tests/support/host_check.h"
#include "tests/support/temporary_folder.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/superres.hpp>
#include <opencv2/videoio.hpp>

#include <fstream>

namespace miravex::test {

// Expected values: OpenCV called directly with the stated arguments.

namespace {

/// Writes a film of a scene that moves by a pixel per frame; false where OpenCV can't.
bool writeFilm(const std::string& path, int frames, cv::Size size = { 20, 16 })
{
    cv::Mat scene = noise(size.height + 20, size.width + 20, CV_8UC3);
    cv::GaussianBlur(scene, scene, cv::Size(5, 5), 1.5);
    cv::VideoWriter writer(path, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 10, size);
    for (int i = 0; i < frames && writer.isOpened(); ++i)
        writer.write(scene(cv::Rect(i % 20, i % 7, size.width, size.height)).clone());
    return writer.isOpened();
}

#define WRITE_FILM_OR_SKIP(...)                                                                              \
    if (!writeFilm(__VA_ARGS__)) GTEST_SKIP() << "OpenCV can't write films here"

Values enlarge(const std::string& path, const std::string& flow, int64_t scale)
{
    return { path, flow, scale };
}

cv::Mat direct(const std::string& path, const cv::Ptr<cv::superres::DenseOpticalFlowExt>& flow, int scale)
{
    const auto enlarger = cv::superres::createSuperResolution_BTVL1();
    const auto source = cv::superres::createFrameSource_Video(path);
    enlarger->setScale(scale);
    enlarger->setOpticalFlow(flow);
    cv::Mat skipped, frame;
    source->nextFrame(skipped);
    enlarger->setInput(source);
    enlarger->nextFrame(frame);
    return frame;
}

} // namespace

TEST(SuperResolution, MatchesOpenCvOnTheShortestFilm)
{
    const TemporaryFolder folder;
    const std::string film = folder.file("film.avi");
    WRITE_FILM_OR_SKIP(film, 6);
    const Outcome outcome = succeed("SuperResolution", enlarge(film, "Farneback", 2));
    EXPECT_TRUE(
        sameBits(matrixOf(outcome.image()), direct(film, cv::superres::createOptFlow_Farneback(), 2)));
    EXPECT_EQ(outcome.image().shape.columns, 2 * 20 - 14);
    EXPECT_EQ(outcome.image().shape.rows, 2 * 16 - 14);
    EXPECT_EQ(outcome.image().pixelType, PixelTypeByte);
    EXPECT_EQ(outcome.image().colorSpace, ColorSpaceUnspecified);
}

TEST(SuperResolution, MatchesOpenCvWithDualTvl1)
{
    const TemporaryFolder folder;
    const std::string film = folder.file("film.avi");
    WRITE_FILM_OR_SKIP(film, 7, { 12, 10 });
    const Outcome outcome = succeed("SuperResolution", enlarge(film, "DualTVL1", 3));
    EXPECT_TRUE(sameBits(matrixOf(outcome.image()), direct(film, cv::superres::createOptFlow_DualTVL1(), 3)));
}

TEST(SuperResolution, BoundsItsScale)
{
    const TemporaryFolder folder;
    const std::string film = folder.file("film.avi");
    WRITE_FILM_OR_SKIP(film, 6);
    for (const int64_t scale : { int64_t { 1 }, int64_t { 0 }, int64_t { -2 }, INT64_MIN, int64_t { 10 },
                                 int64_t { INT32_MAX }, int64_t { 1 } << 32 })
        expectRefused("SuperResolution", enlarge(film, "Farneback", scale));
    EXPECT_REFUSED_IN_CHILD("SuperResolution", enlarge(film, "Farneback", 10));
    for (const int64_t beyond : { int64_t { 1 } << 32, -(int64_t { 1 } << 32) }) { // the low 32 bits count
        const Outcome cut = succeed("SuperResolution", enlarge(film, "Farneback", beyond + 2));
        EXPECT_EQ(cut.image().shape.columns, 2 * 20 - 14);
    }
}

TEST(SuperResolution, AcceptsFullHdFrames) // the bounds alone: such frames take hours
{
    for (const int64_t scale : { 2, 3, 4 }) EXPECT_TRUE(bounds::filmFits(1080, 1920, scale)) << scale;
    EXPECT_FALSE(bounds::filmFits(1080, 1920, bounds::filmScale));
}

TEST(SuperResolution, KnowsItsFlows)
{
    const TemporaryFolder folder;
    const std::string film = folder.file("film.avi");
    WRITE_FILM_OR_SKIP(film, 6);
    for (const char* flow : { "farneback", "Farneback ", "dualTVL1", "DualTvl1", "DualTVL", "" })
        expectRefused("SuperResolution", enlarge(film, flow, 2));
}

TEST(SuperResolution, RefusesFilmsThatAreTooShort)
{
    // Our own refusals of films speak as OpenCV's errors; the next test reads them.
    const TemporaryFolder folder;
    for (const int frames : { 1, 4, 5 }) {
        const std::string film = folder.file("film" + std::to_string(frames) + ".avi");
        WRITE_FILM_OR_SKIP(film, frames);
        EXPECT_REFUSED_BY_OPENCV_IN_CHILD("SuperResolution", enlarge(film, "Farneback", 2));
    }
    const std::string picture = folder.file("picture.png");
    cv::imwrite(picture, noise(30, 30, CV_8UC3));
    EXPECT_REFUSED_BY_OPENCV_IN_CHILD("SuperResolution", enlarge(picture, "Farneback", 2));
}

TEST(SuperResolution, SaysWhatIsWrongWithAFilm)
{
    const TemporaryFolder folder;
    const std::string film = folder.file("film.avi"), text = folder.file("text.avi");
    WRITE_FILM_OR_SKIP(film, 5);
    std::ofstream(text) << "not a film";
    const auto reason = [](const std::string& path) {
        const Outcome outcome = invoke("SuperResolution", enlarge(path, "Farneback", 2));
        EXPECT_EQ(outcome.status, StatusFunctionError);
        return outcome.openCvError;
    };
    EXPECT_THAT(reason(film), ::testing::HasSubstr("the film has 5 frames, at least 6 are needed"));
    EXPECT_THAT(reason(text), ::testing::HasSubstr("the film can't be opened"));
}

TEST(SuperResolution, RefusesFilesThatAreNoFilms)
{
    // In processes of their own: OpenCV tries its camera backends on what is no film, and those leak.
    const TemporaryFolder folder;
    EXPECT_REFUSED_BY_OPENCV_IN_CHILD("SuperResolution", enlarge(folder.file("missing.avi"), "Farneback", 2));
    EXPECT_REFUSED_BY_OPENCV_IN_CHILD("SuperResolution", enlarge("", "Farneback", 2));
    const std::string text = folder.file("text.avi");
    std::ofstream(text) << "not a film";
    EXPECT_REFUSED_BY_OPENCV_IN_CHILD("SuperResolution", enlarge(text, "Farneback", 2));
}

TEST(SuperResolution, RefusesFramesSmallerThanTheirBorder)
{
    const TemporaryFolder folder;
    const std::string film = folder.file("small.avi");
    WRITE_FILM_OR_SKIP(film, 6, { 8, 6 });
    EXPECT_REFUSED_BY_OPENCV_IN_CHILD("SuperResolution", enlarge(film, "Farneback", 2)); // 12 rows less 14
    succeed("SuperResolution", enlarge(film, "Farneback", 3));
}

TEST(SuperResolution, SurvivesFaults)
{
    const TemporaryFolder folder;
    const std::string film = folder.file("film.avi");
    WRITE_FILM_OR_SKIP(film, 6, { 16, 12 });
    expectSurvivesFaults("SuperResolution", enlarge(film, "Farneback", 2));
}

} // namespace miravex::test
