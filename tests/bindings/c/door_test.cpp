#include "miravex/miravex_host.h"

#include "catalog/schema.h"
#include "host/exports.h"
#include "host/results.h"
#include "host/samples.h"
#include "tests/support/allocations.h"
#include "tests/support/drawn_call.h"
#include "tests/support/host_check.h"
#include "tests/support/opencv_threads.h"
#include "tests/support/temporary_folder.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <numeric>
#include <thread>

namespace miravex::test {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

struct End {
    void operator()(mvx_call* call) const { mvx_end(call); }
};
using Call = std::unique_ptr<mvx_call, End>;

Call begin(const char* operation) { return Call(mvx_begin(operation)); }

/// Samples and numbers as a caller has them, in the order of memory that is wanted.
enum class Order { Rows, Columns, Backwards };

/// Steps of dense memory, the last index fastest, or the first.
std::array<int64_t, 4> stepsOf(std::span<const int64_t> sizes, int64_t bytes, bool firstFastest)
{
    std::array<int64_t, 4> steps {};
    int64_t step = bytes;
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        const std::size_t axis = firstFastest ? i : sizes.size() - 1 - i;
        steps[axis] = step;
        step *= sizes[axis];
    }
    return steps;
}

/// Elements of `bytes` bytes in memory of the wanted order; `place` is where element (0, 0, ...) lies.
struct Memory {
    std::vector<std::byte> bytes;
    std::byte* place = nullptr;
    std::array<int64_t, 4> steps {};
};

template <typename Visit> void forEachIndex(std::array<int64_t, 4> sizes, Visit visit)
{
    for (int64_t i = 0; i < sizes[0]; ++i)
        for (int64_t j = 0; j < sizes[1]; ++j)
            for (int64_t k = 0; k < sizes[2]; ++k)
                for (int64_t l = 0; l < sizes[3]; ++l) visit(std::array { i, j, k, l });
}

int64_t offsetOf(const std::array<int64_t, 4>& index, const std::array<int64_t, 4>& steps)
{
    return std::inner_product(index.begin(), index.end(), steps.begin(), int64_t { 0 });
}

/// Memory in which the axes `order` names run from fastest to slowest.
Memory arranged(const std::byte* dense, std::vector<int64_t> sizes, int64_t bytes, Order order)
{
    sizes.resize(4, 1);
    const auto from = stepsOf(sizes, bytes, false);
    Memory memory;
    memory.steps = stepsOf(sizes, bytes, order == Order::Columns);
    const int64_t length = std::accumulate(sizes.begin(), sizes.end(), bytes, std::multiplies<>());
    memory.bytes.resize(static_cast<std::size_t>(length) + 1);
    memory.place = memory.bytes.data();
    if (order == Order::Backwards) {
        memory.place += std::max<int64_t>(length - bytes, 0);
        for (int64_t& step : memory.steps) step = -step;
    }
    forEachIndex({ sizes[0], sizes[1], sizes[2], sizes[3] }, [&](const std::array<int64_t, 4>& index) {
        std::memcpy(memory.place + offsetOf(index, memory.steps), dense + offsetOf(index, from),
                    static_cast<std::size_t>(bytes));
    });
    return memory;
}

std::vector<int64_t> sizesOf(const ImageShape& shape)
{
    return { std::max<int64_t>(shape.slices, 1), shape.rows, shape.columns, shape.channels };
}

/// Hands a value of the embedded host to a call as a caller would; keeps its memory alive.
class Setter {
public:
    Setter(mvx_call* call, Order order)
        : call_(call)
        , order_(order)
    {
    }

    int set(const char* name, const Value& value)
    {
        if (const auto* integer = std::get_if<int64_t>(&value)) return mvx_set_integer(call_, name, *integer);
        if (const auto* real = std::get_if<double>(&value)) return mvx_set_real(call_, name, *real);
        if (const auto* flag = std::get_if<bool>(&value)) return mvx_set_integer(call_, name, *flag);
        if (const auto* text = std::get_if<std::string>(&value))
            return mvx_set_text(call_, name, text->c_str());
        if (const auto* image = std::get_if<ImagePointer>(&value)) return setImage(name, **image);
        if (const auto* array = std::get_if<ArrayPointer>(&value))
            return setNumbers(name, (*array)->block.data(), MVX_REAL32, 4, (*array)->dimensions, Order::Rows);
        const Tensor& tensor = *std::get<TensorPointer>(value);
        const int32_t type = tensor.elementType == TensorTypeReal ? MVX_REAL64 : MVX_INT64;
        return setNumbers(name, tensor.block.data(), type, 8, tensor.dimensions, order_);
    }

private:
    int setImage(const char* name, const Image& image)
    {
        const ImagePointer dense = convertImage(image, image.pixelType, true);
        const auto bytes = static_cast<int64_t>(bytesPerSample(image.pixelType));
        memories_.push_back(arranged(dense->block.data(), sizesOf(image.shape), bytes, order_));
        const Memory& memory = memories_.back();
        mvx_samples samples { memory.place, image.pixelType, image.colorSpace, {}, {} };
        std::ranges::copy(sizesOf(image.shape), samples.size);
        std::ranges::copy(memory.steps, samples.step);
        samples.size[0] = image.shape.slices;
        return mvx_set_image(call_, name, &samples);
    }

    int setNumbers(const char* name, const std::byte* data, int32_t type, int64_t bytes,
                   const std::vector<int64_t>& sizes, Order order)
    {
        memories_.push_back(arranged(data, sizes, bytes, order));
        const Memory& memory = memories_.back();
        mvx_numbers numbers { memory.place, type, static_cast<int32_t>(sizes.size()), {}, {} };
        std::ranges::copy(sizes, numbers.size);
        std::ranges::copy(memory.steps, numbers.step);
        return mvx_set_numbers(call_, name, &numbers);
    }

