#include "catalog/call_view.h"

#include "catalog/catalog.h"

namespace miravex {

namespace {

const ValueView absent;

template <typename Facts> std::optional<Facts> factsIn(const ValueView& value)
{
    const auto* facts = std::get_if<Facts>(&value);
    return facts ? std::optional(*facts) : std::nullopt;
}

} // namespace

const ValueView& CallView::value(std::string_view name) const
{
    const int index = argumentIndex(*operation_, name);
    if (index < 0 || static_cast<std::size_t>(index) >= values_.size()) return absent;
    return values_[static_cast<std::size_t>(index)];
}

bool CallView::has(std::string_view name) const
{
    return !std::holds_alternative<std::monostate>(value(name));
}

int64_t CallView::integer(std::string_view name) const
{
    const ValueView& given = value(name);
    if (const auto* number = std::get_if<int64_t>(&given)) return *number;
    if (const auto* flag = std::get_if<bool>(&given)) return *flag;
    return 0;
}

double CallView::real(std::string_view name) const
{
    const ValueView& given = value(name);
    if (const auto* number = std::get_if<double>(&given)) return *number;
    return static_cast<double>(integer(name));
}

bool CallView::boolean(std::string_view name) const { return integer(name) != 0; }

std::string_view CallView::text(std::string_view name) const
{
    const auto* string = std::get_if<std::string_view>(&value(name));
    return string ? *string : std::string_view();
}

std::optional<ImageFacts> CallView::image(std::string_view name) const
{
    return factsIn<ImageFacts>(value(name));
}
int64_t CallView::rows(std::string_view name) const { return image(name).value_or(ImageFacts()).rows; }
int64_t CallView::columns(std::string_view name) const { return image(name).value_or(ImageFacts()).columns; }
int64_t CallView::channels(std::string_view name) const
{
    return image(name).value_or(ImageFacts()).channels;
}
int64_t CallView::slices(std::string_view name) const { return image(name).value_or(ImageFacts()).slices; }

std::optional<TensorFacts> CallView::tensor(std::string_view name) const
{
    return factsIn<TensorFacts>(value(name));
}
PixelType CallView::pixelType(std::string_view name) const
{
    return image(name).value_or(ImageFacts()).pixelType;
}
ColorSpace CallView::colorSpace(std::string_view name) const
{
    return image(name).value_or(ImageFacts()).colorSpace;
}

int64_t CallView::length(std::string_view name) const
{
    return tensor(name).value_or(TensorFacts()).length();
}

int64_t CallView::dimension(std::string_view name, std::size_t index) const
{
    const auto dimensions = tensor(name).value_or(TensorFacts()).dimensions;
    return index < dimensions.size() ? dimensions[index] : 0;
}

std::span<const double> CallView::reals(std::string_view name) const
{
    return tensor(name).value_or(TensorFacts()).reals;
}

std::span<const int64_t> CallView::integers(std::string_view name) const
{
    return tensor(name).value_or(TensorFacts()).integers;
}

std::optional<ArrayFacts> CallView::array(std::string_view name) const
{
    return factsIn<ArrayFacts>(value(name));
}

bool CallView::holds(const Condition& condition) const
{
    if (condition.argument.empty()) return true;
    const ValueView& given = value(condition.argument);
    if (const auto* string = std::get_if<std::string_view>(&given)) return *string == condition.value;
    return boolean(condition.argument) == (condition.value == "true");
}

int64_t CallView::resolve(const Extent& extent) const
{
    switch (extent.of) {
    case Extent::Of::Exactly:
    case Extent::Of::AtLeast: return extent.count;
    case Extent::Of::Rows: return rows(extent.argument);
    case Extent::Of::Columns: return columns(extent.argument);
    case Extent::Of::Channels: return channels(extent.argument);
    case Extent::Of::Slices: return slices(extent.argument);
    case Extent::Of::Length: return length(extent.argument);
    case Extent::Of::First: return dimension(extent.argument, 0);
    case Extent::Of::Second: return dimension(extent.argument, 1);
    }
    return 0;
}

Reach reachOf(const CallView& call)
{
    const ReachRule& rule = call.operation().reach;
    return rule.compute ? rule.compute(call) : Reach();
}

namespace records {

ImageFacts likeImage(const CallView& call) { return call.image("image").value_or(ImageFacts()); }

ImageFacts likeFrame(const CallView& call)
{
    ImageFacts facts = call.image("frames").value_or(ImageFacts());
    facts.slices = 0;
    return facts;
}

ImageFacts likeImageResampled(const CallView& call)
{
    const ImageFacts facts = likeImage(call);
    return facts.pixelType == PixelTypeBit ? withType(facts, PixelTypeByte) : facts;
}

ImageFacts withChannels(ImageFacts facts, int64_t channels)
{
    facts.channels = channels;
    return facts;
}

ImageFacts withType(ImageFacts facts, PixelType type)
{
    facts.pixelType = type;
    return facts;
}

ImageFacts withSides(ImageFacts facts, int64_t rows, int64_t columns)
{
    facts.rows = rows;
    facts.columns = columns;
    return facts;
}

} // namespace records

} // namespace miravex
