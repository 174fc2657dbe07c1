#include "tests/reliability/accepted_calls.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

/// Every bound of every argument in the catalogue: just inside it the library accepts (or OpenCV says why
/// not), just outside it refuses.
namespace miravex::test {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

/// One operation with calls that are accepted, to be changed in one argument at a time.
class Bounds : public ::testing::TestWithParam<const Operation*> {
protected:
    void SetUp() override
    {
        calls_ = acceptedCalls(operation_, 24, { .side = 24, .elements = 256 });
        ASSERT_FALSE(calls_.empty()) << "no accepted call of " << operation_.name << " was drawn";
    }

    /// An accepted call in which the argument is looked at.
    [[nodiscard]] const Values* callThatUses(const Argument& argument) const
    {
        const auto uses = [&](const Values& values) {
            if (!argument.optional) return true;
            return !argument.usedWhen.argument.empty()
                && CallView(operation_, values).holds(argument.usedWhen);
        };
        const auto found = std::ranges::find_if(calls_, uses);
        return found == calls_.end() ? nullptr : &*found;
    }

    [[nodiscard]] Values with(const Values& base, const Argument& argument, Value value) const
    {
        Values values = base;
        values[static_cast<std::size_t>(&argument - operation_.arguments.data())] = std::move(value);
        return values;
    }

    void expectOutside(const Values& values) const
    {
        EXPECT_FALSE(check(operation_, values).empty())
            << fuzz::describeCall(operation_, values) << ": the record does not object";
        EXPECT_EQ(invoke(operation_.name, values).status, StatusFunctionError)
            << fuzz::describeCall(operation_, values) << " was accepted";
    }

    /// Nothing is expected where another argument or a constraint of the record objects.
    void expectInside(const Values& values) const
    {
        if (!check(operation_, values).empty()) return;
        const Outcome outcome = invoke(operation_.name, values);
        EXPECT_TRUE(outcome.ok() || !outcome.openCvError.empty())
            << fuzz::describeCall(operation_, values) << " was refused without a word from OpenCV";
    }

    template <typename Change> void forEachUsed(std::initializer_list<Kind> kinds, Change change) const
    {
        for (const Argument& argument : operation_.arguments) {
            if (std::ranges::find(kinds, argument.kind) == kinds.end()) continue;
            if (const Values* base = callThatUses(argument)) change(argument, *base);
        }
    }

    const Operation& operation_ = *GetParam();
    std::vector<Values> calls_;
};

/// The accepted number nearest to a bound (`outwards` 0) or the nearest refused one (1 or more steps).
Value numberAt(const Argument& argument, const Bound& bound, bool isMinimum, bool outside)
{
    const double direction = isMinimum == outside ? -infinity : infinity;
    const bool onBound = bound.inclusive != outside;
    if (argument.kind == Kind::Integer) {
        auto value = static_cast<int64_t>(bound.value) + (onBound ? 0 : direction > 0 ? 1 : -1);
        if (!outside && argument.mustBeOdd && value % 2 == 0) value += isMinimum ? 1 : -1;
        return value;
    }
    if (onBound) return bound.value;
    // The next float: OpenCV takes most reals as such.
    return static_cast<double>(
        std::nextafter(static_cast<float>(bound.value), static_cast<float>(direction)));
}

/// An image like another, but for what `change` does to its facts; samples start at zero.
template <typename Change> Value imageLike(const Image& original, Change change)
{
    Image facts = original;
    change(facts);
    return makeImage(facts.shape, facts.pixelType, facts.colorSpace, facts.shape.channels > 1);
}

} // namespace

TEST_P(Bounds, OfNumbersHold)
{
    forEachUsed({ Kind::Integer, Kind::Real }, [&](const Argument& argument, const Values& base) {
        for (const bool isMinimum : { true, false }) {
            const Bound& bound = isMinimum ? argument.minimum : argument.maximum;
            if (!bound.present) continue;
            expectInside(with(base, argument, numberAt(argument, bound, isMinimum, false)));
            expectOutside(with(base, argument, numberAt(argument, bound, isMinimum, true)));
        }
        if (argument.mustBeOdd) {
            const auto usual = CallView(operation_, base).integer(argument.name);
            expectOutside(with(base, argument, usual + 1));
        }
    });
}

TEST_P(Bounds, OfWordsHold)
{
    forEachUsed({ Kind::String }, [&](const Argument& argument, const Values& base) {
        if (argument.choices.empty()) return;
        for (const std::string_view choice : argument.choices) {
            expectInside(with(base, argument, std::string(choice)));
            std::string other(choice);
            other[0] = static_cast<char>(other[0] ^ 0x20);
            for (const std::string& nearly :
                 { std::string(choice) + " ", std::string(choice.substr(1)), other, std::string() }) {
                const bool known = std::ranges::find(argument.choices, nearly) != argument.choices.end();
                if (!known) expectOutside(with(base, argument, nearly));
            }
        }
    });
}