    mvx_call* call_;
    Order order_;
    std::vector<Memory> memories_;
};

/// The result of a call in the words of the embedded host: bytes of samples, reals, elements of all parts.
std::string resultOf(const mvx_call* call)
{
    const char* layout = nullptr;
    const int kind = mvx_result(call, &layout);
    std::string text = fmt::format("{} {}:", kind, layout);
    if (kind == MVX_IS_REAL) return text + fmt::format(" {}", mvx_real(call));
    mvx_samples view {};
    if (mvx_image(call, &view) == MVX_DONE) {
        text += fmt::format(" {} {} {}", view.type, view.color, fmt::join(view.size, " "));
        const auto bytes = static_cast<std::size_t>(bytesPerSample(view.type));
        const auto count = static_cast<std::size_t>(std::max<int64_t>(view.size[0], 1) * view.size[1]
                                                    * view.size[2] * view.size[3]);
        return text + std::string(static_cast<const char*>(view.data), count * bytes);
    }
    mvx_part part;
    for (int i = 0; mvx_part_at(call, i, &part) == MVX_DONE; ++i) {
        int64_t count = 1;
        for (int32_t axis = 0; axis < part.numbers.rank; ++axis) count *= part.numbers.size[axis];
        std::vector<double> numbers(static_cast<std::size_t>(count) + 1, -77);
        EXPECT_EQ(mvx_copy_part(call, i, numbers.data()), MVX_DONE);
        EXPECT_EQ(numbers.back(), -77); // nothing was written behind
        numbers.pop_back();
        text += fmt::format(" {}.{} {}", part.group, part.name, fmt::join(numbers, ","));
    }
    return text;
}

/// The same of an outcome of the embedded host, by its own functions.
std::string expectedOf(const Operation& operation, const Values& values, const Outcome& outcome)
{
    const Result& result = miravex::resultOf(operation, values);
    if (const auto* real = std::get_if<double>(&outcome.result))
        return fmt::format("{} {}: {}", int { MVX_IS_REAL }, nameOf(result.layout), *real);
    if (std::holds_alternative<ImagePointer>(outcome.result)) {
        const Image& image = outcome.image();
        const ImageShape& shape = image.shape;
        return fmt::format("{} {}: {} {} {} {} {} {}", int { MVX_IS_IMAGE }, nameOf(result.layout),
                           image.pixelType, image.colorSpace, shape.slices, shape.rows, shape.columns,
                           shape.channels)
            + std::string(image.as<char>(), image.block.size());
    }
    std::string text = fmt::format("{} {}:", int { MVX_IS_PARTS }, nameOf(result.layout));
    for (const Part& part : partsOf(result.layout, std::get<TensorPointer>(outcome.result))) {
        // The first index fastest.
        std::vector<double> numbers;
        std::array<int64_t, 4> sizes { 1, 1, 1, 1 }, steps {};
        for (std::size_t i = 0; i < part.sizes.size(); ++i) {
            sizes[3 - i] = part.sizes[i];
            steps[3 - i] = part.steps[i];
        }
        forEachIndex(sizes, [&](const std::array<int64_t, 4>& index) {
            const auto place = part.first + static_cast<std::size_t>(offsetOf(index, steps));
            numbers.push_back(part.tensor->elementType == TensorTypeReal
                                  ? part.tensor->reals()[place]
                                  : static_cast<double>(part.tensor->integers()[place]));
        });
        text += fmt::format(" {}.{} {}", part.group, part.name, fmt::join(numbers, ","));
    }
    return text;
}

/// What a command prints, and how it ends.
struct Printed {
    std::string text;
    int status = -1;
};

Printed printedBy(const std::string& command)
{
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) throw std::runtime_error("a shell can't be run");
    Printed printed;
    std::array<char, 4096> buffer {};
    while (const std::size_t count = fread(buffer.data(), 1, buffer.size(), pipe))
        printed.text.append(buffer.data(), count);
    printed.status = pclose(pipe);
    return printed;
}

/// A picture that lies row by row.
mvx_samples samplesOf(const cv::Mat& picture)
{
    const int types[] = { MVX_BYTE, -1, MVX_BIT16, -1, -1, MVX_REAL32, MVX_REAL64 };
    const auto bytes = static_cast<int64_t>(picture.elemSize1());
    const auto step = static_cast<int64_t>(picture.step[0]);
    return { picture.data,
             types[picture.depth()],
             MVX_USUAL,
             { 0, picture.rows, picture.cols, picture.channels() },
             { 0, step, static_cast<int64_t>(picture.elemSize()), bytes } };
}

/// Runs a call of these values, each by its name, and expects this status; the error, or the result.
std::string answerTo(const char* operation, int status, const NamedValues& values,
                     const std::vector<std::pair<const char*, const char*>>& options = {})
{
    const Call call = begin(operation);
    for (const auto& [name, value] : options) mvx_option(call.get(), name, value);
    Setter setter(call.get(), Order::Rows);
    for (const auto& [name, value] : values) setter.set(name.c_str(), value);
    EXPECT_EQ(mvx_run(call.get()), status) << mvx_error(call.get());
    return status == MVX_DONE ? resultOf(call.get()) : mvx_error(call.get());
}

const ImagePointer gray = imageOf(noise(9, 8, CV_8UC1));

} // namespace

