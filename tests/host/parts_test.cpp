#include "host/results.h"

#include "catalog/catalog.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace miravex::test {

namespace {

using ::testing::ElementsAre;

double elementAt(const Part& part, const std::vector<int64_t>& index)
{
    std::size_t place = part.first;
    for (std::size_t i = 0; i < index.size(); ++i)
        place += static_cast<std::size_t>(index[i] * part.steps[i]);
    return part.tensor->elementType == TensorTypeReal ? part.tensor->reals()[place]
                                                      : static_cast<double>(part.tensor->integers()[place]);
}

/// "group.name: sizes: elements", the last index running fastest.
std::string inWords(const Part& part)
{
    std::string text = fmt::format("{}.{}:", part.group, part.name);
    for (const int64_t size : part.sizes) text += fmt::format(" {}", size);
    text += ":";
    std::vector<int64_t> index(part.sizes.size(), 0);
    int64_t count = 1;
    for (const int64_t size : part.sizes) count *= size;
    for (int64_t i = 0; i < count; ++i) {
        text += fmt::format(" {}", elementAt(part, index));
        for (std::size_t axis = index.size(); axis-- > 0;) {
            if (++index[axis] < part.sizes[axis]) break;
            index[axis] = 0;
        }
    }
    return text;
}

std::vector<std::string> inWords(Layout layout, const TensorPointer& tensor, int64_t firstContour = 0)
{
    std::vector<std::string> words;
    for (const Part& part : partsOf(layout, tensor, firstContour)) words.push_back(inWords(part));
    return words;
}

TensorPointer reals(std::vector<int64_t> dimensions, std::vector<double> numbers)
{
    return makeRealTensor(std::move(dimensions), numbers);
}

TensorPointer integers(std::vector<int64_t> numbers)
{
    return makeIntegerTensor({ static_cast<int64_t>(numbers.size()) }, numbers);
}

} // namespace

TEST(Parts, OfRowsAreTheirColumns)
{
    EXPECT_THAT(inWords(Layout::Regions, reals({ 2, 5 }, { 1, 2, 3, 4, 5, 6, 7, 8, 9, 10 })),
                ElementsAre("regions.number: 2: 1 6", "regions.xmin: 2: 2 7", "regions.ytop: 2: 3 8",
                            "regions.xmax: 2: 4 9", "regions.ybottom: 2: 5 10"));
    EXPECT_THAT(inWords(Layout::Circles, reals({ 6 }, { 1, 2, 3, 4, 5, 6 })),
                ElementsAre("circles.x: 2: 1 4", "circles.y: 2: 2 5", "circles.radius: 2: 3 6"));
    EXPECT_THAT(inWords(Layout::PolarLines, reals({ 0 }, {})),
                ElementsAre("polar-lines.rho: 0:", "polar-lines.theta: 0:"));
    EXPECT_THAT(inWords(Layout::Shift, reals({ 2 }, { 3, 4 })),
                ElementsAre("shift.x: 1: 3", "shift.y: 1: 4"));
}

TEST(Parts, OfFeatures)
{
    EXPECT_THAT(inWords(Layout::KeypointsAndDescriptors,
                        reals({ 2, 9 }, { 1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 15, 16, 17, 18, 19 })),
                ElementsAre("keypoints.x: 2: 1 11", "keypoints.y: 2: 2 12", "keypoints.size: 2: 3 13",
                            "keypoints.angle: 2: 4 14", "keypoints.response: 2: 5 15",
                            "keypoints.octave: 2: 6 16", "keypoints.class_id: 2: 7 17",
                            "descriptors.descriptors: 2 2: 8 9 18 19"));
}

TEST(Parts, OfFlowsArePicturesOfTheirPairs)
{
    // Two pairs of 1 x 2 pixels.
    EXPECT_THAT(inWords(Layout::Flow, reals({ 2, 1, 2, 2 }, { 1, 2, 3, 4, 5, 6, 7, 8 })),
                ElementsAre("flow.u: 1 2 2: 1 5 3 7", "flow.v: 1 2 2: 2 6 4 8"));
    EXPECT_THAT(inWords(Layout::FlowAndValidity, reals({ 1, 1, 1, 3 }, { 1, 2, 0 })),
                ElementsAre("flow.u: 1 1 1: 1", "flow.v: 1 1 1: 2", "flow.valid: 1 1 1: 0"));
}

