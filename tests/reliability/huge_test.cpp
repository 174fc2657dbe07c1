#include "tests/support/allocations.h"
#include "tests/support/call_check.h"
#include "tests/support/drawn_call.h"
#include "tests/support/host_check.h"
#include "tests/support/zero_pages.h"

#include <fmt/format.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

/// Images of more than 2^31 samples, where what OpenCV counts in an int wraps: every operation works or
/// refuses with a reason. Each call has a process of its own with 8 GiB. MIRAVEX_HUGE_TESTS=1 makes them; it
/// takes an hour and a machine that has the memory.
namespace miravex::test {

namespace {

constexpr int64_t boundary = int64_t { 1 } << 31;
constexpr int64_t blockSide = 64;
constexpr uint8_t level = 200;

/// Where blocks of one level stand in an otherwise black picture: at the start, across sample 2^31, at the
/// end.
std::vector<std::pair<int64_t, int64_t>> blocks(const ImageShape& shape)
{
    const int64_t row = boundary / (shape.columns * shape.channels) - blockSide / 2;
    const int64_t column = boundary % (shape.columns * shape.channels) / shape.channels - blockSide / 2;
    return { { 0, 0 },
             { row, std::clamp<int64_t>(column, 0, shape.columns - blockSide) },
             { shape.rows - blockSide, shape.columns - blockSide } };
}

uint8_t* sampleAt(const Image& image, int64_t row, int64_t column)
{
    return image.as<uint8_t>() + (row * image.shape.columns + column) * image.shape.channels;
}

/// The image of a valid call with more than 2^31 samples instead, of bytes with those blocks where it may be.
ImagePointer hugeLike(const Image& image)
{
    ImageShape shape = image.shape;
    const int64_t perPixel = shape.channels * std::max<int64_t>(1, shape.slices);
    shape.columns = 45000;
    shape.rows = boundary / (perPixel * shape.columns) + 3000;
    ImagePointer huge = imageOfZeros(shape, image.pixelType);
    huge->colorSpace = image.colorSpace;
    if (image.pixelType != PixelTypeByte || shape.slices > 0) return huge;
    for (const auto& [top, left] : blocks(shape))
        for (int64_t row = top; row < top + blockSide; ++row)
            std::fill_n(sampleAt(*huge, row, left), blockSide * shape.channels, level);
    return huge;
}

/// Operations that leave the middle of such a block, and black far from it, as they are.
bool keepsFlatAreas(const Operation& operation)
{
    constexpr std::string_view names[] = { "MedianFilter", "Dilation", "EdgePreservingFilter",
                                           "PyrMeanShiftFilter", "FastNlMeansDenoising" };
    return std::ranges::find(names, operation.name) != std::end(names);
}

std::string wrongSamples(const Image& result)
{
    for (const auto& [top, left] : blocks(result.shape)) {
        const int64_t row = top + blockSide / 2, column = left + blockSide / 2;
        if (const int found = *sampleAt(result, row, column); found != level)
            return fmt::format("{} instead of {} at row {}, column {}", found, level, row, column);
        const int64_t beside = column >= 1000 ? column - 1000 : column + 1000;
        if (const int found = *sampleAt(result, row, beside); found != 0)
            return fmt::format("{} instead of 0 at row {}, column {}", found, row, beside);
    }
    return {};
}

/// In the child: ends with 0 when the call worked or was refused with a reason.
[[noreturn]] void exitAfterHugeCall(const Operation& operation, Values values)
{
    const Library& loaded = library();
    for (Value& value : values)
        if (auto* image = std::get_if<ImagePointer>(&value)) *image = hugeLike(**image);
    alarm(1800);
    std::ifstream statm("/proc/self/statm");
    rlim_t pages = 0;
    statm >> pages;
    const rlim_t bytes = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (rlim_t { 8 } << 30);
    const rlimit limit { bytes, bytes };
    setrlimit(RLIMIT_AS, &limit);

    const std::vector<Refusal> foretold = check(operation, values);
    const Outcome outcome = call(loaded, operation, values);
    std::string trouble;
    if (!outcome.accounting.clean())
        trouble = outcome.accounting.violations.front();
    else if (outcome.ok() && keepsFlatAreas(operation))
        trouble = wrongSamples(outcome.image());
    else if (!outcome.ok() && foretold.empty() && outcome.openCvError.empty() && failedAllocations() == 0)
        trouble = "refused, and the record does not say why";
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    const std::string ending = outcome.ok() ? "works"
        : !foretold.empty()                 ? "refused: " + foretold.front().message()
        : failedAllocations() > 0           ? "memory ran out"
                                            : "OpenCV: " + outcome.openCvError;
    fmt::print(stderr, "{}: {}; at most {} MiB resident; {}\n", operation.name, ending,
               usage.ru_maxrss / 1024, trouble.empty() ? "as it should be" : trouble);
    std::_Exit(trouble.empty() ? 0 : 1);
}

class HugeImages : public ::testing::TestWithParam<const Operation*> { };

} // namespace

TEST_P(HugeImages, WorkOrAreRefusedWithAReason)
{
    if (!std::getenv("MIRAVEX_HUGE_TESTS")) GTEST_SKIP() << "MIRAVEX_HUGE_TESTS is not set";
    const Operation& operation = *GetParam();
    const auto values = validValues(operation, 0);
    if (!values) GTEST_SKIP() << "a file that the operation reads is missing";
    // What the child says is shown where there is no message to be met.
    EXPECT_EXIT(exitAfterHugeCall(operation, *values), ::testing::ExitedWithCode(0), "as it should be");
}

std::vector<const Operation*> operationsOnImages()
{
    std::vector<const Operation*> found;
    for (const Operation* operation : catalog())
        if (std::ranges::find(operation->arguments, Kind::Image, &Argument::kind)
            != operation->arguments.end())
            found.push_back(operation);
    return found;
}

INSTANTIATE_TEST_SUITE_P(Catalogue, HugeImages, ::testing::ValuesIn(operationsOnImages()),
                         [](const auto& info) { return std::string(info.param->name); });

} // namespace miravex::test