TEST(Door, KnowsTheCatalogue)
{
    EXPECT_EQ(mvx_version(), 1);
    EXPECT_EQ(nlohmann::ordered_json::parse(mvx_catalogue()), schema());
    const std::array kinds { MVX_INTEGER, MVX_REAL,  MVX_FLAG,     MVX_TEXT,
                             MVX_IMAGE,   MVX_REALS, MVX_INTEGERS, MVX_ARRAY };
    for (const Operation* operation : catalog())
        for (const Argument& argument : operation->arguments)
            EXPECT_EQ(mvx_kind(snakeCase(operation->name).c_str(), std::string(argument.name).c_str()),
                      kinds.at(static_cast<std::size_t>(argument.kind)))
                << operation->name << "." << argument.name;
    EXPECT_EQ(mvx_kind("median_filter", "diameter"), MVX_UNKNOWN);
    EXPECT_EQ(mvx_kind("median", "radius"), MVX_UNKNOWN);
    EXPECT_EQ(mvx_kind(nullptr, nullptr), MVX_UNKNOWN);
}

// Every operation, with samples and numbers in three orders of memory, has the result that the library gives.
TEST(Door, RunsEveryOperation)
{
    int compared = 0;
    for (const Operation* operation : catalog()) {
        for (const Order order : { Order::Rows, Order::Columns, Order::Backwards }) {
            SCOPED_TRACE(fmt::format("{}, order {}", operation->name, static_cast<int>(order)));
            const auto values = validValues(*operation, 0);
            if (!values) continue; // files that it reads are not installed
            const Outcome outcome = call(library(), *operation, *values);
            ASSERT_TRUE(outcome.ok()) << outcome.openCvError;
            const auto again = validValues(*operation, 0); // some are rewritten by a call
            const Call made = begin(snakeCase(operation->name).c_str());
            Setter setter(made.get(), order);
            for (std::size_t i = 0; i < again->size(); ++i)
                EXPECT_EQ(setter.set(std::string(operation->arguments[i].name).c_str(), (*again)[i]),
                          MVX_DONE);
            ASSERT_EQ(mvx_run(made.get()), MVX_DONE) << mvx_error(made.get());
            EXPECT_TRUE(resultOf(made.get()) == expectedOf(*operation, *values, outcome));
            ++compared;
        }
    }
    EXPECT_GE(compared, 3 * (static_cast<int>(catalog().size()) - 3));
}

TEST(Door, FillsDefaults)
{
    const Values values = arguments("Dilation", { { "image", gray } });
    EXPECT_TRUE(answerTo("dilation", MVX_DONE, { { "image", gray } })
                == expectedOf(record("Dilation"), values, succeed("Dilation", values)));
    EXPECT_EQ(mvx_run(begin("Dilation").get()), MVX_REFUSED); // names as exported are found, too
}

// --- what is refused ------------------------------------------------------------------------------------

TEST(Door, RefusesInTheWordsOfTheRecord)
{
    EXPECT_EQ(answerTo("median_filtre", MVX_REFUSED, {}),
              "there is no operation \"median_filtre\" (try median_filter)");
    EXPECT_EQ(answerTo("median_filter", MVX_REFUSED, { { "image", gray }, { "radios", int64_t { 3 } } }),
              "median-filter has no argument \"radios\", expected one of image, radius (try radius)");
    EXPECT_EQ(answerTo("median_filter", MVX_REFUSED, { { "image", gray }, { "radius", int64_t { 0 } } }),
              "radius is 0, expected at least 1 (try 1)");
    EXPECT_THAT(answerTo("median_filter", MVX_REFUSED, { { "image", gray }, { "radius", 2.5 } }),
                HasSubstr("radius is 2.5, expected integer"));
    EXPECT_THAT(answerTo("median_filter", MVX_REFUSED, { { "image", gray }, { "radius", std::nan("") } }),
                HasSubstr("radius is nan, expected integer"));
    EXPECT_THAT(answerTo("median_filter", MVX_REFUSED, { { "image", 3.0 } }),
                HasSubstr("image is 3, expected"));
    EXPECT_THAT(
        answerTo("pyr_down", MVX_REFUSED, { { "image", gray }, { "padding", std::string("Reflect") } }),
        HasSubstr("(try Reflected)"));
    EXPECT_THAT(answerTo("fast", MVX_REFUSED, { { "image", gray }, { "nonmax_suppression", int64_t { 2 } } }),
                HasSubstr("nonmax_suppression is 2, expected boolean (true or false)"));
    // Everything that is wrong is told at once.
    const std::string several = answerTo("median_filter", MVX_REFUSED, { { "radius", int64_t { 0 } } });
    EXPECT_THAT(several, HasSubstr("image is missing"));
}

TEST(Door, TellsWhyAnOperationFailed)
{
    const std::string error = answerTo(
        "face_detection", MVX_FAILED, { { "image", gray }, { "cascade", std::string("/no/such/file.xml") } });
    EXPECT_THAT(error, HasSubstr("face-detection failed: "));
    EXPECT_THAT(error, HasSubstr("/no/such/file.xml"));
}

TEST(Door, TakesNumbersThatLoseNothing)
{
    const std::string expected =
        answerTo("fast", MVX_DONE,
                 { { "image", gray }, { "threshold", int64_t { 9 } }, { "nonmax_suppression", false } });
    EXPECT_EQ(answerTo("fast", MVX_DONE,
                       { { "image", gray }, { "threshold", 9.0 }, { "nonmax_suppression", 0.0 } }),
              expected);
    // One number in an array of another type.
    for (const TensorPointer& nine :
         { realList({ 9 }), makeIntegerTensor({ 1, 1 }, std::array { int64_t { 9 } }) })
        EXPECT_EQ(
            answerTo("fast", MVX_DONE,
                     { { "image", gray }, { "threshold", nine }, { "nonmax_suppression", int64_t { 0 } } }),
            expected);
    EXPECT_EQ(answerTo("detail_enhance", MVX_DONE,
                       { { "image", imageOf(noise(9, 8, CV_8UC3)) }, { "spatial_sigma", int64_t { 7 } } }),
              answerTo("detail_enhance", MVX_DONE,
                       { { "image", imageOf(noise(9, 8, CV_8UC3)) }, { "spatial_sigma", 7.0 } }));
}

