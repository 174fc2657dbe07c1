#include "tests/support/drawn_call.h"

#include "catalog/catalog.h"
#include "host/matrices.h"
#include "tests/support/allocations.h"
#include "tests/support/call_check.h"
#include "tests/support/sample_files.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

namespace miravex::test {

namespace {

constexpr int64_t wildIntegers[] = {
    0,         -1,        1,         2,          INT32_MAX,       INT32_MIN,
    INT64_MAX, INT64_MIN, 1LL << 31, 1LL << 32,  (1LL << 32) + 1, INT32_MAX - 1,
    100000,    32768,     65536,     1000000000, -1000000000,
};

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double wildReals[] = {
    0.0,          -0.0,         -1.0,         std::numeric_limits<double>::quiet_NaN(),
    infinity,     -infinity,    1e-300,       1e-30,
    1e-7,         1e9,          1e30,         1e39,
    1e300,        -1e-30,       -1e9,         -1e30,
    -1e300,       2147483647.0, 2147483648.0, -2147483649.0,
    4294967296.0, 9.3e18,       0.5,          0.999999999,
    1.000000001,
};

/// Endings of the files that path arguments are after.
constexpr std::pair<std::string_view, std::string_view> usualExtensions[] = {
    { "cascade", ".xml" },
    { "description", ".prototxt" },
    { "weights", ".caffemodel" },
    { "film", ".avi" },
};

/// Accepted values whose work, by its nature, takes minutes even on the smallest inputs: drawn no larger.
struct Costly {
    std::string_view operation;
    std::string_view argument;
    int64_t most;
};
constexpr Costly costlyIntegers[] = {
    { "SuperResolution", "scale", 3 },
    { "CalibrateDebevec", "samples", 64 },
    { "FastNlMeansDenoising", "search_window", 255 },
    { "FastNlMeansDenoisingColored", "search_window", 255 },
};

constexpr PixelType pixelTypes[] = { PixelTypeByte, PixelTypeReal32, PixelTypeBit16, PixelTypeReal,
                                     PixelTypeBit };
constexpr ColorSpace colorSpaces[] = { ColorSpaceGray, ColorSpaceRGB, ColorSpaceUnspecified, 2, -1, 255 };

/// Draws one call. Arguments that others refer to (sizes of pictures, lengths of lists) come first.
class Drawing {
public:
    Drawing(const Operation& operation, Bytes& bytes, const Paths& paths, Caps caps)
        : operation_(operation)
        , bytes_(bytes)
        , paths_(paths)
        , caps_(caps)
        , values_(operation.arguments.size())
    {
        if (const int index = argumentIndex(operation, caps.used); index >= 0)
            needed_ = operation.arguments[static_cast<std::size_t>(index)].usedWhen;
    }

    std::vector<Value> draw()
    {
        constexpr int oddsOfLeaving[] = { 0, 16, 0, 48, 0, 128, 0, 255 };
        leaving_ = caps_.ordinary ? 0 : bytes_.oneOf(oddsOfLeaving);
        if (operation_.room->name == "loading") batch_ = drawBatch();
        for (int turn = 0; turn < turns; ++turn)
            for (std::size_t i = 0; i < values_.size(); ++i)
                if (turnOf(operation_.arguments[i]) == turn)
                    values_[i] = drawArgument(operation_.arguments[i]);
        if (leaves() && leaves()) {
            if (bytes_.next() % 2 == 0 || values_.empty())
                values_.emplace_back(int64_t { 0 });
            else
                values_.pop_back();
        }
        return std::move(values_);
    }

