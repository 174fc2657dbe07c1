#include "tests/ops/features/rows.h"

namespace miravex::test {

// Expected values: OpenCV called directly with the stated arguments, bit for bit, or worked by hand where
// said so.

namespace {

const char* const modes[] = { "detect", "compute", "detectAndCompute" };
const char* const detectors[] = { "Agast", "Fast", "Akaze", "Brisk", "Kaze", "Orb" };
const char* const describers[] = { "Akaze", "Brisk", "Kaze", "Orb" };

using Detector = cv::Ptr<cv::Feature2D>;

/// What a detector finds and describes, with the keypoints it is to describe in "compute".
void expectLikeOpenCv(const char* operation, NamedValues given, const cv::Mat& picture, const cv::Mat& mask,
                      const Detector& detector)
{
    given["image"] = imageOf(picture);
    if (!mask.empty()) given["mask"] = bitImageOf(mask);
    std::vector<cv::KeyPoint> found;
    cv::Mat descriptors;
    detector->detectAndCompute(picture, mask, found, cv::noArray(), false);
    ASSERT_GT(found.size(), 5U) << operation << " finds too little to compare";
    const cv::Mat foundRows = rowsOf(found, picture.rows);

    given["mode"] = "detect";
    const Outcome detected = succeed(operation, arguments(operation, given));
    EXPECT_TRUE(sameBits(matrixOf(detected.tensor()), foundRows)) << operation << " detect";

    std::vector<cv::KeyPoint> both;
    detector->detectAndCompute(picture, mask, both, descriptors, false);
    given["mode"] = "detectAndCompute";
    EXPECT_TRUE(sameBits(matrixOf(succeed(operation, arguments(operation, given)).tensor()),
                         besides(rowsOf(both, picture.rows), descriptors)))
        << operation << " detectAndCompute";

    // What the host got can be handed back, but for the rounding of positions to floats on both ways.
    for (int i = 0; i < foundRows.rows; ++i) {
        const double y = picture.rows - foundRows.at<double>(i, 1) - 0.5;
        found[static_cast<std::size_t>(i)].pt =
            cv::Point2f(static_cast<float>(foundRows.at<double>(i, 0) - 0.5), static_cast<float>(y));
    }
    detector->detectAndCompute(picture, mask, found, descriptors, true);
    given["mode"] = "compute";
    given["keypoints"] = tensorOf(foundRows);
    EXPECT_TRUE(
        sameBits(matrixOf(succeed(operation, arguments(operation, given)).tensor()), doublesOf(descriptors)))
        << operation << " compute";
}

/// One keypoint row in the middle of a picture of 100 x 120.
std::vector<double> goodRow() { return { 60, 50, 12, 30, 1, 0, 1 }; }

Values computing(const char* operation, const std::vector<double>& row)
{
    return arguments(operation,
                     { { "image", imageOf(scene(100, 120)) },
                       { "mode", "compute" },
                       { "keypoints", realRows({ static_cast<int64_t>(row.size() / 7), 7 }, row) } });
}

Values computing(const char* operation, std::size_t column, double value)
{
    std::vector<double> row = goodRow();
    row[column] = value;
    return computing(operation, row);
}

} // namespace

// --- the detectors against OpenCV -----------------------------------------------------------------------

TEST(Agast, MatchesOpenCv)
{
    const cv::Mat picture = scene(90, 130);
    for (const int threshold : { 0, 10, 40, 255 }) {
        for (const bool suppress : { false, true }) {
            std::vector<cv::KeyPoint> expected;
            cv::AGAST(picture, expected, threshold, suppress, cv::AgastFeatureDetector::OAST_9_16);
            const Outcome outcome = succeed("Agast",
                                            arguments("Agast",
                                                      { { "image", imageOf(picture) },
                                                        { "threshold", int64_t { threshold } },
                                                        { "nonmax_suppression", suppress } }));
            EXPECT_TRUE(sameBits(matrixOf(outcome.tensor()), rowsOf(expected, picture.rows))) << threshold;
        }
    }
}

TEST(Agast, KeepsOnlyWhatTheMaskAllows)
{
    const cv::Mat picture = scene(90, 130);
    cv::Mat mask(picture.size(), CV_8U, cv::Scalar(0));
    mask(cv::Rect(20, 10, 60, 50)).setTo(255);
    std::vector<cv::KeyPoint> expected;
    cv::AGAST(picture, expected, 15, true, cv::AgastFeatureDetector::OAST_9_16);
    const std::size_t all = expected.size();
    cv::KeyPointsFilter::runByPixelsMask(expected, mask);
    ASSERT_LT(expected.size(), all);
    const Values values = arguments(
        "Agast",
        { { "image", imageOf(picture) }, { "mask", bitImageOf(mask) }, { "threshold", int64_t { 15 } } });
    EXPECT_TRUE(sameBits(matrixOf(succeed("Agast", values).tensor()), rowsOf(expected, picture.rows)));
}

TEST(Fast, MatchesOpenCvWithAndWithoutMask)
{
    const cv::Mat picture = scene(90, 130);
    cv::Mat mask(picture.size(), CV_8U, cv::Scalar(255));
    mask.colRange(0, 60).setTo(0);
    for (const int threshold : { 0, 10, 60, 255 }) {
        for (const bool masked : { false, true }) {
            const bool suppress = threshold != 10;
            std::vector<cv::KeyPoint> expected;
            cv::FastFeatureDetector::create(threshold, suppress, cv::FastFeatureDetector::TYPE_9_16)
                ->detect(picture, expected, masked ? mask : cv::Mat());
            NamedValues given { { "image", imageOf(picture) },
                                { "threshold", int64_t { threshold } },
                                { "nonmax_suppression", suppress } };
            if (masked) given["mask"] = bitImageOf(mask);
            EXPECT_TRUE(sameBits(matrixOf(succeed("Fast", arguments("Fast", given)).tensor()),
                                 rowsOf(expected, picture.rows)))
                << threshold;
        }
    }
}

TEST(Agast, ThresholdsBeyondBytesFindNothing) // no two bytes differ by more than 255
{
    for (const int64_t threshold : { int64_t { 256 }, int64_t { 1 } << 31, int64_t { 1 } << 40, INT64_MAX })
        EXPECT_EQ(
            succeed("Agast",
                    arguments("Agast", { { "image", imageOf(scene(40, 40)) }, { "threshold", threshold } }))
                .tensor()
                .dimensions,
            (std::vector<int64_t> { 0, 7 }));
}

TEST(Fast, PassesTheLowBitsOfThresholdsOn) // of which OpenCV compares the lowest eight
{
    const cv::Mat picture = scene(90, 130);
    for (const int64_t threshold : { int64_t { 256 }, int64_t { 276 }, int64_t { 1034 },
                                     int64_t { INT32_MAX }, (int64_t { 1 } << 40) + 10, INT64_MAX - 230 }) {
        std::vector<cv::KeyPoint> expected;
        const auto low = static_cast<int>(static_cast<uint32_t>(threshold));
        cv::FastFeatureDetector::create(low, true, cv::FastFeatureDetector::TYPE_9_16)
            ->detect(picture, expected);
        const Values values =
            arguments("Fast", { { "image", imageOf(picture) }, { "threshold", threshold } });
        EXPECT_TRUE(sameBits(matrixOf(succeed("Fast", values).tensor()), rowsOf(expected, picture.rows)))
            << threshold;
        EXPECT_EQ(expected.empty(), threshold == INT32_MAX) << threshold;
    }
}

TEST(Akaze, MatchesOpenCv)
{
    const cv::Mat picture = scene(120, 160);
    cv::Mat mask(picture.size(), CV_8U, cv::Scalar(255));
    mask.rowRange(0, 40).setTo(0);
    const std::pair<const char*, cv::AKAZE::DescriptorType> types[] = {
        { "DESCRIPTOR_KAZE_UPRIGHT", cv::AKAZE::DESCRIPTOR_KAZE_UPRIGHT },
        { "DESCRIPTOR_KAZE", cv::AKAZE::DESCRIPTOR_KAZE },
        { "DESCRIPTOR_MLDB_UPRIGHT", cv::AKAZE::DESCRIPTOR_MLDB_UPRIGHT },
        { "DESCRIPTOR_MLDB", cv::AKAZE::DESCRIPTOR_MLDB },
    };
    for (const auto& [name, type] : types)
        expectLikeOpenCv("Akaze", { { "descriptor_type", name } }, picture, mask,
                         cv::AKAZE::create(type, 0, 3, 0.001F, 4, 4, cv::KAZE::DIFF_PM_G2));
    const std::pair<const char*, cv::KAZE::DiffusivityType> diffusivities[] = {
        { "DIFF_PM_G1", cv::KAZE::DIFF_PM_G1 },
        { "DIFF_PM_G2", cv::KAZE::DIFF_PM_G2 },
        { "DIFF_WEICKERT", cv::KAZE::DIFF_WEICKERT },
        { "DIFF_CHARBONNIER", cv::KAZE::DIFF_CHARBONNIER },
    };
    for (const auto& [name, diffusivity] : diffusivities)
        expectLikeOpenCv("Akaze",
                         { { "diffusivity", name },
                           { "threshold", 0.0005 },
                           { "n_octaves", int64_t { 2 } },
                           { "n_octave_layers", int64_t { 3 } } },
                         picture, {},
                         cv::AKAZE::create(cv::AKAZE::DESCRIPTOR_MLDB, 0, 3, 0.0005F, 2, 3, diffusivity));
    expectLikeOpenCv(
        "Akaze", { { "descriptor_size", int64_t { 200 } }, { "descriptor_channels", int64_t { 3 } } },
        picture, {},
        cv::AKAZE::create(cv::AKAZE::DESCRIPTOR_MLDB, 200, 3, 0.001F, 4, 4, cv::KAZE::DIFF_PM_G2));
    expectLikeOpenCv("Akaze", { { "n_octaves", INT64_MAX }, { "descriptor_size", int64_t { 486 } } }, picture,
                     {}, cv::AKAZE::create(cv::AKAZE::DESCRIPTOR_MLDB, 486, 3, 0.001F, 100, 4));
}

TEST(Brisk, MatchesOpenCv)
{
    const cv::Mat picture = scene(120, 160);
    cv::Mat mask(picture.size(), CV_8U, cv::Scalar(255));
    mask.colRange(100, 160).setTo(0);
    for (const int octaves : { 1, 3, 5 })
        expectLikeOpenCv("Brisk", { { "octaves", int64_t { octaves } } }, picture, {},
                         cv::BRISK::create(30, octaves, 1.0F));
    expectLikeOpenCv(
        "Brisk", { { "threshold", int64_t { 12 } }, { "octaves", int64_t { 0 } }, { "pattern_scale", 0.5 } },
        picture, mask, cv::BRISK::create(12, 0, 0.5F));
}

TEST(Kaze, MatchesOpenCv)
{
    const cv::Mat picture = scene(120, 160);
    cv::Mat mask(picture.size(), CV_8U, cv::Scalar(255));
    mask.rowRange(60, 120).setTo(0);
    const std::pair<const char*, cv::KAZE::DiffusivityType> diffusivities[] = {
        { "DIFF_PM_G1", cv::KAZE::DIFF_PM_G1 },
        { "DIFF_PM_G2", cv::KAZE::DIFF_PM_G2 },
        { "DIFF_WEICKERT", cv::KAZE::DIFF_WEICKERT },
        { "DIFF_CHARBONNIER", cv::KAZE::DIFF_CHARBONNIER },
    };
    for (const auto& [name, diffusivity] : diffusivities)
        expectLikeOpenCv("Kaze", { { "diffusivity", name } }, picture, mask,
                         cv::KAZE::create(false, false, 0.001F, 4, 4, diffusivity));
    expectLikeOpenCv("Kaze", { { "extended", true } }, picture, {},
                     cv::KAZE::create(true, false, 0.001F, 4, 4, cv::KAZE::DIFF_PM_G2));
    expectLikeOpenCv("Kaze", { { "upright", true } }, picture, {},
                     cv::KAZE::create(false, true, 0.001F, 4, 4, cv::KAZE::DIFF_PM_G2));
    expectLikeOpenCv("Kaze",
                     { { "extended", true },
                       { "upright", true },
                       { "threshold", 0.0002 },
                       { "n_octaves", int64_t { 2 } },
                       { "n_octave_layers", int64_t { 2 } } },
                     picture, {}, cv::KAZE::create(true, true, 0.0002F, 2, 2, cv::KAZE::DIFF_PM_G2));
}

TEST(Kaze, SkipsOnlyOctavesThatFindNothing)
{
    for (const auto& [rows, columns] :
         { std::pair { 24, 90 }, std::pair { 60, 50 }, std::pair { 110, 140 } }) {
        for (const int layers : { 1, 4 }) {
            const cv::Mat picture = scene(rows, columns);
            std::vector<cv::KeyPoint> expected; // every octave, as OpenCV takes them
            cv::KAZE::create(false, false, -1.0F, 9, layers, cv::KAZE::DIFF_PM_G2)->detect(picture, expected);
            const Values values = arguments("Kaze",
                                            { { "image", imageOf(picture) },
                                              { "threshold", -1.0 },
                                              { "n_octaves", int64_t { 9 } },
                                              { "n_octave_layers", int64_t { layers } } });
            EXPECT_TRUE(sameBits(matrixOf(succeed("Kaze", values).tensor()), rowsOf(expected, rows)))
                << rows << " x " << columns << ", " << layers << " layers";
        }
    }
}

TEST(Kaze, DescribesAtEveryLevelThatItsClassNames)
{
    // Octaves beyond the second can't find anything in a picture this small, but OpenCV describes in them.
    const cv::Mat picture = scene(30, 40);
    for (const int level : { 0, 7, 11, 19 }) {
        std::vector<cv::KeyPoint> given { cv::KeyPoint(20, 15, 6, 0, 1, 0, level) };
        cv::Mat descriptors;
        cv::KAZE::create(false, false, 0.001F, 5, 4, cv::KAZE::DIFF_PM_G2)
            ->detectAndCompute(picture, cv::noArray(), given, descriptors, true);
        const Values values = arguments(
            "Kaze",
            { { "image", imageOf(picture) },
              { "mode", "compute" },
              { "n_octaves", int64_t { 5 } },
              { "keypoints", realRows({ 1, 7 }, { 20.5, 14.5, 6, 0, 1, 0, static_cast<double>(level) }) } });
        EXPECT_TRUE(sameBits(matrixOf(succeed("Kaze", values).tensor()), doublesOf(descriptors))) << level;
    }
}

TEST(Describers, TakeSizesBeyondTheDiagonal) // BRISK finds one of 72 on 48 x 48, whose diagonal is 68
{
    for (const char* operation : describers)
        succeed(operation,
                arguments(operation,
                          { { "image", imageOf(scene(48, 48)) },
                            { "mode", "compute" },
                            { "keypoints", realRows({ 1, 7 }, { 24, 24, 72, 0, 1, 0, 1 }) } }));
}

TEST(Orb, MatchesOpenCv)
{
    const cv::Mat picture = scene(160, 200);
    cv::Mat mask(picture.size(), CV_8U, cv::Scalar(255));
    mask.colRange(0, 80).setTo(0);
    expectLikeOpenCv("Orb", {}, picture, {},
                     cv::ORB::create(500, 1.2F, 8, 31, 0, 2, cv::ORB::HARRIS_SCORE, 31, 20));
    // One argument is both margin and patch.
    expectLikeOpenCv("Orb",
                     { { "fast_threshold", int64_t { 8 } },
                       { "n_features", int64_t { 60 } },
                       { "scale_factor", 1.5 },
                       { "n_levels", int64_t { 3 } },
                       { "edge_threshold", int64_t { 15 } },
                       { "wta_k", int64_t { 4 } },
                       { "score_type", "FAST_SCORE" } },
                     picture, mask, cv::ORB::create(60, 1.5F, 3, 15, 0, 4, cv::ORB::FAST_SCORE, 15, 8));
    expectLikeOpenCv("Orb", { { "wta_k", int64_t { 3 } }, { "edge_threshold", int64_t { 2 } } }, picture, {},
                     cv::ORB::create(500, 1.2F, 8, 2, 0, 3, cv::ORB::HARRIS_SCORE, 2, 20));
}

TEST(Orb, TakesAnyFastThreshold) // nothing checks it
{
    const cv::Mat picture = scene(90, 110);
    for (const int threshold : { -5, 0, 300 }) {
        std::vector<cv::KeyPoint> expected;
        cv::ORB::create(500, 1.2F, 8, 31, 0, 2, cv::ORB::HARRIS_SCORE, 31, threshold)
            ->detect(picture, expected);
        const Values values =
            arguments("Orb", { { "image", imageOf(picture) }, { "fast_threshold", int64_t { threshold } } });
        EXPECT_TRUE(sameBits(matrixOf(succeed("Orb", values).tensor()), rowsOf(expected, picture.rows)))
            << threshold;
    }
    for (const int64_t threshold : { INT64_MIN, INT64_MAX })
        succeed("Orb", arguments("Orb", { { "image", imageOf(picture) }, { "fast_threshold", threshold } }));
}

TEST(Orb, ClipsFeatureCountsThatChangeNothing)
{
    const cv::Mat picture = noise(60, 80, CV_8U);
    std::vector<cv::KeyPoint> expected;
    cv::ORB::create(100000, 1.2F, 4, 10, 0, 2, cv::ORB::HARRIS_SCORE, 10, 5)->detect(picture, expected);
    ASSERT_GT(expected.size(), 50U);
    for (const int64_t features : { int64_t { 100000 }, int64_t { INT32_MAX }, INT64_MAX }) {
        const Values values = arguments("Orb",
                                        { { "image", imageOf(picture) },
                                          { "n_features", features },
                                          { "n_levels", int64_t { 4 } },
                                          { "edge_threshold", int64_t { 10 } },
                                          { "fast_threshold", int64_t { 5 } } });
        EXPECT_TRUE(sameBits(matrixOf(succeed("Orb", values).tensor()), rowsOf(expected, 60))) << features;
    }
}

TEST(Detectors, AgreeWithOpenCvOnPhotos)
{
    const cv::Mat picture = photo("graf1.png", true);
    SKIP_WITHOUT(picture);
    expectLikeOpenCv("Orb", {}, picture, {},
                     cv::ORB::create(500, 1.2F, 8, 31, 0, 2, cv::ORB::HARRIS_SCORE, 31, 20));
    expectLikeOpenCv("Brisk", { { "threshold", int64_t { 60 } } }, picture, {},
                     cv::BRISK::create(60, 3, 1.0F));
    expectLikeOpenCv("Akaze", { { "descriptor_type", "DESCRIPTOR_KAZE" } }, picture, {},
                     cv::AKAZE::create(cv::AKAZE::DESCRIPTOR_KAZE, 0, 3, 0.001F, 4, 4, cv::KAZE::DIFF_PM_G2));
}

// --- coordinates and rows -------------------------------------------------------------------------------

TEST(Coordinates, CountFromTheBottomEdgeToPixelCentres) // by hand
{
    // A lone bright pixel at column 8, row 5 of 10 rows is the only corner.
    cv::Mat picture(10, 20, CV_8U, cv::Scalar(0));
    picture.at<uchar>(5, 8) = 255;
    for (const char* operation : { "Agast", "Fast" }) {
        const cv::Mat rows =
            matrixOf(succeed(operation, arguments(operation, { { "image", imageOf(picture) } })).tensor());
        ASSERT_EQ(rows.rows, 1) << operation;
        EXPECT_EQ(rows.at<double>(0, 0), 8.5) << operation;
        EXPECT_EQ(rows.at<double>(0, 1), 4.5) << operation;
        EXPECT_EQ(rows.at<double>(0, 3), -1) << operation;
        EXPECT_EQ(rows.at<double>(0, 6), -1) << operation;
    }
}

TEST(Coordinates, TakeTheWholePictureAndClampToPixelCentres)
{
    // KAZE describes every keypoint wherever it lies, so that positions show in the result.
    const cv::Mat picture = scene(100, 120);
    const auto described = [&](double x, double y) {
        std::vector<double> row = goodRow();
        row[0] = x;
        row[1] = y;
        return matrixOf(succeed("Kaze", computing("Kaze", row)).tensor());
    };
    EXPECT_TRUE(sameBits(described(0, 0), described(0.5, 0.5)));
    EXPECT_TRUE(sameBits(described(120, 100), described(119.5, 99.5)));
    EXPECT_FALSE(sameBits(described(119.5, 99.5), described(0.5, 0.5)));

    std::vector<cv::KeyPoint> corner { cv::KeyPoint(0, 0, 12, 30, 1, 0, 1) };
    cv::Mat descriptors;
    cv::KAZE::create(false, false, 0.001F, 4, 4, cv::KAZE::DIFF_PM_G2)
        ->detectAndCompute(picture, cv::noArray(), corner, descriptors, true);
    EXPECT_TRUE(sameBits(described(0.5, 99.5), doublesOf(descriptors)));
}

TEST(Detectors, GiveEmptyTablesWhereThereIsNothing)
{
    const ImagePointer flat = imageOf(cv::Mat(80, 80, CV_8U, cv::Scalar(90)));
    for (const char* operation : detectors)
        EXPECT_EQ(succeed(operation, arguments(operation, { { "image", flat } })).tensor().dimensions,
                  (std::vector<int64_t> { 0, 7 }))
            << operation;
    const auto both = [&](const char* operation) {
        return succeed(operation, arguments(operation, { { "image", flat }, { "mode", "detectAndCompute" } }))
            .tensor()
            .dimensions[0];
    };
    for (const char* operation : describers) EXPECT_EQ(both(operation), 0) << operation;
}

TEST(Detectors, DescribeNothingWhenGivenNothing)
{
    for (const char* operation : describers) {
        const Values values = arguments(operation,
                                        { { "image", imageOf(scene(60, 60)) },
                                          { "mode", "compute" },
                                          { "keypoints", makeRealTensor({ 0, 7 }) } });
        EXPECT_EQ(succeed(operation, values).tensor().dimensions[0], 0) << operation;
    }
}

TEST(Akaze, GivesBytesOrFloats)
{
    const auto elements = [](const char* type) {
        const Outcome outcome = succeed("Akaze",
                                        arguments("Akaze",
                                                  { { "image", imageOf(scene(120, 160)) },
                                                    { "mode", "detectAndCompute" },
                                                    { "descriptor_type", type } }));
        return matrixOf(outcome.tensor())
            .colRange(7, static_cast<int>(outcome.tensor().dimensions[1]))
            .clone();
    };
    const cv::Mat bytes = elements("DESCRIPTOR_MLDB");
    cv::Mat rounded;
    bytes.convertTo(rounded, CV_8U);
    EXPECT_TRUE(sameBits(doublesOf(rounded), bytes));
    EXPECT_EQ(bytes.cols, 61);
    const cv::Mat floats = elements("DESCRIPTOR_KAZE");
    EXPECT_EQ(floats.cols, 64);
    double largest = 0;
    cv::minMaxLoc(floats, nullptr, &largest);
    EXPECT_LE(largest, 1);
}

// --- refusals -------------------------------------------------------------------------------------------

TEST(Detectors, RefuseOtherPictures)
{
    for (const char* operation : detectors) {
        const Values good = arguments(operation, { { "image", imageOf(scene(60, 60)) } });
        expectRefused(operation, with(operation, good, "image", ImagePointer()));
        expectRefused(operation, with(operation, good, "image", imageOf(noise(60, 60, CV_8UC3))));
        expectRefused(operation, with(operation, good, "image", imageOf(noise(60, 60, CV_16U))));
        expectRefused(operation, with(operation, good, "image", imageOf(noise(60, 60, CV_32F))));
        expectRefused(operation, with(operation, good, "image", bitImageOf(noise(60, 60, CV_8U))));
        expectRefused(operation,
                      with(operation, good, "image", sequenceOf({ scene(60, 60), scene(60, 60) })));
    }
}

TEST(Detectors, RefuseOtherMasks)
{
    for (const char* operation : detectors) {
        const Values good = arguments(operation,
                                      { { "image", imageOf(scene(60, 64)) },
                                        { "mask", bitImageOf(cv::Mat(60, 64, CV_8U, cv::Scalar(1))) } });
        succeed(operation, good);
        expectRefused(operation, with(operation, good, "mask", ImagePointer()));
        expectRefused(operation,
                      with(operation, good, "mask", imageOf(cv::Mat(60, 64, CV_8U, cv::Scalar(1)))));
        expectRefused(operation,
                      with(operation, good, "mask", bitImageOf(cv::Mat(64, 60, CV_8U, cv::Scalar(1)))));
        expectRefused(operation,
                      with(operation, good, "mask", bitImageOf(cv::Mat(60, 63, CV_8U, cv::Scalar(1)))));
        ImagePointer colored = makeImage({ .rows = 60, .columns = 64, .channels = 3 }, PixelTypeBit, 8);
        expectRefused(operation, with(operation, good, "mask", colored));
        ImagePointer frames =
            makeImage({ .rows = 60, .columns = 64, .channels = 1, .slices = 2 }, PixelTypeBit, 8);
        expectRefused(operation, with(operation, good, "mask", frames));
        // A mask that is not used may be anything, but FAST wants one.
        const Values unused =
            with(operation, with(operation, good, "use_mask", false), "mask", ImagePointer());
        if (std::string_view(operation) == "Fast")
            expectRefused(operation, unused);
        else
            succeed(operation, unused);
    }
}

TEST(Detectors, HaveTheirSmallestPictures)
{
    const auto accepts = [](const char* operation, int rows, int columns) {
        return invoke(operation, arguments(operation, { { "image", imageOf(noise(rows, columns, CV_8U)) } }))
            .ok();
    };
    EXPECT_FALSE(accepts("Fast", 6, 100));
    EXPECT_FALSE(accepts("Fast", 100, 6));
    EXPECT_TRUE(accepts("Fast", 7, 7));
    EXPECT_TRUE(accepts("Agast", 6, 100));
    EXPECT_TRUE(accepts("Agast", 1, 1));
    EXPECT_FALSE(accepts("Kaze", 1, 40));
    EXPECT_FALSE(accepts("Kaze", 40, 1));
    EXPECT_TRUE(accepts("Kaze", 2, 40));
    EXPECT_TRUE(
        invoke("Orb",
               arguments("Orb", { { "image", imageOf(noise(1, 40, CV_8U)) }, { "n_levels", int64_t { 1 } } }))
            .ok());
}

TEST(Detectors, CompareWordsExactly)
{
    for (const char* operation : describers) {
        const Values good = arguments(operation, { { "image", imageOf(scene(60, 60)) } });
        for (const char* mode : { "Detect", "detect ", "detec", "detectandcompute", "" })
            expectRefused(operation, with(operation, good, "mode", mode));
    }
    for (const char* operation : { "Akaze", "Kaze" }) {
        const Values good = arguments(operation, { { "image", imageOf(scene(60, 60)) } });
        for (const char* name : { "diff_pm_g1", "DIFF_PM_G3", "DIFF_WEICKERT ", "" })
            expectRefused(operation, with(operation, good, "diffusivity", name));
    }
    const Values akaze = arguments("Akaze", { { "image", imageOf(scene(60, 60)) } });
    for (const char* name : { "DESCRIPTOR_SURF", "DESCRIPTOR_MLD", "descriptor_mldb", "" })
        expectRefused("Akaze", with("Akaze", akaze, "descriptor_type", name));
    const Values orb = arguments("Orb", { { "image", imageOf(scene(60, 60)) } });
    for (const char* name : { "Harris_Score", "FAST", "" })
        expectRefused("Orb", with("Orb", orb, "score_type", name));
}

TEST(Detectors, CheckTheirRanges)
{
    const ImagePointer picture = imageOf(scene(60, 60));
    const auto refuses = [&](const char* operation, const char* argument, Value value) {
        expectRefused(operation,
                      with(operation, arguments(operation, { { "image", picture } }), argument, value));
    };
    for (const char* operation : { "Agast", "Fast" }) refuses(operation, "threshold", int64_t { -1 });
    for (const int64_t layers : { 0, 12, -1 }) {
        refuses("Akaze", "n_octave_layers", layers);
        refuses("Kaze", "n_octave_layers", layers);
    }
    refuses("Akaze", "n_octaves", int64_t { 0 });
    refuses("Akaze", "descriptor_size", int64_t { -1 });
    refuses("Akaze", "descriptor_size", int64_t { 487 });
    refuses("Akaze", "descriptor_channels", int64_t { 0 });
    refuses("Akaze", "descriptor_channels", int64_t { 4 });
    refuses("Kaze", "n_octaves", int64_t { 0 });
    refuses("Kaze", "n_octaves", int64_t { 16 });
    refuses("Brisk", "threshold", int64_t { 0 });
    refuses("Brisk", "octaves", int64_t { -1 });
    for (const double scale : { 0.0, -1.0, std::nan("") }) refuses("Brisk", "pattern_scale", scale);
    refuses("Orb", "edge_threshold", int64_t { -1 });
    refuses("Orb", "edge_threshold", int64_t { 1 }); // OpenCV's own refusal, of the patch
    refuses("Orb", "n_levels", int64_t { 0 });
    refuses("Orb", "n_features", int64_t { -1 });
    for (const double factor : { 1.0, 0.5, std::nan("") }) refuses("Orb", "scale_factor", factor);
    refuses("Orb", "wta_k", int64_t { 1 });
    refuses("Orb", "wta_k", int64_t { 5 });
}

TEST(Keypoints, AreReadOnlyWhenTheyMakeSense)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const char* operation : describers) {
        succeed(operation, computing(operation, goodRow()));
        for (const auto& [column, value] : std::vector<std::pair<std::size_t, double>> { { 0, 120.001 },
                                                                                         { 0, -0.001 },
                                                                                         { 1, 100.001 },
                                                                                         { 1, -0.001 },
                                                                                         { 2, 0 },
                                                                                         { 2, -3 },
                                                                                         { 2, 1e-60 },
                                                                                         { 2, 313 },
                                                                                         { 5, -1 },
                                                                                         { 5, 3e9 },
                                                                                         { 6, 1e300 } })
            expectRefused(operation, computing(operation, column, value));
        for (std::size_t column = 0; column < 7; ++column)
            for (const double value : { std::nan(""), infinity, -infinity, 1e300 })
                expectRefused(operation, computing(operation, column, value));
        // One bad row spoils the others.
        std::vector<double> rows = goodRow();
        for (const double value : goodRow()) rows.push_back(value);
        rows[7 + 2] = 0;
        expectRefused(operation, computing(operation, rows));
        const Values good = computing(operation, goodRow());
        expectRefused(operation, with(operation, good, "keypoints", TensorPointer()));
        expectRefused(operation, with(operation, good, "keypoints", makeRealTensor({ 7 })));
        expectRefused(operation, with(operation, good, "keypoints", makeRealTensor({ 1, 6 })));
        expectRefused(operation, with(operation, good, "keypoints", makeRealTensor({ 1, 8 })));
        expectRefused(operation, with(operation, good, "keypoints", makeRealTensor({ 1, 1, 7 })));
    }
    // Up to two diagonals: what detectors find on small pictures can be described.
    for (const char* operation : describers) succeed(operation, computing(operation, 2, 312));
    // Fractions of octaves and classes are cut off toward zero.
    const auto described = [](std::size_t column, double value) {
        return matrixOf(succeed("Kaze", computing("Kaze", column, value)).tensor());
    };
    EXPECT_TRUE(sameBits(described(5, -0.9), described(5, 0)));
    EXPECT_TRUE(sameBits(described(6, 3.99), described(6, 3)));
    EXPECT_FALSE(sameBits(described(6, 4), described(6, 3)));
}

