#include "tests/support/drawn_call.h"
#include "tests/support/host_check.h"
#include "tests/support/sample_files.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <memory>

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

/// A copy of the library under another name, gone with this object.
class Copy {
public:
    Copy()
        : path_(std::filesystem::temp_directory_path() / fmt::format("libmiravex-{}.so", getpid()))
    {
        std::filesystem::copy_file(path(), path_, std::filesystem::copy_options::overwrite_existing);
    }
    ~Copy() { std::filesystem::remove(path_); }
    [[nodiscard]] const std::filesystem::path& file() const { return path_; }

private:
    std::filesystem::path path_;
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

INSTANTIATE_TEST_SUITE_P(Ways, BareHost, ::testing::Values("local", "global", "unready"),
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

TEST(Loading, RefusesFilesThatAreNotTheLibrary)
{
    EXPECT_THROW(Library("/nowhere/libmiravex.so"), std::runtime_error);
    EXPECT_THROW(Library("/dev/null"), std::runtime_error);
    EXPECT_THROW(Library("libdl.so.2"), std::runtime_error); // no lifecycle entries
}

// Sanitizers leave symbols for the program to define and link with options of their own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

namespace {

std::string readelf(const char* options)
{
    return shell(fmt::format("readelf {} '{}'", options, path())).output;
}

} // namespace

TEST(Linking, DeclaresWhatItNeeds)
{
    const Finished result = shell(fmt::format("ldd -r '{}'", path()));
    EXPECT_EQ(result.output.find("undefined symbol"), std::string::npos) << result.output;
    EXPECT_EQ(result.output.find("not found"), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("libopencv_core"), std::string::npos) << result.output;
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