    /// Smooth, noisy, flat or wild samples; bits stay 0 and 1 unless the drawing leaves even that.
    void paint(Image& image)
    {
        const auto style = bytes_.next() % 5;
        const auto seed = static_cast<uint32_t>(bytes_.next());
        std::mt19937 noise(seed);
        const int64_t columns = std::max<int64_t>(1, image.shape.columns * image.shape.channels);
        const auto level = [&](int64_t i) {
            switch (style) {
            case 0: {
                const auto x = static_cast<double>(i % columns), y = static_cast<double>(i / columns);
                return 0.5 + 0.5 * std::sin(x * 0.3 + seed) * std::cos(y * 0.21);
            }
            case 1: return static_cast<double>(noise() % 65536) / 65535;
            case 2: return static_cast<double>(seed) / 255;
            case 3: return ((i % columns) / 7 + i / columns / 5) % 2 == 0 ? 0.0 : 1.0;
            default: return static_cast<double>(bytes_.next()) / 255;
            }
        };
        const auto fill = [&](auto samples, double range) {
            for (std::size_t i = 0; i < samples.size(); ++i)
                samples[i] = static_cast<std::remove_reference_t<decltype(samples[i])>>(
                    level(static_cast<int64_t>(i)) * range);
        };
        switch (image.pixelType) {
        case PixelTypeBit: fill(image.samples<std::uint8_t>(), 1.9); break;
        case PixelTypeByte: fill(image.samples<std::uint8_t>(), 255); break;
        case PixelTypeBit16: fill(image.samples<std::uint16_t>(), 65535); break;
        case PixelTypeReal32: fill(image.samples<float>(), 1); break;
        default: fill(image.samples<double>(), 1);
        }
        if (!leaves() || image.shape.samples() == 0) return;
        for (int i = 0; i < 8; ++i) {
            const auto at = static_cast<std::size_t>(bytes_.number(2) & 0xFFFF)
                % static_cast<std::size_t>(image.shape.samples());
            if (image.pixelType == PixelTypeReal32)
                image.samples<float>()[at] = static_cast<float>(bytes_.oneOf(wildReals));
            else if (image.pixelType == PixelTypeReal)
                image.samples<double>()[at] = bytes_.oneOf(wildReals);
            else
                image.block.data()[at] = static_cast<std::byte>(bytes_.next());
        }
    }

    /// A tensor with drawn elements.
    TensorPointer filled(const Argument& argument, bool reals, std::vector<int64_t> shape)
    {
        const TensorRule& rule = argument.tensor;
        const TensorPointer tensor =
            reals ? makeRealTensor(std::move(shape)) : makeIntegerTensor(std::move(shape));
        Argument element;
        element.kind = reals ? Kind::Real : Kind::Integer;
        element.minimum = rule.minimumElement;
        element.maximum = rule.maximumElement;
        const auto style = bytes_.next() % 3;
        const auto drawElement = [&](int64_t i) {
            if (style == 0) return within(element, static_cast<double>((i * 7 + 3) % 23));
            if (style == 1) return within(element, static_cast<double>(bytes_.number(1)) / 4);
            return std::get<double>(drawReal(element));
        };
        for (int64_t i = 0; i < tensor->length(); ++i) {
            const double drawn = drawElement(i);
            if (reals)
                tensor->reals()[static_cast<std::size_t>(i)] = drawn;
            else
                tensor->integers()[static_cast<std::size_t>(i)] = integral(drawn);
        }
        return tensor;
    }

private:
    static constexpr int turns = 6;

    static int turnOf(const Argument& argument)
    {
        switch (argument.kind) {
        case Kind::Image: return argument.image.sameAs.empty() ? 0 : 1;
        case Kind::RealTensor:
        case Kind::IntegerTensor: {
            const auto refers = [](const Extent& extent) { return extent.of >= Extent::Of::Length; };
            const auto shape = std::span(argument.tensor.shape).first(argument.tensor.rank);
            if (!std::ranges::any_of(shape, refers)) return 3;
            return argument.optional ? 5 : 4;
        }
        case Kind::NumericArray: return 3;
        default: return 2;
        }
    }

    /// What the arguments of the batch loader have to agree on; its record says it in constraints alone.
    struct Batch {
        std::vector<std::string> files;
        int64_t height = 0;
        int64_t width = 0;
        int64_t channels = 0;
    };

    Batch drawBatch()
    {
        Batch batch;
        const std::size_t count = 1 + bytes_.below(4);
        for (std::size_t i = 0; i < count && !paths_.empty(); ++i)
            batch.files.push_back(bytes_.oneOf(paths_));
        batch.height = 1 + (static_cast<int64_t>(bytes_.next()) + 7) % caps_.side;
        batch.width = 1 + (static_cast<int64_t>(bytes_.next()) + 5) % caps_.side;
        batch.channels = bytes_.next() % 2 == 0 ? 3 : 1;
        return batch;
    }