TEST(Door, TakesMatricesForLists)
{
    const ImagePointer image = imageOf(noise(9, 8, CV_8UC1));
    const auto convolve = [&](int status, const TensorPointer& kernel) {
        return answerTo("image_convolve", status,
                        { { "image", image }, { "horizontal", kernel }, { "vertical", realList({ 1 }) } });
    };
    const std::array numbers { 1.0, 2.0, 3.0, 4.0 };
    const std::string expected = convolve(MVX_DONE, makeRealTensor({ 4 }, numbers));
    EXPECT_EQ(convolve(MVX_DONE, makeRealTensor({ 1, 4 }, numbers)), expected);
    EXPECT_EQ(convolve(MVX_DONE, makeRealTensor({ 4, 1 }, numbers)), expected);
    EXPECT_THAT(convolve(MVX_REFUSED, makeRealTensor({ 2, 2 }, numbers)),
                HasSubstr("horizontal is 2 x 2 reals"));
    // A list of fixed length from a table that fills it, row by row; an empty matrix for the empty list.
    const ImagePointer frames = sequenceOf({ noise(6, 5, CV_8UC3, 1), noise(6, 5, CV_8UC3, 2) });
    std::vector<double> curve(768);
    std::iota(curve.begin(), curve.end(), 1);
    const auto merge = [&](const TensorPointer& response) {
        return answerTo(
            "merge_debevec", MVX_DONE,
            { { "frames", frames }, { "exposures", realList({ 1, 2 }) }, { "response", response } });
    };
    EXPECT_EQ(merge(makeRealTensor({ 256, 3 }, curve)), merge(makeRealTensor({ 768 }, curve)));
    EXPECT_EQ(merge(makeRealTensor({ 0, 0 })), merge(emptyList()));
}

TEST(Door, RefusesIntegersOfReals)
{
    const TensorPointer rows = makeRealTensor({ 2, 3 }, std::array { 1., 2., 3., 4., 5., 6. });
    NamedValues values { { "query", rows }, { "train", rows }, { "use_mask", true } };
    values["mask"] = makeRealTensor({ 2, 2 }, std::array { 1., 0., 1., 1. });
    EXPECT_NE(answerTo("descriptor_matcher", MVX_DONE, values), "");
    values["mask"] = makeRealTensor({ 2, 2 }, std::array { 1., 0.5, 1., 1. });
    EXPECT_THAT(answerTo("descriptor_matcher", MVX_REFUSED, values), HasSubstr("mask is 2 x 2 reals"));
}

TEST(Door, RefusesDescriptionsThatCannotBeRead)
{
    const cv::Mat picture = noise(4, 4, CV_8UC1);
    std::vector<mvx_samples> wrong(7, samplesOf(picture));
    wrong[0].data = nullptr;
    wrong[1].type = MVX_INT32;
    wrong[2].type = -1;
    wrong[3].size[1] = -4;
    wrong[4].size[3] = 0;
    wrong[5].size[1] = wrong[5].size[2] = int64_t { 1 } << 32;
    wrong[6].size[0] = -1;
    for (const mvx_samples& samples : wrong) {
        const Call call = begin("dilation");
        EXPECT_EQ(mvx_set_image(call.get(), "image", &samples), MVX_REFUSED);
        EXPECT_STREQ(mvx_error(call.get()), "image is no description of samples");
        EXPECT_EQ(mvx_run(call.get()), MVX_REFUSED);
        EXPECT_STREQ(mvx_error(call.get()), "image is no description of samples");
    }
    double number = 3;
    const mvx_numbers good { &number, MVX_REAL64, 1, { 1 }, { 8 } };
    std::vector<mvx_numbers> wrongNumbers(5, good);
    wrongNumbers[0].data = nullptr;
    wrongNumbers[1].rank = 5;
    wrongNumbers[2].rank = -1;
    wrongNumbers[3].type = 7;
    wrongNumbers[4].size[0] = -1;
    for (const mvx_numbers& numbers : wrongNumbers)
        EXPECT_EQ(mvx_set_numbers(begin("dilation").get(), "radius", &numbers), MVX_REFUSED);
    EXPECT_EQ(mvx_set_numbers(begin("dilation").get(), "radius", &good), MVX_DONE);
    const Call call = begin("dilation");
    EXPECT_EQ(mvx_set_image(call.get(), "image", nullptr), MVX_REFUSED);
    EXPECT_EQ(mvx_set_numbers(call.get(), nullptr, &good), MVX_REFUSED);
    EXPECT_EQ(mvx_set_integer(call.get(), nullptr, 1), MVX_REFUSED);
    EXPECT_EQ(mvx_set_real(call.get(), nullptr, 1), MVX_REFUSED);
    EXPECT_EQ(mvx_set_text(call.get(), nullptr, "a"), MVX_REFUSED);
}

TEST(Door, TellsOfMemoryThatIsNotThere)
{
    // One sample that is to be repeated over four terabytes.
    uint8_t sample = 7;
    const mvx_samples endless {
        &sample, MVX_BYTE, MVX_USUAL, { 0, int64_t { 1 } << 21, int64_t { 1 } << 21, 1 }, {}
    };
    const Call call = begin("dilation");
    EXPECT_EQ(mvx_set_image(call.get(), "image", &endless), MVX_NO_MEMORY);
    EXPECT_STREQ(mvx_error(call.get()), "there is not enough memory");
    EXPECT_EQ(mvx_run(call.get()), MVX_NO_MEMORY);
    EXPECT_EQ(mvx_result(call.get(), nullptr), MVX_NOTHING);
}