TEST(Keypoints, AreNotReadByOtherModes)
{
    for (const char* operation : describers) {
        const Values good = arguments(operation, { { "image", imageOf(scene(60, 60)) } });
        succeed(operation, with(operation, good, "keypoints", makeRealTensor({ 1, 6 })));
        succeed(operation, with(operation, good, "keypoints", TensorPointer()));
    }
}

// --- hostile values -------------------------------------------------------------------------------------

TEST(Hostile, AkazeBitsOfFewerThanThreeChannelsAreRefused)
{
    for (const int64_t channels : { 1, 2 })
        for (const int64_t size : { 1, 10, 100, 162 })
            EXPECT_REFUSED_IN_CHILD("Akaze",
                                    arguments("Akaze",
                                              { { "image", imageOf(scene(100, 120)) },
                                                { "mode", "detectAndCompute" },
                                                { "descriptor_size", size },
                                                { "descriptor_channels", channels } }));
}

TEST(Akaze, DetectsWhateverTheDescriptorWouldBe) // the detector does not look at it
{
    const auto found = [](int64_t size, int64_t channels) {
        return arguments("Akaze",
                         { { "image", imageOf(scene(100, 120)) },
                           { "descriptor_size", size },
                           { "descriptor_channels", channels } });
    };
    const cv::Mat expected = matrixOf(succeed("Akaze", found(0, 3)).tensor());
    ASSERT_GT(expected.rows, 5);
    for (const auto& [size, channels] :
         { std::pair { 0, 1 }, { 0, 2 }, { 1, 1 }, { 162, 1 }, { 163, 2 }, { 324, 2 }, { 486, 3 } })
        EXPECT_TRUE(sameBits(matrixOf(succeed("Akaze", found(size, channels)).tensor()), expected))
            << size << " bits of " << channels << " channels";
    // More bits than the channels have OpenCV refuses in every mode.
    EXPECT_REFUSED_IN_CHILD("Akaze", found(163, 1));
    EXPECT_REFUSED_IN_CHILD("Akaze", found(325, 2));
}

