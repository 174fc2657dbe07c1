#include "catalog/catalog.h"
#include "files/files.h"
#include "files/tensors.h"
#include "host/positions.h"
#include "host/samples.h"
#include "tools/gallery/samples.h"
#include "tools/miravex/perform.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <fstream>
#include <numeric>

/// Writes every example of every record for the kernels' tests: what the call is given and what the command
/// makes of it, as the kernels hold arrays (column by column). Usage: example_calls FOLDER
///
/// FOLDER/calls.txt has one block of lines for each example:
///
///     call FUNCTION POSITIONS                        POSITIONS: library or matrix
///     image NAME TYPE ROWS COLUMNS CHANNELS FRAMES COLOUR FILE
///     numbers NAME RANK SIZE... FILE                 doubles
///     number NAME VALUE
///     text NAME WORDS
///     batch HEIGHT WIDTH COLOUR CHANNELS_LAST FILE   paths, a line each, of load_images
///     is image TYPE ROWS COLUMNS CHANNELS FRAMES FILE
///     is real VALUE
///     is part GROUP NAME RANK SIZE... FILE
///     end
///
/// FRAMES is 0 for a picture. It ends with "calls COUNT skipped COUNT".

namespace miravex::test {

namespace {

namespace fs = std::filesystem;
using namespace tool;

class Writer {
public:
    explicit Writer(const fs::path& folder)
        : folder_(folder)
        , calls_(folder / "calls.txt")
    {
    }

    void line(const std::string& text) { calls_ << text << '\n'; }

    /// The name of a new file of these bytes.
    std::string file(const void* bytes, std::size_t count)
    {
        const fs::path path = folder_ / fmt::format("{}.raw", ++files_);
        std::ofstream stream(path, std::ios::binary);
        stream.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(count));
        if (!stream) throw std::runtime_error("cannot write " + path.string());
        return path.string();
    }

    /// TYPE ROWS COLUMNS CHANNELS FRAMES, for the file of an image column by column.
    std::pair<std::string, std::string> image(const Image& image)
    {
        const ImageShape& shape = image.shape;
        const auto bytes = static_cast<int64_t>(bytesPerSample(image.pixelType));
        std::vector<std::byte> samples(image.block.size());
        const int64_t plane = shape.rows * shape.columns * bytes;
        copySamples(miravex::Samples::of(image),
                    { samples.data(),
                      shape,
                      image.pixelType,
                      { plane * shape.channels, bytes, shape.rows * bytes, plane } });
        return { fmt::format("{} {} {} {} {}", pixelTypeName(image.pixelType), shape.rows, shape.columns,
                             shape.channels, shape.slices),
                 file(samples.data(), samples.size()) };
    }

