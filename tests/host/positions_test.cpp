#include "host/positions.h"

#include "catalog/catalog.h"
#include "tests/support/host_check.h"

#include <fmt/format.h>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <set>

namespace miravex::test {

namespace {

using ::testing::DoubleEq;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

/// A result in matrix positions of a picture of 10 rows, and back, where it must be what it was.
std::vector<double> inMatrix(Layout layout, std::vector<int64_t> dimensions,
                             const std::vector<double>& numbers)
{
    const TensorPointer tensor = makeRealTensor(std::move(dimensions), numbers);
    toMatrixPositions(layout, *tensor, 10);
    std::vector<double> turned(tensor->reals().begin(), tensor->reals().end());
    toLibraryPositions(layout, *tensor, 10);
    EXPECT_THAT(tensor->reals(), ElementsAreArray(numbers)) << nameOf(layout);
    return turned;
}

std::vector<int64_t> inMatrix(Layout layout, const std::vector<int64_t>& numbers)
{
    const TensorPointer tensor = makeIntegerTensor({ static_cast<int64_t>(numbers.size()) }, numbers);
    toMatrixPositions(layout, *tensor, 10);
    std::vector<int64_t> turned(tensor->integers().begin(), tensor->integers().end());
    toLibraryPositions(layout, *tensor, 10);
    EXPECT_THAT(tensor->integers(), ElementsAreArray(numbers)) << nameOf(layout);
    return turned;
}

Outcome withMatrixPositions(const char* operation, NamedValues given)
{
    toLibraryPositions(record(operation), given);
    return succeed(operation, arguments(operation, std::move(given)));
}

} // namespace

// By hand: the pixel in row 3 and column 5 of a matrix, counted from 1, of 10 rows has its centre at (4.5,
// 7.5) for the library.

TEST(Positions, OfPoints)
{
    EXPECT_THAT(inMatrix(Layout::Keypoints, { 1, 7 }, { 4.5, 7.5, 31, 90, 0.5, 2, -1 }),
                ElementsAre(5, 3, 31, 90, 0.5, 2, -1));
    EXPECT_THAT(inMatrix(Layout::KeypointsAndDescriptors, { 2, 9 },
                         { 4.5, 7.5, 1, 2, 3, 4, 5, 6, 7, 0.5, 0.5, 1, 2, 3, 4, 5, 8, 9 }),
                ElementsAre(5, 3, 1, 2, 3, 4, 5, 6, 7, 1, 10, 1, 2, 3, 4, 5, 8, 9));
    EXPECT_THAT(inMatrix(Layout::Circles, { 3 }, { 4.5, 7.5, 2 }), ElementsAre(5, 3, 2));
    EXPECT_THAT(inMatrix(Layout::Segments, { 4 }, { 4.5, 7.5, 0.5, 9.5 }), ElementsAre(5, 3, 1, 1));
    EXPECT_THAT(inMatrix(Layout::WideSegments, { 5 }, { 4.5, 7.5, 0.5, 9.5, 3 }), ElementsAre(5, 3, 1, 1, 3));
    EXPECT_THAT(inMatrix(Layout::FaceBoxes, { 11 }, { 2, 4.5, 1.5, 6.5, 7.5, 0.5, 0.5, 2.5, 9.5, 21, 22 }),
                ElementsAre(2, 5, 9, 7, 3, 1, 10, 3, 1, 21, 22));
}

TEST(Positions, OfEdgesAndCells)
{
    // Columns 5 to 6 and rows 3 to 9.
    EXPECT_THAT(inMatrix(Layout::Regions, { 1, 5 }, { 1, 4, 8, 6, 1 }), ElementsAre(1, 5, 3, 6, 9));
    EXPECT_THAT(inMatrix(Layout::BorderLines, { 8 }, { 4, 10, 0, 7, 0, 0, 0, 0 }),
                ElementsAre(5, 1, 1, 4, 0, 0, 0, 0));
    // One contour of two points and neighbours: none, none, none, the first.
    EXPECT_THAT(inMatrix(Layout::Contours, { 1, 2, 4, 7, 0, 9, -1, -1, -1, 0 }),
                ElementsAre(1, 2, 5, 3, 1, 1, 0, 0, 0, 1));
    EXPECT_THAT(inMatrix(Layout::Contours, { 0 }), ElementsAre(0));
}

TEST(Positions, OfVectors)
{
    EXPECT_THAT(inMatrix(Layout::Shift, { 2 }, { 3, 4 }), ElementsAre(3, -4));
    EXPECT_THAT(inMatrix(Layout::Flow, { 1, 1, 2, 2 }, { 3, 4, 0, 0 }), ElementsAre(3, -4, 0, 0));
    EXPECT_THAT(inMatrix(Layout::FlowAndValidity, { 1, 1, 1, 3 }, { 3, 4, 1 }), ElementsAre(3, -4, 1));
    const TensorPointer nothing = realList({ 0, 0 });
    toMatrixPositions(Layout::Shift, *nothing, 10);
    EXPECT_FALSE(std::signbit(nothing->reals()[1])); // 0 stays 0
}

TEST(Positions, OfPolarLines)
{
    // The line through pixels (5, 3) and (6, 2) of a matrix; the library counts them from 0.
    const double theta = std::atan(1.0);
    const TensorPointer line = realList({ 4 * std::cos(theta) + 2 * std::sin(theta), theta });
    toMatrixPositions(Layout::PolarLines, *line, 10);
    EXPECT_THAT(line->reals()[0], DoubleEq(5 * std::cos(theta) + 3 * std::sin(theta)));
    EXPECT_NEAR(line->reals()[0], 6 * std::cos(theta) + 2 * std::sin(theta), 1e-12);
    toLibraryPositions(Layout::PolarLines, *line, 10);
    EXPECT_NEAR(line->reals()[0], 4 * std::cos(theta) + 2 * std::sin(theta), 1e-12);
}

TEST(Positions, OfEverythingElseStay)
{
    const std::vector<double> numbers { 1, 2, 3, 4, 5, 6 };
    for (const Layout layout : { Layout::Plain, Layout::Descriptors, Layout::Labels, Layout::Transport,
                                 Layout::ResponseCurve, Layout::Positions })
        EXPECT_EQ(inMatrix(layout, { 2, 3 }, numbers), numbers) << nameOf(layout);
    EXPECT_EQ(inMatrix(Layout::Matches, { 1, 1, 1 }), (std::vector<int64_t> { 1, 1, 1 }));
    EXPECT_EQ(inMatrix(Layout::ChainCodes, { 1, -1, 2 }), (std::vector<int64_t> { 1, -1, 2 }));
}

TEST(Positions, OfListsThatAreNoneAreRefused)
{
    for (const std::vector<double>& list : { std::vector<double> {}, { 2, 1, 2, 3, 4, 5 }, { -1 } }) {
        const TensorPointer faces = realList(list);
        EXPECT_THROW(toMatrixPositions(Layout::FaceBoxes, *faces, 10), std::invalid_argument);
    }
    for (const std::vector<int64_t>& list : { std::vector<int64_t> {}, { 3 }, { -2, 1 } }) {
        const TensorPointer contours = makeIntegerTensor({ static_cast<int64_t>(list.size()) }, list);
        EXPECT_THROW(toMatrixPositions(Layout::Contours, *contours, 10), std::invalid_argument);
    }
}

// A result of the library itself: a bright pixel whose place in the matrix is known.
TEST(Positions, OfAContourAreThoseOfItsPixel)
{
    cv::Mat picture(10, 12, CV_8UC1, cv::Scalar(0));
    picture.at<uint8_t>(3 - 1, 5 - 1) = 255;
    const Outcome outcome =
        succeed("FindContours", arguments("FindContours", { { "image", imageOf(picture) } }));
    const auto& tensor = std::get<TensorPointer>(outcome.result);
    toMatrixPositions(Layout::Contours, *tensor, picture.rows);
    EXPECT_THAT(tensor->integers(), ElementsAre(1, 1, 5, 3, 0, 0, 0, 0));
}

// --- arguments, against OpenCV called directly ----------------------------------------------------------

TEST(PositionalArguments, Homographies)
{
    const cv::Mat picture = noise(20, 30, CV_8UC1);
    const cv::Matx33d shift(1, 0, 1, 0, 1, 1, 0, 0, 1); // from a matrix that counts from 0
    const cv::Matx33d homographies[] {
        { 1, 0, 0, 0, 1, 0, 0, 0, 1 },  { 2, 0, 0, 0, 2, 0, 0, 0, 2 },
        { 1, 0, 0, 0, 1, -1, 0, 0, 1 }, { 1, 0, 3, 0, 1, -2, 0, 0, 1 },
        { 2, 0, 0, 0, 2, 0, 0, 0, 1 },  { 0.5, 0.25, 1, -0.25, 0.5, 8, 0, 0, 1 },
    };
    for (const cv::Matx33d& homography : homographies) {
        const Outcome outcome =
            withMatrixPositions("ImagePerspectiveTransformation",
                                { { "image", imageOf(picture) },
                                  { "homography", makeRealTensor({ 3, 3 }, { homography.val, 9 }) },
                                  { "interpolation", std::string("Nearest") },
                                  { "color", realList({ 7, 7, 7 }) } });
        cv::Mat expected;
        cv::warpPerspective(picture, expected, shift.inv() * homography * shift, picture.size(),
                            cv::INTER_NEAREST, cv::BORDER_CONSTANT, cv::Scalar::all(7));
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected)) << cv::Mat(homography);
    }
}

