#include "tests/support/probes.h"

#include "catalog/catalog.h"
#include "host/matrices.h"
#include "tests/support/drawn_call.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace miravex::test {

namespace {

/// A float or a double next to `value`, as the library sees it: many reals are narrowed.
double beyond(double value, double direction)
{
    const double narrowed = std::nextafter(static_cast<float>(value), static_cast<float>(direction));
    // Next to zero a float would be a denormal number; what counts is the side.
    return value == 0 ? std::copysign(1e-30, direction - value) : narrowed;
}

Value numberValue(const Argument& argument, double value)
{
    if (argument.kind == Kind::Integer) return static_cast<int64_t>(value);
    return value;
}

class Prober {
public:
    Prober(const Operation& operation, uint64_t seed)
        : operation_(operation)
        , seed_(seed)
    {
    }

    std::vector<Probe> inside()
    {
        for (const Argument& argument : operation_.arguments) {
            if (argument.kind != Kind::Integer && argument.kind != Kind::Real) continue;
            const bool whole = argument.kind == Kind::Integer;
            if (argument.minimum.present) {
                const double value = argument.minimum.inclusive ? argument.minimum.value
                    : whole                                     ? argument.minimum.value + 1
                                                                : beyond(argument.minimum.value, INFINITY);
                put(argument, "just inside the lower bound", numberValue(argument, value));
            }
            if (argument.maximum.present) {
                const double value = argument.maximum.inclusive ? argument.maximum.value
                    : whole                                     ? argument.maximum.value - 1
                                                                : beyond(argument.maximum.value, -INFINITY);
                put(argument, "just inside the upper bound", numberValue(argument, value));
            }
        }
        return std::move(probes_);
    }

    std::vector<Probe> outside()
    {
        for (const Argument& argument : operation_.arguments) {
            switch (argument.kind) {
            case Kind::Integer:
            case Kind::Real: numbers(argument); break;
            case Kind::String: words(argument); break;
            case Kind::Image: images(argument); break;
            case Kind::RealTensor:
            case Kind::IntegerTensor: tensors(argument); break;
            default: break;
            }
        }
        return std::move(probes_);
    }

private:
    /// Values in which this argument matters.
    std::optional<std::vector<Value>> base(const Argument& argument) const
    {
        return validValues(operation_, seed_, { .used = argument.name });
    }

    void put(const Argument& argument, std::string text, Value value)
    {
        if (argument.optional && argument.usedWhen.argument.empty()) return; // never looked at
        auto values = base(argument);
        if (!values) return;
        probes_.push_back({ std::string(argument.name), std::move(text),
                            replaced(std::move(*values), operation_, argument.name, std::move(value)) });
    }

    void numbers(const Argument& argument)
    {
        const bool whole = argument.kind == Kind::Integer;
        if (argument.minimum.present) {
            const double value = !argument.minimum.inclusive ? argument.minimum.value
                : whole                                      ? argument.minimum.value - 1
                                                             : beyond(argument.minimum.value, -INFINITY);
            put(argument, "just below the lower bound", numberValue(argument, value));
        }
        if (argument.maximum.present) {
            const double value = !argument.maximum.inclusive ? argument.maximum.value
                : whole                                      ? argument.maximum.value + 1
                                                             : beyond(argument.maximum.value, INFINITY);
            put(argument, "just above the upper bound", numberValue(argument, value));
        }
        if (argument.mustBeOdd) {
            const double start =
                argument.minimum.present ? argument.minimum.value + !argument.minimum.inclusive : 1;
            put(argument, "even", numberValue(argument, std::floor(start / 2) * 2 + 2));
        }
    }

    void words(const Argument& argument)
    {
        if (argument.choices.empty()) return;
        const std::string known(argument.choices.front());
        put(argument, "a word and a blank", known + " ");
        if (known.size() > 1) put(argument, "a word without its end", known.substr(0, known.size() - 1));
        put(argument, "the empty word", std::string());
    }

    /// The picture of a valid call, changed by `change` before it is made.
    template <typename Change> void picture(const Argument& argument, std::string text, Change change)
    {
        const auto values = base(argument);
        if (!values) return;
        const auto given = viewOf(operation_, *values).image(argument.name);
        if (!given) return;
        ImageShape shape { given->rows, given->columns, given->channels, given->slices };
        PixelType type = given->pixelType;
        ColorSpace space = given->colorSpace;
        change(shape, type, space);
        if (shape.rows < 0 || shape.columns < 0 || shape.channels < 1 || shape.slices < 0) return;
        ImagePointer changed = makeImage(shape, type, space);
        paintPlainly(*changed);
        put(argument, std::move(text), std::move(changed));
    }

