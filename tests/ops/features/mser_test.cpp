#include "tests/ops/features/rows.h"

namespace miravex::test {

// Expected values: OpenCV called directly with the stated arguments, or worked by hand where said so.

namespace {

Values regions(const cv::Mat& picture, NamedValues given = {})
{
    given["image"] = imageOf(picture, ColorSpaceUnspecified);
    return arguments("MserDetect", given);
}

/// What OpenCV finds with the record's defaults.
struct Found {
    std::vector<std::vector<cv::Point>> points;
    std::vector<cv::Rect> boxes;
};
Found found(const cv::Mat& picture)
{
    Found all;
    cv::MSER::create(5, 60, 14400, 0.25, 0.2, 200, 1.01, 0.003, 5)
        ->detectRegions(picture, all.points, all.boxes);
    return all;
}

cv::Mat colors(int rows, int columns, int channels)
{
    std::vector<cv::Mat> planes;
    for (int i = 0; i < channels; ++i) {
        cv::Mat plane = scene(rows, columns);
        if (i % 2) cv::flip(plane, plane, 1);
        planes.push_back(plane);
    }
    cv::Mat picture;
    cv::merge(planes, picture);
    return picture;
}

} // namespace

TEST(MserDetect, MatchesOpenCv)
{
    for (const cv::Mat& picture : { scene(90, 120), colors(60, 80, 3), colors(60, 80, 4) }) {
        const Found expected = found(picture);
        EXPECT_FALSE(expected.boxes.empty()) << picture.channels();
        cv::Mat rows(static_cast<int>(expected.boxes.size()), 5, CV_64F);
        for (int i = 0; i < rows.rows; ++i) {
            const cv::Rect& box = expected.boxes[static_cast<std::size_t>(i)];
            const double values[] = { i + 1.0, static_cast<double>(box.x),
                                      static_cast<double>(picture.rows - box.y),
                                      static_cast<double>(box.x + box.width),
                                      static_cast<double>(picture.rows - box.y - box.height) };
            std::copy(std::begin(values), std::end(values), rows.ptr<double>(i));
        }
        EXPECT_TRUE(sameBits(matrixOf(succeed("MserDetect", regions(picture)).tensor()), rows));

        cv::Mat labels(picture.size(), CV_64F, cv::Scalar(0));
        for (std::size_t k = 0; k < expected.points.size(); ++k)
            for (const cv::Point& point : expected.points[k])
                labels.at<double>(point) = static_cast<double>(k + 1);
        EXPECT_TRUE(sameBits(
            matrixOf(succeed("MserDetect", regions(picture, { { "form", "LabelMatrix" } })).tensor()),
            labels));
    }
}

TEST(MserDetect, PassesEveryParameter)
{
    // Each differs from the record's default alone, and changes what is found.
    struct Parameters {
        int delta = 5, minArea = 60, maxArea = 14400;
        double maxVariation = 0.25, minDiversity = 0.2;
        int maxEvolution = 200;
        double areaThreshold = 1.01, minMargin = 0.003;
        int edgeBlur = 5;
    };
    const auto compare = [](const char* changed, const cv::Mat& picture, const Parameters& p) {
        SCOPED_TRACE(changed);
        Found expected;
        cv::MSER::create(p.delta, p.minArea, p.maxArea, p.maxVariation, p.minDiversity, p.maxEvolution,
                         p.areaThreshold, p.minMargin, p.edgeBlur)
            ->detectRegions(picture, expected.points, expected.boxes);
        const Values values = regions(picture,
                                      { { "delta", int64_t { p.delta } },
                                        { "min_area", int64_t { p.minArea } },
                                        { "max_area", int64_t { p.maxArea } },
                                        { "max_variation", p.maxVariation },
                                        { "min_diversity", p.minDiversity },
                                        { "max_evolution", int64_t { p.maxEvolution } },
                                        { "area_threshold", p.areaThreshold },
                                        { "min_margin", p.minMargin },
                                        { "edge_blur_size", int64_t { p.edgeBlur } } });
        const cv::Mat rows = matrixOf(succeed("MserDetect", values).tensor());
        ASSERT_EQ(static_cast<std::size_t>(rows.rows), expected.boxes.size());
        for (int i = 0; i < rows.rows; ++i) {
            const cv::Rect& box = expected.boxes[static_cast<std::size_t>(i)];
            EXPECT_EQ(rows.at<double>(i, 1), box.x);
            EXPECT_EQ(rows.at<double>(i, 2), picture.rows - box.y);
            EXPECT_EQ(rows.at<double>(i, 3), box.x + box.width);
            EXPECT_EQ(rows.at<double>(i, 4), picture.rows - box.y - box.height);
        }
        EXPECT_TRUE(expected.points != found(picture).points) << "as with the defaults";
    };
    const cv::Mat gray = scene(90, 120), rgb = colors(60, 80, 3);
    compare("delta", gray, { .delta = 2 });
    compare("minArea", gray, { .minArea = 150 });
    compare("maxArea", gray, { .maxArea = 300 });
    compare("maxVariation", gray, { .maxVariation = 0.05 });
    compare("minDiversity", rgb, { .minDiversity = 0.8 });
    compare("maxEvolution", rgb, { .maxEvolution = 20 });
    compare("areaThreshold", rgb, { .areaThreshold = 1.3 });
    compare("minMargin", rgb, { .minMargin = 0.1 });
    compare("edgeBlur", rgb, { .edgeBlur = 1 });
}

TEST(MserDetect, CountsRowsFromTheBottomWithoutHalfPixels) // by hand
{
    // A dark block of columns 2 to 5 and rows 3 to 7 in 20 rows.
    cv::Mat picture(20, 30, CV_8U, cv::Scalar(200));
    picture(cv::Rect(2, 3, 4, 5)).setTo(20);
    const Values values =
        regions(picture, { { "min_area", int64_t { 10 } }, { "max_area", int64_t { 100 } } });
    const cv::Mat rows = matrixOf(succeed("MserDetect", values).tensor());
    ASSERT_GE(rows.rows, 1);
    const cv::Mat expected = (cv::Mat_<double>(1, 5) << 1, 2, 17, 6, 12);
    EXPECT_TRUE(sameBits(rows.row(0), expected));
    const Outcome labels = succeed("MserDetect", with("MserDetect", values, "form", "LabelMatrix"));
    EXPECT_GT(matrixOf(labels.tensor()).at<double>(3, 2), 0);
    EXPECT_EQ(matrixOf(labels.tensor()).at<double>(8, 2), 0);
}

TEST(MserDetect, FindsNothingInAFlatPicture)
{
    // OpenCV itself calls the whole of a small flat picture a region, once dark and once bright.
    const cv::Mat flat(24, 31, CV_8U, cv::Scalar(77));
    ASSERT_FALSE(found(flat).boxes.empty());
    EXPECT_EQ(succeed("MserDetect", regions(flat)).tensor().dimensions, (std::vector<int64_t> { 0, 5 }));
    for (const int channels : { 3, 4 })
        EXPECT_EQ(
            succeed("MserDetect", regions(cv::Mat(24, 31, CV_8UC(channels), cv::Scalar(7, 80, 200, 30))))
                .tensor()
                .dimensions,
            (std::vector<int64_t> { 0, 5 }));
    EXPECT_TRUE(
        sameBits(matrixOf(succeed("MserDetect", regions(flat, { { "form", "LabelMatrix" } })).tensor()),
                 cv::Mat::zeros(24, 31, CV_64F)));
}

TEST(MserDetect, ChecksPicturesWordsAndRanges)
{
    const cv::Mat picture = scene(40, 50);
    const Values good = regions(picture);
    expectRefused("MserDetect", with("MserDetect", good, "image", ImagePointer()));
    expectRefused("MserDetect", with("MserDetect", good, "image", imageOf(noise(40, 50, CV_8UC2))));
    expectRefused("MserDetect", with("MserDetect", good, "image", imageOf(noise(40, 50, CV_8UC(5)))));
    expectRefused("MserDetect", with("MserDetect", good, "image", imageOf(noise(40, 50, CV_16U))));
    for (const cv::Size size : { cv::Size(50, 1), cv::Size(1, 40) }) {
        const ImagePointer thin = imageOf(noise(size.height, size.width, CV_8U));
        const Outcome outcome = invoke("MserDetect", with("MserDetect", good, "image", thin));
        EXPECT_EQ(outcome.status, StatusFunctionError) << size;
        EXPECT_TRUE(outcome.openCvError.empty()) << "refused before OpenCV is called";
    }
    expectRefused("MserDetect", with("MserDetect", good, "image", sequenceOf({ picture, picture })));
    expectRefused("MserDetect", with("MserDetect", good, "image", imageOf(noise(2, 2, CV_8U)))); // by OpenCV
    succeed("MserDetect", with("MserDetect", good, "image", imageOf(noise(3, 3, CV_8U))));
    for (const char* form : { "rectangle", "Label", "LabelMatrix ", "" })
        expectRefused("MserDetect", with("MserDetect", good, "form", form));
    const auto refuses = [&](const char* name, Value value) {
        expectRefused("MserDetect", with("MserDetect", good, name, std::move(value)));
    };
    for (const char* name : { "min_area", "max_area", "edge_blur_size" }) refuses(name, int64_t { -1 });
    for (const int64_t side : { 0, 4, -5 }) refuses("edge_blur_size", side);
    succeed("MserDetect", with("MserDetect", good, "edge_blur_size", int64_t { 1 }));
    refuses("max_evolution", int64_t { 0 });
    refuses("max_variation", -0.1);
    refuses("min_margin", -0.1);
    for (const double value : { 0.0, -1.0, std::nan("") }) refuses("min_diversity", value);
    for (const double value : { 1.0, 0.5, std::nan("") }) refuses("area_threshold", value);
}

TEST(MserDetect, TakesAnyDelta)
{
    const cv::Mat picture = scene(40, 50);
    const auto boxes = [&](int64_t delta) {
        return matrixOf(succeed("MserDetect", regions(picture, { { "delta", delta } })).tensor());
    };
    EXPECT_TRUE(sameBits(boxes(INT64_MAX), boxes(255)));
    EXPECT_TRUE(sameBits(boxes(INT64_MIN), boxes(-255)));
    EXPECT_EQ(boxes(INT64_MAX).rows, 0);
    const Values areas = regions(picture, { { "max_area", INT64_MAX }, { "min_area", int64_t { 1 } << 40 } });
    EXPECT_EQ(succeed("MserDetect", areas).tensor().dimensions[0], 0);
}

TEST(Hostile, MserColoursAreBounded)
{
    const cv::Mat picture = colors(100, 120, 3);
    for (const int64_t steps : { int64_t { 100000001 }, int64_t { INT32_MAX }, INT64_MAX })
        EXPECT_REFUSED_IN_CHILD("MserDetect", regions(picture, { { "max_evolution", steps } }));
    for (const int64_t side : { int64_t { 10001 }, int64_t { 1000001 }, int64_t { INT32_MAX }, INT64_MAX })
        EXPECT_REFUSED_IN_CHILD("MserDetect", regions(picture, { { "edge_blur_size", side } }));
    succeed("MserDetect", regions(colors(20, 24, 3), { { "edge_blur_size", int64_t { 9999 } } }));
    // Grey pictures are neither merged nor blurred.
    const cv::Mat expected = matrixOf(succeed("MserDetect", regions(scene(100, 120))).tensor());
    ASSERT_GT(expected.rows, 0);
    EXPECT_TRUE(sameBits(
        matrixOf(succeed("MserDetect",
                         regions(scene(100, 120),
                                 { { "max_evolution", INT64_MAX }, { "edge_blur_size", INT64_MAX } }))
                     .tensor()),
        expected));
}

TEST(MserDetect, SurvivesFaults)
{
    expectSurvivesFaults("MserDetect", regions(scene(90, 120)));
    const Values planar =
        with("MserDetect", regions(colors(40, 50, 3)), "image", planarImageOf(colors(60, 80, 3)));
    expectSurvivesFaults("MserDetect", with("MserDetect", planar, "form", "LabelMatrix"));
}

} // namespace miravex::test
