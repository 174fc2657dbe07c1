#include "tests/ops/features/rows.h"

#include "draw/draw.h"
#include "host/results.h"

namespace miravex::test {

// The columns, the JSON and the pictures of this room's results: expected values by hand.

namespace {

TensorPointer integers(const std::vector<int64_t>& elements)
{
    return makeIntegerTensor({ static_cast<int64_t>(elements.size()) }, std::span<const int64_t>(elements));
}

nlohmann::json jsonFor(std::string_view operation, Layout layout, const TensorPointer& tensor)
{
    for (const Result& result : record(operation).results)
        if (result.layout == layout) return jsonOf(record(operation), result, tensor);
    throw std::invalid_argument("the operation has no such result");
}

cv::Mat drawn(const cv::Mat& picture, Layout layout, const TensorPointer& tensor)
{
    const ImagePointer image = draw(*imageOf(picture), layout, *tensor);
    EXPECT_EQ(image->pixelType, PixelTypeByte);
    EXPECT_EQ(image->colorSpace, ColorSpaceRGB);
    EXPECT_EQ(image->shape, (ImageShape { picture.rows, picture.cols, 3 }));
    return matrixOf(*image);
}

const cv::Mat black(40, 60, CV_8U, cv::Scalar(0));

/// True when something was drawn within `reach` pixels of a matrix position.
bool touched(const cv::Mat& canvas, int x, int y, int reach = 2)
{
    const cv::Rect around = cv::Rect(x - reach, y - reach, 2 * reach + 1, 2 * reach + 1)
        & cv::Rect(0, 0, canvas.cols, canvas.rows);
    return cv::countNonZero(canvas(around).clone().reshape(1)) > 0;
}

const TensorPointer twoContours =
    integers({ 2, 4, 1, 1, 1, 9, 1, 9, 9, 1, 9, 5, 5, -1, -1, 1, -1, -1, -1, -1, 0 });

} // namespace

TEST(Tables, HaveNamedColumns)
{
    const auto columns = [](Layout layout, const TensorPointer& tensor) {
        return tableOf(layout, *tensor).columns;
    };
    using Names = std::vector<std::string>;
    const Names keypoint { "x", "y", "size", "angle", "response", "octave", "class_id" };
    EXPECT_EQ(columns(Layout::Keypoints, makeRealTensor({ 0, 7 })), keypoint);
    Names described = keypoint;
    described.insert(described.end(), { "d0", "d1" });
    EXPECT_EQ(columns(Layout::KeypointsAndDescriptors, makeRealTensor({ 3, 9 })), described);
    EXPECT_EQ(columns(Layout::Descriptors, makeRealTensor({ 1, 2 })), (Names { "d0", "d1" }));
    EXPECT_EQ(columns(Layout::Regions, makeRealTensor({ 1, 5 })),
              (Names { "number", "xmin", "ytop", "xmax", "ybottom" }));
    EXPECT_EQ(columns(Layout::PolarLines, realList({ 1, 2 })), (Names { "rho", "theta" }));
    EXPECT_EQ(columns(Layout::BorderLines, emptyList()), (Names { "x1", "y1", "x2", "y2" }));
    EXPECT_EQ(columns(Layout::Segments, emptyList()), (Names { "x1", "y1", "x2", "y2" }));
    EXPECT_EQ(columns(Layout::WideSegments, emptyList()), (Names { "x1", "y1", "x2", "y2", "width" }));
    EXPECT_EQ(columns(Layout::Circles, emptyList()), (Names { "x", "y", "radius" }));
    EXPECT_EQ(columns(Layout::Transport, makeRealTensor({ 2, 3 })), (Names { "c0", "c1", "c2" }));
}

TEST(Tables, RegroupFlatLists)
{
    EXPECT_EQ(tableOf(Layout::Circles, *realList({ 1, 2, 3, 4, 5, 6 })).rows,
              (std::vector<std::vector<double>> { { 1, 2, 3 }, { 4, 5, 6 } }));
    EXPECT_EQ(tableOf(Layout::FaceBoxes, *realList({ 2, 1, 2, 3, 4, 5, 6, 7, 8, 0.5, 0.75 })).rows,
              (std::vector<std::vector<double>> { { 1, 2, 3, 4, 0.5 }, { 5, 6, 7, 8, 0.75 } }));
    EXPECT_EQ(tableOf(Layout::Matches, *integers({ 3, 2, 0, 1, 7, 8, 9 })).rows,
              (std::vector<std::vector<double>> { { 1, 7 }, { 1, 8 }, { 3, 9 } }));
    EXPECT_EQ(tableOf(Layout::ChainCodes, *integers({ 2, -1, 4, 8, -1, 0 })).rows,
              (std::vector<std::vector<double>> { { 0, 4 }, { 0, 8 }, { 1, 0 } }));
    EXPECT_EQ(tableOf(Layout::Contours, *twoContours).rows.back(), (std::vector<double> { 1, 5, 5 }));
    EXPECT_TRUE(tableOf(Layout::Contours, *integers({ 0 })).rows.empty());
    for (const auto& [layout, list] : std::vector<std::pair<Layout, TensorPointer>> {
             { Layout::FaceBoxes, realList({ 2, 1, 2, 3, 4, 5 }) },
             { Layout::FaceBoxes, realList({ -1 }) },
             { Layout::FaceBoxes, realList({ 1e18 }) },
             { Layout::FaceBoxes, emptyList() },
             { Layout::Matches, integers({ 1, 5 }) },
             { Layout::Contours, integers({ 1, 1, 0 }) },
             { Layout::ChainCodes, integers({ 2, -1, 4 }) } })
        EXPECT_THROW(tableOf(layout, *list), std::invalid_argument);
}

TEST(Json, SaysWhatContoursAre)
{
    const auto json = jsonFor("FindContours", Layout::Contours, twoContours);
    EXPECT_EQ(json["operation"], "find-contours");
    ASSERT_EQ(json["contours"].size(), 2U);
    EXPECT_EQ(json["contours"][0]["points"].dump(), "[[1,1],[9,1],[9,9],[1,9]]");
    EXPECT_EQ(json["contours"][0]["first_child"], 1);
    EXPECT_EQ(json["contours"][1]["parent"], 0);
    EXPECT_EQ(json["contours"][1]["next"], -1);
    EXPECT_EQ(
        jsonFor("FindContours", Layout::ChainCodes, integers({ 1, -1, 4, 8 }))["contours"][0]["codes"].dump(),
        "[4,8]");
    const auto matches = jsonFor("DescriptorMatcher", Layout::Matches, integers({ 1, 1, 5 }));
    EXPECT_EQ(matches["columns"].dump(), R"(["query","train"])");
    EXPECT_EQ(matches["rows"].dump(), "[[1.0,5.0]]");
}

TEST(Draw, ShowsEveryLayoutWhereItBelongs)
{
    // Host position (20.5, 29.5) of 40 rows is matrix column 20, row 10.
    const cv::Mat keypoints =
        drawn(black, Layout::Keypoints, realRows({ 1, 7 }, { 20.5, 29.5, 16, 0, 1, 0, 0 }));
    EXPECT_TRUE(touched(keypoints, 28, 10)); // the hand to the right
    EXPECT_TRUE(touched(keypoints, 12, 10));
    EXPECT_FALSE(touched(keypoints, 16, 10, 0));
    const cv::Mat down =
        drawn(black, Layout::KeypointsAndDescriptors, realRows({ 1, 8 }, { 20.5, 29.5, 16, 90, 1, 0, 0, 5 }));
    EXPECT_TRUE(touched(down, 20, 14)); // 90 degrees lead down
    EXPECT_FALSE(touched(down, 24, 10, 0));

    const cv::Mat border = drawn(black, Layout::BorderLines, realList({ 0, 30, 60, 30, 0, 0, 0, 0 }));
    EXPECT_TRUE(touched(border, 5, 10));
    EXPECT_TRUE(touched(border, 55, 10));
    EXPECT_FALSE(touched(border, 3, 36)); // the zeros of a skipped line
    const cv::Mat polar = drawn(black, Layout::PolarLines, realList({ 10, CV_PI / 2 }));
    EXPECT_TRUE(touched(polar, 5, 10));
    EXPECT_TRUE(touched(polar, 55, 10));
    const cv::Mat segment = drawn(black, Layout::Segments, realList({ 10.5, 29.5, 30.5, 29.5 }));
    EXPECT_TRUE(touched(segment, 20, 10));
    EXPECT_FALSE(touched(segment, 40, 10));
    const cv::Mat wide = drawn(black, Layout::WideSegments, realList({ 10.5, 29.5, 30.5, 29.5, 9 }));
    EXPECT_TRUE(touched(wide, 20, 15));
    const cv::Mat circle = drawn(black, Layout::Circles, realList({ 30.5, 19.5, 12 }));
    EXPECT_TRUE(touched(circle, 42, 20));
    EXPECT_TRUE(touched(circle, 30, 8));
    EXPECT_FALSE(touched(circle, 36, 20));
    const cv::Mat face = drawn(black, Layout::FaceBoxes, realList({ 1, 10.5, 9.5, 40.5, 19.5, 0.75 }));
    EXPECT_TRUE(touched(face, 10, 25));
    EXPECT_TRUE(touched(face, 40, 25));
    EXPECT_FALSE(touched(face, 50, 35));
    const cv::Mat region = drawn(black, Layout::Regions, realRows({ 1, 5 }, { 1, 10, 30, 30, 10 }));
    EXPECT_TRUE(touched(region, 10, 20));
    EXPECT_TRUE(touched(region, 29, 29));
    EXPECT_FALSE(touched(region, 40, 20));
}

TEST(Draw, ColoursContoursByLevelAndRegionsByNumber)
{
    const cv::Mat contours = drawn(black, Layout::Contours, twoContours);
    EXPECT_NE(contours.at<cv::Vec3b>(38, 5), cv::Vec3b()); // the outer one, row 1 from the bottom
    EXPECT_NE(contours.at<cv::Vec3b>(34, 5), cv::Vec3b()); // the inner one, row 5 from the bottom
    EXPECT_NE(contours.at<cv::Vec3b>(38, 5), contours.at<cv::Vec3b>(34, 5));

    std::vector<double> numbers(40 * 60, 0);
    numbers[5 * 60 + 7] = 1;
    numbers[6 * 60 + 7] = 2;
    const cv::Mat labels = drawn(black, Layout::Labels, realRows({ 40, 60 }, numbers));
    EXPECT_EQ(cv::countNonZero(labels.reshape(1)),
              cv::countNonZero(labels(cv::Rect(7, 5, 1, 2)).clone().reshape(1)));
    EXPECT_NE(labels.at<cv::Vec3b>(5, 7), labels.at<cv::Vec3b>(6, 7));
}

TEST(Draw, TakesPicturesOfEveryKind)
{
    const TensorPointer nothing = emptyList();
    const cv::Mat gray = noise(20, 30, CV_8U);
    cv::Mat colors;
    cv::cvtColor(gray, colors, cv::COLOR_GRAY2RGB);
    EXPECT_TRUE(sameBits(drawn(gray, Layout::Circles, nothing), colors));
    const cv::Mat picture = noise(20, 30, CV_8UC3);
    EXPECT_TRUE(sameBits(drawn(picture, Layout::Circles, nothing), picture));
    EXPECT_TRUE(sameBits(matrixOf(*draw(*planarImageOf(picture), Layout::Circles, *nothing)), picture));
    for (const int type : { CV_8UC2, CV_8UC4, CV_16UC3, CV_32F, CV_64FC4 })
        drawn(noise(20, 30, type), Layout::Circles, nothing);
    draw(*bitImageOf(gray), Layout::Circles, *nothing);
}

TEST(Draw, RefusesWhatItCannotDraw)
{
    for (const Layout layout :
         { Layout::Plain, Layout::Descriptors, Layout::Matches, Layout::ChainCodes, Layout::Transport }) {
        EXPECT_FALSE(canDraw(layout));
        EXPECT_THROW(draw(*imageOf(black), layout, *realList({ 1 })), std::invalid_argument);
    }
    EXPECT_THROW(draw(*imageOf(black), Layout::Keypoints, *makeRealTensor({ 2, 3 })), std::invalid_argument);
    EXPECT_THROW(draw(*imageOf(black), Layout::Labels, *makeRealTensor({ 2, 3 })), std::invalid_argument);
    EXPECT_THROW(draw(*imageOf(black), Layout::FaceBoxes, *realList({ 3 })), std::invalid_argument);
    // Wild numbers are drawn somewhere or nowhere, never fatally.
    for (const double wild : { std::nan(""), 1e300, -1e300, std::numeric_limits<double>::infinity() }) {
        drawn(black, Layout::Keypoints, realRows({ 1, 7 }, { wild, wild, wild, wild, 0, 0, 0 }));
        drawn(black, Layout::PolarLines, realList({ wild, wild }));
        drawn(black, Layout::WideSegments, realList({ wild, wild, wild, wild, wild }));
        drawn(black, Layout::Circles, realList({ wild, wild, wild }));
        drawn(black, Layout::Regions, realRows({ 1, 5 }, { wild, wild, wild, wild, wild }));
        drawn(black, Layout::FaceBoxes, realList({ 1, wild, wild, wild, wild, wild }));
    }
}

TEST(DrawMatches, JoinsKeypointsSideBySide)
{
    const cv::Mat tall(50, 30, CV_8U, cv::Scalar(0));
    const TensorPointer first = realRows({ 2, 7 }, { 5.5, 29.5, 4, 0, 1, 0, 0, 50.5, 9.5, 4, 0, 1, 0, 0 });
    const TensorPointer second = realRows({ 1, 7 }, { 20.5, 39.5, 4, 0, 1, 0, 0 });
    // The second keypoint of the first picture (column 50, row 30) and the one of the second (80, 10).
    const ImagePointer image =
        drawMatches(*imageOf(black), *first, *imageOf(tall), *second, *integers({ 2, 0, 1, 1 }));
    EXPECT_EQ(image->shape, (ImageShape { 50, 90, 3 }));
    const cv::Mat canvas = matrixOf(*image);
    EXPECT_TRUE(touched(canvas, 50, 30));
    EXPECT_TRUE(touched(canvas, 65, 20));
    EXPECT_TRUE(touched(canvas, 80, 10));
    EXPECT_FALSE(touched(canvas, 5, 10));
    for (const TensorPointer& wrong :
         { integers({ 3, 0, 0, 1, 1 }), integers({ 1, 1, 2 }), integers({ 1, 1, 0 }) })
        EXPECT_THROW(drawMatches(*imageOf(black), *first, *imageOf(tall), *second, *wrong),
                     std::invalid_argument);
}

} // namespace miravex::test
