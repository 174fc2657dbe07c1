#include "host/services.h"
#include "tests/support/host_check.h"

#include <fmt/format.h>

#include <array>
#include <cstdio>
#include <set>
#include <sstream>

namespace miravex::test {

namespace {

struct Expected {
    std::string_view name;
    std::size_t arguments;
    ResultKind result;
};

/// Every operation of the interface.
constexpr ResultKind picture = ResultKind::Image;
constexpr ResultKind frames = ResultKind::Sequence;
constexpr ResultKind tensor = ResultKind::RealTensor;
constexpr ResultKind integers = ResultKind::IntegerTensor;
constexpr ResultKind number = ResultKind::Real;

constexpr std::array operations {
    Expected { "Agast", 5, tensor },
    Expected { "Akaze", 12, tensor },
    Expected { "AlignMTB", 3, frames },
    Expected { "Brisk", 8, tensor },
    Expected { "CalibrateDebevec", 5, tensor },
    Expected { "CalibrateRobertson", 4, tensor },
    Expected { "Color_Boost", 1, picture },
    Expected { "Decolor", 1, picture },
    Expected { "DescriptorMatcher", 7, tensor },
    Expected { "DetailEnhance", 3, picture },
    Expected { "Dilation", 2, picture },
    Expected { "EarthMoverDistance", 6, number },
    Expected { "EarthMoverDistanceFlowMatrix", 6, tensor },
    Expected { "EarthMoverDistanceWeightsFlowMatrix", 3, tensor },
    Expected { "EdgePreservingFilter", 4, picture },
    Expected { "FaceDetection", 10, tensor },
    Expected { "FaceDetectionDNN", 6, tensor },
    Expected { "Fast", 5, tensor },
    Expected { "FastNlMeansDenoising", 4, picture },
    Expected { "FastNlMeansDenoisingColored", 5, picture },
    Expected { "FastNlMeansDenoisingColoredMulti", 7, picture },
    Expected { "FastNlMeansDenoisingMulti", 6, picture },
    Expected { "FindContours", 4, tensor },
    Expected { "HoughCircles", 7, tensor },
    Expected { "HoughLines", 7, tensor },
    Expected { "HoughLinesP", 6, tensor },
    Expected { "ImageConvolve", 4, picture },
    Expected { "ImageCorrelate", 5, picture },
    Expected { "ImagePad", 7, picture },
    Expected { "ImagePerspectiveTransformation", 5, picture },
    Expected { "Kaze", 11, tensor },
    Expected { "LineSegmentDetector", 1, tensor },
    Expected { "LoadImagesFromPathInto", 10, integers },
    Expected { "LocalAdaptiveBinarize", 5, picture },
    Expected { "LogPolarCV", 6, picture },
    Expected { "LogPolarRemap", 7, picture },
    Expected { "MatchShapes", 3, number },
    Expected { "MedianFilter", 2, picture },
    Expected { "MergeDebevec", 3, picture },
    Expected { "MergeMertens", 1, picture },
    Expected { "MergeRobertson", 3, picture },
    Expected { "MserDetect", 11, tensor },
    Expected { "OpticalFlowDualTVL1", 11, tensor },
    Expected { "OpticalFlowFarneback", 11, tensor },
    Expected { "Orb", 12, tensor },
    Expected { "PhaseCorrelate", 3, tensor },
    Expected { "PyrDown", 4, picture },
    Expected { "PyrMeanShiftFilter", 5, picture },
    Expected { "PyrUp", 3, picture },
    Expected { "RemapTensor", 6, picture },
    Expected { "Stylization", 3, picture },
    Expected { "SuperResolution", 3, picture },
    Expected { "Tonemap", 3, picture },
    Expected { "imageDemosaic", 2, picture },
};
static_assert(operations.size() == 54);

constexpr std::array lifecycle { "KorvaneLibrary_getVersion", "KorvaneLibrary_initialize",
                                 "KorvaneLibrary_uninitialize" };

/// Names that the library defines for others, as the linker sees them.
std::set<std::string> exportedNames()
{
    const std::string command = fmt::format("nm -D --defined-only '{}'", library().path().string());
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) throw std::runtime_error("nm can't be run");
    std::string text;
    std::array<char, 4096> buffer {};
    while (const std::size_t count = fread(buffer.data(), 1, buffer.size(), pipe))
        text.append(buffer.data(), count);
    if (pclose(pipe) != 0) throw std::runtime_error("nm failed");

    std::set<std::string> names;
    std::istringstream lines(text);
    for (std::string address, type, name; lines >> address >> type >> name;) names.insert(name);
    return names;
}

std::set<std::string> catalogueNames()
{
    std::set<std::string> names;
    for (const Operation* operation : catalog()) names.insert("opencv_" + std::string(operation->name));
    return names;
}

bool isTensor(ResultKind kind) { return kind == ResultKind::RealTensor || kind == ResultKind::IntegerTensor; }

/// Tensors of either element type are "tensor" to the interface; 3D images are images.
bool sameKind(ResultKind a, ResultKind b)
{
    const auto isPicture = [](ResultKind kind) {
        return kind == ResultKind::Image || kind == ResultKind::Sequence;
    };
    return a == b || (isTensor(a) && isTensor(b)) || (isPicture(a) && isPicture(b));
}

} // namespace