TEST(Door, AcceptsNullCalls)
{
    mvx_end(nullptr);
    EXPECT_EQ(mvx_run(nullptr), MVX_NO_MEMORY);
    EXPECT_EQ(mvx_option(nullptr, "convert", "usual"), MVX_NO_MEMORY);
    EXPECT_STREQ(mvx_error(nullptr), "there is not enough memory");
    EXPECT_STREQ(mvx_notes(nullptr), "");
    const char* layout = nullptr;
    EXPECT_EQ(mvx_result(nullptr, &layout), MVX_NOTHING);
    EXPECT_STREQ(layout, "");
    EXPECT_TRUE(std::isnan(mvx_real(nullptr)));
    EXPECT_EQ(mvx_parts(nullptr), 0);
    EXPECT_EQ(mvx_image(nullptr, nullptr), MVX_REFUSED);
    EXPECT_EQ(mvx_copy(nullptr, nullptr), MVX_REFUSED);
    EXPECT_EQ(mvx_run(begin(nullptr).get()), MVX_REFUSED);
}

TEST(Door, RunsACallOnce)
{
    const Call call = begin("dilation");
    const cv::Mat picture = noise(5, 5, CV_8UC1);
    const mvx_samples samples = samplesOf(picture);
    EXPECT_EQ(mvx_result(call.get(), nullptr), MVX_NOTHING);
    mvx_set_image(call.get(), "image", &samples);
    EXPECT_EQ(mvx_run(call.get()), MVX_DONE);
    const std::string first = resultOf(call.get());
    EXPECT_EQ(mvx_run(call.get()), MVX_DONE);
    EXPECT_EQ(mvx_set_integer(call.get(), "radius", 1), MVX_REFUSED);
    EXPECT_STREQ(mvx_error(call.get()), "the call has run already");
    EXPECT_TRUE(resultOf(call.get()) == first);
}

// --- samples --------------------------------------------------------------------------------------------

TEST(Door, LeavesSamplesAlone)
{
    for (const Operation* operation : catalog()) {
        const auto values = validValues(*operation, 1);
        if (!values) continue;
        const Call call = begin(snakeCase(operation->name).c_str());
        Setter setter(call.get(), Order::Rows);
        std::vector<std::pair<const Image*, std::vector<std::byte>>> before;
        for (std::size_t i = 0; i < values->size(); ++i) {
            const std::string name(operation->arguments[i].name);
            if (const auto* image = std::get_if<ImagePointer>(&(*values)[i])) {
                const Image& held = **image;
                mvx_samples samples { held.block.data(),
                                      held.pixelType,
                                      held.colorSpace,
                                      { held.shape.slices, held.shape.rows, held.shape.columns,
                                        held.shape.channels },
                                      {} };
                std::ranges::copy(Samples::of(held).steps, samples.step);
                before.emplace_back(&held,
                                    std::vector(held.block.data(), held.block.data() + held.block.size()));
                EXPECT_EQ(mvx_set_image(call.get(), name.c_str(), &samples), MVX_DONE);
            } else {
                setter.set(name.c_str(), (*values)[i]);
            }
        }
        EXPECT_NE(mvx_run(call.get()), MVX_REFUSED) << operation->name << ": " << mvx_error(call.get());
        for (const auto& [image, bytes] : before) {
            EXPECT_EQ(std::memcmp(image->block.data(), bytes.data(), bytes.size()), 0) << operation->name;
            EXPECT_TRUE(image->block.intact()) << operation->name;
        }
    }
}

TEST(Door, TakesPicturesForSequencesOfOneFrame)
{
    const cv::Mat picture = noise(9, 8, CV_8UC3);
    EXPECT_TRUE(answerTo("merge_mertens", MVX_DONE, { { "frames", imageOf(picture) } })
                == answerTo("merge_mertens", MVX_DONE, { { "frames", sequenceOf({ picture }) } }));
    EXPECT_TRUE(answerTo("stylization", MVX_DONE, { { "image", sequenceOf({ picture }) } })
                == answerTo("stylization", MVX_DONE, { { "image", imageOf(picture) } }));
    EXPECT_THAT(answerTo("stylization", MVX_REFUSED, { { "image", sequenceOf({ picture, picture }) } }),
                HasSubstr("sequence of 2 frames"));
}

TEST(Door, CopiesResultsIntoAnyMemory)
{
    const cv::Mat picture = noise(7, 5, CV_8UC3);
    const mvx_samples samples = samplesOf(picture);
    const Call call = begin("dilation");
    mvx_set_image(call.get(), "image", &samples);
    mvx_set_integer(call.get(), "radius", 1);
    ASSERT_EQ(mvx_run(call.get()), MVX_DONE);
    cv::Mat expected;
    cv::dilate(picture, expected, cv::Mat::ones(3, 3, CV_8U));

    std::vector<uint8_t> columns(7 * 5 * 3);
    mvx_samples to { columns.data(), MVX_BYTE, 0, { 0, 7, 5, 3 }, { 0, 1, 7, 35 } };
    ASSERT_EQ(mvx_copy(call.get(), &to), MVX_DONE);
    cv::Mat reals(7, 5, CV_64FC3);
    mvx_samples other = samplesOf(reals);
    ASSERT_EQ(mvx_copy(call.get(), &other), MVX_DONE);
    for (int i = 0; i < 7; ++i)
        for (int j = 0; j < 5; ++j)
            for (int c = 0; c < 3; ++c) {
                const uint8_t sample = expected.at<cv::Vec3b>(i, j)[c];
                EXPECT_EQ(columns[static_cast<std::size_t>(c * 35 + j * 7 + i)], sample);
                EXPECT_EQ(reals.at<cv::Vec3d>(i, j)[c], sample / 255.0);
            }
    to.size[1] = 6;
    EXPECT_EQ(mvx_copy(call.get(), &to), MVX_REFUSED);
    EXPECT_EQ(mvx_parts(call.get()), 0);
    EXPECT_EQ(mvx_copy_part(call.get(), 0, nullptr), MVX_REFUSED);
}

