#include "host/services.h"
#include "tests/convert/recording_host.h"
#include "tests/support/host_check.h"

namespace miravex::test {

// Hosts can see which of their services are asked for, and in which order.

namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;

void keepString(const char*) { }

ValueCell cell(KImage image)
{
    ValueCell made;
    made.image = image;
    return made;
}
ValueCell cell(const TensorPointer& tensor)
{
    ValueCell made;
    made.tensor = tensor.get();
    return made;
}
ValueCell cell(const char* string)
{
    ValueCell made;
    made.string = string;
    return made;
}
ValueCell cell(int64_t integer)
{
    ValueCell made;
    made.integer = integer;
    return made;
}
ValueCell cell(double real)
{
    ValueCell made;
    made.real = real;
    return made;
}

/// What a host was asked about its images by one call, which must be refused and leave nothing behind.
class QueryOrder : public ::testing::Test {
protected:
    std::vector<std::string> askedByRefused(const char* operation, std::vector<ValueCell> cells)
    {
        LibraryDataTable table = hostServices();
        table.imageServices = &host_.services;
        table.stringDisown = keepString;
        std::vector<ArgumentSlot> slots;
        for (ValueCell& each : cells) slots.push_back(&each);
        ValueCell result;
        result.image = nullptr;
        EXPECT_EQ(
            library().operation(operation)(&table, static_cast<int64_t>(slots.size()), slots.data(), &result),
            StatusFunctionError);
        EXPECT_TRUE(host_.alive.empty());
        return host_.calls;
    }

    KImage image(int64_t rows, int64_t columns, int64_t channels, int64_t rank = 2)
    {
        return host_.own(
            { .rows = rows,
              .columns = columns,
              .channels = channels,
              .slices = rank == 3 ? 1 : 0,
              .rank = rank,
              .samples = std::vector<double>(static_cast<std::size_t>(rows * columns * channels)) });
    }

    RecordingHost host_;
};

} // namespace

TEST_F(QueryOrder, OfTheMedian)
{
    EXPECT_THAT(askedByRefused("MedianFilter", { cell(image(4, 5, 1)), cell(int64_t { 0 }) }),
                ElementsAre("GetPixelType", "GetColorSpace", "GetChannels", "GetRank"));
}

TEST_F(QueryOrder, OfPyrDownLooksAtTheWidthFirst)
{
    EXPECT_THAT(
        askedByRefused("PyrDown",
                       { cell(image(10, 20, 1)), cell("Fixed"), cell(int64_t { 20 }), cell(int64_t { 10 }) }),
        ElementsAre("GetRank", "GetPixelType", "GetColorSpace", "GetColumnCount"));
}

TEST_F(QueryOrder, OfPyrDownLooksAtTheHeightThen)
{
    EXPECT_THAT(
        askedByRefused("PyrDown",
                       { cell(image(10, 20, 1)), cell("Fixed"), cell(int64_t { 10 }), cell(int64_t { 10 }) }),
        ElementsAre("GetRank", "GetPixelType", "GetColorSpace", "GetColumnCount", "GetRowCount"));
}

TEST_F(QueryOrder, OfPyrUpLooksAtTheWidthFirst)
{
    EXPECT_THAT(
        askedByRefused("PyrUp", { cell(image(10, 20, 1)), cell(int64_t { 20 }), cell(int64_t { 10 }) }),
        ElementsAre("GetRank", "GetPixelType", "GetColorSpace", "GetColumnCount"));
}

TEST_F(QueryOrder, OfBinarizationMakesItsResultBeforeItRefusesAPadding)
{
    const TensorPointer weights = realList({ 1, 0, 0 });
    const std::vector<std::string> asked = askedByRefused(
        "LocalAdaptiveBinarize",
        { cell(image(3, 4, 1)), cell(int64_t { 1 }), cell(weights), cell("nowhere"), cell(0.0) });
    ASSERT_GE(asked.size(), 6U);
    EXPECT_THAT(
        std::vector(asked.begin(), asked.begin() + 5),
        ElementsAre("GetRowCount", "GetColumnCount", "GetChannels", StartsWith("New2D 4 3 1"), "GetBitData"));
    EXPECT_EQ(asked.back(), "Free");
    EXPECT_EQ(host_.freed, 2) << "the result and the converted copy";
}

TEST_F(QueryOrder, OfPaddingCountsItsValuesFirst)
{
    // A sequence of too many channels, refused for its values before anybody asks for that.
    const TensorPointer values = realList({ 1, 2 });
    EXPECT_THAT(askedByRefused("ImagePad",
                               { cell(image(3, 4, 5, 3)), cell(int64_t { -1 }), cell(int64_t { 1 }),
                                 cell(int64_t { 1 }), cell(int64_t { 1 }), cell("Constant"), cell(values) }),
                ElementsAre("GetChannels"));
}

TEST_F(QueryOrder, OfPaddingAsksForTheRankLast)
{
    const TensorPointer values = realList({});
    EXPECT_THAT(askedByRefused("ImagePad",
                               { cell(image(3, 4, 5, 3)), cell(int64_t { -1 }), cell(int64_t { 1 }),
                                 cell(int64_t { 1 }), cell(int64_t { 1 }), cell("Fixed"), cell(values) }),
                ElementsAre("GetPixelType", "GetColorSpace", "GetChannels", "GetRank"));
}

} // namespace miravex::test
