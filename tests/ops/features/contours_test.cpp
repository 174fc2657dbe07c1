#include "tests/ops/features/rows.h"

namespace miravex::test {

// Expected values: worked by hand where said so, or OpenCV called directly with the stated arguments.

namespace {

Values tracing(const cv::Mat& picture, const char* mode = "Tree", const char* method = "None",
               bool chain = false)
{
    return { imageOf(picture), std::string(mode), std::string(method), chain };
}

std::vector<double> traced(const cv::Mat& picture, const char* mode = "Tree", const char* method = "None",
                           bool chain = false)
{
    return listOf(succeed("FindContours", tracing(picture, mode, method, chain)).tensor());
}

/// The packed list of contours as OpenCV gives them.
std::vector<double> packed(const std::vector<std::vector<cv::Point>>& contours,
                           const std::vector<cv::Vec4i>& hierarchy, int rows)
{
    std::vector<double> list { static_cast<double>(contours.size()) };
    for (const auto& contour : contours) list.push_back(static_cast<double>(contour.size()));
    for (const auto& contour : contours) {
        for (const cv::Point& point : contour) {
            list.push_back(point.x);
            list.push_back(rows - 1 - point.y);
        }
    }
    for (const cv::Vec4i& entry : hierarchy) list.insert(list.end(), entry.val, entry.val + 4);
    return list;
}

/// Shapes with holes and shapes in the holes.
cv::Mat nested()
{
    cv::Mat picture(60, 90, CV_8U, cv::Scalar(0));
    cv::rectangle(picture, cv::Rect(5, 5, 40, 45), cv::Scalar(255), cv::FILLED);
    cv::rectangle(picture, cv::Rect(12, 12, 25, 25), cv::Scalar(0), cv::FILLED);
    cv::rectangle(picture, cv::Rect(18, 18, 10, 8), cv::Scalar(1), cv::FILLED);
    cv::circle(picture, { 68, 30 }, 15, cv::Scalar(128), cv::FILLED);
    return picture;
}

TensorPointer contour(const std::vector<double>& coordinates)
{
    return realRows({ static_cast<int64_t>(coordinates.size() / 2), 2 }, coordinates);
}

double distance(const std::vector<double>& a, const std::vector<double>& b, const char* method = "I1")
{
    return succeed("MatchShapes", { contour(a), contour(b), std::string(method) }).real();
}

} // namespace

TEST(FindContours, FindsNothingInNothing) // by hand
{
    const cv::Mat nothing(7, 9, CV_8U, cv::Scalar(0));
    for (const char* mode : { "External", "List", "CComp", "Tree", "FloodFill" }) {
        EXPECT_EQ(traced(nothing, mode), (std::vector<double> { 0 })) << mode;
        EXPECT_EQ(traced(nothing, mode, "None", true), (std::vector<double> { 0 })) << mode;
    }
}

TEST(FindContours, TracesASinglePixel) // by hand
{
    cv::Mat picture(5, 8, CV_8U, cv::Scalar(0));
    picture.at<uchar>(0, 3) = 77;
    EXPECT_EQ(traced(picture, "External"), (std::vector<double> { 1, 1, 3, 4, -1, -1, -1, -1 }));
    EXPECT_EQ(traced(picture, "External", "None", true), (std::vector<double> { 1, -1, 8 }));
}

TEST(FindContours, TracesASquareByStepsAndTheWayBack) // by hand
{
    cv::Mat picture(7, 7, CV_8U, cv::Scalar(0));
    picture(cv::Rect(2, 2, 3, 3)).setTo(255);
    // From the top left corner down, right, up and left: columns 2 to 4, rows from the bottom 4 to 2.
    EXPECT_EQ(traced(picture, "External"),
              (std::vector<double> { 1, 8, 2, 4, 2, 3, 2, 2, 3, 2, 4, 2, 4, 3, 4, 4, 3, 4, -1, -1, -1, -1 }));
    // The last point lies right of the first: from first to last is a step to the right, 0, not back, 4.
    EXPECT_EQ(traced(picture, "External", "None", true),
              (std::vector<double> { 1, -1, 6, 6, 0, 0, 2, 2, 4, 0 }));
    EXPECT_EQ(traced(picture, "External", "Simple", true), traced(picture, "External", "None", true));
}

TEST(FindContours, NamesEveryDirection) // by hand: a diamond of diagonal steps
{
    cv::Mat picture(5, 5, CV_8U, cv::Scalar(0));
    for (const cv::Point& point : { cv::Point(2, 1), cv::Point(1, 2), cv::Point(2, 3), cv::Point(3, 2) })
        picture.at<uchar>(point) = 255;
    picture.at<uchar>(2, 2) = 255;
    // From the top: down left, down right, up right; the last point lies down right of the first.
    EXPECT_EQ(traced(picture, "External", "None", true), (std::vector<double> { 1, -1, 5, 7, 1, 7 }));
    // A pair of pixels: the only step leads right, and so does the way from the first to the last.
    cv::Mat pair(3, 4, CV_8U, cv::Scalar(0));
    pair.at<uchar>(1, 1) = pair.at<uchar>(1, 2) = 1;
    EXPECT_EQ(traced(pair, "External", "None", true), (std::vector<double> { 1, -1, 0, 0 }));
}

TEST(FindContours, MatchesOpenCv)
{
    const cv::Mat picture = nested();
    const std::pair<const char*, int> modes[] = { { "External", cv::RETR_EXTERNAL },
                                                  { "List", cv::RETR_LIST },
                                                  { "CComp", cv::RETR_CCOMP },
                                                  { "Tree", cv::RETR_TREE } };
    const std::pair<const char*, int> methods[] = { { "None", cv::CHAIN_APPROX_NONE },
                                                    { "Simple", cv::CHAIN_APPROX_SIMPLE },
                                                    { "TC89_L1", cv::CHAIN_APPROX_TC89_L1 },
                                                    { "TC89_KCOS", cv::CHAIN_APPROX_TC89_KCOS } };
    for (const auto& [mode, modeValue] : modes) {
        for (const auto& [method, methodValue] : methods) {
            std::vector<std::vector<cv::Point>> contours;
            std::vector<cv::Vec4i> hierarchy;
            cv::findContours(picture.clone(), contours, hierarchy, modeValue, methodValue);
            EXPECT_EQ(traced(picture, mode, method), packed(contours, hierarchy, picture.rows))
                << mode << " " << method;
        }
    }
}

TEST(FindContours, FloodFillTreatsNonzeroPixelsAlike)
{
    const cv::Mat picture = nested();
    cv::Mat labels;
    cv::Mat(picture != 0).convertTo(labels, CV_32S, 1.0 / 255);
    std::vector<std::vector<cv::Point>> contours;
    std::vector<cv::Vec4i> hierarchy;
    cv::findContours(labels, contours, hierarchy, cv::RETR_FLOODFILL, cv::CHAIN_APPROX_SIMPLE);
    ASSERT_FALSE(contours.empty());
    EXPECT_EQ(traced(picture, "FloodFill", "Simple"), packed(contours, hierarchy, picture.rows));
    cv::Mat other = picture.clone();
    other.setTo(200, picture != 0);
    EXPECT_EQ(traced(other, "FloodFill", "Simple"), traced(picture, "FloodFill", "Simple"));
}

TEST(FindContours, RefusesOtherPicturesAndWords)
{
    const Values good = tracing(nested());
    for (const char* mode : { "external", "Trees", "Tre", "" })
        expectRefused("FindContours", with("FindContours", good, "mode", mode));
    for (const char* method : { "none", "TC89", "Simple ", "" }) {
        expectRefused("FindContours", with("FindContours", good, "method", method));
        // The method is checked even where it is not used.
        expectRefused("FindContours",
                      with("FindContours", with("FindContours", good, "method", method), "chain_code", true));
    }
    expectRefused("FindContours", with("FindContours", good, "image", ImagePointer()));
    expectRefused("FindContours", with("FindContours", good, "image", imageOf(noise(9, 9, CV_8UC3))));
    expectRefused("FindContours", with("FindContours", good, "image", imageOf(noise(9, 9, CV_16U))));
    expectRefused("FindContours", with("FindContours", good, "image", bitImageOf(noise(9, 9, CV_8U))));
    expectRefused("FindContours", with("FindContours", good, "image", sequenceOf({ nested(), nested() })));
}

TEST(FindContours, TakesTinyPicturesAndSurvivesFaults)
{
    for (const cv::Size size : { cv::Size(1, 1), cv::Size(5, 1), cv::Size(1, 5) })
        for (const char* mode : { "External", "Tree", "FloodFill" })
            EXPECT_EQ(traced(cv::Mat(size, CV_8U, cv::Scalar(255)), mode).front(), 1) << mode << size;
    expectSurvivesFaults("FindContours", tracing(nested()));
    expectSurvivesFaults("FindContours", tracing(nested(), "External", "Simple", true));
}

TEST(FindContours, PicturesStayAsTheyWere) // the matrix that OpenCV overwrites is a copy
{
    const Values values = tracing(nested());
    succeed("FindContours", values);
    EXPECT_TRUE(sameBits(matrixOf(*std::get<ImagePointer>(values[0])), nested()));
}

TEST(MatchShapes, MatchesOpenCv)
{
    const std::vector<double> triangle { 0, 0, 30, 4, 12, 40 };
    const std::vector<double> pentagon { 5, 5, 40, 0, 50, 30, 25, 44, 2, 20 };
    const std::vector<cv::Point> a { { 0, 0 }, { 30, 4 }, { 12, 40 } };
    const std::vector<cv::Point> b { { 5, 5 }, { 40, 0 }, { 50, 30 }, { 25, 44 }, { 2, 20 } };
    for (const auto& [name, method] :
         std::vector<std::pair<const char*, int>> { { "I1", cv::CONTOURS_MATCH_I1 },
                                                    { "I2", cv::CONTOURS_MATCH_I2 },
                                                    { "I3", cv::CONTOURS_MATCH_I3 } }) {
        EXPECT_EQ(distance(triangle, pentagon, name), cv::matchShapes(a, b, method, 1.0)) << name;
        EXPECT_EQ(distance(triangle, triangle, name), 0) << name;
    }
}

TEST(MatchShapes, RoundsTiesToEven) // by hand: 2.5 becomes 2 and 3.5 becomes 4
{
    const std::vector<double> whole { 2, 4, 30, 4, 12, 40 };
    EXPECT_EQ(distance({ 2.5, 3.5, 30.4, 4.49, 11.5, 40.5 }, whole), 0);
    EXPECT_NE(distance({ 3, 3, 30, 4, 12, 40 }, whole), 0);
}

TEST(MatchShapes, RefusesOtherTensorsWordsAndCoordinates)
{
    const TensorPointer good = contour({ 0, 0, 30, 4, 12, 40 });
    for (const char* method : { "i1", "I4", "I", "I11", "" })
        expectRefused("MatchShapes", { good, good, std::string(method) });
    for (const TensorPointer& bad : { TensorPointer(), makeRealTensor({ 6 }), makeRealTensor({ 2, 3 }),
                                      makeRealTensor({ 3, 1 }), makeRealTensor({ 1, 3, 2 }) }) {
        expectRefused("MatchShapes", { bad, good, std::string("I1") });
        expectRefused("MatchShapes", { good, bad, std::string("I1") });
    }
    for (const double value :
         { std::nan(""), 1e300, 2147483648.0, -3e9, std::numeric_limits<double>::infinity() })
        expectRefused("MatchShapes", { contour({ 0, 0, value, 4, 12, 40 }), good, std::string("I1") });
    succeed("MatchShapes",
            { contour({ -2147483648.0, 0, 2147483520.0, 4, 12, 40 }), good, std::string("I1") });
    EXPECT_EQ(distance({}, {}), 0);
}

} // namespace miravex::test