TEST(Exports, AreTheLifecycleEntriesAndTheCatalogue)
{
    std::set<std::string> expected = catalogueNames();
    expected.insert(lifecycle.begin(), lifecycle.end());
    EXPECT_EQ(exportedNames(), expected);
}

TEST(Exports, HaveRecordsThatAgreeWithTheInterface)
{
    for (const Operation* operation : catalog()) {
        const auto expected = std::ranges::find(operations, operation->name, &Expected::name);
        ASSERT_NE(expected, operations.end()) << operation->name << " is no operation of the interface";
        EXPECT_EQ(operation->arguments.size(), expected->arguments) << operation->name;
        for (const Result& result : operation->results)
            EXPECT_TRUE(sameKind(result.kind, expected->result)) << operation->name;
        EXPECT_EQ(operation->results.front().kind == ResultKind::Sequence, expected->result == frames)
            << operation->name;
        EXPECT_TRUE(expected->result != integers || operation->results.front().kind == integers)
            << operation->name;
    }
}

TEST(Exports, AreComplete)
{
    std::set<std::string> expected(lifecycle.begin(), lifecycle.end());
    for (const Expected& operation : operations) expected.insert("opencv_" + std::string(operation.name));
    EXPECT_EQ(exportedNames(), expected);
    EXPECT_EQ(catalog().size(), operations.size());
}

TEST(Exports, ReadNothingWhenTheCountIsWrong)
{
    // A table and slots that can't be touched: whoever reads them crashes.
    static int givenBack = 0;
    LibraryDataTable table {};
    table.stringDisown = [](const char*) { ++givenBack; };
    for (const Operation* operation : catalog()) {
        // The tests of such an operation look at what it gives back.
        if (operation->returnsOnWrongCount) continue;
        const MiravexOperation function = library().operation(operation->name);
        ASSERT_TRUE(function) << operation->name;
        const auto count = static_cast<int64_t>(operation->arguments.size());
        for (const int64_t wrong : { int64_t { -1 }, int64_t { 0 }, count - 1, count + 1, count + 256,
                                     count + (int64_t { 1 } << 32), INT64_MAX, INT64_MIN }) {
            ValueCell result;
            result.integer = 77;
            EXPECT_EQ(function(&table, wrong, nullptr, &result), StatusFunctionError) << operation->name;
            EXPECT_EQ(function(nullptr, wrong, nullptr, nullptr), StatusFunctionError) << operation->name;
            EXPECT_EQ(result.integer, 77) << operation->name;
        }
    }
    EXPECT_EQ(givenBack, 0);
}

TEST(Exports, RefuseMissingTablesAndSlots)
{
    for (const Operation* operation : catalog()) {
        const MiravexOperation function = library().operation(operation->name);
        const auto count = static_cast<int64_t>(operation->arguments.size());
        const std::vector<ArgumentSlot> nulls(operation->arguments.size(), nullptr);
        ValueCell result;
        result.integer = 77;
        EXPECT_EQ(function(nullptr, count, nullptr, &result), StatusFunctionError) << operation->name;
        EXPECT_EQ(function(&hostServices(), count, nullptr, &result), StatusFunctionError) << operation->name;
        auto slots = nulls;
        EXPECT_EQ(function(&hostServices(), count, slots.data(), &result), StatusFunctionError)
            << operation->name;
        EXPECT_EQ(function(&hostServices(), count, slots.data(), nullptr), StatusFunctionError)
            << operation->name;
        EXPECT_EQ(result.integer, 77) << operation->name;
    }
}

TEST(Exports, RefuseMissingHandlesAndStrings)
{
    // Every slot is there and holds nothing: null images, tensors and strings, zeros elsewhere.
    for (const Operation* operation : catalog()) {
        const MiravexOperation function = library().operation(operation->name);
        std::vector<ValueCell> cells(operation->arguments.size());
        std::vector<ArgumentSlot> slots;
        for (ValueCell& cell : cells) {
            cell.integer = 0;
            slots.push_back(&cell);
        }
        ValueCell result;
        result.integer = 77;
        Ledger ledger;
        EXPECT_EQ(function(&hostServices(), static_cast<int64_t>(cells.size()), slots.data(), &result),
                  StatusFunctionError)
            << operation->name;
        EXPECT_EQ(result.integer, 77) << operation->name;
        const Accounting accounting = ledger.close();
        EXPECT_THAT(accounting.violations, ::testing::IsEmpty()) << operation->name;
    }
}

TEST(Exports, TurnOpenCvsExceptionsInto6)
{
    // OpenCV itself refuses levels above 8.
    const Outcome outcome = invoke("PyrMeanShiftFilter",
                                   { imageOf(noise(9, 9, CV_8UC3)), 2.0, 0.1, int64_t { 9 }, int64_t { 1 } });
    EXPECT_EQ(outcome.status, StatusFunctionError);
    EXPECT_THAT(outcome.openCvError, ::testing::HasSubstr("pyramid levels"));
}

} // namespace miravex::test
