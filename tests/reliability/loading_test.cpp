#include "tests/support/drawn_call.h"
#include "tests/support/host_check.h"
#include "tests/support/sample_files.h"
#include "tests/support/temporary_folder.h"

#include "catalog/catalog.h"
#include "host/batch.h"
#include "readers/second_part.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>

/// The library as a file: how it may be loaded and unloaded, and what the dynamic linker is told about it.
namespace miravex::test {

namespace {

struct Finished {
    std::string output;
    int status = -1;
};

/// Runs a command of the shell and waits for it; standard error is part of the output.
Finished shell(const std::string& command)
{
    Finished result;
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (!pipe) return result;
    std::array<char, 4096> buffer;
    while (const std::size_t count = fread(buffer.data(), 1, buffer.size(), pipe))
        result.output.append(buffer.data(), count);
    result.status = pclose(pipe);
    return result;
}

std::string path() { return Library::defaultPath().string(); }

/// A copy of the library under another name, in a folder of its own, gone with this object.
class Copy {
public:
    enum Parts { First, Both };

    explicit Copy(Parts parts = Both)
    {
        std::filesystem::copy_file(path(), file());
        if (parts == Both) std::filesystem::copy_file(library().readersPath(), readers());
    }
    [[nodiscard]] std::filesystem::path file() const { return folder_.file("libmiravex-copy.so"); }
    [[nodiscard]] std::filesystem::path readers() const { return folder_.file("libmiravex_readers.so"); }

private:
    TemporaryFolder folder_;
};

bool isLoaded(const std::string& file)
{
    void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle) dlclose(handle);
    return handle != nullptr;
}

} // namespace

class BareHost : public ::testing::TestWithParam<const char*> { };

TEST_P(BareHost, LoadsAndUnloadsManyTimes)
{
    const Finished result = shell(fmt::format("'{}' '{}' {} 25", MIRAVEX_BARE_HOST, path(), GetParam()));
    EXPECT_EQ(result.status, 0) << result.output;
}

INSTANTIATE_TEST_SUITE_P(Ways, BareHost, ::testing::Values("local", "global", "unready", "reading"),
                         [](const auto& way) { return std::string(way.param); });

TEST(Loading, LeavesNothingBehind)
{
    const Copy copy;
    for (int round = 0; round < 10; ++round) {
        {
            const Library loaded(copy.file());
            EXPECT_TRUE(isLoaded(copy.file()));
            Bytes none({});
            for (const Operation* operation : { &record("PyrDown"), &record("MedianFilter") }) {
                const auto values = drawValues(*operation, none, {});
                EXPECT_TRUE(call(loaded, *operation, values).ok()) << operation->name;
            }
        }
        EXPECT_FALSE(isLoaded(copy.file())) << "still there in round " << round;
    }
}

TEST(Loading, TwoCopiesSideBySideAnswerAlike)
{
    const Copy copy;
    for (const int flags : { RTLD_LOCAL, RTLD_GLOBAL }) {
        void* const early = dlopen(copy.file().c_str(), RTLD_NOW | flags);
        ASSERT_NE(early, nullptr) << dlerror();
        const Library second(copy.file());
        EXPECT_NE(library().operation("PyrDown"), second.operation("PyrDown"));
        const Operation& operation = record("PyrDown");
        Bytes none({});
        const auto values = drawValues(operation, none, {});
        const Outcome one = call(library(), operation, values), other = call(second, operation, values);
        ASSERT_TRUE(one.ok() && other.ok());
        EXPECT_TRUE(sameBits(matrixOf(one.image()), matrixOf(other.image())));
        dlclose(early);
    }
}