    /// Decides whether to leave what is accepted, this once.
    bool leaves() { return leaving_ > 0 && bytes_.next() < leaving_; }

    [[nodiscard]] CallView view() const { return viewOf(operation_, values_); }

    Value drawArgument(const Argument& argument)
    {
        if (!needed_.argument.empty() && argument.name == needed_.argument) {
            if (argument.kind == Kind::String) return std::string(needed_.value);
            const bool flag = needed_.value == "true";
            return argument.kind == Kind::Boolean ? Value(flag) : Value(int64_t { flag });
        }
        switch (argument.kind) {
        case Kind::Integer: return drawInteger(argument);
        case Kind::Real: return drawReal(argument);
        case Kind::Boolean: return bytes_.next() % 2 == 1;
        case Kind::String: return drawText(argument);
        case Kind::Image: return drawImage(argument);
        case Kind::RealTensor:
        case Kind::IntegerTensor: return drawTensor(argument);
        case Kind::NumericArray: return drawArray(argument);
        }
        return {};
    }

    double usual(const Argument& argument) const
    {
        if (const auto* derived = std::get_if<DerivedDefault>(&argument.defaultValue))
            return derived->compute(view());
        if (const auto* integer = std::get_if<int64_t>(&argument.defaultValue))
            return static_cast<double>(*integer);
        if (const auto* real = std::get_if<double>(&argument.defaultValue)) return *real;
        if (argument.minimum.present) return argument.minimum.value + (argument.minimum.inclusive ? 0 : 1);
        return 1;
    }

    static double within(const Argument& argument, double value)
    {
        const double step = argument.kind == Kind::Integer ? 1 : 1e-3;
        const auto edge = [&](const Bound& bound, double inwards) {
            return bound.inclusive ? bound.value : bound.value + inwards;
        };
        if (argument.minimum.present) value = std::max(value, edge(argument.minimum, step));
        if (argument.maximum.present) value = std::min(value, edge(argument.maximum, -step));
        return value;
    }

    /// A double as an integer, saturated.
    static int64_t integral(double value)
    {
        if (!(std::abs(value) < 9.2e18)) return value > 0 ? INT64_MAX : INT64_MIN;
        return static_cast<int64_t>(value);
    }

    Value drawInteger(const Argument& argument)
    {
        const int64_t drawn = anyInteger(argument);
        for (const Costly& costly : costlyIntegers)
            if (costly.operation == operation_.name && costly.argument == argument.name
                && static_cast<double>(drawn) <= argument.maximum.value)
                return std::min(drawn, costly.most);
        return drawn;
    }

    int64_t anyInteger(const Argument& argument)
    {
        if (leaves()) {
            const Bound& bound = bytes_.next() % 2 == 0 ? argument.minimum : argument.maximum;
            switch (bytes_.next() % 4) {
            case 0: return integral(bound.value) + static_cast<int64_t>(bytes_.below(5)) - 2;
            case 1: return bytes_.oneOf(wildIntegers);
            case 2: return bytes_.number(2);
            default: return bytes_.number(8);
            }
        }
        const double near = usual(argument) + static_cast<double>(bytes_.number(1) / 16);
        int64_t value = integral(within(argument, near));
        if (argument.mustBeOdd && value % 2 == 0) ++value;
        return value;
    }

    Value drawReal(const Argument& argument)
    {
        if (leaves()) {
            const Bound& bound = bytes_.next() % 2 == 0 ? argument.minimum : argument.maximum;
            switch (bytes_.next() % 5) {
            case 0: return bound.value;
            case 1: return std::nextafter(bound.value, infinity);
            case 2: return std::nextafter(bound.value, -infinity);
            case 3: return bytes_.oneOf(wildReals);
            default: return static_cast<double>(bytes_.number(3)) / 256;
            }
        }
        const auto change = static_cast<double>(bytes_.number(1));
        const double value = usual(argument);
        return within(argument, value + value * change / 256 + change / 1024);
    }

    Value drawText(const Argument& argument)
    {
        if (argument.isPath) return drawPath(argument);
        if (argument.choices.empty())
            return leaves() ? drawWord() : fmt::format("{}", fmt::join(batch_.files, ""));
        std::string word { bytes_.oneOf(argument.choices) };
        return leaves() ? spoiled(std::move(word)) : word;
    }

