#include "abi/library_state.h"
#include "abi/messages.h"
#include "host/services.h"
#include "tests/support/host_check.h"

namespace miravex::test {

namespace {

int first(int, double, int64_t, const double*) { return 1; }
int second(int, double, int64_t, const double*) { return 0; }

using GetVersion = int (*)();
using Initialize = HostErrorCode (*)(LibraryData);
using Uninitialize = void (*)();

template <typename Function> Function entry(const char* name)
{
    return reinterpret_cast<Function>(library().symbol(name));
}

} // namespace

// The library's state is hidden, so the sources are compiled into this program as well.

TEST(Lifecycle, SavesTheComparison)
{
    const CompileSupport one { first };
    const CompileSupport two { second };
    LibraryDataTable table {};
    table.compileSupport = &one;
    EXPECT_EQ(KorvaneLibrary_initialize(&table), StatusOk);
    EXPECT_EQ(hostCompareReals(), first);

    KorvaneLibrary_uninitialize();
    EXPECT_EQ(hostCompareReals(), first); // nothing is released

    table.compileSupport = &two;
    EXPECT_EQ(KorvaneLibrary_initialize(&table), StatusOk);
    EXPECT_EQ(hostCompareReals(), second);
}

TEST(Lifecycle, RefusesMissingTables)
{
    const CompileSupport one { first };
    LibraryDataTable table {};
    table.compileSupport = &one;
    ASSERT_EQ(KorvaneLibrary_initialize(&table), StatusOk);
    table.compileSupport = nullptr;
    EXPECT_EQ(KorvaneLibrary_initialize(nullptr), StatusFunctionError);
    EXPECT_EQ(KorvaneLibrary_initialize(&table), StatusFunctionError);
    EXPECT_EQ(hostCompareReals(), first); // what was saved stays
}

TEST(Lifecycle, OfTheLibraryItself)
{
    const auto getVersion = entry<GetVersion>("KorvaneLibrary_getVersion");
    const auto initialize = entry<Initialize>("KorvaneLibrary_initialize");
    const auto uninitialize = entry<Uninitialize>("KorvaneLibrary_uninitialize");
    ASSERT_TRUE(getVersion && initialize && uninitialize);

    LibraryDataTable table {};
    EXPECT_EQ(initialize(nullptr), StatusFunctionError);
    EXPECT_EQ(initialize(&table), StatusFunctionError);
    EXPECT_EQ(getVersion(), 5);
    uninitialize();
    EXPECT_EQ(getVersion(), 5);
    uninitialize();
    EXPECT_EQ(initialize(&hostServices()), StatusOk);
    EXPECT_EQ(getVersion(), 5);
}

TEST(Messages, AreTheseFive)
{
    EXPECT_EQ(messages::invalidArgumentCount, "Invalid arg number: Gave ");
    EXPECT_EQ(messages::expectedCount, "; Expected ");
    EXPECT_EQ(messages::expected2D, "Expected a 2D image instead of a 3D image");
    EXPECT_EQ(messages::expected3D, "Expected a 3D image instead of a 2D image");
    EXPECT_EQ(messages::internalError, "Internal error in Miravex tovrin");
}

} // namespace miravex::test