namespace {

constexpr int64_t side = 16;

/// One slot with a picture in it, read by a library.
std::vector<float> loaded(const Library& from, const std::string& picture)
{
    const BatchOptions options { .height = side, .width = side };
    std::vector<float> slot(static_cast<std::size_t>(options.samples()));
    EXPECT_TRUE(loadBatch(from, { &picture, 1 }, options, slot.data()).failed.empty());
    return slot;
}

std::string smallPicture(const TemporaryFolder& folder)
{
    cv::Mat picture(side, side, CV_8UC3);
    cv::randu(picture, 0, 256);
    cv::imwrite(folder.file("picture.png"), picture);
    return folder.file("picture.png");
}

/// What the library says on standard output while it refuses to load a batch.
std::string refusalOfBatch(const Library& from)
{
    const std::string picture = "picture.png";
    const BatchOptions options { .height = side, .width = side };
    std::vector<float> slot(static_cast<std::size_t>(options.samples()));
    ::testing::internal::CaptureStdout();
    EXPECT_THROW(loadBatch(from, { &picture, 1 }, options, slot.data()), std::runtime_error);
    return ::testing::internal::GetCapturedStdout();
}

} // namespace

TEST(SecondPart, OfACopyAnswersAlike)
{
    const TemporaryFolder folder;
    const std::string picture = smallPicture(folder);
    const Copy copy;
    for (int round = 0; round < 3; ++round) {
        const Library second(copy.file());
        EXPECT_EQ(second.readersPath(), copy.readers());
        EXPECT_EQ(loaded(library(), picture), loaded(second, picture));
        EXPECT_TRUE(isLoaded(copy.readers()));
    }
    EXPECT_FALSE(isLoaded(copy.file()));
}

TEST(SecondPart, IsFoundThroughALinkToTheFirst)
{
    const TemporaryFolder folder;
    const std::string picture = smallPicture(folder);
    std::filesystem::create_symlink(path(), folder.file("link.so"));
    const Library linked(folder.file("link.so"));
    EXPECT_EQ(loaded(library(), picture), loaded(linked, picture));
}

// As an installation has it, and before a file of the plain name, which may belong to another version.
TEST(SecondPart, IsFoundUnderItsNumberFirst)
{
    const TemporaryFolder folder;
    const std::string picture = smallPicture(folder);
    const Copy copy;
    const std::string numbered = copy.readers().string() + ".1";
    std::filesystem::rename(copy.readers(), numbered);
    std::ofstream(copy.readers()) << "no library at all";
    const Library second(copy.file());
    EXPECT_EQ(second.readersPath(), numbered);
    EXPECT_EQ(loaded(library(), picture), loaded(second, picture));
    EXPECT_TRUE(isLoaded(numbered));
}

TEST(SecondPart, MissingFailsTheOperationsThatNeedItAlone)
{
    const Copy copy(Copy::First);
    const Library alone(copy.file());
    std::vector<std::string_view> failed;
    for (const Operation* operation : catalog()) {
        const auto values = validValues(*operation, 0);
        if (!values || !call(library(), *operation, *values).ok()) continue; // its files are not here
        ::testing::internal::CaptureStdout();
        const Outcome outcome = call(alone, *operation, *values);
        const std::string said = ::testing::internal::GetCapturedStdout();
        EXPECT_TRUE(outcome.accounting.clean()) << operation->name;
        if (outcome.ok()) continue;
        EXPECT_EQ(outcome.status, StatusFunctionError) << operation->name;
        EXPECT_NE((said + outcome.openCvError).find(copy.readers().string()), std::string::npos)
            << operation->name << ": " << said << outcome.openCvError;
        failed.push_back(operation->name);
    }
    EXPECT_THAT(failed, ::testing::UnorderedElementsAreArray(readersOperations));
}

