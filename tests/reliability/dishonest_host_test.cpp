#include "host/services.h"
#include "tests/reliability/accepted_calls.h"
#include "tests/reliability/raw_call.h"

#include <algorithm>
#include <utility>

/// Hosts that break their side of the contract in a way that can be noticed: tables, slots and handles that
/// are missing, sizes that nothing can have. Every operation has to refuse and leave the result slot alone.
namespace miravex::test {

namespace {

/// A call to be spoiled before it is made.
struct Call : RawCall {
    explicit Call(const Operation& operation)
        : RawCall(operation, acceptedCalls(operation, 1, { .side = 24, .elements = 64 }).at(0))
    {
    }

    /// Makes the call with this table. What the library created is given up again by the ledger.
    HostErrorCode with(LibraryData table)
    {
        Ledger ledger;
        const HostErrorCode status = make(table);
        lastViolations = ledger.close().violations;
        return status;
    }

    void expectRefused(LibraryData table, std::string_view what)
    {
        EXPECT_EQ(with(table), StatusFunctionError) << what;
        EXPECT_EQ(result.integer, untouched) << what;
        for (const std::string& violation : lastViolations)
            EXPECT_EQ(violation.find("leaked"), std::string::npos) << what << ": " << violation;
    }

    std::vector<std::string> lastViolations;
};

bool has(const Operation& operation, std::initializer_list<Kind> kinds)
{
    return std::ranges::any_of(operation.arguments, [&](const Argument& argument) {
        return !argument.optional && std::ranges::find(kinds, argument.kind) != kinds.end();
    });
}

/// What the forged services answer; set before each call.
int64_t forged = 0;

int64_t forgedSize(KImage) { return forged; }
int64_t forgedCount(KTensor) { return forged; }
const int64_t* noDimensions(KTensor) { return nullptr; }
template <typename Sample, typename Handle> Sample* noData(Handle) { return nullptr; }
KImage noConversion(KImage, PixelType, HostBoolean) { return nullptr; }

class DishonestHost : public ::testing::TestWithParam<const Operation*> {
protected:
    const Operation& operation_ = *GetParam();
    LibraryDataTable table_ = hostServices();
    ImageServices images_ = *hostServices().imageServices;
};

class DishonestImages : public DishonestHost { };
class DishonestTensors : public DishonestHost { };

std::vector<const Operation*> operationsWith(std::initializer_list<Kind> kinds)
{
    std::vector<const Operation*> found;
    for (const Operation* operation : catalog())
        if (has(*operation, kinds)) found.push_back(operation);
    return found;
}

} // namespace

TEST_P(DishonestHost, PassesNoTableOrSlot)
{
    Call call(operation_);
    call.expectRefused(nullptr, "no table");
    EXPECT_EQ(call.function(&table_, static_cast<int64_t>(call.slots.size()), nullptr, &call.result),
              StatusFunctionError);
    EXPECT_EQ(call.function(&table_, static_cast<int64_t>(call.slots.size()), call.slots.data(), nullptr),
              StatusFunctionError);
    for (const int64_t count : { INT64_MIN, int64_t { -1 }, int64_t { 99 }, INT64_MAX }) {
        std::vector<ArgumentSlot> noSlots(4, nullptr);
        EXPECT_EQ(call.function(&table_, count, noSlots.data(), &call.result), StatusFunctionError);
    }
    for (std::size_t i = 0; i < call.slots.size(); ++i) {
        ArgumentSlot const slot = std::exchange(call.slots[i], nullptr);
        call.expectRefused(&table_, operation_.arguments[i].name);
        call.slots[i] = slot;
        if (operation_.arguments[i].kind != Kind::String) continue;
        const ValueCell cell = *slot;
        slot->string = nullptr;
        call.expectRefused(&table_, operation_.arguments[i].name);
        *slot = cell;
    }
}

TEST_P(DishonestHost, LacksServices)
{
    Call call(operation_);
    if (has(operation_, { Kind::Image })) {
        table_.imageServices = nullptr;
        call.expectRefused(&table_, "no image services");
    }
    if (has(operation_, { Kind::NumericArray })) {
        table_.numericArrayServices = nullptr;
        call.expectRefused(&table_, "no array services");
    }
}

TEST_P(DishonestImages, AreRefused)
{
    Call call(operation_);
    table_.imageServices = &images_;
    images_.imageGetBitData = images_.imageGetByteData = noData<std::uint8_t, KImage>;
    images_.imageGetBit16Data = noData<std::uint16_t, KImage>;
    images_.imageGetReal32Data = noData<float, KImage>;
    images_.imageGetRealData = noData<double, KImage>;
    images_.imageConvertType = noConversion;
    call.expectRefused(&table_, "no samples");
    for (const int64_t size :
         { INT64_MIN, INT64_MIN + 1, int64_t { INT32_MIN }, int64_t { -1 }, int64_t { INT32_MAX },
           int64_t { INT32_MAX } + 1, int64_t { 1 } << 32, int64_t { 1 } << 62, INT64_MAX }) {
        forged = size;
        for (auto service : { &ImageServices::imageGetRowCount, &ImageServices::imageGetColumnCount,
                              &ImageServices::imageGetSliceCount, &ImageServices::imageGetChannels,
                              &ImageServices::imageGetRank }) {
            const auto honest = std::exchange(images_.*service, forgedSize);
            call.expectRefused(&table_, std::to_string(size));
            images_.*service = honest;
        }
    }
}

TEST_P(DishonestTensors, AreRefused)
{
    Call call(operation_);
    table_.tensorGetRealData = noData<double, KTensor>;
    table_.tensorGetIntegerData = noData<int64_t, KTensor>;
    call.expectRefused(&table_, "no elements");
    for (const int64_t size : { INT64_MIN, int64_t { -1 }, int64_t { INT32_MAX } + 1, INT64_MAX }) {
        forged = size;
        // A rank that is too high comes with no list: the library could not know where to stop.
        const auto dimensions = std::exchange(table_.tensorGetDimensions, noDimensions);
        const auto rank = std::exchange(table_.tensorGetRank, forgedCount);
        call.expectRefused(&table_, std::to_string(size));
        table_.tensorGetRank = rank;
        table_.tensorGetDimensions = dimensions;
        const auto length = std::exchange(table_.tensorGetFlattenedLength, forgedCount);
        call.expectRefused(&table_, std::to_string(size));
        table_.tensorGetFlattenedLength = length;
    }
}

INSTANTIATE_TEST_SUITE_P(Catalogue, DishonestHost, ::testing::ValuesIn(catalog()), nameOfParameter);
INSTANTIATE_TEST_SUITE_P(Catalogue, DishonestImages, ::testing::ValuesIn(operationsWith({ Kind::Image })),
                         nameOfParameter);
INSTANTIATE_TEST_SUITE_P(Catalogue, DishonestTensors,
                         ::testing::ValuesIn(operationsWith({ Kind::RealTensor, Kind::IntegerTensor })),
                         nameOfParameter);

} // namespace miravex::test
