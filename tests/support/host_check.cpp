#include "tests/support/host_check.h"

#include "tests/support/temporary_folder.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>

namespace miravex::test {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

std::string describeCall(std::string_view operation, const Values& values)
{
    std::vector<std::string> words;
    for (const Value& value : values) words.push_back(describe(value));
    return fmt::format("{}({})", operation, fmt::join(words, ", "));
}

std::string bytesOf(const Block& block)
{
    return block.data() ? std::string(reinterpret_cast<const char*>(block.data()), block.size())
                        : std::string();
}

/// The bytes that an argument's object holds; empty for plain values.
std::string contents(const Value& value)
{
    const auto held = [](const auto& pointer) { return pointer ? bytesOf(pointer->block) : std::string(); };
    if (const auto* image = std::get_if<ImagePointer>(&value)) return held(*image);
    if (const auto* tensor = std::get_if<TensorPointer>(&value)) return held(*tensor);
    if (const auto* array = std::get_if<ArrayPointer>(&value)) return held(*array);
    return {};
}

std::size_t copyBytes(const cv::Mat& matrix, std::byte* target)
{
    const cv::Mat whole = matrix.isContinuous() ? matrix : matrix.clone();
    const std::size_t bytes = whole.total() * whole.elemSize();
    if (bytes > 0) std::memcpy(target, whole.data, bytes);
    return bytes;
}

} // namespace

const Library& library()
{
#ifdef __SANITIZE_THREAD__
    // OpenCV and its pool are not instrumented: all that their threads hand over would pass for a race. Tests
    // of threads set their own number.
    [[maybe_unused]] static const bool alone = (cv::setNumThreads(1), true);
#endif
    static const Library loaded;
    return loaded;
}

const Operation& record(std::string_view name)
{
    const Operation* found = findOperation(name);
    if (!found) throw std::invalid_argument("no record of " + std::string(name));
    return *found;
}

namespace {

/// Makes a call in a child process, limited in time and memory, and ends the process with 0 when it came to
/// the status that was expected.
[[noreturn]] void exitAfter(HostErrorCode expected, std::string_view name, const Values& values)
{
    const Library& loaded = library();
    alarm(sanitized ? 60 : 10);
    if (!sanitized) {
        // Two gibibytes on top of what the loaded libraries map already.
        std::ifstream statm("/proc/self/statm");
        rlim_t pages = 0;
        statm >> pages;
        const rlim_t bytes = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (rlim_t { 2 } << 30);
        const rlimit limit { bytes, bytes };
        setrlimit(RLIMIT_AS, &limit);
    }
    const Outcome outcome = call(loaded, record(name), values);
    TemporaryFolder::removeAll();
    std::_Exit(outcome.status == expected && outcome.accounting.clean() ? 0 : 1);
}

} // namespace

Outcome invoke(std::string_view name, const Values& values, Faults faults)
{
    const Operation& operation = record(name);
    std::vector<std::string> before;
    for (const Value& value : values) before.push_back(contents(value));

    Outcome outcome = call(library(), operation, values, faults);

    for (const std::string& violation : outcome.accounting.violations)
        ADD_FAILURE() << describeCall(name, values) << ": " << violation;
    for (std::size_t i = 0; i < values.size() && i < operation.arguments.size(); ++i) {
        const Argument& argument = operation.arguments[i];
        EXPECT_TRUE(argument.rewritten || before[i] == contents(values[i]))
            << describeCall(name, values) << ": the host's own " << argument.name << " changed";
    }
    return outcome;
}

Outcome succeed(std::string_view name, const Values& values)
{
    Outcome outcome = invoke(name, values);
    if (!outcome.ok())
        throw std::runtime_error(
            fmt::format("{} was refused: {}", describeCall(name, values), outcome.openCvError));
    return outcome;
}

void expectRefused(std::string_view name, const Values& values)
{
    const Outcome outcome = invoke(name, values);
    EXPECT_EQ(outcome.status, StatusFunctionError) << describeCall(name, values) << " was accepted";
}

void expectSurvivesFaults(std::string_view name, const Values& values)
{
    const Outcome good = invoke(name, values);
    ASSERT_TRUE(good.ok()) << describeCall(name, values) << " was refused: " << good.openCvError;
    ASSERT_GT(good.accounting.allocations, 0) << describeCall(name, values) << " allocates nothing";
    for (int64_t i = 0; i < good.accounting.allocations; ++i) {
        const Outcome outcome = invoke(name, values, { .failingAllocation = i });
        EXPECT_EQ(outcome.status, StatusFunctionError)
            << describeCall(name, values) << " succeeded although allocation " << i << " failed";
    }
    const auto* tensor = std::get_if<TensorPointer>(&good.result);
    const bool needsNoData = tensor && (*tensor)->length() == 0;
    const Outcome outcome = invoke(name, values, { .withholdData = true });
    EXPECT_TRUE(needsNoData || outcome.status == StatusFunctionError)
        << describeCall(name, values) << " succeeded without data";
}

Values arguments(std::string_view name, NamedValues given)
{
    Completed completed = complete(record(name), std::move(given));
    for (const Refusal& refusal : completed.refusals) ADD_FAILURE() << name << ": " << refusal.message();
    return completed.values;
}