TEST(PositionalArguments, TablesOfColumnsAndRows)
{
    const cv::Mat picture = noise(6, 5, CV_8UC1);
    cv::Mat columns(picture.size(), CV_64F), rows(picture.size(), CV_64F);
    for (int i = 0; i < picture.rows; ++i)
        for (int j = 0; j < picture.cols; ++j) {
            columns.at<double>(i, j) = picture.cols - j; // mirrored
            rows.at<double>(i, j) = i + 1;
        }
    cv::Mat mirrored;
    cv::flip(picture, mirrored, 1);
    const Outcome outcome = withMatrixPositions("RemapTensor",
                                                { { "image", imageOf(picture) },
                                                  { "color", realList({ 0, 0, 0 }) },
                                                  { "x", tensorOf(columns) },
                                                  { "y", tensorOf(rows) } });
    EXPECT_TRUE(sameBits(matrixOf(outcome.image()), mirrored));
}

TEST(PositionalArguments, Centres)
{
    const cv::Mat picture = noise(20, 30, CV_8UC1);
    const Outcome outcome = withMatrixPositions(
        "LogPolarCV",
        { { "image", imageOf(picture) }, { "center", realList({ 9, 7 }) }, { "magnitude", 8.0 } });
    cv::Mat expected;
    cv::logPolar(picture, expected, cv::Point2f(8, 6), 8, cv::INTER_LINEAR + cv::WARP_FILL_OUTLIERS);
    EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected));

    // The innermost pixels of the other one show the pixel of the centre.
    const Outcome other = withMatrixPositions("LogPolarRemap",
                                              { { "image", imageOf(picture) },
                                                { "center", realList({ 9, 7 }) },
                                                { "magnitude", 100.0 },
                                                { "interpolation", std::string("Nearest") },
                                                { "color", realList({ 0, 0, 0 }) } });
    EXPECT_EQ(matrixOf(other.image()).at<uint8_t>(19, 4), picture.at<uint8_t>(7 - 1, 9 - 1));
}