// --- options --------------------------------------------------------------------------------------------

TEST(Door, ConvertsPixelTypesWhenAsked)
{
    cv::Mat bytes = noise(40, 40, CV_8UC1), reals;
    bytes.convertTo(reals, CV_64F, 1 / 255.0);
    EXPECT_EQ(answerTo("fast", MVX_REFUSED, { { "image", imageOf(reals) } }),
              "image is 40 x 40 real image with 1 channel (gray), expected a 2D image of 1 channel, pixel "
              "type byte, "
              "at least 7 rows and 7 columns (try the option convert = usual)");
    EXPECT_EQ(answerTo("fast", MVX_DONE, { { "image", imageOf(reals) } }, { { "convert", "usual" } }),
              answerTo("fast", MVX_DONE, { { "image", imageOf(bytes) } }));

    const Call call = begin("fast");
    const mvx_samples samples = samplesOf(reals);
    mvx_option(call.get(), "convert", "usual");
    mvx_set_image(call.get(), "image", &samples);
    EXPECT_EQ(mvx_run(call.get()), MVX_DONE);
    EXPECT_STREQ(mvx_notes(call.get()), "image: real samples are converted to byte");
    // No advice where it would not help.
    EXPECT_THAT(answerTo("fast", MVX_REFUSED, { { "image", imageOf(noise(9, 9, CV_8UC3)) } }),
                Not(HasSubstr("convert")));
}

TEST(Door, SpeaksOfPositionsInMatricesWhenAsked)
{
    // One bright pixel, in row 3 and column 5 of a matrix.
    cv::Mat picture(10, 12, CV_8UC1, cv::Scalar(0));
    picture.at<uint8_t>(2, 4) = 255;
    EXPECT_THAT(
        answerTo("find_contours", MVX_DONE, { { "image", imageOf(picture) } }, { { "positions", "matrix" } }),
        HasSubstr("points.contour 1 points.x 5 points.y 3 contours.length 1 contours.next 0"));
    EXPECT_THAT(answerTo("find_contours", MVX_DONE, { { "image", imageOf(picture) } }),
                HasSubstr("points.contour 0 points.x 4 points.y 7 contours.length 1 contours.next -1"));
    // What is found with positions of one frame is described with positions of the same frame.
    const ImagePointer scene = imageOf(noise(120, 120, CV_8UC1));
    std::string described[2];
    for (const char* frame : { "library", "matrix" }) {
        const Call found = begin("orb"), call = begin("orb");
        Setter setter(found.get(), Order::Rows), again(call.get(), Order::Rows);
        setter.set("image", scene);
        again.set("image", scene);
        for (mvx_call* one : { found.get(), call.get() }) mvx_option(one, "positions", frame);
        ASSERT_EQ(mvx_run(found.get()), MVX_DONE);
        mvx_part x;
        ASSERT_EQ(mvx_part_at(found.get(), 0, &x), MVX_DONE);
        ASSERT_GT(x.numbers.size[0], 10);
        // The columns lie side by side in rows of seven.
        mvx_numbers rows = x.numbers;
        rows.rank = 2;
        rows.size[1] = 7;
        rows.step[1] = 8;
        mvx_set_text(call.get(), "mode", "compute");
        mvx_set_numbers(call.get(), "keypoints", &rows);
        ASSERT_EQ(mvx_run(call.get()), MVX_DONE) << mvx_error(call.get());
        described[*frame == 'm'] = resultOf(call.get());
    }
    EXPECT_TRUE(described[0] == described[1]);
}

TEST(Door, KnowsNoOtherOptions)
{
    for (const auto& [name, value] :
         { std::pair("convert", "always"), std::pair("positions", ""), std::pair("colour", "usual"),
           std::pair<const char*, const char*>(nullptr, nullptr) }) {
        const Call call = begin("dilation");
        EXPECT_EQ(mvx_option(call.get(), name, value), MVX_REFUSED);
        EXPECT_THAT(mvx_error(call.get()), HasSubstr("convert to be never or usual"));
        EXPECT_EQ(mvx_run(call.get()), MVX_REFUSED);
    }
}

// --- calls that people interrupt ------------------------------------------------------------------------

/// Several of the moments that a call is asked after, on one thread.
constexpr int longSide = 1500;

/// A call that takes its time, over samples that it borrows.
Call longCall(const cv::Mat& picture)
{
    Call call = begin("fast_nl_means_denoising");
    const mvx_samples samples = samplesOf(picture);
    EXPECT_EQ(mvx_set_image(call.get(), "image", &samples), MVX_DONE);
    return call;
}

/// The threads of this process, and whether they leave interrupts to others.
std::map<std::string, bool> threadsWithoutInterrupts()
{
    std::map<std::string, bool> threads;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream status(task.path() / "status");
        uint64_t blocked = 0;
        for (std::string word; status >> word;)
            if (word == "SigBlk:") status >> std::hex >> blocked;
        threads[task.path().filename()] = (blocked >> (SIGINT - 1) & 1) != 0;
    }
    return threads;
}