TEST(Parts, OfContours)
{
    const TensorPointer two = integers({ 2, 1, 2, 10, 11, 20, 21, 22, 23, 1, -1, -1, -1, -1, 0, -1, -1 });
    EXPECT_THAT(inWords(Layout::Contours, two, 1),
                ElementsAre("points.contour: 3: 1 2 2", "points.x: 3: 10 20 22", "points.y: 3: 11 21 23",
                            "contours.length: 2: 1 2", "contours.next: 2: 1 -1", "contours.previous: 2: -1 0",
                            "contours.first_child: 2: -1 -1", "contours.parent: 2: -1 -1"));
    EXPECT_THAT(inWords(Layout::ChainCodes, integers({ 3, -1, 4, 5, -1, -1, 6 })),
                ElementsAre("codes.contour: 3: 0 0 2", "codes.code: 3: 4 5 6", "contours.length: 3: 2 0 1"));
}

TEST(Parts, OfPackedLists)
{
    EXPECT_THAT(inWords(Layout::Matches, integers({ 2, 1, 2, 7, 8, 9 })),
                ElementsAre("matches.query: 3: 1 2 2", "matches.train: 3: 7 8 9"));
    EXPECT_THAT(inWords(Layout::FaceBoxes, reals({ 11 }, { 2, 1, 2, 3, 4, 5, 6, 7, 8, 21, 22 })),
                ElementsAre("face-boxes.left: 2: 1 5", "face-boxes.bottom: 2: 2 6",
                            "face-boxes.right: 2: 3 7", "face-boxes.top: 2: 4 8",
                            "face-boxes.score: 2: 21 22"));
}

TEST(Parts, OfArraysAreThemselves)
{
    EXPECT_THAT(inWords(Layout::Labels, reals({ 2, 2 }, { 1, 2, 3, 4 })),
                ElementsAre("labels.labels: 2 2: 1 2 3 4"));
    EXPECT_THAT(inWords(Layout::ResponseCurve, reals({ 6 }, { 1, 2, 3, 4, 5, 6 })),
                ElementsAre("response-curve.response-curve: 2 3: 1 2 3 4 5 6"));
    EXPECT_THAT(inWords(Layout::Positions, integers({ 5, 9 })), ElementsAre("positions.positions: 2: 5 9"));
}

TEST(Parts, OfListsThatAreNoneAreRefused)
{
    EXPECT_THROW(partsOf(Layout::Contours, integers({ 3, 1 })), std::invalid_argument);
    EXPECT_THROW(partsOf(Layout::Matches, integers({ 2, 1 })), std::invalid_argument);
    EXPECT_THROW(partsOf(Layout::Flow, reals({ 2, 2 }, { 1, 2, 3, 4 })), std::invalid_argument);
}

// What a table shows and what its parts hold are the same numbers.
TEST(Parts, AgreeWithTables)
{
    const TensorPointer numbers = reals({ 3, 20 }, std::vector<double>(60));
    for (std::size_t i = 0; i < 60; ++i) numbers->reals()[i] = static_cast<double>(i);
    for (const Layout layout : { Layout::Keypoints, Layout::Regions, Layout::PolarLines, Layout::BorderLines,
                                 Layout::Segments, Layout::WideSegments, Layout::Circles }) {
        const Table table = tableOf(layout, *numbers);
        const std::vector<Part> parts = partsOf(layout, numbers);
        ASSERT_EQ(parts.size(), table.columns.size()) << nameOf(layout);
        for (std::size_t i = 0; i < parts.size(); ++i) {
            EXPECT_EQ(parts[i].name, table.columns[i]);
            ASSERT_EQ(parts[i].sizes, std::vector { static_cast<int64_t>(table.rows.size()) });
            for (std::size_t row = 0; row < table.rows.size(); ++row)
                EXPECT_EQ(elementAt(parts[i], { static_cast<int64_t>(row) }), table.rows[row][i]);
        }
    }
}

} // namespace miravex::test
