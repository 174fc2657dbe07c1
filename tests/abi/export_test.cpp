#include "abi/export.h"

#include "host/opencv_errors.h"
#include "host/services.h"
#include "tests/support/host_check.h"

#include <stdexcept>

namespace miravex::test {

namespace {

// --- operations to put into frames ----------------------------------------------------------------------

/// What the last implementation was called with.
struct Seen {
    int calls = 0;
    int64_t integer = 0;
    double real = 0;
    HostBoolean boolean = 0;
    std::string text;
    KTensor tensor = nullptr;
    KImage image = nullptr;
} seen;

enum class Manner { Success, Status1, Status3, Status6, RuntimeError, OpenCv, Integer };
Manner ending = Manner::Success;

HostErrorCode finish()
{
    switch (ending) {
    case Manner::Success: return StatusOk;
    case Manner::Status1: return 1;
    case Manner::Status3: return 3;
    case Manner::Status6: return 6;
    case Manner::RuntimeError: throw std::runtime_error("");
    case Manner::OpenCv: CV_Error(cv::Error::StsBadArg, "on purpose");
    case Manner::Integer: throw 42;
    }
    return StatusOk;
}

HostErrorCode everyKind(LibraryData, int64_t integer, double real, HostBoolean boolean, const char* text,
                        KTensor tensor, KImage image, double* result)
{
    seen = { seen.calls + 1, integer, real, boolean, text, tensor, image };
    *result = 2.5;
    return finish();
}

HostErrorCode twoStrings(LibraryData, const char* one, const char* two, KTensor* result)
{
    seen.text = std::string(one) + two;
    ++seen.calls;
    *result = reinterpret_cast<KTensor>(std::uintptr_t { 16 });
    return finish();
}

HostErrorCode imageResult(LibraryData, int64_t, KImage* result)
{
    ++seen.calls;
    *result = reinterpret_cast<KImage>(std::uintptr_t { 24 });
    return finish();
}

HostErrorCode startsAtZero(LibraryData, int64_t, double* result) { return *result == 0 ? StatusOk : 6; }

// --- a host that counts what is given back --------------------------------------------------------------

std::vector<const char*> givenBack;

LibraryDataTable countingTable()
{
    LibraryDataTable table = hostServices();
    table.stringDisown = [](const char* string) { givenBack.push_back(string); };
    return table;
}

class ExportFrame : public ::testing::Test {
protected:
    void SetUp() override
    {
        seen = {};
        ending = Manner::Success;
        givenBack.clear();
        result.integer = 77;
        cells[3].string = "word";
    }