TEST(Door, AnswersTheSameWhenItIsWatched)
{
    const Threads single(1); // or many cores would be too quick
    const cv::Mat picture = noise(longSide, longSide, CV_8UC1);
    const Call watched = longCall(picture), plain = longCall(picture);
    int questions = 0;
    const auto goOn = [](void* count) {
        ++*static_cast<int*>(count);
        // One question may open another call.
        EXPECT_EQ(mvx_run_watched(begin("median_filter").get(), nullptr, nullptr), MVX_REFUSED);
        return 0;
    };
    ASSERT_EQ(mvx_run_watched(watched.get(), goOn, &questions), MVX_DONE) << mvx_error(watched.get());
    EXPECT_GE(questions, 1);
    ASSERT_EQ(mvx_run(plain.get()), MVX_DONE);
    EXPECT_EQ(resultOf(watched.get()), resultOf(plain.get()));
    EXPECT_EQ(mvx_run_watched(watched.get(), goOn, &questions), MVX_DONE);
    EXPECT_EQ(mvx_run_watched(nullptr, nullptr, nullptr), MVX_NO_MEMORY);
}

TEST(Door, GivesUpCallsThatAreStopped)
{
    const Threads single(1);
    cv::Mat picture = noise(longSide, longSide, CV_8UC1);
    const Call call = longCall(picture);
    pid_t asked = 0;
    const auto stop = [](void* thread) {
        *static_cast<pid_t*>(thread) = gettid();
        return 1;
    };
    EXPECT_EQ(mvx_run_watched(call.get(), stop, &asked), MVX_STOPPED);
    EXPECT_EQ(asked, gettid()); // and it was asked: the call was not over by itself
    EXPECT_STREQ(mvx_error(call.get()), "the call was stopped");
    EXPECT_EQ(mvx_result(call.get(), nullptr), MVX_NOTHING);
    EXPECT_EQ(mvx_run(call.get()), MVX_STOPPED);
    // The picture is the caller's again, though the operation still works on it.
    picture.setTo(0);
    picture.release();
    const cv::Mat other = noise(200, 200, CV_8UC1);
    const Call next = longCall(other);
    EXPECT_EQ(mvx_run_watched(next.get(), nullptr, nullptr), MVX_DONE);
}

TEST(Door, KeepsSignalsAwayFromRuns)
{
    struct Seen {
        std::map<std::string, bool> before = threadsWithoutInterrupts(), during;
    } seen;
    const Threads single(1); // or many cores would be too quick
    const cv::Mat picture = noise(longSide, longSide, CV_8UC1);
    const Call call = longCall(picture);
    const auto look = [](void* context) {
        static_cast<Seen*>(context)->during = threadsWithoutInterrupts();
        return 0;
    };
    ASSERT_EQ(mvx_run_watched(call.get(), look, &seen), MVX_DONE);
    int started = 0;
    for (const auto& [thread, blocked] : seen.during) {
        if (seen.before.contains(thread)) continue;
        EXPECT_TRUE(blocked) << thread;
        ++started;
    }
    EXPECT_GE(started, 1);
    EXPECT_FALSE(threadsWithoutInterrupts().at(std::to_string(gettid())));
}

TEST(Door, NamesTheArgumentThatIsRefused)
{
    const Call call = begin("median_filter");
    EXPECT_STREQ(mvx_refused(call.get()), "");
    mvx_set_integer(call.get(), "radius", 0);
    const cv::Mat picture = noise(9, 9, CV_8UC1);
    const mvx_samples samples = samplesOf(picture);
    mvx_set_image(call.get(), "image", &samples);
    EXPECT_EQ(mvx_run(call.get()), MVX_REFUSED);
    EXPECT_STREQ(mvx_refused(call.get()), "radius");
    EXPECT_STREQ(mvx_refused(nullptr), "");
}

// --- batches --------------------------------------------------------------------------------------------

class Batch : public ::testing::Test {
protected:
    Batch()
    {
        cv::imwrite(file("one.png"), noise(6, 5, CV_8UC3, 1));
        cv::imwrite(file("two.png"), noise(6, 5, CV_8UC3, 2));
    }
    [[nodiscard]] std::string file(const char* name) const { return folder_.path() / name; }

    Call load(mvx_batch batch, const std::vector<std::string>& paths)
    {
        std::vector<const char*> names;
        for (const std::string& path : paths) names.push_back(path.c_str());
        slots_.assign(paths.size() * static_cast<std::size_t>(batch.height * batch.width * 3), -1);
        return Call(mvx_load_images(&batch, static_cast<int64_t>(names.size()), names.data(), slots_.data()));
    }

    TemporaryFolder folder_;
    std::vector<float> slots_;
};

TEST_F(Batch, IsLoadedIntoTheCallersSlots)
{
    mvx_batch batch {};
    batch.height = 6;
    batch.width = 5;
    batch.channels_last = 1;
    batch.on_error = MVX_SKIP;
    const Call call = load(batch, { file("one.png"), file("missing.png"), file("two.png") });
    ASSERT_EQ(mvx_run(call.get()), MVX_DONE) << mvx_error(call.get());
    EXPECT_EQ(resultOf(call.get()), "3 batch: failed.failed 2 batch.files 3 batch.slots 2 batch.stopped 0");
    EXPECT_EQ(mvx_notes(call.get()), file("missing.png") + ": missing");
    const cv::Vec3b blueFirst = noise(6, 5, CV_8UC3, 2).at<cv::Vec3b>(0, 0);
    EXPECT_FLOAT_EQ(slots_[90], static_cast<float>(blueFirst[2]) / 255);
    EXPECT_FLOAT_EQ(slots_[92], static_cast<float>(blueFirst[0]) / 255);
}

