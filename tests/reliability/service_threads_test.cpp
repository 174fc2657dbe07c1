#include "host/services.h"
#include "tests/reliability/accepted_calls.h"
#include "tests/reliability/raw_call.h"

#include <opencv2/core/utility.hpp>

#include <atomic>
#include <thread>

/// Services are called on the thread of the operation alone: hosts need not lock anything.
namespace miravex::test {

namespace {

std::atomic<int> foreignCalls = 0;

template <auto member> struct Noting;

/// The service of the honest table, which notes on what thread it runs.
template <typename Table, typename Returned, typename... Given, Returned (*Table::*member)(Given...)>
struct Noting<member> {
    static const Table* honest;
    static Returned call(Given... given)
    {
        // The ledger of a call lives on its thread alone.
        if (!Ledger::current()) ++foreignCalls;
        return (honest->*member)(given...);
    }
};
template <typename Table, typename Returned, typename... Given, Returned (*Table::*member)(Given...)>
const Table* Noting<member>::honest = nullptr;

template <auto... members, typename Table> void note(Table& table, const Table& honest)
{
    ((Noting<members>::honest = &honest, table.*members = Noting<members>::call), ...);
}

/// The host's tables with every service watched.
struct WatchedHost {
    LibraryDataTable table = hostServices();
    ImageServices images = *hostServices().imageServices;
    NumericArrayServices arrays = *hostServices().numericArrayServices;

    WatchedHost()
    {
        using Data = LibraryDataTable;
        note<&Data::stringDisown, &Data::tensorNew, &Data::tensorFree, &Data::tensorGetRank,
             &Data::tensorGetDimensions, &Data::tensorGetFlattenedLength, &Data::tensorGetIntegerData,
             &Data::tensorGetRealData>(table, hostServices());
        using I = ImageServices;
        note<&I::imageNew2D, &I::imageNew3D, &I::imageFree, &I::imageGetPixelType, &I::imageGetRowCount,
             &I::imageGetColumnCount, &I::imageGetSliceCount, &I::imageGetRank, &I::imageGetChannels,
             &I::imageIsInterleaved, &I::imageGetColorSpace, &I::imageGetBitData, &I::imageGetByteData,
             &I::imageGetBit16Data, &I::imageGetReal32Data, &I::imageGetRealData, &I::imageConvertType>(
            images, *hostServices().imageServices);
        using A = NumericArrayServices;
        note<&A::numericArrayGetType, &A::numericArrayGetRank, &A::numericArrayGetDimensions,
             &A::numericArrayGetData, &A::numericArrayDisown>(arrays, *hostServices().numericArrayServices);
        table.imageServices = &images;
        table.numericArrayServices = &arrays;
    }
};

class ServiceThreads : public ::testing::TestWithParam<const Operation*> { };

} // namespace

TEST_P(ServiceThreads, AreTheCallers)
{
    const Operation& operation = *GetParam();
    WatchedHost host;
    const auto calls = acceptedCalls(operation, isSlow(operation) ? 1 : 3, { .side = 64, .elements = 256 });
    ASSERT_FALSE(calls.empty());
    for (const Values& values : calls) {
        RawCall call(operation, ownCopy(values));
        Ledger ledger;
        foreignCalls = 0;
        const HostErrorCode status = call.make(&host.table, ledger);
        EXPECT_EQ(status, StatusOk) << describeCall(operation, values);
        if (status == StatusOk) (void)call.take(ledger);
        EXPECT_EQ(foreignCalls, 0) << describeCall(operation, values) << " left its thread";
    }
}

INSTANTIATE_TEST_SUITE_P(Catalogue, ServiceThreads, ::testing::ValuesIn(catalog()), nameOfParameter);

TEST(ServiceThreads, AreNoticedWhenForeign)
{
    const WatchedHost host;
    const TensorPointer list = realList({ 1, 2 });
    Ledger ledger;
    foreignCalls = 0;
    EXPECT_EQ(host.table.tensorGetRank(list.get()), 1);
    EXPECT_EQ(foreignCalls, 0);
    std::jthread([&] { (void)host.table.tensorGetRank(list.get()); }).join();
    EXPECT_EQ(foreignCalls, 1);
}

} // namespace miravex::test