void exitAfterRefusal(std::string_view name, const Values& values)
{
    exitAfter(StatusFunctionError, name, values);
}

void exitAfterSuccess(std::string_view name, const Values& values) { exitAfter(StatusOk, name, values); }

ImagePointer imageOf(const cv::Mat& matrix, std::optional<ColorSpace> colorSpace)
{
    return imageOfMatrix(matrix, colorSpace);
}

ImagePointer planarImageOf(const cv::Mat& matrix, std::optional<ColorSpace> colorSpace)
{
    const ImagePointer interleaved = imageOfMatrix(matrix, colorSpace);
    ImagePointer image =
        makeImage(interleaved->shape, interleaved->pixelType, interleaved->colorSpace, false);
    std::vector<cv::Mat> planes;
    cv::split(matrix, planes);
    std::byte* target = image->block.data();
    for (const cv::Mat& plane : planes) target += copyBytes(plane, target);
    return image;
}

ImagePointer bitImageOf(const cv::Mat& matrix)
{
    const ImagePointer bytes = imageOfMatrix((matrix != 0) / 255);
    ImagePointer image = makeImage(bytes->shape, PixelTypeBit, ColorSpaceUnspecified);
    framesOf(*bytes).front().copyTo(framesOf(*image).front());
    return image;
}

ImagePointer sequenceOf(const std::vector<cv::Mat>& frames, std::optional<ColorSpace> colorSpace)
{
    return imageOfFrames(frames, colorSpace);
}

cv::Mat matrixOf(const Image& image)
{
    if (image.shape.channels > 1 && !image.interleaved)
        return matrixOf(*convertImage(image, image.pixelType, true));
    cv::Mat rows;
    cv::vconcat(framesOf(image), rows);
    return rows;
}

cv::Mat sliceOf(const Image& image, int64_t slice)
{
    const int rows = static_cast<int>(image.shape.rows);
    const int first = static_cast<int>(slice) * rows;
    return matrixOf(image).rowRange(first, first + rows).clone();
}

cv::Mat noise(int rows, int columns, int type, uint64_t seed)
{
    cv::Mat matrix(rows, columns, type);
    cv::RNG generator(seed);
    const double range = CV_MAT_DEPTH(type) == CV_8U ? 256 : CV_MAT_DEPTH(type) == CV_16U ? 65536 : 1;
    generator.fill(matrix, cv::RNG::UNIFORM, 0, range);
    return matrix;
}

cv::Mat photo(const std::string& name, bool gray)
{
    const std::filesystem::path path =
        std::filesystem::path("/usr/share/doc/opencv-doc/examples/data") / name;
    cv::Mat picture = cv::imread(path.string(), gray ? cv::IMREAD_GRAYSCALE : cv::IMREAD_COLOR);
    if (!picture.empty() && !gray) cv::cvtColor(picture, picture, cv::COLOR_BGR2RGB);
    return picture;
}

std::optional<std::filesystem::path> testData()
{
    const char* folder = std::getenv("MIRAVEX_TEST_DATA");
    if (!folder || !std::filesystem::is_directory(folder)) return std::nullopt;
    return folder;
}

TensorPointer tensorOf(const cv::Mat& matrix)
{
    cv::Mat doubles;
    matrix.convertTo(doubles, CV_64F);
    return makeRealTensor({ matrix.rows, matrix.cols },
                          std::span<const double>(doubles.ptr<double>(), doubles.total()));
}

::testing::AssertionResult sameBits(const cv::Mat& actual, const cv::Mat& expected)
{
    if (actual.type() != expected.type() || actual.size() != expected.size())
        return ::testing::AssertionFailure()
            << fmt::format("{} x {} of {} instead of {} x {} of {}", actual.cols, actual.rows,
                           cv::typeToString(actual.type()), expected.cols, expected.rows,
                           cv::typeToString(expected.type()));
    const std::size_t pixelBytes = expected.elemSize();
    for (int y = 0; y < expected.rows; ++y) {
        for (int x = 0; x < expected.cols; ++x) {
            const uchar* a = actual.ptr(y) + static_cast<std::size_t>(x) * pixelBytes;
            const uchar* b = expected.ptr(y) + static_cast<std::size_t>(x) * pixelBytes;
            if (std::memcmp(a, b, pixelBytes) == 0) continue;
            std::ostringstream text;
            text << "first difference at row " << y << ", column " << x << ": "
                 << actual(cv::Rect(x, y, 1, 1)) << " instead of " << expected(cv::Rect(x, y, 1, 1));
            return ::testing::AssertionFailure() << text.str();
        }
    }
    return ::testing::AssertionSuccess();
}

double largestDifference(const cv::Mat& a, const cv::Mat& b)
{
    if (a.type() != b.type() || a.size() != b.size()) return std::numeric_limits<double>::infinity();
    return a.empty() ? 0 : cv::norm(a, b, cv::NORM_INF);
}

} // namespace miravex::test

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    // Children start afresh: a fork would inherit OpenCV's thread pool without its threads.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    return RUN_ALL_TESTS();
}