    /// Mostly a file of the kind that the argument names.
    std::string drawPath(const Argument& argument)
    {
        const auto fits = [&](const std::string& path) {
            return std::ranges::any_of(usualExtensions, [&](const auto& usual) {
                return usual.first == argument.name && path.ends_with(usual.second);
            });
        };
        const auto fitting = std::ranges::find_if(paths_, fits);
        if (caps_.ordinary) return fitting != paths_.end() ? *fitting : std::string();
        if (fitting != paths_.end() && bytes_.next() % 4 != 3) return *fitting;
        return paths_.empty() ? std::string() : bytes_.oneOf(paths_);
    }

    std::string drawWord()
    {
        std::string word(bytes_.below(300), 'x');
        for (char& c : word) c = static_cast<char>(bytes_.next());
        // A host's strings end at the first NUL.
        return word.substr(0, word.find('\0'));
    }

    /// A name that is nearly right.
    std::string spoiled(std::string word)
    {
        switch (bytes_.next() % 7) {
        case 0: word.clear(); break;
        case 1: word.pop_back(); break;
        case 2: word += ' '; break;
        case 3: word[0] = static_cast<char>(word[0] ^ 0x20); break;
        case 4: word.resize(5000, word.back()); break;
        case 5: std::ranges::reverse(word); break;
        default: word = drawWord();
        }
        return word;
    }

    template <std::size_t count, typename Accepts>
    auto acceptedOf(const int (&candidates)[count], Accepts accepts)
    {
        std::vector<int> good;
        for (const int candidate : candidates)
            if (accepts(candidate)) good.push_back(candidate);
        return good.empty() || leaves() ? bytes_.oneOf(candidates) : bytes_.oneOf(good);
    }

    int64_t drawSide(int64_t least, int64_t usualSide, int64_t fixedSide)
    {
        if (fixedSide > 0) return fixedSide;
        if (leaves()) return static_cast<int64_t>(bytes_.below(static_cast<std::size_t>(caps_.side)));
        const int64_t drawn = bytes_.next() % (caps_.side + 1);
        return std::max(least, drawn == 0 ? std::min(usualSide, caps_.side) : drawn);
    }

    Value drawImage(const Argument& argument)
    {
        const ImageRule& rule = argument.image;
        if (leaves() && leaves()) return ImagePointer();
        ImageShape shape;
        const bool sequence = rule.rank == 0 ? bytes_.next() % 2 == 1 : (rule.rank == 3) != leaves();
        const auto model = view().image(rule.sameAs);
        if (model && !leaves()) {
            shape = { model->rows, model->columns, model->channels, model->slices };
        } else {
            shape.rows = drawSide(rule.minimumRows, 24, caps_.rows);
            shape.columns = drawSide(rule.minimumColumns, 32, caps_.columns);
        }
        const auto frames = static_cast<int64_t>(bytes_.below(4));
        if (!sequence)
            shape.slices = 0;
        else if (!model || shape.slices == 0)
            shape.slices = leaves() ? 1 + frames : std::max<int64_t>(rule.minimumSlices, 2) + frames;

        constexpr int counts[] = { 3, 1, 4, 2, 5, 6, 8 };
        shape.channels = acceptedOf(counts, [&](int count) { return rule.acceptsChannels(count); });
        const PixelType type =
            acceptedOf(pixelTypes, [&](int value) { return rule.acceptsPixelType(value); });
        ColorSpace space = acceptedOf(colorSpaces, [&](int value) { return rule.acceptsColorSpace(value); });
        if (rule.colorSpaces == 0 && !leaves()) space = usualColorSpace(shape.channels);
        const bool interleaved = bytes_.next() % 4 != 3 ? shape.channels > 1 : bytes_.next() % 2 == 1;
        ImagePointer image = makeImage(shape, type, space, interleaved);
        paint(*image);
        return image;
    }