TEST(SecondPart, SaysWhyItCannotBeUsedAndIsTriedAgain)
{
    using ::testing::AllOf, ::testing::EndsWith, ::testing::HasSubstr, ::testing::StartsWith;
    const auto because = [](const Copy& copy, const char* reason) {
        return AllOf(StartsWith("Runtime Error: cannot use the library " + copy.readers().string() + ": "),
                     HasSubstr(reason), EndsWith("\n"));
    };
    const Copy copy(Copy::First);
    const Library alone(copy.file());
    EXPECT_THAT(refusalOfBatch(alone), because(copy, "No such file or directory"));

    std::ofstream(copy.readers()) << "no library at all";
    EXPECT_THAT(refusalOfBatch(alone), because(copy, "file too short"));
    std::filesystem::remove(copy.readers());

    std::filesystem::copy_file(path(), copy.readers()); // a library, but another
    EXPECT_THAT(refusalOfBatch(alone), because(copy, "it is no part of Miravex"));
    std::filesystem::remove(copy.readers());

    const TemporaryFolder folder;
    const std::string picture = smallPicture(folder);
    std::filesystem::copy_file(library().readersPath(), copy.readers());
    EXPECT_EQ(loaded(library(), picture), loaded(alone, picture));
}

TEST(Loading, RefusesFilesThatAreNotTheLibrary)
{
    EXPECT_THROW(Library("/nowhere/libmiravex.so"), std::runtime_error);
    EXPECT_THROW(Library("/dev/null"), std::runtime_error);
    EXPECT_THROW(Library("libdl.so.2"), std::runtime_error); // no lifecycle entries
}

// Sanitizers leave symbols for the program to define and link with options of their own.
#ifndef MIRAVEX_SANITIZED

namespace {

std::string readelf(const char* options)
{
    return shell(fmt::format("readelf {} '{}'", options, path())).output;
}

} // namespace

// Programs that are linked to the library remember its number; hosts that open the plain name get the same
// file.
TEST(Linking, HasANumberAndAPlainName)
{
    EXPECT_NE(readelf("-dW").find("soname: [libmiravex.so.1]"), std::string::npos) << readelf("-dW");
    const std::filesystem::path folder = std::filesystem::path(path()).parent_path();
    EXPECT_TRUE(std::filesystem::equivalent(folder / "libmiravex.so", folder / "libmiravex.so.1"));
    void* const plain = dlopen((folder / "libmiravex.so").c_str(), RTLD_NOW);
    void* const numbered = dlopen((folder / "libmiravex.so.1").c_str(), RTLD_NOW);
    EXPECT_TRUE(plain && plain == numbered);
    if (plain) dlclose(plain);
    if (numbered) dlclose(numbered);
}

TEST(Linking, DeclaresWhatItNeeds)
{
    const Finished result = shell(fmt::format("ldd -r '{}'", path()));
    EXPECT_EQ(result.output.find("undefined symbol"), std::string::npos) << result.output;
    EXPECT_EQ(result.output.find("not found"), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("libopencv_core"), std::string::npos) << result.output;
}

TEST(Linking, NeedsNoLibraryThatReadsFiles)
{
    const std::string all = shell(fmt::format("ldd '{}'", path())).output;
    for (const char* reader : { "imgcodecs", "videoio", "superres", "highgui" })
        EXPECT_EQ(all.find(reader), std::string::npos) << all;
    EXPECT_LE(std::ranges::count(all, '\n'), 40) << all;
}

TEST(Linking, IsHardened)
{
    const std::string dynamic = readelf("-dW");
    EXPECT_NE(dynamic.find("NOW"), std::string::npos) << dynamic;
    EXPECT_EQ(dynamic.find("TEXTREL"), std::string::npos) << dynamic;
    EXPECT_EQ(dynamic.find("RPATH"), std::string::npos) << dynamic;

    const std::string segments = readelf("-lW");
    EXPECT_NE(segments.find("GNU_RELRO"), std::string::npos) << segments;
    const std::size_t stack = segments.find("GNU_STACK");
    ASSERT_NE(stack, std::string::npos) << segments;
    const std::string flags = segments.substr(stack, segments.find('\n', stack) - stack);
    EXPECT_NE(flags.find(" RW "), std::string::npos) << flags;
    EXPECT_EQ(flags.find("RWE"), std::string::npos) << flags;
}

TEST(Linking, HasNoSymbolThatWouldPreventUnloading)
{
    EXPECT_EQ(readelf("-sW").find("UNIQUE"), std::string::npos);
}

#endif

} // namespace miravex::test