    void images(const Argument& argument)
    {
        const ImageRule& rule = argument.image;
        if (rule.rank == 2)
            picture(argument, "a sequence", [](ImageShape& shape, auto&, auto&) { shape.slices = 3; });
        if (rule.rank == 3)
            picture(argument, "a 2D image", [](ImageShape& shape, auto&, auto&) { shape.slices = 0; });
        for (int channels = 1; channels <= 6; ++channels)
            if (!rule.acceptsChannels(channels))
                picture(argument, fmt::format("{} channels", channels),
                        [&](ImageShape& shape, auto&, ColorSpace& space) {
                            shape.channels = channels;
                            if (rule.colorSpaces == 0) space = usualColorSpace(channels);
                        });
        for (PixelType pixelType = PixelTypeBit; pixelType <= PixelTypeReal; ++pixelType)
            if (!rule.acceptsPixelType(pixelType))
                picture(argument, fmt::format("pixel type {}", pixelType),
                        [&](ImageShape&, PixelType& type, auto&) { type = pixelType; });
        for (const ColorSpace colorSpace : { 0, 1, 2, 8 })
            if (!rule.acceptsColorSpace(colorSpace))
                picture(argument, fmt::format("colour space {}", colorSpace),
                        [&](ImageShape&, PixelType&, ColorSpace& space) { space = colorSpace; });
        if (rule.minimumRows > 1)
            picture(argument, "a row too few",
                    [&](ImageShape& shape, auto&, auto&) { shape.rows = rule.minimumRows - 1; });
        if (rule.minimumColumns > 1)
            picture(argument, "a column too few",
                    [&](ImageShape& shape, auto&, auto&) { shape.columns = rule.minimumColumns - 1; });
        if (rule.rank == 3 && rule.minimumSlices > 1)
            picture(argument, "a frame too few",
                    [&](ImageShape& shape, auto&, auto&) { shape.slices = rule.minimumSlices - 1; });
        if (!rule.sameAs.empty()) {
            picture(argument, "a row more than the other",
                    [](ImageShape& shape, auto&, auto&) { ++shape.rows; });
            picture(argument, "a column more than the other",
                    [](ImageShape& shape, auto&, auto&) { ++shape.columns; });
        }
    }

    void tensor(const Argument& argument, std::string text, std::vector<int64_t> dimensions)
    {
        put(argument, std::move(text), plainTensor(argument, std::move(dimensions)));
    }

    void tensors(const Argument& argument)
    {
        const TensorRule& rule = argument.tensor;
        const auto values = base(argument);
        if (!values) return;
        const auto index = static_cast<std::size_t>(argumentIndex(operation_, argument.name));
        const auto* held = std::get_if<TensorPointer>(&(*values)[index]);
        const Tensor* given = held ? held->get() : nullptr;
        if (!given) return;
        if (rule.rank > 0) {
            std::vector<int64_t> more = given->dimensions;
            more.push_back(2); // not 1: some lists are read by their length alone
            tensor(argument, "a dimension more", more);
            if (rule.rank > 1 && given->length() > 0) tensor(argument, "a flat list", { given->length() });
            // An empty list that stands for none has other dimensions than the rule's.
            const std::size_t ruled = given->dimensions.size() == rule.rank ? rule.rank : 0;
            for (std::size_t i = 0; i < ruled; ++i) {
                std::vector<int64_t> changed = given->dimensions;
                const bool open = rule.shape[i].of == Extent::Of::AtLeast;
                changed[i] = open ? rule.shape[i].count - 1 : changed[i] + 1;
                const bool empty = std::ranges::find(changed, 0) != changed.end();
                if (changed[i] < 0 || (rule.orEmpty && empty)) continue;
                tensor(argument, fmt::format("dimension {} is {}", i, changed[i]), changed);
            }
        }
        elements(argument, *given);
    }

    void elements(const Argument& argument, const Tensor& given)
    {
        const TensorRule& rule = argument.tensor;
        if (argument.kind != Kind::RealTensor || given.length() == 0) return;
        const auto with = [&](double element) {
            TensorPointer changed = makeRealTensor(given.dimensions, given.reals());
            changed->reals().back() = element;
            return changed;
        };
        const Bound& low = rule.minimumElement;
        const Bound& high = rule.maximumElement;
        if (low.present)
            put(argument, "an element below", with(low.inclusive ? beyond(low.value, -INFINITY) : low.value));
        if (high.present)
            put(argument, "an element above",
                with(high.inclusive ? beyond(high.value, INFINITY) : high.value));
    }

    const Operation& operation_;
    uint64_t seed_;
    std::vector<Probe> probes_;
};

} // namespace

std::vector<Value> replaced(std::vector<Value> values, const Operation& operation, std::string_view argument,
                            Value value)
{
    values.at(static_cast<std::size_t>(argumentIndex(operation, argument))) = std::move(value);
    return values;
}

std::vector<Probe> probesInside(const Operation& operation, uint64_t seed)
{
    return Prober(operation, seed).inside();
}

std::vector<Probe> probesOutside(const Operation& operation, uint64_t seed)
{
    return Prober(operation, seed).outside();
}

} // namespace miravex::test