    LibraryDataTable table = countingTable();
    ValueCell cells[6] {};
    ArgumentSlot slots[6] { &cells[0], &cells[1], &cells[2], &cells[3], &cells[4], &cells[5] };
    ValueCell result {};
};

constexpr Manner failures[] = { Manner::Status1,      Manner::Status3, Manner::Status6,
                                Manner::RuntimeError, Manner::OpenCv,  Manner::Integer };

} // namespace

TEST_F(ExportFrame, PassesEveryKind)
{
    cells[0].integer = INT64_MIN + 1;
    cells[1].real = -0.125;
    cells[2].integer = -1;
    cells[2].boolean = 7;
    cells[4].tensor = reinterpret_cast<KTensor>(std::uintptr_t { 32 });
    cells[5].image = reinterpret_cast<KImage>(std::uintptr_t { 40 });
    EXPECT_EQ(runOperation<&everyKind>(&table, 6, slots, &result), StatusOk);
    EXPECT_EQ(seen.integer, INT64_MIN + 1);
    EXPECT_EQ(seen.real, -0.125);
    EXPECT_EQ(seen.boolean, 7);
    EXPECT_EQ(seen.text, "word");
    EXPECT_EQ(seen.tensor, cells[4].tensor);
    EXPECT_EQ(seen.image, cells[5].image);
    EXPECT_EQ(result.real, 2.5);
    EXPECT_EQ(givenBack, std::vector<const char*> { cells[3].string });
}

TEST_F(ExportFrame, StoresTheKindOfResultThatTheImplementationHas)
{
    EXPECT_EQ(runOperation<&imageResult>(&table, 1, slots, &result), StatusOk);
    EXPECT_EQ(result.image, reinterpret_cast<KImage>(std::uintptr_t { 24 }));
    cells[0].string = "a";
    cells[1].string = "b";
    EXPECT_EQ(runOperation<&twoStrings>(&table, 2, slots, &result), StatusOk);
    EXPECT_EQ(result.tensor, reinterpret_cast<KTensor>(std::uintptr_t { 16 }));
    EXPECT_EQ(runOperation<&startsAtZero>(&table, 1, slots, &result), StatusOk);
}

TEST_F(ExportFrame, TurnsEveryFailureInto6)
{
    const OpenCvErrors quiet;
    for (const Manner failure : failures) {
        ending = failure;
        EXPECT_EQ(runOperation<&everyKind>(&table, 6, slots, &result), StatusFunctionError);
        EXPECT_EQ(result.integer, 77) << static_cast<int>(failure);
    }
    EXPECT_EQ(seen.calls, static_cast<int>(std::size(failures)));
}

TEST_F(ExportFrame, GivesEachStringBackOnceAfterSuccessAndFailure)
{
    const OpenCvErrors quiet;
    cells[0].string = "one";
    cells[1].string = "two";
    const std::vector<const char*> both { cells[0].string, cells[1].string };
    EXPECT_EQ(runOperation<&twoStrings>(&table, 2, slots, &result), StatusOk);
    EXPECT_EQ(givenBack, both);
    EXPECT_EQ(seen.text, "onetwo");
    for (const Manner failure : failures) {
        givenBack.clear();
        ending = failure;
        EXPECT_EQ(runOperation<&twoStrings>(&table, 2, slots, &result), StatusFunctionError);
        EXPECT_EQ(givenBack, both);
    }
}

TEST_F(ExportFrame, ReadsNothingWhenTheCountIsWrong)
{
    for (const int64_t count :
         { int64_t { -1 }, int64_t { 0 }, int64_t { 5 }, int64_t { 7 }, INT64_MAX, INT64_MIN }) {
        EXPECT_EQ(runOperation<&everyKind>(&table, count, slots, &result), StatusFunctionError);
        EXPECT_EQ(runOperation<&everyKind>(nullptr, count, nullptr, nullptr), StatusFunctionError);
    }
    EXPECT_EQ(seen.calls, 0);
    EXPECT_TRUE(givenBack.empty());
    EXPECT_EQ(result.integer, 77);
}

TEST_F(ExportFrame, RefusesWhatIsMissing)
{
    EXPECT_EQ(runOperation<&everyKind>(nullptr, 6, slots, &result), StatusFunctionError);
    EXPECT_EQ(runOperation<&everyKind>(&table, 6, nullptr, &result), StatusFunctionError);
    EXPECT_TRUE(givenBack.empty());

    // A string that can be reached is given back, whatever else is missing.
    for (int i = 0; i < 6; ++i) {
        givenBack.clear();
        ArgumentSlot some[6] { slots[0], slots[1], slots[2], slots[3], slots[4], slots[5] };
        some[i] = nullptr;
        EXPECT_EQ(runOperation<&everyKind>(&table, 6, some, &result), StatusFunctionError) << i;
        EXPECT_EQ(givenBack.size(), i == 3 ? 0U : 1U) << i;
    }
    givenBack.clear();
    EXPECT_EQ(runOperation<&everyKind>(&table, 6, slots, nullptr), StatusFunctionError);
    EXPECT_EQ(givenBack.size(), 1U);

    givenBack.clear();
    LibraryDataTable withoutImages = table;
    withoutImages.imageServices = nullptr;
    EXPECT_EQ(runOperation<&everyKind>(&withoutImages, 6, slots, &result), StatusFunctionError);
    EXPECT_EQ(givenBack.size(), 1U);

    givenBack.clear();
    cells[0].string = nullptr;
    cells[1].string = "two";
    EXPECT_EQ(runOperation<&twoStrings>(&table, 2, slots, &result), StatusFunctionError);
    EXPECT_EQ(givenBack, std::vector<const char*> { cells[1].string });

    EXPECT_EQ(seen.calls, 0);
    EXPECT_EQ(result.integer, 77);

    // An operation without images needs no image services.
    cells[0].string = "one";
    EXPECT_EQ(runOperation<&twoStrings>(&withoutImages, 2, slots, &result), StatusOk);
}

TEST(ExportFrameText, CountsInDecimal)
{
    EXPECT_STREQ((detail::Signature<decltype(&everyKind)>::decimalCount.data()), "6");
    EXPECT_EQ((detail::Signature<decltype(&everyKind)>::count), 6U);
    using Long = HostErrorCode (*)(LibraryData, int64_t, int64_t, int64_t, int64_t, int64_t, int64_t, int64_t,
                                   int64_t, int64_t, int64_t, int64_t, int64_t, double*);
    EXPECT_STREQ(detail::Signature<Long>::decimalCount.data(), "12");
    EXPECT_EQ(refuseArgumentCount(3, "5"), StatusFunctionError);
}

} // namespace miravex::test