TEST(Hostile, AkazesWholeDescriptorsOfFewerThanThreeChannelsAreRefused)
{
    for (const int64_t channels : { 1, 2 }) {
        for (const char* mode : { "compute", "detectAndCompute" }) {
            for (const char* type : { "DESCRIPTOR_MLDB", "DESCRIPTOR_MLDB_UPRIGHT" }) {
                const Values values = with(
                    "Akaze", with("Akaze", computing("Akaze", 2, 5), "descriptor_channels", Value(channels)),
                    "mode", mode);
                EXPECT_REFUSED_IN_CHILD("Akaze", with("Akaze", values, "descriptor_type", type));
            }
        }
        // Nothing is described by these, or not in bits.
        succeed("Akaze",
                arguments("Akaze",
                          { { "image", imageOf(scene(100, 120)) }, { "descriptor_channels", channels } }));
        succeed("Akaze",
                arguments("Akaze",
                          { { "image", imageOf(scene(100, 120)) },
                            { "mode", "detectAndCompute" },
                            { "descriptor_type", "DESCRIPTOR_KAZE" },
                            { "descriptor_channels", channels } }));
    }
}

TEST(Hostile, KeypointsThatCrashOpenCvAreRefused)
{
    EXPECT_REFUSED_IN_CHILD("Orb", computing("Orb", 3, std::nan("")));
    EXPECT_REFUSED_IN_CHILD("Orb", computing("Orb", 3, std::numeric_limits<double>::infinity()));
    EXPECT_REFUSED_IN_CHILD("Brisk", computing("Brisk", 0, std::nan("")));
    EXPECT_REFUSED_IN_CHILD("Brisk", computing("Brisk", 1, std::nan("")));
    EXPECT_REFUSED_IN_CHILD("Akaze",
                            with("Akaze", computing("Akaze", 2, 1e30), "descriptor_type", "DESCRIPTOR_KAZE"));
    EXPECT_REFUSED_IN_CHILD("Akaze",
                            with("Akaze", computing("Akaze", 2, std::numeric_limits<double>::infinity()),
                                 "descriptor_type", "DESCRIPTOR_KAZE"));
    EXPECT_REFUSED_IN_CHILD("Akaze", computing("Akaze", 5, 31));
    for (const char* operation : { "Akaze", "Kaze" }) { // by OpenCV itself
        expectRefused(operation, computing(operation, 6, 1e6));
        expectRefused(operation, computing(operation, 6, -5));
    }
}

