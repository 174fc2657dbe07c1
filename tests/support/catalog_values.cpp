#include "tests/support/catalog_values.h"

#include "catalog/call_view.h"

#include <fmt/format.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/videoio.hpp>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <random>

namespace miravex::test {

namespace {

using Generator = std::mt19937_64;

constexpr int attempts = 40;

int64_t between(Generator& random, int64_t least, int64_t most)
{
    return std::uniform_int_distribution<int64_t>(least, std::max(least, most))(random);
}

/// One of the values whose bit is set, the lowest for seed 0; `usual` where everything is accepted.
int pick(uint32_t mask, int usual, bool vary, Generator& random)
{
    if (mask == 0) return usual;
    if ((mask >> usual & 1U) && !vary) return usual;
    std::vector<int> accepted;
    for (int i = 0; i < 32; ++i)
        if (mask >> i & 1U) accepted.push_back(i);
    return vary ? accepted[static_cast<std::size_t>(between(random, 0, std::ssize(accepted) - 1))]
                : accepted.front();
}

// --- files ----------------------------------------------------------------------------------------------

bool isThere(const std::filesystem::path& path)
{
    std::error_code error;
    return std::filesystem::exists(path, error);
}

/// A file of this process in the folder for temporary files, removed when the process ends.
class TemporaryFile {
public:
    explicit TemporaryFile(std::string_view name)
        : path_(
            (std::filesystem::temp_directory_path() / fmt::format("miravex-{}-{}", getpid(), name)).string())
    {
    }
    ~TemporaryFile()
    {
        std::error_code error;
        std::filesystem::remove(path_, error);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }

private:
    std::string path_;
};

/// A small picture, written once per process.
class SmallPicture : public TemporaryFile {
public:
    SmallPicture()
        : TemporaryFile("picture.png")
    {
        cv::imwrite(path(), cv::Mat(12, 16, CV_8UC3, cv::Scalar(40, 90, 200)));
    }
};

/// A film of a few small frames, written once per process.
class ShortFilm : public TemporaryFile {
public:
    ShortFilm()
        : TemporaryFile("film.avi")
    {
        cv::VideoWriter writer(path(), cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 10, cv::Size(32, 24));
        for (int i = 0; i < 8; ++i) {
            cv::Mat frame(24, 32, CV_8UC3, cv::Scalar::all(40));
            frame(cv::Rect(4 + i, 6, 10, 10)).setTo(cv::Scalar(200, 150, 90));
            writer.write(frame);
        }
    }
};

std::string smallPicture()
{
    static const SmallPicture file;
    return file.path();
}

std::string shortFilm()
{
    static const ShortFilm file;
    return file.path();
}

/// A file that an operation can read in the place of its `position`th path; empty when there is none.
std::string fileFor(const Operation& operation, std::size_t position)
{
    if (operation.name == "FaceDetection") {
        const char* cascade = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_default.xml";
        return isThere(cascade) ? cascade : "";
    }
    if (operation.name == "FaceDetectionDNN") {
        const char* folder = std::getenv("MIRAVEX_TEST_DATA");
        if (!folder) return "";
        const auto file = std::filesystem::path(folder) / "face-network"
            / (position == 0 ? "deploy.prototxt" : "weights.caffemodel");
        return isThere(file) ? file.string() : "";
    }
    if (operation.name == "SuperResolution") return shortFilm();
    return "";
}

std::size_t pathPosition(const Operation& operation, const Argument& argument)
{
    std::size_t position = 0;
    for (const Argument& other : operation.arguments) {
        if (&other == &argument) break;
        if (other.isPath) ++position;
    }
    return position;
}

// --- objects --------------------------------------------------------------------------------------------

template <typename Sample> void paintAs(const Image& image, double range, Generator& random)
{
    std::uniform_real_distribution<double> noise(0, 0.2);
    const int64_t perRow = image.shape.columns * image.shape.channels;
    int64_t i = 0;
    for (Sample& sample : image.samples<Sample>()) {
        const double x = static_cast<double>(i % perRow) / static_cast<double>(image.shape.channels);
        const double y = static_cast<double>(i / perRow);
        const bool block = std::fmod(x, 16) < 8 && std::fmod(y, 12) < 6;
        sample = static_cast<Sample>((0.1 + (block ? 0.6 : 0.1) + noise(random)) * range);
        ++i;
    }
}

/// Blocks with noise: corners, edges and regions for whatever looks for them.
void paint(const Image& image, Generator& random)
{
    switch (image.pixelType) {
    case PixelTypeBit:
        for (uint8_t& sample : image.samples<uint8_t>()) sample = static_cast<uint8_t>(random() % 2);
        return;
    case PixelTypeByte: return paintAs<uint8_t>(image, 255, random);
    case PixelTypeBit16: return paintAs<uint16_t>(image, 65535, random);
    case PixelTypeReal32: return paintAs<float>(image, 1, random);
    default: return paintAs<double>(image, 1, random);
    }
}

ColorSpace usualSpace(int64_t channels)
{
    return channels == 1 ? ColorSpaceGray : channels == 3 ? ColorSpaceRGB : ColorSpaceUnspecified;
}

ImagePointer pictureFor(const Argument& argument, const CallView& call, bool vary, Generator& random)
{
    const ImageRule& rule = argument.image;
    ImageShape shape;
    shape.channels = pick(rule.channels, vary && random() % 2 ? 3 : 1, vary, random);
    shape.rows = std::max(rule.minimumRows, vary ? between(random, 8, 40) : 24);
    shape.columns = std::max(rule.minimumColumns, vary ? between(random, 8, 40) : 32);
    const bool sequence = rule.rank == 3 || (rule.rank == 0 && vary && random() % 4 == 0);
    shape.slices = sequence ? std::max<int64_t>(rule.minimumSlices, vary ? between(random, 3, 6) : 3) : 0;
    if (const auto other = call.image(rule.sameAs)) {
        shape.rows = other->rows;
        shape.columns = other->columns;
        if (shape.slices > 0 && other->slices > 0) shape.slices = other->slices;
    }
    const PixelType type =
        pick(rule.pixelTypes, vary ? static_cast<int>(random() % 5) : PixelTypeByte, vary, random);
    const ColorSpace usual = usualSpace(shape.channels);
    const ColorSpace space =
        rule.acceptsColorSpace(usual) ? usual : pick(rule.colorSpaces, usual, vary, random);
    const bool interleaved = shape.channels > 1 && !(vary && random() % 3 == 0);
    ImagePointer image = makeImage(shape, type, space, interleaved);
    paint(*image, random);
    return image;
}

double elementFor(const TensorRule& rule, Generator& random)
{
    const double least = rule.minimumElement.present ? rule.minimumElement.value
        : rule.maximumElement.present                ? rule.maximumElement.value - 1
                                                     : 0.1;
    const double most = rule.maximumElement.present ? rule.maximumElement.value : least + 1;
    const double share = std::uniform_real_distribution<double>(0.1, 0.9)(random);
    return least + share * (most - least);
}

TensorPointer filled(const Argument& argument, std::vector<int64_t> dimensions, Generator& random)
{
    if (argument.kind == Kind::RealTensor) {
        TensorPointer tensor = makeRealTensor(std::move(dimensions));
        for (double& element : tensor->reals()) element = elementFor(argument.tensor, random);
        return tensor;
    }
    TensorPointer tensor = makeIntegerTensor(std::move(dimensions));
    for (int64_t& element : tensor->integers())
        element = static_cast<int64_t>(std::ceil(elementFor(argument.tensor, random)));
    return tensor;
}

TensorPointer tensorFor(const Argument& argument, const CallView& call, bool vary, Generator& random)
{
    const TensorRule& rule = argument.tensor;
    std::vector<int64_t> dimensions;
    for (std::size_t i = 0; i < rule.rank; ++i) {
        const Extent& extent = rule.shape[i];
        const int64_t size = call.resolve(extent);
        const bool open = extent.of == Extent::Of::AtLeast;
        dimensions.push_back(open ? std::max<int64_t>(size, vary ? size + between(random, 0, 4) : 3) : size);
    }
    if (rule.rank == 0) dimensions.push_back(vary ? between(random, 1, 9) : 4);
    return filled(argument, std::move(dimensions), random);
}

// --- scalars --------------------------------------------------------------------------------------------

double least(const Argument& argument)
{
    const double step = argument.kind == Kind::Integer ? 1 : 1e-3;
    return argument.minimum.value + (argument.minimum.inclusive ? 0 : step);
}

double greatest(const Argument& argument)
{
    const double step = argument.kind == Kind::Integer ? 1 : 1e-3;
    return argument.maximum.value - (argument.maximum.inclusive ? 0 : step);
}

std::optional<double> plainDefault(const Argument& argument)
{
    if (const auto* integer = std::get_if<int64_t>(&argument.defaultValue))
        return static_cast<double>(*integer);
    if (const auto* real = std::get_if<double>(&argument.defaultValue)) return *real;
    return std::nullopt;
}

Value numberFor(const Argument& argument, Generator& random)
{
    const double usual = plainDefault(argument).value_or(argument.minimum.present ? least(argument) : 1);
    double low = std::min(usual / 2, usual * 2);
    double high = std::max(usual / 2, usual * 2) + 1;
    if (argument.minimum.present) low = std::max(low, least(argument));
    if (argument.maximum.present) high = std::min(high, greatest(argument));
    if (argument.kind == Kind::Real)
        return std::uniform_real_distribution<double>(low, std::max(low, high))(random);
    int64_t number =
        between(random, static_cast<int64_t>(std::ceil(low)), static_cast<int64_t>(std::floor(high)));
    if (argument.mustBeOdd && number % 2 == 0) ++number;
    return number;
}

bool hasDefault(const Argument& argument)
{
    return !std::holds_alternative<std::monostate>(argument.defaultValue);
}

/// A scalar, or nothing where the record's default is to be used.
std::optional<Value> scalarFor(const Operation& operation, const Argument& argument, bool vary,
                               Generator& random)
{
    const bool useDefault = hasDefault(argument) && (!vary || random() % 2 == 0);
    if (useDefault || !argument.impliedBy.empty()) return std::nullopt;
    if (std::holds_alternative<DerivedDefault>(argument.defaultValue)) return std::nullopt;
    switch (argument.kind) {
    case Kind::Integer:
    case Kind::Real: return numberFor(argument, random);
    case Kind::Boolean: return Value(random() % 2 == 0);
    case Kind::String: {
        if (argument.isPath) return Value(fileFor(operation, pathPosition(operation, argument)));
        if (argument.choices.empty()) return Value(std::string());
        const auto choice = static_cast<std::size_t>(random() % argument.choices.size());
        return Value(std::string(argument.choices[choice]));
    }
    default: return std::nullopt;
    }
}

bool isScalar(Kind kind)
{
    return kind == Kind::Integer || kind == Kind::Real || kind == Kind::Boolean || kind == Kind::String;
}

// --- whole calls ----------------------------------------------------------------------------------------

/// Sets the argument that decides whether `argument` matters, so that it does.
void makeMatter(const Operation& operation, const Argument& argument, NamedValues& given)
{
    const Condition& condition = argument.usedWhen;
    if (condition.argument.empty()) return;
    const int index = argumentIndex(operation, condition.argument);
    if (index < 0) return;
    const Argument& other = operation.arguments[static_cast<std::size_t>(index)];
    if (!other.impliedBy.empty()) return; // follows by itself when the argument is given
    if (other.kind == Kind::String)
        given[std::string(other.name)] = std::string(condition.value);
    else if (other.kind == Kind::Boolean)
        given[std::string(other.name)] = condition.value == "true";
    else
        given[std::string(other.name)] = int64_t { condition.value == "true" };
}

/// One try; whether the record accepts it is seen afterwards.
std::vector<Value> compose(const Operation& operation, bool vary, std::string_view used, Generator& random)
{
    NamedValues given;
    for (const Argument& argument : operation.arguments)
        if (isScalar(argument.kind))
            if (auto value = scalarFor(operation, argument, vary, random))
                given[std::string(argument.name)] = std::move(*value);
    if (const int index = argumentIndex(operation, used); index >= 0)
        makeMatter(operation, operation.arguments[static_cast<std::size_t>(index)], given);

    // What no rule of a record says: the batch loader wants the length of every path.
    if (operation.name == "LoadImagesFromPathInto") {
        const std::string path = smallPicture();
        const auto length = static_cast<int64_t>(path.size());
        given["paths"] = path + path;
        given["lengths"] = makeIntegerTensor({ 2 }, std::vector { length, length });
    }

    // Sizes of objects may follow from scalars and from other objects, in either order: two rounds.
    const auto wanted = [&](const Argument& argument) {
        if (!argument.optional || argument.name == used) return true;
        const Completed known = complete(operation, given);
        return !argument.usedWhen.argument.empty()
            && viewOf(operation, known.values).holds(argument.usedWhen);
    };
    for (int round = 0; round < 2; ++round) {
        for (const Argument& argument : operation.arguments) {
            if (isScalar(argument.kind) || !wanted(argument)) continue;
            if (argument.kind == Kind::IntegerTensor && operation.name == "LoadImagesFromPathInto") continue;
            const Completed known = complete(operation, given);
            const CallView call = viewOf(operation, known.values);
            if (argument.kind == Kind::Image && round == 0)
                given[std::string(argument.name)] = pictureFor(argument, call, vary, random);
            else if (argument.kind == Kind::NumericArray && round == 0)
                given[std::string(argument.name)] =
                    argument.rewritten ? makeFloatArray({ 2, 8, 8, 3 }) : makeFloatArray({ 8, 8, 3 });
            else if (argument.kind == Kind::RealTensor || argument.kind == Kind::IntegerTensor)
                given[std::string(argument.name)] = tensorFor(argument, call, vary, random);
        }
    }
    return complete(operation, given).values;
}

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
        return validValues(operation_, seed_, argument.name);
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
            const double start = argument.minimum.present ? least(argument) : 1;
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
        Generator random(seed_);
        paint(*changed, random);
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
                            if (rule.colorSpaces == 0) space = usualSpace(channels);
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
        Generator random(seed_);
        put(argument, std::move(text), filled(argument, std::move(dimensions), random));
    }

