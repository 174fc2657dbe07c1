#pragma once

#include "catalog/record.h"

#include <optional>
#include <span>
#include <string_view>
#include <variant>
#include <vector>

namespace miravex {

/// What is to be known of an image without its samples. `slices` is 0 for a 2D image.
struct ImageFacts {
    int64_t rows = 0;
    int64_t columns = 0;
    int64_t channels = 0;
    int64_t slices = 0;
    PixelType pixelType = PixelTypeByte;
    ColorSpace colorSpace = ColorSpaceUnspecified;

    [[nodiscard]] int rank() const noexcept { return slices > 0 ? 3 : 2; }
};

/// A tensor: its sizes and its elements, of which those of the other type are empty.
struct TensorFacts {
    std::span<const int64_t> dimensions;
    int64_t elementType = TensorTypeReal;
    std::span<const double> reals;
    std::span<const int64_t> integers;

    [[nodiscard]] int64_t length() const noexcept
    {
        return static_cast<int64_t>(elementType == TensorTypeReal ? reals.size() : integers.size());
    }
};

struct ArrayFacts {
    std::span<const int64_t> dimensions;
    int elementType = NumericArrayTypeReal32;
    std::span<const float> floats; ///< empty for another element type
};

/// A null handle, of "image", "tensor" or "array".
struct NullHandle {
    std::string_view kind;
};

/// One value of a call as the catalogue sees it: absent, a number, a flag, a text, or the facts of an object.
/// The host fills it and keeps alive what it refers to.
using ValueView = std::variant<std::monostate, int64_t, double, bool, std::string_view, ImageFacts,
                               TensorFacts, ArrayFacts, NullHandle>;

/// The values of a call by argument name, for defaults and constraints. A value that is absent, or of
/// another kind than asked, reads as 0, false, empty.
class CallView {
public:
    CallView(const Operation& operation, std::vector<ValueView> values)
        : operation_(&operation)
        , values_(std::move(values))
    {
    }

    [[nodiscard]] const Operation& operation() const noexcept { return *operation_; }
    /// How many values were given, which need not be how many the operation takes.
    [[nodiscard]] std::size_t count() const noexcept { return values_.size(); }
    /// The value itself, absent for an unknown name.
    [[nodiscard]] const ValueView& value(std::string_view name) const;
    [[nodiscard]] bool has(std::string_view name) const;

    [[nodiscard]] int64_t integer(std::string_view name) const;
    [[nodiscard]] double real(std::string_view name) const;
    [[nodiscard]] bool boolean(std::string_view name) const;
    [[nodiscard]] std::string_view text(std::string_view name) const;

    /// Nothing for anything but an image; likewise below.
    [[nodiscard]] std::optional<ImageFacts> image(std::string_view name) const;
    [[nodiscard]] int64_t rows(std::string_view image) const;
    [[nodiscard]] int64_t columns(std::string_view image) const;
    [[nodiscard]] int64_t channels(std::string_view image) const;
    [[nodiscard]] int64_t slices(std::string_view image) const;
    [[nodiscard]] PixelType pixelType(std::string_view image) const;
    [[nodiscard]] ColorSpace colorSpace(std::string_view image) const;

    [[nodiscard]] std::optional<TensorFacts> tensor(std::string_view name) const;
    [[nodiscard]] int64_t length(std::string_view tensor) const;
    /// Dimension `index`, counted from 0; 0 beyond the rank.
    [[nodiscard]] int64_t dimension(std::string_view tensor, std::size_t index) const;
    [[nodiscard]] std::span<const double> reals(std::string_view tensor) const;
    [[nodiscard]] std::span<const int64_t> integers(std::string_view tensor) const;

    [[nodiscard]] std::optional<ArrayFacts> array(std::string_view name) const;

    /// True when `condition` is empty or the argument it names has the value it names.
    [[nodiscard]] bool holds(const Condition& condition) const;

    /// What the extent stands for in this call: its number, or the size it refers to.
    [[nodiscard]] int64_t resolve(const Extent& extent) const;

private:
    const Operation* operation_;
    std::vector<ValueView> values_;
};

/// How far the pixels of this call's result look; the whole picture where the record says no more.
Reach reachOf(const CallView& call);

/// Facts of results, for records: the size of the argument "image", or of one frame of "frames".
namespace records {

ImageFacts likeImage(const CallView& call);
ImageFacts likeFrame(const CallView& call);
/// What is resampled as it is, but for bits, which become bytes.
ImageFacts likeImageResampled(const CallView& call);
ImageFacts withChannels(ImageFacts facts, int64_t channels);
ImageFacts withType(ImageFacts facts, PixelType type);
ImageFacts withSides(ImageFacts facts, int64_t rows, int64_t columns);

} // namespace records

} // namespace miravex