TEST(Hostile, OrbPyramidsAreBounded)
{
    const auto orb = [](const char* argument, Value value) {
        return arguments("Orb", { { "image", imageOf(scene(100, 120)) }, { argument, std::move(value) } });
    };
    EXPECT_REFUSED_IN_CHILD("Orb", orb("edge_threshold", int64_t { 20000 }));
    EXPECT_REFUSED_IN_CHILD("Orb", orb("edge_threshold", INT64_MAX));
    EXPECT_REFUSED_IN_CHILD("Orb", orb("n_levels", int64_t { 1000000000 }));
    EXPECT_REFUSED_IN_CHILD("Orb", orb("n_levels", INT64_MAX));
    EXPECT_REFUSED_IN_CHILD("Orb",
                            with("Orb", orb("scale_factor", 1.0000001), "n_levels", int64_t { 1000000 }));
    for (const double factor : { 8.9e7, 1e30, 1e300, std::numeric_limits<double>::infinity() })
        EXPECT_REFUSED_IN_CHILD("Orb", orb("scale_factor", factor));
    EXPECT_REFUSED_IN_CHILD("Orb", computing("Orb", 5, 100000000));
    EXPECT_REFUSED_IN_CHILD("Orb", computing("Orb", 5, 2147483647));
    // A factor that a float can't tell from 1 still makes a pyramid.
    for (const double factor : { 1.00001, 1.000000001 })
        EXPECT_ACCEPTED_IN_CHILD("Orb", orb("scale_factor", factor));
    EXPECT_REFUSED_IN_CHILD("Orb", with("Orb", orb("scale_factor", 1.00001), "n_levels", int64_t { 200000 }));
    for (const int64_t features : { int64_t { INT32_MAX }, INT64_MAX })
        EXPECT_ACCEPTED_IN_CHILD("Orb", orb("n_features", features));
}

