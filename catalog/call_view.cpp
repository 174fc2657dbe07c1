#include "catalog/call_view.h"

#include "catalog/catalog.h"

namespace miravex {

namespace {

const Value absent;

template <typename Held> const Held* held(const Value& value)
{
    const auto* pointer = std::get_if<std::shared_ptr<Held>>(&value);
    return pointer ? pointer->get() : nullptr;
}

} // namespace

const Value& CallView::value(std::string_view name) const
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
    const Value& given = value(name);
    if (const auto* number = std::get_if<int64_t>(&given)) return *number;
    if (const auto* flag = std::get_if<bool>(&given)) return *flag;
    return 0;
}

double CallView::real(std::string_view name) const
{
    const Value& given = value(name);
    if (const auto* number = std::get_if<double>(&given)) return *number;
    return static_cast<double>(integer(name));
}

bool CallView::boolean(std::string_view name) const { return integer(name) != 0; }

std::string_view CallView::text(std::string_view name) const
{
    const auto* string = std::get_if<std::string>(&value(name));
    return string ? std::string_view(*string) : std::string_view();
}

const Image* CallView::image(std::string_view name) const { return held<Image>(value(name)); }
const Tensor* CallView::tensor(std::string_view name) const { return held<Tensor>(value(name)); }

int64_t CallView::rows(std::string_view name) const { return image(name) ? image(name)->shape.rows : 0; }
int64_t CallView::columns(std::string_view name) const
{
    return image(name) ? image(name)->shape.columns : 0;
}
int64_t CallView::channels(std::string_view name) const
{
    return image(name) ? image(name)->shape.channels : 0;
}
int64_t CallView::slices(std::string_view name) const { return image(name) ? image(name)->shape.slices : 0; }

int64_t CallView::length(std::string_view name) const { return tensor(name) ? tensor(name)->length() : 0; }

int64_t CallView::dimension(std::string_view name, std::size_t index) const
{
    const Tensor* given = tensor(name);
    return given && index < given->dimensions.size() ? given->dimensions[index] : 0;
}

std::span<const double> CallView::reals(std::string_view name) const
{
    const Tensor* given = tensor(name);
    if (!given || given->elementType != TensorTypeReal) return {};
    return given->reals();
}

bool CallView::holds(const Condition& condition) const
{
    if (condition.argument.empty()) return true;
    const Value& given = value(condition.argument);
    if (const auto* string = std::get_if<std::string>(&given)) return *string == condition.value;
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

} // namespace miravex