TEST_F(Batch, OfWrongOptionsIsRefused)
{
    mvx_batch batch {};
    const Call call = load(batch, {});
    EXPECT_EQ(mvx_run(call.get()), MVX_REFUSED);
    EXPECT_STREQ(mvx_error(call.get()),
                 "height is 0, expected at least 1 (try 1)\nwidth is 0, expected at least 1 (try 1)");
    EXPECT_EQ(mvx_run(Call(mvx_load_images(nullptr, 0, nullptr, nullptr)).get()), MVX_REFUSED);
    batch.height = batch.width = 2;
    EXPECT_EQ(mvx_run(Call(mvx_load_images(&batch, 0, nullptr, nullptr)).get()), MVX_DONE);
    EXPECT_EQ(mvx_run(Call(mvx_load_images(&batch, -1, nullptr, nullptr)).get()), MVX_REFUSED);
    EXPECT_EQ(mvx_run(Call(mvx_load_images(&batch, 1, nullptr, nullptr)).get()), MVX_REFUSED);
    batch.mean_count = 1;
    EXPECT_EQ(mvx_run(Call(mvx_load_images(&batch, 0, nullptr, nullptr)).get()), MVX_REFUSED);
}

TEST_F(Batch, IsEndedByItsProgress)
{
    mvx_batch batch {};
    batch.height = batch.width = 2;
    batch.progress = [](void* context, int64_t done, int64_t) {
        *static_cast<int64_t*>(context) = done;
        return 1;
    };
    int64_t heard = 0;
    batch.context = &heard;
    const Call call = load(batch, { file("one.png") });
    EXPECT_EQ(mvx_run(call.get()), MVX_DONE);
    EXPECT_THAT(resultOf(call.get()), HasSubstr("batch.stopped 1"));
    EXPECT_EQ(heard, 1);
}

// --- the library ----------------------------------------------------------------------------------------

TEST(DoorLibrary, ExportsWhatItsHeaderSays)
{
    std::ifstream header(MIRAVEX_DOOR_HEADER);
    std::set<std::string> names;
    for (std::string line; std::getline(header, line);) {
        const std::size_t name = line.find("mvx_", line.find("MVX_PUBLIC ")), end = line.find('(', name);
        if (line.starts_with("MVX_PUBLIC ") && end != std::string::npos)
            names.insert(line.substr(line.rfind("mvx_", end), end - line.rfind("mvx_", end)));
    }
    EXPECT_GE(names.size(), 20U);
    const std::vector<std::string> exported = exportedFunctions(MIRAVEX_DOOR);
    EXPECT_TRUE(sameNames({ exported.begin(), exported.end() }, names));
}

TEST(DoorLibrary, StaysLoaded)
{
    void* handle = dlopen(MIRAVEX_DOOR, RTLD_NOW | RTLD_NOLOAD);
    ASSERT_TRUE(handle);
    dlclose(handle);
    const std::string text = printedBy(fmt::format("readelf -d '{}'", MIRAVEX_DOOR)).text;
    EXPECT_THAT(text, HasSubstr("NODELETE"));
    EXPECT_THAT(text, HasSubstr("libmiravex_host.so.1"));
}

TEST(DoorLibrary, IsLoadedFromOnePlace)
{
    EXPECT_EQ(mvx_load(nullptr), nullptr);
    EXPECT_EQ(mvx_load(nullptr), nullptr);
    EXPECT_THAT(mvx_load("/no/such/library.so"), HasSubstr("is loaded already"));
    EXPECT_EQ(mvx_load(library().path().c_str()), nullptr);
}

TEST(DoorLibrary, SaysWhyItCannotBeLoaded)
{
    const Printed printed =
        printedBy(fmt::format("MIRAVEX_LIBRARY=/no/such/library.so '{}' 2>&1", MIRAVEX_DOOR_PROGRAM));
    EXPECT_NE(printed.status, 0);
    EXPECT_THAT(printed.text, HasSubstr("cannot use the library /no/such/library.so: "));
}

TEST(DoorLibrary, ServesSeveralThreads)
{
    const std::string expected = answerTo("dilation", MVX_DONE, { { "image", gray } });
    std::array<int, 4> same {};
    std::vector<std::thread> threads;
    for (int& count : same)
        threads.emplace_back([&] {
            for (int i = 0; i < 50; ++i)
                count += answerTo("dilation", MVX_DONE, { { "image", gray } }) == expected;
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_THAT(same, ElementsAre(50, 50, 50, 50));
}

TEST(DoorLibrary, DoesNotGrowWithItsCalls)
{
    if (!allocationsAreCounted)
        GTEST_SKIP() << "sanitizers keep freed memory, and find what leaks themselves";
    const auto resident = [] {
        std::ifstream statistics("/proc/self/statm");
        int64_t total = 0, pages = 0;
        statistics >> total >> pages;
        return pages * sysconf(_SC_PAGESIZE);
    };
    const auto callOften = [](int times) {
        for (int i = 0; i < times; ++i) {
            answerTo("median_filter", MVX_DONE, { { "image", gray } });
            answerTo("median_filter", MVX_REFUSED, { { "image", gray }, { "radius", int64_t { 0 } } });
        }
    };
    callOften(500);
    const int64_t before = resident();
    callOften(10000);
    EXPECT_LT(resident() - before, 1 << 20);
}

// A child of a process whose calls ran on several threads goes on calling.
TEST(DoorLibrary, OutlivesAFork)
{
    const ImagePointer large = imageOf(noise(400, 400, CV_8UC1));
    const std::string expected = answerTo("fast_nl_means_denoising", MVX_DONE, { { "image", large } });
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        _exit(answerTo("fast_nl_means_denoising", MVX_DONE, { { "image", large } }) == expected ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

} // namespace miravex::test