TEST(PositionalArguments, KeypointsAndFlows)
{
    const ImagePointer image = imageOf(noise(10, 12, CV_8UC1));
    NamedValues keypoints { { "image", image },
                            { "keypoints",
                              makeRealTensor({ 1, 7 }, std::array { 5., 3., 1., 2., 3., 4., 5. }) } };
    toLibraryPositions(record("Orb"), keypoints);
    EXPECT_THAT(std::get<TensorPointer>(keypoints["keypoints"])->reals(),
                ElementsAre(4.5, 7.5, 1, 2, 3, 4, 5));

    NamedValues flow { { "initial_flow", makeRealTensor({ 1, 1, 2 }, std::array { 3., 4. }) } };
    toLibraryPositions(record("OpticalFlowFarneback"), flow);
    EXPECT_THAT(std::get<TensorPointer>(flow["initial_flow"])->reals(), ElementsAre(3, -4));
}

TEST(PositionalArguments, OfOtherShapesAreLeftToTheRecord)
{
    for (const TensorPointer& tensor : { realList({ 1, 2, 3 }), makeRealTensor({ 3, 2 }),
                                         makeRealTensor({ 0 }), makeIntegerTensor({ 3, 3 }) }) {
        const std::vector<std::byte> before(tensor->block.data(),
                                            tensor->block.data() + tensor->block.size());
        for (const auto& [operation, argument] :
             { std::pair("ImagePerspectiveTransformation", "homography"),
               std::pair("LogPolarRemap", "center"), std::pair("OpticalFlowFarneback", "initial_flow"),
               std::pair("Orb", "keypoints") }) {
            NamedValues given { { argument, tensor } };
            toLibraryPositions(record(operation), given);
            EXPECT_TRUE(std::equal(before.begin(), before.end(), tensor->block.data())) << argument;
        }
    }
}

