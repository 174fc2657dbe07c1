#include "draw/draw_flow.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <stdexcept>

namespace miravex {

namespace {

struct Vector {
    double u, v;
    [[nodiscard]] double length() const { return std::hypot(u, v); }
};

/// One pair of a tensor of flow, with or without a third number that tells valid vectors.
class Field {
public:
    Field(const Tensor& flow, int64_t pair)
    {
        const std::vector<int64_t>& size = flow.dimensions;
        if (flow.elementType != TensorTypeReal || size.size() != 4 || (size[3] != 2 && size[3] != 3))
            throw std::invalid_argument("a flow has pairs x rows x columns x 2 or 3 reals");
        if (pair < 0 || pair >= size[0]) throw std::invalid_argument("the flow lacks this pair");
        rows = size[1];
        columns = size[2];
        numbers_ = static_cast<std::size_t>(size[3]);
        const std::size_t length = static_cast<std::size_t>(rows * columns) * numbers_;
        elements_ = flow.reals().subspan(static_cast<std::size_t>(pair) * length, length);
    }

    [[nodiscard]] std::size_t count() const { return elements_.size() / numbers_; }

    /// The vector at a pixel, row by row, or nothing where it is not usable.
    [[nodiscard]] std::optional<Vector> at(std::size_t pixel) const
    {
        const auto numbers = elements_.subspan(pixel * numbers_, numbers_);
        const bool valid = numbers_ == 2 || numbers[2] != 0;
        if (!valid || !std::isfinite(numbers[0]) || !std::isfinite(numbers[1])) return std::nullopt;
        return Vector { numbers[0], numbers[1] };
    }

    int64_t rows = 0;
    int64_t columns = 0;

private:
    std::span<const double> elements_;
    std::size_t numbers_ = 2;
};

/// How much of one primary colour a hue has, counted in sixths of the wheel from that colour's own place.
double primary(double sixths)
{
    const double distance = std::abs(std::remainder(sixths, 6.0));
    return std::clamp(2 - distance, 0.0, 1.0);
}

/// Writes the colour of a vector whose length is `part` of the longest, from 0 to 1.
void paint(std::uint8_t* pixel, const Vector& vector, double part)
{
    const double sixths = std::atan2(vector.v, vector.u) * 3 / std::numbers::pi;
    for (int channel = 0; channel < 3; ++channel) {
        const double hue = primary(sixths - 2 * channel);
        pixel[channel] = static_cast<std::uint8_t>(std::lround(255 * (1 - part + part * hue)));
    }
}

ImagePointer whitePicture(int64_t rows, int64_t columns)
{
    ImagePointer picture =
        makeImage({ .rows = rows, .columns = columns, .channels = 3 }, PixelTypeByte, ColorSpaceRGB);
    std::ranges::fill(picture->samples<std::uint8_t>(), std::uint8_t { 255 });
    return picture;
}

/// The length that 99 of 100 are within.
double usualLongest(std::vector<double> lengths)
{
    if (lengths.empty()) return 0;
    const auto place = lengths.begin() + static_cast<std::ptrdiff_t>((lengths.size() - 1) * 99 / 100);
    std::ranges::nth_element(lengths, place);
    return *place;
}

} // namespace

FlowPicture drawFlow(const Tensor& flow, int64_t pair)
{
    const Field field(flow, pair);
    FlowPicture drawn;
    std::vector<double> lengths;
    for (std::size_t i = 0; i < field.count(); ++i) {
        const auto vector = field.at(i);
        if (!vector) continue;
        drawn.meanU += vector->u;
        drawn.meanV += vector->v;
        lengths.push_back(vector->length());
    }
    drawn.unusable = static_cast<int64_t>(field.count() - lengths.size());
    if (!lengths.empty()) {
        drawn.meanU /= static_cast<double>(lengths.size());
        drawn.meanV /= static_cast<double>(lengths.size());
    }
    drawn.longest = usualLongest(std::move(lengths));

    drawn.picture = whitePicture(field.rows, field.columns);
    auto* pixel = drawn.picture->as<std::uint8_t>();
    for (std::size_t i = 0; i < field.count(); ++i, pixel += 3) {
        const auto vector = field.at(i);
        if (!vector)
            std::fill_n(pixel, 3, std::uint8_t { 0 });
        else if (drawn.longest > 0)
            paint(pixel, *vector, std::min(vector->length() / drawn.longest, 1.0));
    }
    return drawn;
}

ImagePointer flowWheel(int64_t diameter)
{
    ImagePointer wheel = whitePicture(diameter, diameter);
    const double radius = static_cast<double>(diameter) / 2;
    for (int64_t row = 0; row < diameter; ++row) {
        for (int64_t column = 0; column < diameter; ++column) {
            const Vector vector { static_cast<double>(column) + 0.5 - radius,
                                  radius - static_cast<double>(row) - 0.5 };
            const double part = vector.length() / radius;
            if (part <= 1) paint(wheel->as<std::uint8_t>() + 3 * (row * diameter + column), vector, part);
        }
    }
    return wheel;
}

namespace painters {

namespace {

cv::Mat matrixOf(const Image& picture)
{
    return { static_cast<int>(picture.shape.rows), static_cast<int>(picture.shape.columns), CV_8UC3,
             picture.as<std::uint8_t>() };
}

} // namespace

void flow(cv::Mat& canvas, const Tensor& result)
{
    const ImagePointer drawn = drawFlow(result).picture;
    if (matrixOf(*drawn).size() != canvas.size())
        throw std::invalid_argument("the flow has another size than the picture");
    matrixOf(*drawn).copyTo(canvas);
    const int side = std::min(canvas.rows, canvas.cols) / 6;
    if (side == 0) return;
    const ImagePointer wheel = flowWheel(side);
    matrixOf(*wheel).copyTo(canvas(cv::Rect(canvas.cols - side, canvas.rows - side, side, side)));
}

} // namespace painters

} // namespace miravex