TEST_P(Bounds, OfPicturesHold)
{
    forEachUsed({ Kind::Image }, [&](const Argument& argument, const Values& base) {
        const ImageRule& rule = argument.image;
        const Image& usual = *CallView(operation_, base).image(argument.name);
        const auto expect = [&](bool accepted, const Value& image) {
            const Values values = with(base, argument, image);
            if (accepted)
                expectInside(values);
            else
                expectOutside(values);
        };
        for (int64_t channels = 1; channels <= 6; ++channels)
            expect(rule.acceptsChannels(channels),
                   imageLike(usual, [&](Image& image) { image.shape.channels = channels; }));
        for (PixelType type = PixelTypeBit; type <= PixelTypeReal; ++type)
            expect(rule.acceptsPixelType(type),
                   imageLike(usual, [&](Image& image) { image.pixelType = type; }));
        for (ColorSpace space = ColorSpaceGray; space <= ColorSpaceUnspecified + 1; ++space)
            expect(rule.acceptsColorSpace(space),
                   imageLike(usual, [&](Image& image) { image.colorSpace = space; }));
        if (rule.rank != 0)
            expect(false, imageLike(usual, [&](Image& image) {
                       image.shape.slices = image.shape.slices > 0 ? 0 : 2;
                   }));
        for (const int64_t less : { 0, 1 }) {
            if (rule.minimumRows > less)
                expect(less == 0,
                       imageLike(usual, [&](Image& image) { image.shape.rows = rule.minimumRows - less; }));
            if (rule.minimumColumns > less)
                expect(less == 0, imageLike(usual, [&](Image& image) {
                           image.shape.columns = rule.minimumColumns - less;
                       }));
            if (rule.minimumSlices > less && usual.shape.slices > 0)
                expect(less == 0, imageLike(usual, [&](Image& image) {
                           image.shape.slices = rule.minimumSlices - less;
                       }));
        }
        for (const int rows : { 0, 1 })
            for (const int columns : { 0, 1 })
                invoke(operation_.name, with(base, argument, imageLike(usual, [&](Image& image) {
                                                 image.shape.rows = rows;
                                                 image.shape.columns = columns;
                                             })));
        expectOutside(with(base, argument, ImagePointer()));
    });
}

TEST_P(Bounds, OfTensorsHold)
{
    forEachUsed({ Kind::RealTensor, Kind::IntegerTensor }, [&](const Argument& argument, const Values& base) {
        const TensorRule& rule = argument.tensor;
        const Tensor& usual = *CallView(operation_, base).tensor(argument.name);
        const auto make = [&](std::vector<int64_t> shape) {
            return argument.kind == Kind::RealTensor ? makeRealTensor(std::move(shape))
                                                     : makeIntegerTensor(std::move(shape));
        };
        expectOutside(with(base, argument, TensorPointer()));
        if (rule.rank > 0 && usual.dimensions.size() == rule.rank) {
            auto longer = usual.dimensions;
            longer.push_back(1);
            expectOutside(with(base, argument, make(longer)));
            for (std::size_t i = 0; i < rule.rank; ++i) {
                const auto wanted = CallView(operation_, base).resolve(rule.shape[i]);
                for (const int64_t size : { wanted - 1, wanted + 1 }) {
                    auto shape = usual.dimensions;
                    shape[i] = size;
                    const bool atLeast = rule.shape[i].of == Extent::Of::AtLeast;
                    const TensorPointer tensor = size >= 0 ? make(shape) : nullptr;
                    if (!tensor || (rule.orEmpty && tensor->length() == 0)) continue;
                    if (size < wanted || !atLeast) expectOutside(with(base, argument, tensor));
                }
            }
        }
        if (argument.kind != Kind::RealTensor || usual.length() == 0) return;
        for (const bool isMinimum : { true, false }) {
            const Bound& bound = isMinimum ? rule.minimumElement : rule.maximumElement;
            if (!bound.present) continue;
            for (const bool outside : { false, true }) {
                const TensorPointer tensor = makeRealTensor(usual.dimensions, usual.reals());
                tensor->reals().back() = std::get<double>(
                    numberAt(miravex::argument("element", Kind::Real, ""), bound, isMinimum, outside));
                if (outside)
                    expectOutside(with(base, argument, tensor));
                else
                    expectInside(with(base, argument, tensor));
            }
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Catalogue, Bounds, ::testing::ValuesIn(catalog()), nameOfParameter);

} // namespace miravex::test