// Whoever adds an operation says of its tables whether they are positions.
TEST(PositionalArguments, AreThese)
{
    const std::set<std::string> elsewhere {
        "CalibrateDebevec.exposures", "CalibrateRobertson.exposures", "DescriptorMatcher.mask",
        "DescriptorMatcher.query", "DescriptorMatcher.train", "EarthMoverDistance.cost",
        "EarthMoverDistance.points1", "EarthMoverDistance.points2", "EarthMoverDistance.weights1",
        "EarthMoverDistance.weights2", "EarthMoverDistanceFlowMatrix.cost",
        "EarthMoverDistanceFlowMatrix.points1", "EarthMoverDistanceFlowMatrix.points2",
        "EarthMoverDistanceFlowMatrix.weights1", "EarthMoverDistanceFlowMatrix.weights2",
        "EarthMoverDistanceWeightsFlowMatrix.cost", "EarthMoverDistanceWeightsFlowMatrix.weights1",
        "EarthMoverDistanceWeightsFlowMatrix.weights2", "ImageConvolve.horizontal", "ImageConvolve.vertical",
        "ImagePad.values", "ImagePerspectiveTransformation.color", "LoadImagesFromPathInto.lengths",
        "LocalAdaptiveBinarize.coefficients", "LogPolarRemap.color",
        // invariant under what separates the two frames
        "MatchShapes.contour1", "MatchShapes.contour2", "MergeDebevec.exposures", "MergeDebevec.response",
        "MergeRobertson.exposures", "MergeRobertson.response", "PhaseCorrelate.window", "RemapTensor.color",
        "Tonemap.parameters"
    };
    std::set<std::string> found;
    for (const Operation* operation : catalog())
        for (const Argument& argument : operation->arguments) {
            const bool isTensor = argument.kind == Kind::RealTensor || argument.kind == Kind::IntegerTensor;
            if (isTensor && !isPositional(*operation, argument))
                found.insert(fmt::format("{}.{}", operation->name, argument.name));
        }
    EXPECT_TRUE(sameNames(found, elsewhere));
}

} // namespace miravex::test
