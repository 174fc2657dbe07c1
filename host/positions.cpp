#include "host/positions.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace miravex {

namespace {

/// What becomes of one number on its way into a matrix: scale * number + shift. Scales are 1 or -1.
struct Turn {
    double scale = 1;
    double shift = 0;
};

enum class Way { ToMatrix, ToLibrary };

constexpr Turn same {};
constexpr Turn negated { -1, 0 };
constexpr Turn fromOne { 1, 1 };

/// Pixel centres, which the library has at halves.
constexpr Turn centreX { 1, 0.5 };
constexpr Turn centreY(double rows) { return { -1, rows + 0.5 }; }

double turned(double number, const Turn& turn, Way way)
{
    return way == Way::ToMatrix ? turn.scale * number + turn.shift : turn.scale * (number - turn.shift);
}

using Turns = std::vector<Turn>;

/// The turns of the columns of layouts whose elements are rows as they stand; further columns stay.
Turns columnTurns(Layout layout, double rows)
{
    const Turn x = centreX, y = centreY(rows);
    const Turn edgeY { -1, rows + 1 }; // of BorderLines, which have no half pixel
    switch (layout) {
    case Layout::Keypoints:
    case Layout::KeypointsAndDescriptors: return { x, y };
    case Layout::Regions: return { same, fromOne, edgeY, same, { -1, rows } };
    case Layout::BorderLines: return { fromOne, edgeY, fromOne, edgeY };
    case Layout::Segments:
    case Layout::WideSegments: return { x, y, x, y };
    case Layout::Circles: return { x, y };
    case Layout::Flow:
    case Layout::FlowAndValidity:
    case Layout::Shift: return { same, negated };
    default: return {};
    }
}

std::size_t widthOf(Layout layout, const Tensor& tensor)
{
    switch (layout) {
    case Layout::BorderLines:
    case Layout::Segments: return 4;
    case Layout::WideSegments: return 5;
    case Layout::Circles: return 3;
    case Layout::Shift: return 2;
    default: return tensor.dimensions.empty() ? 0 : static_cast<std::size_t>(tensor.dimensions.back());
    }
}

bool isNone(std::span<const double> line)
{
    return std::ranges::all_of(line, [](double number) { return number == 0; });
}

void turnRows(std::span<double> numbers, std::size_t width, const Turns& turns, Layout layout, Way way)
{
    if (turns.empty() || width < turns.size()) return;
    for (std::size_t first = 0; first + width <= numbers.size(); first += width) {
        const std::span<double> row = numbers.subspan(first, width);
        if (layout == Layout::BorderLines && isNone(row)) continue;
        for (std::size_t i = 0; i < turns.size(); ++i) row[i] = turned(row[i], turns[i], way);
    }
}

/// x cos theta + y sin theta = rho from the centre of the first pixel, which is (1, 1) in a matrix.
void turnPolarLines(std::span<double> numbers, Way way)
{
    for (std::size_t i = 0; i + 1 < numbers.size(); i += 2) {
        const double shift = std::cos(numbers[i + 1]) + std::sin(numbers[i + 1]);
        numbers[i] += way == Way::ToMatrix ? shift : -shift;
    }
}

/// The number of faces, their boxes, their scores.
void turnFaces(std::span<double> numbers, double rows, Way way)
{
    if (numbers.empty() || !(numbers[0] >= 0) || 5 * numbers[0] + 1 != static_cast<double>(numbers.size()))
        throw std::invalid_argument("the list is shorter than it says");
    const auto boxes = numbers.subspan(1, 4 * static_cast<std::size_t>(numbers[0]));
    turnRows(boxes, 4, { centreX, centreY(rows), centreX, centreY(rows) }, Layout::FaceBoxes, way);
}

/// The number of contours, their lengths, their points as cells from 0, their neighbours from 0.
void turnContours(std::span<int64_t> numbers, int64_t rows, Way way)
{
    const auto count = numbers.empty() ? -1 : numbers[0];
    const auto length = static_cast<int64_t>(numbers.size());
    if (count < 0 || count >= length) throw std::invalid_argument("the list is shorter than it says");
    const int64_t neighbours = length - 4 * count;
    const int64_t up = way == Way::ToMatrix ? 1 : -1;
    for (int64_t i = 1 + count; i < length; ++i) {
        int64_t& number = numbers[static_cast<std::size_t>(i)];
        const bool isY = i < neighbours && (i - 1 - count) % 2 == 1;
        number = isY ? rows - number : number + up;
    }
}

void turn(Layout layout, Tensor& tensor, int64_t rows, Way way)
{
    const auto height = static_cast<double>(rows);
    if (tensor.elementType == TensorTypeInteger) {
        if (layout == Layout::Contours) turnContours(tensor.integers(), rows, way);
        return;
    }
    if (layout == Layout::PolarLines) return turnPolarLines(tensor.reals(), way);
    if (layout == Layout::FaceBoxes) return turnFaces(tensor.reals(), height, way);
    turnRows(tensor.reals(), widthOf(layout, tensor), columnTurns(layout, height), layout, way);
}

// --- arguments ------------------------------------------------------------------------------------------

bool hasShape(const Tensor& tensor, std::initializer_list<int64_t> dimensions)
{
    return tensor.elementType == TensorTypeReal && std::ranges::equal(tensor.dimensions, dimensions);
}

void turnKeypoints(Tensor& tensor, int64_t rows)
{
    if (tensor.dimensions.size() == 2 && tensor.dimensions.back() == 7)
        toLibraryPositions(Layout::Keypoints, tensor, rows);
}

void turnFlow(Tensor& tensor, int64_t rows)
{
    if (tensor.dimensions.size() == 3 && tensor.dimensions.back() == 2)
        toLibraryPositions(Layout::Flow, tensor, rows);
}

/// Columns or rows, which the library counts from 0 at the top here.
void turnFromZero(Tensor& tensor, int64_t)
{
    if (tensor.elementType != TensorTypeReal) return;
    for (double& number : tensor.reals()) number -= 1;
}

/// A point among pixel centres at halves.
void turnCentre(Tensor& tensor, int64_t rows)
{
    if (!hasShape(tensor, { 2 })) return;
    tensor.reals()[0] = turned(tensor.reals()[0], centreX, Way::ToLibrary);
    tensor.reals()[1] = turned(tensor.reals()[1], centreY(static_cast<double>(rows)), Way::ToLibrary);
}

bool isMultipleOfIdentity(const cv::Matx33d& matrix) { return matrix == matrix(0, 0) * cv::Matx33d::eye(); }

/// The homography that makes the library warp by the given one of matrix positions. The library takes matrix
/// rows, from 0, to `rows` less their number before the homography and to `rows` - 1 less it afterwards.
void turnHomography(Tensor& tensor, int64_t rows)
{
    if (!hasShape(tensor, { 3, 3 })) return;
    const auto height = static_cast<double>(rows);
    const cv::Matx33d before(1, 0, 1, 0, -1, height + 1, 0, 0, 1);
    const cv::Matx33d after(1, 0, -1, 0, -1, height, 0, 0, 1);
    const cv::Matx33d given(tensor.reals().data());
    cv::Matx33d wanted = after * given * before;
    // The library leaves a picture alone that is to be warped by the identity, which here would move it up by
    // one row. A number next to 0 makes it warp.
    if (isMultipleOfIdentity(wanted)) wanted(0, 1) = std::numeric_limits<double>::min();
    std::ranges::copy(wanted.val, tensor.reals().begin());
}

struct PositionalArgument {
    std::string_view operation; ///< empty: whichever has the argument
    std::string_view argument;
    void (*turn)(Tensor& tensor, int64_t rows);
};

constexpr std::array positionalArguments {
    PositionalArgument { "", "keypoints", turnKeypoints },
    PositionalArgument { "", "initial_flow", turnFlow },
    PositionalArgument { "ImagePerspectiveTransformation", "homography", turnHomography },
    PositionalArgument { "LogPolarCV", "center", turnFromZero },
    PositionalArgument { "LogPolarRemap", "center", turnCentre },
    PositionalArgument { "RemapTensor", "x", turnFromZero },
    PositionalArgument { "RemapTensor", "y", turnFromZero },
};

const PositionalArgument* positional(const Operation& operation, std::string_view argument)
{
    const auto found = std::ranges::find_if(positionalArguments, [&](const PositionalArgument& entry) {
        return entry.argument == argument && (entry.operation.empty() || entry.operation == operation.name);
    });
    return found == positionalArguments.end() ? nullptr : &*found;
}

int64_t rowsOf(const Value& value)
{
    const auto* image = std::get_if<ImagePointer>(&value);
    return image && *image ? (*image)->shape.rows : 0;
}

int64_t rowsOfPicture(const Operation& operation, const NamedValues& values)
{
    for (const Argument& argument : operation.arguments) {
        const auto given = values.find(argument.name);
        if (argument.kind == Kind::Image && given != values.end()) return rowsOf(given->second);
    }
    return 0;
}

} // namespace

void toMatrixPositions(Layout layout, Tensor& tensor, int64_t rows)
{
    turn(layout, tensor, rows, Way::ToMatrix);
}

void toLibraryPositions(Layout layout, Tensor& tensor, int64_t rows)
{
    turn(layout, tensor, rows, Way::ToLibrary);
}

bool isPositional(const Operation& operation, const Argument& argument)
{
    return positional(operation, argument.name) != nullptr;
}

void toLibraryPositions(const Operation& operation, NamedValues& values)
{
    const int64_t rows = rowsOfPicture(operation, values);
    for (auto& [name, value] : values) {
        const PositionalArgument* const entry = positional(operation, name);
        const auto* tensor = std::get_if<TensorPointer>(&value);
        if (entry && tensor && *tensor) entry->turn(**tensor, rows);
    }
}

int64_t rowsOfPicture(const Operation& operation, std::span<const Value> values)
{
    for (std::size_t i = 0; i < values.size() && i < operation.arguments.size(); ++i)
        if (operation.arguments[i].kind == Kind::Image) return rowsOf(values[i]);
    return 0;
}

} // namespace miravex