    /// RANK SIZE... FILE, for elements that lie at these steps.
    std::string numbers(const Tensor& tensor, std::size_t first, const std::vector<int64_t>& sizes,
                        const std::vector<int64_t>& steps)
    {
        std::vector<double> all;
        std::vector<int64_t> index(sizes.size(), 0);
        const int64_t count = std::accumulate(sizes.begin(), sizes.end(), int64_t { 1 }, std::multiplies<>());
        for (int64_t i = 0; i < count; ++i) {
            const auto place = first
                + static_cast<std::size_t>(std::inner_product(index.begin(), index.end(), steps.begin(),
                                                              int64_t { 0 }));
            all.push_back(tensor.elementType == TensorTypeReal
                              ? tensor.reals()[place]
                              : static_cast<double>(tensor.integers()[place]));
            for (std::size_t axis = 0; axis < index.size() && ++index[axis] == sizes[axis]; ++axis)
                index[axis] = 0;
        }
        const std::string path = file(all.data(), all.size() * sizeof(double));
        return fmt::format("{}{}{} {}", sizes.size(), sizes.empty() ? "" : " ", fmt::join(sizes, " "), path);
    }

private:
    fs::path folder_;
    std::ofstream calls_;
    int files_ = 0;
};

std::vector<int64_t> denseSteps(const std::vector<int64_t>& sizes)
{
    std::vector<int64_t> steps(sizes.size(), 1);
    for (std::size_t i = sizes.size(); i > 1; --i) steps[i - 2] = steps[i - 1] * sizes[i - 1];
    return steps;
}

bool isGiven(const ParsedCall& words, const Argument& argument)
{
    const auto contains = [&](const std::vector<std::string>& names) {
        return std::ranges::find(names, argument.name) != names.end();
    };
    return words.options.contains(argument.name) || contains(words.set) || contains(words.unset)
        || assignFiles(words).contains(argument.name);
}

/// What was given as this argument; what the call rewrote is read again.
Value givenValue(const ParsedCall& words, const Argument& argument, const Value& value)
{
    if (argument.rewritten && std::holds_alternative<TensorPointer>(value))
        return files::readTensor(argument, words.options.find(argument.name)->second);
    return value;
}

void writeArgument(Writer& writer, const Argument& argument, const Value& value)
{
    const auto name = argument.name;
    if (const auto* integer = std::get_if<int64_t>(&value))
        writer.line(fmt::format("number {} {}", name, *integer));
    if (const auto* real = std::get_if<double>(&value)) writer.line(fmt::format("number {} {}", name, *real));
    if (const auto* flag = std::get_if<bool>(&value)) writer.line(fmt::format("number {} {:d}", name, *flag));
    if (const auto* text = std::get_if<std::string>(&value))
        writer.line(fmt::format("text {} {}", name, *text));
    if (const auto* image = std::get_if<ImagePointer>(&value)) {
        const auto [sizes, file] = writer.image(**image);
        writer.line(
            fmt::format("image {} {} {} {}", name, sizes, colorSpaceName((*image)->colorSpace), file));
    }
    if (const auto* tensor = std::get_if<TensorPointer>(&value)) {
        const auto& sizes = (*tensor)->dimensions;
        writer.line(
            fmt::format("numbers {} {}", name, writer.numbers(**tensor, 0, sizes, denseSteps(sizes))));
    }
}

/// The loader's example as a batch: its files, and the array that it filled as a picture of many frames.
void writeBatch(Writer& writer, const Performed& performed)
{
    const auto value = [&](std::string_view name) -> const Value& {
        return performed.arguments[static_cast<std::size_t>(argumentIndex(*performed.operation, name))];
    };
    const Array& filled = *std::get<ArrayPointer>(value("destination"));
    const std::string paths = std::get<std::string>(value("paths"));
    const bool channelsLast = std::get<int64_t>(value("channels_last")) != 0;
    if (!channelsLast) throw std::runtime_error("the example of the loader has its channels first");
    std::string lines;
    std::size_t start = 0;
    for (const int64_t length : std::get<TensorPointer>(value("lengths"))->integers()) {
        lines += paths.substr(start, static_cast<std::size_t>(length)) + "\n";
        start += static_cast<std::size_t>(length);
    }
    const std::vector<int64_t>& sizes = filled.dimensions;
    writer.line("call load_images matrix");
    writer.line(fmt::format("batch {} {} {} {:d} {}", sizes[1], sizes[2],
                            std::get<std::string>(value("color_space")), channelsLast,
                            writer.file(lines.data(), lines.size())));
    ImagePointer frames =
        makeImage({ .rows = sizes[1], .columns = sizes[2], .channels = sizes[3], .slices = sizes[0] },
                  PixelTypeReal32, ColorSpaceUnspecified, true);
    std::ranges::copy(filled.floats(), frames->as<float>());
    const auto [words, file] = writer.image(*frames);
    writer.line(fmt::format("is image {} {}", words, file));
}

void writeResult(Writer& writer, const Performed& performed, bool matrixPositions)
{
    if (const auto* real = std::get_if<double>(&performed.value))
        writer.line(fmt::format("is real {}", *real));
    if (const auto* image = std::get_if<ImagePointer>(&performed.value)) {
        const auto [sizes, file] = writer.image(**image);
        writer.line(fmt::format("is image {} {}", sizes, file));
    }
    const auto* tensor = std::get_if<TensorPointer>(&performed.value);
    if (!tensor) return;
    const Layout layout = performed.result.layout;
    if (matrixPositions)
        toMatrixPositions(layout, **tensor, rowsOfPicture(*performed.operation, performed.arguments));
    for (const Part& part : partsOf(layout, *tensor, matrixPositions ? 1 : 0))
        writer.line(fmt::format("is part {} {} {}", part.group, part.name,
                                writer.numbers(*part.tensor, part.first, part.sizes, part.steps)));
}

void writeCall(Writer& writer, const ParsedCall& words, const Performed& performed)
{
    const Operation& operation = *performed.operation;
    if (operation.name == "LoadImagesFromPathInto") {
        writeBatch(writer, performed);
    } else {
        // Arguments that are positions were read as the library's.
        const bool matrixPositions = std::ranges::none_of(operation.arguments, [&](const Argument& argument) {
            return isPositional(operation, argument) && isGiven(words, argument);
        });
        writer.line(
            fmt::format("call {} {}", snakeCase(operation.name), matrixPositions ? "matrix" : "library"));
        for (std::size_t i = 0; i < performed.arguments.size(); ++i)
            if (const Argument& argument = operation.arguments[i]; isGiven(words, argument))
                writeArgument(writer, argument, givenValue(words, argument, performed.arguments[i]));
        writeResult(writer, performed, matrixPositions);
    }
    writer.line("end");
}

tool::Samples::Runner runnerOf(const Library& library)
{
    return
        [&library](const std::string& name, const std::vector<std::string>& words, const std::string& file) {
            Settings settings;
            Notes notes;
            tool::writeResult(perform(library, parseCall(*findOperation(name), words, settings), notes), file,
                              files::extensionOf(file), true, notes);
        };
}

void writeAll(const fs::path& folder)
{
    fs::create_directories(folder);
    const Library library;
    tool::Samples samples(folder / "samples", runnerOf(library));
    Writer writer(folder);
    int calls = 0, skipped = 0;
    for (const Operation* operation : catalog()) {
        for (const Example& example : operation->examples) {
            try {
                Settings settings;
                Notes notes;
                const ParsedCall words = parseCall(
                    *operation, samples.replaced({ example.words.begin(), example.words.end() }), settings);
                writeCall(writer, words, perform(library, words, notes));
                ++calls;
            } catch (const MissingSample& missing) {
                fmt::print(stderr, "{}: {}\n", operation->name, missing.what());
                ++skipped;
            }
        }
    }
    writer.line(fmt::format("calls {} skipped {}", calls, skipped));
}

} // namespace

} // namespace miravex::test

int main(int argc, char** argv)
{
    if (argc != 2) {
        fmt::print(stderr, "usage: example_calls FOLDER\n");
        return 2;
    }
    try {
        miravex::test::writeAll(std::filesystem::absolute(argv[1]));
        return 0;
    } catch (const std::exception& error) {
        fmt::print(stderr, "example_calls: {}\n", error.what());
        return 1;
    }
}