    std::vector<int64_t> drawShape(const TensorRule& rule)
    {
        std::vector<int64_t> shape;
        for (std::size_t i = 0; i < rule.rank; ++i) {
            int64_t size = view().resolve(rule.shape[i]);
            if (rule.shape[i].of == Extent::Of::AtLeast)
                size += static_cast<int64_t>((bytes_.below(16) + 3) % 16);
            if (leaves()) size += bytes_.number(1) / 16;
            shape.push_back(std::max<int64_t>(size, 0));
        }
        if (rule.rank == 0) shape.push_back(1 + static_cast<int64_t>(bytes_.below(64)));
        if (leaves()) {
            switch (bytes_.next() % 4) {
            case 0: shape.clear(); break;
            case 1: shape = { 0 }; break;
            case 2: shape.pop_back(); break;
            default: shape.push_back(static_cast<int64_t>(bytes_.below(4)));
            }
        }
        int64_t room = caps_.elements;
        for (int64_t& size : shape) {
            size = std::min(size, room);
            if (size > 0) room /= size;
        }
        return shape;
    }

    Value drawTensor(const Argument& argument)
    {
        const TensorRule& rule = argument.tensor;
        if (leaves() && leaves()) return TensorPointer();
        if (argument.kind == Kind::IntegerTensor && !batch_.files.empty() && !leaves()) return pathLengths();
        if (rule.orEmpty && bytes_.next() % 4 == 1)
            return argument.kind == Kind::RealTensor ? emptyList() : makeIntegerTensor({ 0 });
        const bool reals = (argument.kind == Kind::RealTensor) != (leaves() && leaves());
        return filled(argument, reals, drawShape(rule));
    }

    TensorPointer pathLengths() const
    {
        std::vector<int64_t> lengths;
        for (const std::string& file : batch_.files) lengths.push_back(static_cast<int64_t>(file.size()));
        return makeIntegerTensor({ static_cast<int64_t>(lengths.size()) }, lengths);
    }

    /// A destination for the batch, or, where the record lets it be left out, a slot's worth of numbers.
    Value drawArray(const Argument& argument)
    {
        if (leaves() && leaves()) return ArrayPointer();
        std::vector<int64_t> dimensions { batch_.height, batch_.width, batch_.channels };
        if (view().integer("channels_last") == 0)
            std::rotate(dimensions.begin(), dimensions.end() - 1, dimensions.end());
        if (!argument.optional)
            dimensions.insert(dimensions.begin(), static_cast<int64_t>(batch_.files.size()));
        if (leaves()) dimensions.resize(bytes_.below(6), 2);
        for (int64_t& size : dimensions)
            if (leaves()) size = std::max<int64_t>(0, size + bytes_.number(1) / 32);
        ArrayPointer array = makeFloatArray(std::move(dimensions));
        std::ranges::fill(array->floats(), 0.5F);
        if (leaves()) array->elementType = static_cast<int>(bytes_.below(14));
        return array;
    }

