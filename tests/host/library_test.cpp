#include "host/library.h"

#include "tests/support/host_check.h"

#include <cstdlib>
#include <filesystem>
#include <thread>

namespace miravex::test {

namespace {

using namespace records;

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

constexpr Argument rogueArguments[] = {
    integer("deed", "which rule to break"),
    image("image", "an image of the host's"),
    text("word", "a string of the host's"),
};
constexpr Result rogueResults[] = { { ResultKind::Image, "an image" } };
const Operation rogue {
    { .summary = "Breaks rules", .arguments = rogueArguments, .results = rogueResults, .source = "" }, "Rogue"
};

std::filesystem::path folder() { return MIRAVEX_ROGUE_DIRECTORY; }

std::vector<std::string> violationsOf(int64_t deed)
{
    static const Library lawless(folder() / "librogue.so");
    const std::vector<Value> values { deed, imageOf(noise(2, 2, CV_8U)), std::string("a word") };
    return call(lawless, rogue, values).accounting.violations;
}

void load(const std::filesystem::path& path) { const Library loaded(path); }

} // namespace

TEST(Call, NoticesEveryBreachOfTheRules)
{
    EXPECT_THAT(violationsOf(0), IsEmpty());
    EXPECT_THAT(violationsOf(1), ElementsAre("1 images leaked"));
    EXPECT_THAT(violationsOf(2), ElementsAre(HasSubstr("not an image that the library created")));
    EXPECT_THAT(violationsOf(3), ElementsAre(HasSubstr("not an image that the library created")));
    EXPECT_THAT(violationsOf(4), ElementsAre(HasSubstr("freed that the library did not own")));
    EXPECT_THAT(violationsOf(5), ElementsAre(HasSubstr("slot was written although the call failed")));
    EXPECT_THAT(violationsOf(6), ElementsAre(HasSubstr("status 3 is neither")));
    EXPECT_THAT(violationsOf(7), ElementsAre("the string \"a word\" was given back 0 times instead of 1"));
    EXPECT_THAT(violationsOf(8), ElementsAre("the string \"a word\" was given back 2 times instead of 1"));
    EXPECT_THAT(violationsOf(9), ElementsAre(HasSubstr("outside the resulting image")));
}

TEST(Call, PassesAWrongNumberOfValuesOn)
{
    const Outcome outcome = call(library(), record("PyrDown"), Values { std::string("a"), std::string("b") });
    EXPECT_EQ(outcome.status, StatusFunctionError);
    EXPECT_THAT(outcome.accounting.violations, IsEmpty()); // strings stay with the host
    EXPECT_EQ(outcome.accounting.stringsGivenBack, 0);
    EXPECT_FALSE(call(library(), record("PyrDown"), {}).ok());
}

TEST(Call, ConvertsNumbersToTheKindOfTheRecord)
{
    const ImagePointer picture = imageOf(noise(9, 9, CV_8UC3));
    const Outcome reals = call(library(), record("PyrMeanShiftFilter"),
                               Values { picture, 2.0, 1.0, int64_t { 1 }, int64_t { 1 } });
    const Outcome integers = call(library(), record("PyrMeanShiftFilter"),
                                  Values { picture, int64_t { 2 }, int64_t { 1 }, 1.0, 1.0 });
    ASSERT_TRUE(reals.ok() && integers.ok());
    EXPECT_TRUE(sameBits(matrixOf(reals.image()), matrixOf(integers.image())));
}

TEST(Call, RefusesOperationsThatTheLibraryLacks)
{
    EXPECT_THROW(call(library(), rogue, {}), std::invalid_argument);
    EXPECT_EQ(library().operation("Rogue"), nullptr);
}

TEST(Call, RunsOnSeveralThreads)
{
    const cv::Mat picture = noise(40, 50, CV_8U);
    const cv::Mat expected = matrixOf(succeed("MedianFilter", { imageOf(picture), int64_t { 2 } }).image());
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 20; ++round) {
                const Outcome outcome =
                    call(library(), record("MedianFilter"), Values { imageOf(picture), int64_t { 2 } });
                EXPECT_TRUE(outcome.ok() && sameBits(matrixOf(outcome.image()), expected));
                EXPECT_THAT(outcome.accounting.violations, IsEmpty());
            }
        });
    for (std::thread& thread : threads) thread.join();
}

TEST(LibraryFile, IsTheOneThatTheEnvironmentNames)
{
    const std::string loaded = library().path().string();
    setenv("MIRAVEX_LIBRARY", "/some/where/lib.so", 1);
    EXPECT_EQ(Library::defaultPath(), "/some/where/lib.so");

    // Without it, the one beside this program or in ../lib; an empty name names nothing.
    unsetenv("MIRAVEX_LIBRARY");
    EXPECT_TRUE(std::filesystem::equivalent(Library::defaultPath(), loaded));
    setenv("MIRAVEX_LIBRARY", "", 1);
    EXPECT_TRUE(std::filesystem::equivalent(Library::defaultPath(), loaded));
    setenv("MIRAVEX_LIBRARY", loaded.c_str(), 1);
}

TEST(LibraryFile, ThatIsNoneOfOursIsRefused)
{
    const auto because = [](const char* reason) {
        return ThrowsMessage<std::runtime_error>(
            ::testing::AllOf(HasSubstr("cannot use the library"), HasSubstr(reason)));
    };
    EXPECT_THAT([] { load("/nowhere/libmiravex.so"); }, because("/nowhere/libmiravex.so"));
    EXPECT_THAT([] { load("/proc/self/status"); }, because("/proc/self/status"));
    EXPECT_THAT([] { load("libm.so.6"); }, because("lacks the lifecycle entries"));
    EXPECT_THAT([] { load(folder() / "librogue_old.so"); },
                because("speaks version 4 of the host interface, not 5"));
    EXPECT_THAT([] { load(folder() / "librogue_stubborn.so"); }, because("refuses to be initialised"));
}

TEST(LibraryFile, MayBeLoadedAgainAndAgain)
{
    for (int i = 0; i < 20; ++i) {
        const Library again;
        EXPECT_TRUE(again.operation("MedianFilter"));
    }
}

} // namespace miravex::test
