#include "tests/ops/features/caffe_network.h"
#include "tests/ops/features/rows.h"

#include "host/services.h"
#include "ops/features/operations.h"

#include <opencv2/dnn.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/objdetect.hpp>

namespace miravex::test {

namespace {

const std::string cascadeFolder = "/usr/share/opencv4/haarcascades/";
const std::string frontal = cascadeFolder + "haarcascade_frontalface_default.xml";

/// A portrait of python-matplotlib-data, gray or RGB; empty where it is not installed.
cv::Mat portrait(bool gray)
{
    const std::string file = "/usr/share/matplotlib/mpl-data/sample_data/grace_hopper.jpg";
    cv::Mat picture = cv::imread(file, gray ? cv::IMREAD_GRAYSCALE : cv::IMREAD_COLOR);
    if (!picture.empty() && !gray) cv::cvtColor(picture, picture, cv::COLOR_BGR2RGB);
    return picture;
}

Values searching(const cv::Mat& picture, NamedValues given = {})
{
    given["image"] = imageOf(picture);
    if (!given.contains("cascade")) given["cascade"] = frontal;
    return arguments("FaceDetection", given);
}

std::vector<double> searched(const Values& values)
{
    return listOf(succeed("FaceDetection", values).tensor());
}

struct Expected {
    cv::Rect box;
    double score = 0;
};

/// The flat list of faces found in a picture of so many rows, shrunk by `scale`.
std::vector<double> flat(const std::vector<Expected>& faces, double rows, double scale = 1)
{
    std::vector<double> list { static_cast<double>(faces.size()) };
    for (const Expected& face : faces) {
        const double left = face.box.x + 0.5;
        const double bottom = rows - face.box.y - 0.5 - face.box.height;
        for (const double value : { left, bottom, left + face.box.width, bottom + face.box.height })
            list.push_back(value * scale);
    }
    for (const Expected& face : faces) list.push_back(face.score);
    return list;
}

/// What OpenCV finds, from the top down.
std::vector<Expected> cascadeFaces(const cv::Mat& picture, double factor, int neighbors, cv::Size least,
                                   cv::Size most)
{
    cv::CascadeClassifier cascade(frontal);
    std::vector<cv::Rect> boxes;
    std::vector<int> counts;
    cascade.detectMultiScale(picture, boxes, counts, factor, neighbors, 0, least, most);
    std::vector<Expected> faces;
    for (std::size_t i = 0; i < boxes.size(); ++i)
        faces.push_back({ boxes[i], static_cast<double>(counts[i]) });
    std::ranges::sort(faces, {}, [](const Expected& face) {
        return std::tuple(face.box.y, face.box.x, face.box.width, face.box.height, face.score);
    });
    return faces;
}

#define SKIP_WITHOUT_FACES(picture)                                                                          \
    if ((picture).empty() || !std::filesystem::exists(frontal))                                              \
    GTEST_SKIP() << "python-matplotlib-data or opencv-data is not installed"

Values asking(const cv::Mat& picture, const std::filesystem::path& description,
              const std::filesystem::path& weights, NamedValues given = {})
{
    given["image"] = imageOf(picture);
    given["description"] = description.string();
    given["weights"] = weights.string();
    return arguments("FaceDetectionDNN", given);
}

} // namespace

// --- cascade --------------------------------------------------------------------------------------------

TEST(FaceDetection, MatchesOpenCvOnAPortrait)
{
    const cv::Mat picture = portrait(true);
    SKIP_WITHOUT_FACES(picture);
    const auto expected = cascadeFaces(picture, 1.1, 3, {}, picture.size());
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(searched(searching(picture)), flat(expected, picture.rows));
    // Without grouping there are many boxes, of which OpenCV's threads decide the order.
    const auto all = cascadeFaces(picture, 1.1, 0, {}, picture.size());
    ASSERT_GT(all.size(), 10U);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(searched(searching(picture, { { "min_neighbors", int64_t { 0 } } })),
                  flat(all, picture.rows));
    const auto coarse = cascadeFaces(picture, 1.3, 1, {}, picture.size());
    EXPECT_EQ(searched(searching(picture, { { "scale_factor", 1.3 }, { "min_neighbors", int64_t { 1 } } })),
              flat(coarse, picture.rows));
    EXPECT_NE(flat(coarse, picture.rows), flat(expected, picture.rows));
    EXPECT_EQ(searched(searching(picture,
                                 { { "min_width", int64_t { 100 } },
                                   { "min_height", int64_t { 90 } },
                                   { "max_width", int64_t { 400 } },
                                   { "max_height", INT64_MAX } })),
              flat(cascadeFaces(picture, 1.1, 3, { 100, 90 }, { 400, INT32_MAX }), picture.rows));
}

TEST(FaceDetection, EqualisesOnlyWhenToldByOne)
{
    const cv::Mat picture = portrait(true);
    SKIP_WITHOUT_FACES(picture);
    cv::Mat equal;
    cv::equalizeHist(picture, equal);
    const NamedValues many { { "min_neighbors", int64_t { 0 } } };
    const auto with = [&](int64_t equalize) {
        NamedValues given = many;
        given["equalize"] = equalize;
        return searched(searching(picture, given));
    };
    EXPECT_EQ(with(1), flat(cascadeFaces(equal, 1.1, 0, {}, picture.size()), picture.rows));
    EXPECT_EQ(with(2), with(0));
    EXPECT_NE(with(1), with(0));
}

TEST(FaceDetection, SearchesAShrunkPictureAndScalesBack)
{
    const cv::Mat picture = portrait(true); // 512 x 600: the smaller side is 512
    SKIP_WITHOUT_FACES(picture);
    for (const auto& [target, factor] :
         std::vector<std::pair<int64_t, int>> { { 200, 2 }, { 170, 3 }, { 512, 1 }, { 100000, 1 } }) {
        cv::Mat small;
        cv::resize(picture, small, cv::Size(), 1.0 / factor, 1.0 / factor, cv::INTER_LINEAR);
        const auto rounded = [&](int side) { return (side + factor - 1) / factor; };
        const auto expected =
            cascadeFaces(small, 1.1, 3, { rounded(81), rounded(81) }, { rounded(401), rounded(401) });
        ASSERT_FALSE(expected.empty());
        EXPECT_EQ(searched(searching(picture,
                                     { { "target_size", target },
                                       { "min_width", int64_t { 81 } },
                                       { "min_height", int64_t { 81 } },
                                       { "max_width", int64_t { 401 } },
                                       { "max_height", int64_t { 401 } } })),
                  flat(expected, small.rows, factor))
            << target;
    }
}

TEST(FaceDetection, RoundsWantedSizesOfShrunkPicturesUp)
{
    const cv::Mat picture = portrait(true);
    SKIP_WITHOUT_FACES(picture);
    cv::Mat half;
    cv::resize(picture, half, cv::Size(), 0.5, 0.5, cv::INTER_LINEAR);
    // The cascade's windows are 75 pixels wide at one step, which half of 151, rounded down, would include.
    const auto atLeast = [&](int side) {
        return flat(cascadeFaces(half, 1.1, 0, { side, side }, half.size()), half.rows, 2);
    };
    const auto found = searched(searching(picture,
                                          { { "target_size", int64_t { 200 } },
                                            { "min_neighbors", int64_t { 0 } },
                                            { "min_width", int64_t { 151 } },
                                            { "min_height", int64_t { 151 } } }));
    EXPECT_EQ(found, atLeast(76));
    EXPECT_NE(found, atLeast(75));
}

TEST(FaceDetection, FindsNobodyInNothing)
{
    if (!std::filesystem::exists(frontal)) GTEST_SKIP() << "opencv-data is not installed";
    const cv::Mat flatPicture(80, 90, CV_8U, cv::Scalar(128));
    EXPECT_EQ(searched(searching(flatPicture)), (std::vector<double> { 0 }));
    EXPECT_EQ(searched(searching(cv::Mat(2, 2, CV_8U, cv::Scalar(1)))), (std::vector<double> { 0 }));
    expectSurvivesFaults("FaceDetection", searching(flatPicture));
    expectSurvivesFaults("FaceDetection", searching(flatPicture, { { "target_size", int64_t { 30 } } }));
}

TEST(FaceDetection, ChecksItsArguments)
{
    if (!std::filesystem::exists(frontal)) GTEST_SKIP() << "opencv-data is not installed";
    const Values good = searching(scene(60, 70));
    succeed("FaceDetection", good);
    const auto refuses = [&](const char* name, Value value) {
        expectRefused("FaceDetection", with("FaceDetection", good, name, std::move(value)));
    };
    refuses("min_width", int64_t { -1 });
    refuses("min_height", int64_t { -1 });
    refuses("max_width", int64_t { -1 });
    refuses("max_height", int64_t { -1 });
    refuses("min_width", int64_t { 71 });
    refuses("min_height", int64_t { 61 });
    for (const double factor : { 1.0, 0.5, -1.0, std::nan("") }) refuses("scale_factor", factor);
    refuses("target_size", int64_t { -2 });
    refuses("target_size", int64_t { 0 });
    for (const char* path : { "", "/nowhere/cascade.xml", "/dev/null", "/usr/share/opencv4" })
        refuses("cascade", path);
    refuses("image", ImagePointer());
    refuses("image", imageOf(noise(60, 70, CV_8UC3)));
    refuses("image", imageOf(noise(60, 70, CV_16U)));
    refuses("image", bitImageOf(noise(60, 70, CV_8U)));
    refuses("image", imageOf(noise(1, 70, CV_8U)));
    refuses("image", imageOf(noise(60, 1, CV_8U)));
    refuses("image", sequenceOf({ scene(60, 70), scene(60, 70) }));
}

TEST(Hostile, CascadeScalesAreBounded)
{
    const cv::Mat picture = portrait(true);
    SKIP_WITHOUT_FACES(picture);
    succeed("FaceDetection",
            searching(cv::Mat(1080, 1920, CV_8U, cv::Scalar(90)), { { "scale_factor", 1.01 } }));
    for (const double factor : { 1.00001, 1.0001, 1.001, 1.00000001, std::nextafter(1.0, 2.0) })
        EXPECT_REFUSED_IN_CHILD("FaceDetection", searching(picture, { { "scale_factor", factor } }));
    EXPECT_REFUSED_IN_CHILD("FaceDetection",
                            searching(picture,
                                      { { "scale_factor", 1.0000001 },
                                        { "min_width", int64_t { 500 } },
                                        { "min_height", int64_t { 500 } } }));
    // Beyond 8.9e7 OpenCV's window sizes would overflow; one step of that size finds nobody anyway.
    for (const double factor : { 2000.0, 8.9e7, 9e7, 1e300, std::numeric_limits<double>::infinity() })
        EXPECT_EQ(searched(searching(picture, { { "scale_factor", factor } })), (std::vector<double> { 0 }));
    for (const double factor : { 8.9e7, 1e300, std::numeric_limits<double>::infinity() })
        EXPECT_ACCEPTED_IN_CHILD("FaceDetection", searching(picture, { { "scale_factor", factor } }));
    for (const int64_t neighbors : { INT64_MIN, INT64_MAX })
        succeed("FaceDetection", searching(picture, { { "min_neighbors", neighbors } }));
}

// --- network --------------------------------------------------------------------------------------------

namespace {

/// A network of our own that answers these rows of 7 whatever the picture.
class Candidates : public ::testing::Test {
protected:
    std::vector<double> found(const cv::Mat& picture, const std::vector<std::array<float, 7>>& rows,
                              double threshold = 0.5)
    {
        const CaffeNetwork network(rows);
        return listOf(
            succeed("FaceDetectionDNN",
                    asking(picture, network.description(), network.weights(), { { "threshold", threshold } }))
                .tensor());
    }
    const cv::Mat picture = noise(100, 200, CV_8UC3); // 200 columns, 100 rows
};

} // namespace

TEST_F(Candidates, BecomeBoxesFromTheBottom) // by hand: columns 20 to 60, rows 25 to 75
{
    EXPECT_EQ(found(picture, { { 0, 1, 0.875F, 0.1F, 0.25F, 0.3F, 0.75F } }),
              (std::vector<double> { 1, 20.5, 100 - 25 - 0.5 - 50, 60.5, 100 - 25 - 0.5, 0.875 }));
}

TEST_F(Candidates, KeepTheirOrder)
{
    const auto list = found(picture,
                            { { 0, 1, 0.75F, 0.5F, 0.5F, 0.75F, 0.75F },
                              { 0, 1, 0.25F, 0.5F, 0.5F, 0.75F, 0.75F },
                              { 0, 1, 1, 0.25F, 0.25F, 0.5F, 0.5F } });
    EXPECT_EQ(list, (std::vector<double> { 2, 100.5, 24.5, 150.5, 49.5, 50.5, 49.5, 100.5, 74.5, 0.75, 1 }));
}

TEST_F(Candidates, MustExceedTheThreshold)
{
    const std::vector<std::array<float, 7>> rows { { 0, 1, 0.5F, 0.25F, 0.25F, 0.5F, 0.5F },
                                                   { 0, 1, 0.625F, 0.25F, 0.25F, 0.5F, 0.5F },
                                                   { 0, 1, 1, 0.25F, 0.25F, 0.5F, 0.5F } };
    EXPECT_EQ(found(picture, rows, 0.5).front(), 2);
    EXPECT_EQ(found(picture, rows, 0.0).front(), 3);
    EXPECT_EQ(found(picture, rows, 0.625).front(), 1);
    EXPECT_EQ(found(picture, rows, 1.0).front(), 0);
    EXPECT_EQ(found(picture, rows, 1.0 + 1e-12).front(), 0); // 1 as a float
    EXPECT_EQ(found(picture, rows, std::nan("")).front(), 0);
}

TEST_F(Candidates, AreDroppedAtEveryEdgeButTheBottom)
{
    const auto kept = [&](float left, float top, float right, float bottom) {
        return found(picture, { { 0, 1, 1, left, top, right, bottom } }).front() == 1;
    };
    EXPECT_TRUE(kept(0.1F, 0.1F, 0.5F, 0.5F));
    EXPECT_FALSE(kept(0.0F, 0.1F, 0.5F, 0.5F)); // column 0
    EXPECT_FALSE(kept(0.0049F, 0.1F, 0.5F, 0.5F)); // 0.98 is cut to column 0
    EXPECT_TRUE(kept(0.0051F, 0.1F, 0.5F, 0.5F)); // column 1
    EXPECT_FALSE(kept(-0.1F, 0.1F, 0.5F, 0.5F));
    EXPECT_FALSE(kept(0.1F, 0.0F, 0.5F, 0.5F)); // row 0
    EXPECT_FALSE(kept(0.1F, -0.5F, 0.5F, 0.5F));
    EXPECT_TRUE(kept(0.1F, 0.011F, 0.5F, 0.5F)); // row 1
    EXPECT_FALSE(kept(0.1F, 0.1F, 1.0F, 0.5F)); // column 200 of 200
    EXPECT_TRUE(kept(0.1F, 0.1F, 0.9951F, 0.5F)); // column 199
    EXPECT_FALSE(kept(0.1F, 0.1F, 0.5F, 0.0F)); // row 0
    EXPECT_FALSE(kept(0.1F, 0.1F, 0.5F, 0.009F)); // 0.9 is cut to row 0
    EXPECT_TRUE(kept(0.1F, 0.1F, 0.5F, 1.5F)); // beyond the bottom
    EXPECT_TRUE(kept(0.1F, 0.1F, 0.5F, -0.5F));
    EXPECT_TRUE(kept(0.6F, 0.1F, 0.3F, 0.5F)); // right of its right end
}

TEST_F(Candidates, WithCornersThatNoIntegerHoldsAreDropped)
{
    for (const float wild : { std::nanf(""), std::numeric_limits<float>::infinity(), 1e30F, -1e30F, 3e7F }) {
        for (std::size_t column = 3; column < 7; ++column) {
            std::array<float, 7> row { 0, 1, 1, 0.25F, 0.25F, 0.5F, 0.5F };
            row[column] = wild;
            if (wild == 3e7F && column == 6) continue; // 3e9 is beyond an integer only for the columns
            EXPECT_EQ(found(picture, { row }).front(), 0) << wild << " in column " << column;
        }
    }
    std::array<float, 7> unsure { 0, 1, std::nanf(""), 0.25F, 0.25F, 0.5F, 0.5F };
    EXPECT_EQ(found(picture, { unsure }).front(), 0);
}

TEST_F(Candidates, OfOtherShapesAreRefused)
{
    const std::array<float, 7> row { 0, 1, 1, 0.25F, 0.25F, 0.5F, 0.5F };
    for (const std::vector<int>& shape : { std::vector<int> { 1, 1, 7, 1 }, std::vector<int> { 1, 7 },
                                           std::vector<int> { 1, 1, 7 }, std::vector<int> { 7, 1, 1, 1 } }) {
        const CaffeNetwork network({ row }, shape);
        EXPECT_REFUSED_IN_CHILD("FaceDetectionDNN",
                                asking(picture, network.description(), network.weights()));
    }
    const CaffeNetwork elsewhere({ row }, {}, "somewhere_else");
    expectRefused("FaceDetectionDNN", asking(picture, elsewhere.description(), elsewhere.weights()));
}

TEST_F(Candidates, ComeFromColourPicturesThatANetworkTakes)
{
    const std::vector<std::array<float, 7>> rows { { 0, 1, 1, 0.25F, 0.25F, 0.5F, 0.5F } };
    for (const int type : { CV_8UC3, CV_8UC4, CV_32FC3 })
        EXPECT_EQ(found(noise(40, 50, type), rows).front(), 1) << cv::typeToString(type);
    const CaffeNetwork network(rows);
    for (const int type : { CV_8UC1, CV_8UC2, CV_8UC(5), CV_16UC3, CV_64FC3 })
        expectRefused("FaceDetectionDNN",
                      asking(noise(40, 50, type), network.description(), network.weights()));
}

TEST_F(Candidates, NeedGoodArguments)
{
    const CaffeNetwork network({ { 0, 1, 1, 0.25F, 0.25F, 0.5F, 0.5F } });
    const Values good = asking(picture, network.description(), network.weights());
    const auto refuses = [&](const char* name, Value value) {
        expectRefused("FaceDetectionDNN", with("FaceDetectionDNN", good, name, std::move(value)));
    };
    refuses("image", ImagePointer());
    refuses("image", sequenceOf({ picture, picture }));
    refuses("image", imageOf(noise(1, 50, CV_8UC3)));
    refuses("image", imageOf(noise(50, 1, CV_8UC3)));
    for (const int64_t ratio : { int64_t { 0 }, int64_t { 5 }, int64_t { -1 }, INT64_MAX })
        refuses("size_ratio", ratio);
    for (const double threshold : { 1.5, -0.1, -1e-30 }) refuses("threshold", threshold);
    for (const char* path : { "", "/nowhere/file", "/dev/null" }) {
        refuses("description", path);
        refuses("weights", path);
    }
    refuses("description", network.weights().string());
    refuses("weights", network.description().string());
    for (int64_t ratio = 1; ratio <= 4; ++ratio)
        succeed("FaceDetectionDNN", with("FaceDetectionDNN", good, "size_ratio", ratio));
    expectSurvivesFaults("FaceDetectionDNN", good);
    expectSurvivesFaults("FaceDetectionDNN",
                         with("FaceDetectionDNN", good, "image", planarImageOf(noise(20, 30, CV_8UC3))));
}

TEST(FaceDetectionDNN, SaysWhatIsWrong) // to whoever looks on: the host sees the status alone
{
    const CaffeNetwork network({ { 0, 1, 1, 0.25F, 0.25F, 0.5F, 0.5F } });
    struct Call {
        ImagePointer image = imageOf(noise(40, 50, CV_8UC3));
        double threshold = 0.5;
        int64_t ratio = 1;
    };
    LibraryDataTable table = hostServices();
    ImageServices images = *table.imageServices;
    table.imageServices = &images;
    const auto errorOf = [&](const Call& call) -> std::string {
        try {
            // The operation itself, without the export that would catch what it throws.
            KTensor result = nullptr;
            faceDetectionDnn(&table, call.image.get(), network.description().string().c_str(),
                             network.weights().string().c_str(), call.threshold, 0, call.ratio, &result);
            return "";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    };
    // All went well until the host, which makes no tensors outside of a call, was asked for one.
    EXPECT_EQ(errorOf({}), "KTensor_new is not created properly.");
    EXPECT_EQ(errorOf({ sequenceOf({ noise(9, 9, CV_8UC3), noise(9, 9, CV_8UC3) }) }),
              "Input image is expected to have 2 dimensions.");
    for (const ImagePointer& thin : { imageOf(noise(1, 50, CV_8UC3)), imageOf(noise(50, 1, CV_8UC3)) })
        EXPECT_EQ(errorOf({ thin }), "At least one dimension of the input image is equal or smaller than 1.");
    for (const int64_t ratio : { 0, 5 })
        EXPECT_EQ(errorOf({ .ratio = ratio }), "Input size Ratio cannot be < 1 or > 4.");
    for (const double threshold : { 1.5, -0.1 })
        EXPECT_EQ(errorOf({ .threshold = threshold }), "Confidence threshold cannot be  > 1 or < 0.");
    // The picture before the network, the dimensions before the ratio, the ratio before the threshold.
    EXPECT_EQ(errorOf({ imageOf(noise(1, 1, CV_8UC3)), 1.5, 0 }),
              "At least one dimension of the input image is equal or smaller than 1.");
    EXPECT_EQ(errorOf({ .threshold = 1.5, .ratio = 0 }), "Input size Ratio cannot be < 1 or > 4.");
    images.imageGetByteData = [](KImage) -> uint8_t* { return nullptr; };
    EXPECT_EQ(errorOf({}), "Image is not loaded properly.");
}

TEST(FaceDetectionDNN, MatchesOpenCvOnAPortrait)
{
    const auto folder = testData();
    const cv::Mat picture = portrait(false);
    if (!folder) GTEST_SKIP() << "MIRAVEX_TEST_DATA is not set";
    SKIP_WITHOUT_FACES(picture);
    const auto description = *folder / "face-network" / "deploy.prototxt";
    const auto weights = *folder / "face-network" / "weights.caffemodel";
    for (const auto& [ratio, alternative] : std::vector<std::pair<int, bool>> { { 1, false }, { 2, true } }) {
        cv::Mat bgr;
        cv::cvtColor(picture, bgr, cv::COLOR_RGB2BGR);
        auto network = cv::dnn::readNetFromCaffe(description.string(), weights.string());
        network.setInput(
            cv::dnn::blobFromImage(bgr, 1.0, cv::Size(300 * ratio, 300 * ratio),
                                   alternative ? cv::Scalar(152.5, 152.5, 152.5) : cv::Scalar(104, 177, 123),
                                   false, false),
            "data");
        const cv::Mat output = network.forward("detection_out");
        std::vector<Expected> expected;
        for (int i = 0; i < output.size[2]; ++i) {
            const float* row = output.ptr<float>(0, 0, i);
            if (row[2] <= 0.5F) continue;
            const cv::Point topLeft(static_cast<int>(static_cast<float>(picture.cols) * row[3]),
                                    static_cast<int>(static_cast<float>(picture.rows) * row[4]));
            const cv::Point bottomRight(static_cast<int>(static_cast<float>(picture.cols) * row[5]),
                                        static_cast<int>(static_cast<float>(picture.rows) * row[6]));
            if (topLeft.x >= 1 && topLeft.y >= 1 && bottomRight.x < picture.cols && bottomRight.y != 0)
                expected.push_back({ cv::Rect(topLeft, bottomRight), static_cast<double>(row[2]) });
        }
        ASSERT_FALSE(expected.empty());
        const Values values =
            asking(picture, description, weights,
                   { { "size_ratio", int64_t { ratio } }, { "alternative_mean", int64_t { alternative } } });
        EXPECT_EQ(listOf(succeed("FaceDetectionDNN", values).tensor()), flat(expected, picture.rows));
        if (!alternative) continue; // any number but 0 asks for it
        EXPECT_EQ(listOf(succeed("FaceDetectionDNN",
                                 with("FaceDetectionDNN", values, "alternative_mean", int64_t { -2 }))
                             .tensor()),
                  flat(expected, picture.rows));
        EXPECT_NE(listOf(succeed("FaceDetectionDNN",
                                 with("FaceDetectionDNN", values, "alternative_mean", int64_t { 0 }))
                             .tensor()),
                  flat(expected, picture.rows));
    }
}

} // namespace miravex::test