    const Operation& operation_;
    Bytes& bytes_;
    const Paths& paths_;
    Caps caps_;
    Condition needed_; ///< what makes the argument matter that has to
    int leaving_ = 0;
    Batch batch_;
    std::vector<Value> values_;
};

/// The values as operations may read them: integers cut to 32 bits, reals narrowed to floats, lists flat
/// whatever their shape, and empty lists of either kind alike.
std::vector<Value> asRead(const Operation& operation, std::vector<Value> values)
{
    for (std::size_t i = 0; i < values.size() && i < operation.arguments.size(); ++i) {
        if (auto* integer = std::get_if<int64_t>(&values[i])) *integer = static_cast<int32_t>(*integer);
        if (auto* real = std::get_if<double>(&values[i])) *real = static_cast<float>(*real);
        auto* tensor = std::get_if<TensorPointer>(&values[i]);
        if (!tensor || !*tensor) continue;
        const Argument& argument = operation.arguments[i];
        if ((*tensor)->elementType == TensorTypeReal) {
            *tensor = makeRealTensor((*tensor)->dimensions, (*tensor)->reals());
            for (double& element : (*tensor)->reals()) element = static_cast<float>(element);
        } else {
            *tensor = std::make_shared<Tensor>(**tensor);
        }
        if (argument.tensor.rank == 1) (*tensor)->dimensions = { (*tensor)->length() };
        if ((*tensor)->length() == 0)
            (*tensor)->elementType = argument.kind == Kind::RealTensor ? TensorTypeReal : TensorTypeInteger;
    }
    return values;
}

/// FNV-1a, as fuzz/make-corpus has it.
uint32_t hashOf(std::string_view name)
{
    uint32_t hash = 2166136261U;
    for (const char c : name) hash = (hash ^ static_cast<uint8_t>(c)) * 16777619U;
    return hash;
}

} // namespace

std::vector<Value> drawValues(const Operation& operation, Bytes& bytes, const Paths& paths, Caps caps)
{
    return Drawing(operation, bytes, paths, caps).draw();
}

std::optional<std::vector<Value>> validValues(const Operation& operation, uint64_t seed, Caps caps)
{
    constexpr uint32_t attempts = 100;
    caps.ordinary = true;
    for (uint32_t attempt = 0; attempt < attempts; ++attempt) {
        const auto source = randomBytes(static_cast<uint32_t>(seed) * attempts + attempt,
                                        seed == 0 && attempt == 0 ? 0 : 512);
        Bytes bytes(source);
        std::vector<Value> values = drawValues(operation, bytes, sampleFiles(), caps);
        const auto lacksFile = [&](const Argument& argument) {
            return argument.isPath && viewOf(operation, values).text(argument.name).empty();
        };
        if (std::ranges::any_of(operation.arguments, lacksFile)) return std::nullopt;
        if (check(operation, values).empty()) return values;
    }
    return std::nullopt;
}

void paintPlainly(Image& image)
{
    Bytes none({});
    Drawing(*catalog().front(), none, {}, { .ordinary = true }).paint(image);
}

TensorPointer plainTensor(const Argument& argument, std::vector<int64_t> dimensions)
{
    Bytes none({});
    Drawing drawing(*catalog().front(), none, {}, { .ordinary = true });
    return drawing.filled(argument, argument.kind == Kind::RealTensor, std::move(dimensions));
}

const Operation& operationFor(uint32_t key)
{
    const auto distance = [&](const Operation* operation) {
        uint32_t mixed = key ^ hashOf(operation->name);
        mixed = (mixed ^ mixed >> 16) * 0x85EBCA6BU;
        mixed = (mixed ^ mixed >> 13) * 0xC2B2AE35U;
        return mixed ^ mixed >> 16;
    };
    return **std::ranges::min_element(catalog(), {}, distance);
}

bool foretellsRefusal(const Operation& operation, const std::vector<Value>& values)
{
    const auto foretells = [&](const std::vector<Value>& given, const Refusal& refusal) {
        // Colours that suit no picture fail a batch only when one of its files is a picture.
        if (operation.room->name == "loading" && refusal.argument == "color_space") return false;
        // FLANN looks at no mask; the record keeps people from believing that it did.
        if (operation.name == "DescriptorMatcher" && refusal.argument == "matcher") {
            const CallView call = viewOf(operation, given);
            return call.text("matcher") != "FlannBased" || !call.boolean("use_mask");
        }
        // Some operations have an answer to a picture without pixels.
        const auto image = viewOf(operation, given).image(refusal.argument);
        return !image || (image->rows > 0 && image->columns > 0);
    };
    const auto objects = [&](const std::vector<Value>& given) {
        const auto refusals = check(operation, given);
        return std::ranges::any_of(refusals,
                                   [&](const Refusal& refusal) { return foretells(given, refusal); });
    };
    return objects(values) && objects(asRead(operation, values));
}

std::string brokenPromise(const Library& library, const Operation& operation,
                          const std::vector<Value>& values, Outcome* outcome)
{
    const bool refusalForetold = foretellsRefusal(operation, values);
    const int64_t failedBefore = failedAllocations();
    Outcome came;
    std::vector<std::string> broken = breaches(library, operation, values, came);
    if (refusalForetold && came.ok())
        broken.push_back("accepted, although " + check(operation, values).front().message());
    // What stands in a file is beyond the record, and memory may run out anywhere.
    const bool readsFiles = std::ranges::any_of(operation.arguments, &Argument::isPath);
    const bool memoryRanOut = !allocationsAreCounted || failedAllocations() > failedBefore;
    if (!came.ok() && came.openCvError.empty() && !readsFiles && !memoryRanOut
        && check(operation, values).empty())
        broken.push_back("refused, and neither the record nor OpenCV says why");
    if (outcome) *outcome = std::move(came);
    return fmt::format("{}", fmt::join(broken, "; "));
}

} // namespace miravex::test