TEST(Hostile, BriskTakesAnySizeOfPattern)
{
    const auto scaled = [](double scale, const char* mode) {
        return with("Brisk", with("Brisk", computing("Brisk", goodRow()), "pattern_scale", scale), "mode",
                    mode);
    };
    for (const double scale : { 1e-50, 1e-30, 1e4, 1e8, 1e30, std::numeric_limits<double>::infinity() })
        for (const char* mode : modes) succeed("Brisk", scaled(scale, mode));
    for (const double scale : { 1e30, std::numeric_limits<double>::infinity() })
        EXPECT_ACCEPTED_IN_CHILD("Brisk", scaled(scale, "detectAndCompute"));
    for (const int64_t octaves : { int64_t { 20 }, int64_t { 1 } << 30, INT64_MAX })
        expectRefused( // by OpenCV itself
            "Brisk", arguments("Brisk", { { "image", imageOf(scene(100, 120)) }, { "octaves", octaves } }));
    for (const int64_t threshold : { int64_t { 256 }, INT64_MAX })
        EXPECT_EQ(
            succeed("Brisk",
                    arguments("Brisk", { { "image", imageOf(scene(100, 120)) }, { "threshold", threshold } }))
                .tensor()
                .dimensions[0],
            0);
}

TEST(Hostile, KazeOctavesCostNothingOnSmallPictures)
{
    // OpenCV alone takes 11 seconds for 12 octaves.
    for (const int64_t octaves : { 12, 15 })
        EXPECT_ACCEPTED_IN_CHILD("Kaze",
                                 arguments("Kaze",
                                           { { "image", imageOf(scene(150, 200)) },
                                             { "n_octaves", octaves },
                                             { "n_octave_layers", int64_t { 11 } } }));
    EXPECT_REFUSED_IN_CHILD("Kaze",
                            arguments("Kaze",
                                      { { "image", imageOf(cv::Mat(6000, 6000, CV_8U, cv::Scalar(9))) },
                                        { "n_octaves", int64_t { 15 } },
                                        { "n_octave_layers", int64_t { 11 } } }));
}

TEST(Detectors, SurviveFaults)
{
    const cv::Mat mask(60, 64, CV_8U, cv::Scalar(1));
    for (const char* operation : detectors)
        expectSurvivesFaults(
            operation,
            arguments(operation, { { "image", imageOf(scene(60, 64)) }, { "mask", bitImageOf(mask) } }));
    for (const char* operation : describers)
        for (const char* mode : { "compute", "detectAndCompute" })
            expectSurvivesFaults(operation, with(operation, computing(operation, goodRow()), "mode", mode));
}

} // namespace miravex::test