    void tensors(const Argument& argument)
    {
        const TensorRule& rule = argument.tensor;
        const auto values = base(argument);
        const auto* given = values ? std::get_if<TensorPointer>(&(
                                *values)[static_cast<std::size_t>(argumentIndex(operation_, argument.name))])
                                   : nullptr;
        if (!given || !*given) return;
        if (rule.rank > 0) {
            std::vector<int64_t> more = (*given)->dimensions;
            more.push_back(2); // not 1: some lists are read by their length alone
            tensor(argument, "a dimension more", more);
            const int64_t length = (*given)->length();
            if (rule.rank > 1 && length > 0) tensor(argument, "a flat list", { length });
            for (std::size_t i = 0; i < rule.rank; ++i) {
                std::vector<int64_t> changed = (*given)->dimensions;
                const bool open = rule.shape[i].of == Extent::Of::AtLeast;
                changed[i] = open ? rule.shape[i].count - 1 : changed[i] + 1;
                const bool empty = std::ranges::find(changed, 0) != changed.end();
                if (changed[i] < 0 || (rule.orEmpty && empty)) continue;
                tensor(argument, fmt::format("dimension {} is {}", i, changed[i]), changed);
            }
        }
        elements(argument, **given);
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

std::optional<std::vector<Value>> validValues(const Operation& operation, uint64_t seed,
                                              std::string_view used)
{
    for (int attempt = 0; attempt < attempts; ++attempt) {
        Generator random(seed * 1000 + static_cast<uint64_t>(attempt));
        std::vector<Value> values = compose(operation, seed > 0, used, random);
        bool readable = true;
        for (const Argument& argument : operation.arguments)
            readable =
                readable && !(argument.isPath && viewOf(operation, values).text(argument.name).empty());
        if (readable && check(operation, values).empty()) return values;
    }
    return std::nullopt;
}

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
