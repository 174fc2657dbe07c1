#include "tests/support/host_check.h"

#include "catalog/explain.h"
#include "host/arguments.h"
#include "tests/support/allocations.h"
#include "tests/support/call_check.h"
#include "tests/support/temporary_folder.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>

namespace miravex::test {

namespace {

#ifdef MIRAVEX_SANITIZED
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

/// "CV_8UC3"; OpenCV 3 has strings of its own.
std::string typeName(const cv::Mat& matrix) { return cv::typeToString(matrix.type()).c_str(); }

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

void failAt(std::source_location where, const std::string& text)
{
    ADD_FAILURE_AT(where.file_name(), static_cast<int>(where.line())) << text;
}

std::string refusalText(const Operation& operation, const Values& values, const Outcome& outcome)
{
    return fmt::format("{} was refused: {}", describeCall(operation, values),
                       explain(viewOf(operation, values), outcome.openCvError).message());
}

} // namespace

void exitAfter(Ending expected, std::string_view name, const Values& values)
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
    const int64_t failedBefore = failedAllocations();
    const Outcome outcome = call(loaded, record(name), values);
    TemporaryFolder::removeAll();
    std::string trouble = fmt::format("{}", fmt::join(outcome.accounting.violations, "; "));
    if (outcome.ok() != (expected == Ending::Accepted))
        trouble += outcome.ok() ? "it was accepted" : refusalText(record(name), values, outcome);
    else if (expected == Ending::Refused && !outcome.openCvError.empty())
        trouble += "the library left it to OpenCV to refuse: " + outcome.openCvError;
    else if (expected == Ending::RefusedByOpenCv && outcome.openCvError.empty())
        trouble += "the library refused it, OpenCV said nothing";
    else if (!outcome.ok() && failedAllocations() > failedBefore)
        trouble += "refused for lack of memory alone";
    fmt::print(stderr, "{}\n", trouble);
    std::_Exit(trouble.empty() ? 0 : 1);
}

Outcome invoke(std::string_view name, const Values& values, Faults faults, std::source_location where)
{
    const Operation& operation = record(name);
    Outcome outcome;
    for (const std::string& breach : breaches(library(), operation, values, outcome, faults))
        failAt(where, fmt::format("{}: {}", describeCall(operation, values), breach));
    return outcome;
}

Outcome succeed(std::string_view name, const Values& values, std::source_location where)
{
    Outcome outcome = invoke(name, values, {}, where);
    if (outcome.ok()) return outcome;
    const std::string text = refusalText(record(name), values, outcome);
    failAt(where, text);
    // Ends the test without a second report.
    throw ::testing::AssertionException(
        ::testing::TestPartResult(::testing::TestPartResult::kFatalFailure, where.file_name(),
                                  static_cast<int>(where.line()), text.c_str()));
}

void expectRefused(std::string_view name, const Values& values, std::source_location where)
{
    if (invoke(name, values, {}, where).ok())
        failAt(where, fmt::format("{} was accepted", describeCall(record(name), values)));
}

void expectSurvivesFaults(std::string_view name, const Values& values, std::source_location where)
{
    const Outcome good = succeed(name, values, where);
    const std::string text = describeCall(record(name), values);
    if (good.accounting.allocations == 0) failAt(where, text + " allocates nothing");
    for (int64_t i = 0; i < good.accounting.allocations; ++i)
        if (invoke(name, values, { .failingAllocation = i }, where).ok())
            failAt(where, fmt::format("{} succeeded although allocation {} failed", text, i));
    const auto* tensor = std::get_if<TensorPointer>(&good.result);
    const bool needsNoData = tensor && (*tensor)->length() == 0;
    if (invoke(name, values, { .withholdData = true }, where).ok() && !needsNoData)
        failAt(where, text + " succeeded without data");
}

Values arguments(std::string_view name, NamedValues given, std::source_location where)
{
    Completed completed = complete(record(name), std::move(given));
    for (const Refusal& refusal : completed.refusals)
        failAt(where, fmt::format("{}: {}", name, refusal.message()));
    return completed.values;
}

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

::testing::AssertionResult sameNames(const std::set<std::string>& actual,
                                     const std::set<std::string>& expected)
{
    std::vector<std::string> missing, unexpected;
    std::ranges::set_difference(expected, actual, std::back_inserter(missing));
    std::ranges::set_difference(actual, expected, std::back_inserter(unexpected));
    if (missing.empty() && unexpected.empty()) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << fmt::format(
               "missing: [{}]; unexpected: [{}]", fmt::join(missing, ", "), fmt::join(unexpected, ", "));
}

::testing::AssertionResult sameBits(const cv::Mat& actual, const cv::Mat& expected)
{
    if (actual.type() != expected.type() || actual.size() != expected.size())
        return ::testing::AssertionFailure()
            << fmt::format("{} x {} of {} instead of {} x {} of {}", actual.cols, actual.rows,
                           typeName(actual), expected.cols, expected.rows, typeName(expected));
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
