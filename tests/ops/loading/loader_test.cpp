#include "ops/loading/bounds.h"
#include "tests/ops/loading/picture_files.h"
#include "tests/ops/loading/plain_steps.h"
#include "tests/support/host_check.h"
#include "tests/support/opencv_threads.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <thread>

namespace miravex::test {

// Expected values: the plain OpenCV calls of plain_steps.h, bit for bit, or worked by hand where said so.

namespace {

constexpr const char* operation = "LoadImagesFromPathInto";

#ifdef MIRAVEX_SANITIZED
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

/// What a slot holds before a call.
constexpr float untouched = 7.25F;

struct Request {
    std::vector<std::string> paths;
    int64_t height = 24;
    int64_t width = 32;
    int64_t channels = 3;
    std::string color = "RGB";
    bool channelsLast = true;
    ArrayPointer mean;
    ArrayPointer rstddev;
    int64_t stripes = 0;
    int64_t slots = -1; ///< as many as there are paths

    [[nodiscard]] int64_t samples() const { return height * width * channels; }
    [[nodiscard]] std::vector<int64_t> slotShape() const
    {
        if (channelsLast) return { height, width, channels };
        return { channels, height, width };
    }
    [[nodiscard]] ArrayPointer destination() const
    {
        std::vector<int64_t> shape = slotShape();
        shape.insert(shape.begin(), slots >= 0 ? slots : static_cast<int64_t>(paths.size()));
        ArrayPointer array = makeFloatArray(shape);
        std::ranges::fill(array->floats(), untouched);
        return array;
    }
    [[nodiscard]] Values values() const
    {
        std::string joined;
        std::vector<int64_t> lengths;
        for (const std::string& path : paths) {
            joined += path;
            lengths.push_back(static_cast<int64_t>(path.size()));
        }
        const ArrayPointer none = makeFloatArray({ 0 });
        return { destination(),
                 joined,
                 makeIntegerTensor({ static_cast<int64_t>(paths.size()) }, lengths),
                 color,
                 int64_t { mean != nullptr },
                 mean ? mean : none,
                 int64_t { rstddev != nullptr },
                 rstddev ? rstddev : none,
                 stripes,
                 int64_t { channelsLast } };
    }
};

std::span<float> floatsOf(const Values& values) { return std::get<ArrayPointer>(values[0])->floats(); }

std::vector<int64_t> positionsOf(const Outcome& outcome)
{
    const auto elements = outcome.tensor().integers();
    return { elements.begin(), elements.end() };
}

/// A slot's worth of values around `middle`.
ArrayPointer slotArray(const Request& request, float middle, float spread)
{
    ArrayPointer array = makeFloatArray(request.slotShape());
    cv::RNG random(11);
    for (float& value : array->floats()) value = random.uniform(middle - spread, middle + spread);
    return array;
}

int codeOf(const std::string& color)
{
    if (color == "RGB") return cv::COLOR_BGR2RGB;
    if (color == "XYZ") return cv::COLOR_BGR2XYZ;
    if (color == "LAB") return cv::COLOR_BGR2Lab;
    if (color == "LUV") return cv::COLOR_BGR2Luv;
    return cv::COLOR_BGR2GRAY;
}

/// What the plain steps make of a request; slots of unreadable files keep what they held.
std::vector<float> plainResult(const Request& request, std::vector<unsigned char>& status)
{
    const plain::Batch batch { .height = static_cast<int>(request.height),
                               .width = static_cast<int>(request.width),
                               .channels = static_cast<int>(request.channels),
                               .colorCode = codeOf(request.color),
                               .channelsLast = request.channelsLast,
                               .mean = request.mean ? request.mean->floats().data() : nullptr,
                               .rstddev = request.rstddev ? request.rstddev->floats().data() : nullptr };
    std::vector<float> slots(request.paths.size() * batch.samples(), untouched);
    status = plain::loadAll(request.paths, slots.data(), batch);
    return slots;
}

/// Runs a request and compares every readable slot with the plain steps by memcmp, and the positions.
void expectPlainBits(const Request& request)
{
    std::vector<unsigned char> status;
    const std::vector<float> expected = plainResult(request, status);
    const Values values = request.values();
    const Outcome outcome = invoke(operation, values);
    ASSERT_TRUE(outcome.ok()) << outcome.openCvError;
    std::vector<int64_t> unread;
    const auto count = static_cast<std::size_t>(request.samples());
    for (std::size_t i = 0; i < request.paths.size(); ++i) {
        if (!status[i]) {
            unread.push_back(static_cast<int64_t>(i) + 1);
            continue;
        }
        const float* actual = floatsOf(values).data() + i * count;
        if (std::memcmp(actual, expected.data() + i * count, count * sizeof(float)) == 0) continue;
        std::size_t at = 0;
        while (std::memcmp(actual + at, expected.data() + i * count + at, sizeof(float)) == 0) ++at;
        ADD_FAILURE() << fmt::format(
            "{}, {} x {}, {} channels, {}, channels {}: sample {} is {} instead of {}", request.paths[i],
            request.width, request.height, request.channels, request.color,
            request.channelsLast ? "last" : "first", at, actual[at], expected[i * count + at]);
    }
    EXPECT_EQ(positionsOf(outcome), unread);
}

/// What a refused call says on standard output; ownership is checked as always.
std::string refusalText(const Values& values)
{
    ::testing::internal::CaptureStdout();
    expectRefused(operation, values);
    return ::testing::internal::GetCapturedStdout();
}

/// Slots of one picture of the given BGR color, as PNG.
Request onePicture(const TemporaryFolder& folder, const cv::Scalar& color, int rows = 24, int columns = 32)
{
    const std::string path = folder.file("picture.png");
    cv::imwrite(path, cv::Mat(rows, columns, CV_8UC3, color));
    return { .paths = { path } };
}

/// The same JPEG with other sides in its header.
std::string withSides(std::string jpeg, unsigned rows, unsigned columns)
{
    const std::size_t frame = jpeg.find("\xFF\xC0");
    EXPECT_NE(frame, std::string::npos);
    for (const auto& [at, value] : { std::pair(frame + 5, rows), std::pair(frame + 7, columns) }) {
        jpeg[at] = static_cast<char>(value >> 8U);
        jpeg[at + 1] = static_cast<char>(value & 0xFFU);
    }
    return jpeg;
}

/// Ends a child process: 0 when a batch succeeds with these positions on so much memory beyond what is
/// mapped.
[[noreturn]] void exitWithPositions(const Request& request, int64_t bytes,
                                    const std::vector<int64_t>& expected)
{
    const Values values = request.values();
    cv::setNumThreads(1);
    library();
    std::ifstream statm("/proc/self/statm");
    int64_t pages = 0;
    statm >> pages;
    const auto most = static_cast<rlim_t>(pages * sysconf(_SC_PAGESIZE) + bytes);
    const rlimit limit { most, most };
    setrlimit(RLIMIT_AS, &limit);
    const Outcome outcome = call(library(), record(operation), values);
    std::_Exit(outcome.ok() && positionsOf(outcome) == expected ? 0 : 1);
}

/// Ends a child process: 0 when a refused call says this on an unbuffered standard output, in one piece.
[[noreturn]] void exitAfterOneWrite(const Values& values, const std::string& expected)
{
    std::array<int, 2> ends {};
    socketpair(AF_UNIX, SOCK_DGRAM, 0, ends.data()); // keeps writes apart
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    dup2(ends[0], STDOUT_FILENO);
    const Outcome outcome = call(library(), record(operation), values);
    std::array<char, 4096> text {};
    const ssize_t got = recv(ends[1], text.data(), text.size(), MSG_DONTWAIT);
    const bool whole = got > 0 && std::string(text.data(), static_cast<std::size_t>(got)) == expected;
    const bool more = recv(ends[1], text.data(), text.size(), MSG_DONTWAIT) >= 0;
    std::_Exit(!outcome.ok() && whole && !more ? 0 : 1);
}

} // namespace

TEST(LoadImages, MatchesThePlainStepsOnEveryKindOfFile)
{
    const TemporaryFolder folder;
    Request request { .paths = picturesOfEveryKind(folder) };
    for (const int threads : { 1, 3 }) {
        const Threads limited(threads);
        for (const char* color : { "RGB", "XYZ", "LAB", "LUV", "Grayscale" }) {
            for (const int64_t channels : { 1, 3 }) {
                for (const bool channelsLast : { true, false }) {
                    if (channels == 1 && channelsLast && color == std::string("RGB")) continue; // refused
                    request.color = color;
                    request.channels = channels;
                    request.channelsLast = channelsLast;
                    const ArrayPointer mean = slotArray(request, 0.45F, 0.1F);
                    const ArrayPointer rstddev = slotArray(request, 4.4F, 0.3F);
                    for (const int use : { 0, 1, 2, 3 }) {
                        request.mean = (use & 1) ? mean : nullptr;
                        request.rstddev = (use & 2) ? rstddev : nullptr;
                        expectPlainBits(request);
                    }
                }
            }
        }
    }
}

TEST(LoadImages, MatchesThePlainStepsAtEverySize)
{
    const TemporaryFolder folder;
    Request request { .paths = picturesOfEveryKind(folder) };
    for (const auto& [width, height] : std::vector<std::pair<int, int>> {
             { 1, 1 }, { 1, 9 }, { 9, 1 }, { 7, 5 }, { 33, 29 }, { 61, 45 }, { 123, 91 }, { 200, 300 } }) {
        for (const int64_t channels : { 1, 3 }) {
            request.width = width;
            request.height = height;
            request.channels = channels;
            request.channelsLast = false;
            expectPlainBits(request);
        }
    }
}

TEST(LoadImages, SkipsOnlyRowsThatTheResizeDoesNotRead)
{
    const TemporaryFolder folder;
    cv::RNG random(5);
    for (int round = 0; round < 120; ++round) {
        Request request { .height = random.uniform(1, 40), .width = random.uniform(1, 40) };
        request.channels = round % 5 == 0 ? 1 : 3;
        request.channelsLast = request.channels == 3;
        for (const auto& [horizontal, vertical] :
             std::vector<std::pair<int, int>> { { 1, 1 }, { 2, 1 }, { 2, 2 }, { 1, 2 } }) {
            const std::string path = folder.file(fmt::format("{}{}.jpg", horizontal, vertical));
            const int rows = static_cast<int>(request.height) * 3 + random.uniform(0, 300);
            writeJpeg(path,
                      scene(rows, random.uniform(1, round % 2 ? 200 : 12), static_cast<unsigned>(round)),
                      { .horizontal = horizontal,
                        .vertical = vertical,
                        .progressive = random.uniform(0, 4) == 0,
                        .gray = random.uniform(0, 6) == 0,
                        .restartInterval = random.uniform(0, 4) == 0 ? 5U : 0U });
            request.paths.push_back(path);
        }
        expectPlainBits(request);
    }
}

TEST(LoadImages, MatchesThePlainStepsOnDamagedFiles)
{
    const TemporaryFolder folder;
    const std::string whole = folder.file("whole.jpg");
    writeJpeg(whole, scene(160, 120), {});
    const std::string bytes = readFile(whole);
    cv::RNG random(3);
    Request request;
    for (int i = 0; i < 150; ++i) {
        std::string damaged = bytes;
        const int places = random.uniform(1, 4);
        for (int place = 0; place < places; ++place)
            damaged[static_cast<std::size_t>(random.uniform(2, static_cast<int>(bytes.size())))] =
                static_cast<char>(random.uniform(0, 256));
        if (i % 3 == 0)
            damaged.resize(static_cast<std::size_t>(random.uniform(3, static_cast<int>(bytes.size()))));
        request.paths.push_back(folder.file(fmt::format("damaged{}.jpg", i)));
        writeFile(request.paths.back(), damaged);
    }
    expectPlainBits(request);
    request.channels = 1;
    request.channelsLast = false;
    expectPlainBits(request);
}

TEST(LoadImages, LoadsRealPhotos)
{
    SKIP_WITHOUT(photo("fruits.jpg"));
    Request request { .height = 224, .width = 224 };
    for (const auto& entry : std::filesystem::directory_iterator("/usr/share/doc/opencv-doc/examples/data"))
        if (entry.path().extension() == ".jpg" || entry.path().extension() == ".png")
            request.paths.push_back(entry.path().string());
    for (const bool channelsLast : { true, false }) {
        request.channelsLast = channelsLast;
        expectPlainBits(request);
    }
}

TEST(LoadImages, ScalesSubtractsAndMultiplies) // by hand
{
    const TemporaryFolder folder;
    for (const bool channelsLast : { true, false }) {
        Request request = onePicture(folder, { 51, 102, 204 });
        request.channelsLast = channelsLast;
        request.mean = makeFloatArray(request.slotShape());
        request.rstddev = makeFloatArray(request.slotShape());
        std::ranges::fill(request.mean->floats(), 0.25F);
        std::ranges::fill(request.rstddev->floats(), 4.0F);
        const Values values = request.values();
        succeed(operation, values);
        const auto slot = floatsOf(values);
        const std::size_t plane = channelsLast ? 1 : 24 * 32;
        EXPECT_FLOAT_EQ(slot[0], (204.0F / 255 - 0.25F) * 4); // red comes first
        EXPECT_FLOAT_EQ(slot[plane], (102.0F / 255 - 0.25F) * 4);
        EXPECT_FLOAT_EQ(slot[2 * plane], (51.0F / 255 - 0.25F) * 4);
    }
}

TEST(LoadImages, KeepsTheOrderOfChannelsLastButForRgb) // by hand
{
    const TemporaryFolder folder;
    for (const char* color : { "XYZ", "LAB", "LUV", "Grayscale" }) {
        Request request = onePicture(folder, { 51, 102, 204 });
        request.color = color;
        const Values values = request.values();
        succeed(operation, values);
        EXPECT_FLOAT_EQ(floatsOf(values)[0], 51.0F / 255) << color;
        EXPECT_FLOAT_EQ(floatsOf(values)[2], 204.0F / 255) << color;
    }
    Request lab = onePicture(folder, { 255, 255, 255 });
    lab.color = "LAB";
    lab.channelsLast = false;
    const Values values = lab.values();
    succeed(operation, values);
    EXPECT_NEAR(floatsOf(values)[0], 100, 0.01); // L of white
    EXPECT_NEAR(floatsOf(values)[24 * 32], 0, 0.01);
}

TEST(LoadImages, TakesAnyNumberBut0ForChannelsLast)
{
    const TemporaryFolder folder;
    const Request request = onePicture(folder, { 51, 102, 204 });
    for (const int64_t flag : { int64_t { -7 }, int64_t { 2 }, int64_t { 1 } << 32 }) {
        Values values = request.values();
        values[9] = flag;
        succeed(operation, values);
        EXPECT_FLOAT_EQ(floatsOf(values)[0], 204.0F / 255) << flag;
        EXPECT_FLOAT_EQ(floatsOf(values)[1], 102.0F / 255) << flag;
    }
}

TEST(LoadImages, TurnsColorPlanesGrayInTheFirstPlaneOnly)
{
    const TemporaryFolder folder;
    Request request = onePicture(folder, { 51, 51, 51 });
    request.color = "Grayscale";
    request.channelsLast = false;
    request.mean = slotArray(request, 0.5F, 0.1F);
    const Values values = request.values();
    succeed(operation, values);
    const auto slot = floatsOf(values);
    EXPECT_NEAR(slot[0], 0.2F - request.mean->floats()[0], 1e-6);
    for (std::size_t i = 24 * 32; i < slot.size(); ++i) ASSERT_EQ(slot[i], untouched) << i;
}

TEST(LoadImages, ReadsNothingOfAnEmptyList)
{
    for (const int64_t slots : { 0, 2 }) {
        const Request request { .slots = slots };
        const Values values = request.values();
        const Outcome outcome = succeed(operation, values);
        EXPECT_EQ(outcome.tensor().elementType, TensorTypeInteger);
        EXPECT_EQ(outcome.tensor().dimensions, std::vector<int64_t> { 0 });
        for (const float value : floatsOf(values)) ASSERT_EQ(value, untouched);
    }
}

TEST(LoadImages, FillsTheSlotsOfUnreadableFilesWithNoise)
{
    const TemporaryFolder folder;
    Request request = onePicture(folder, { 51, 102, 204 });
    request.paths = { request.paths[0], folder.file("missing.png"), request.paths[0],
                      folder.file("none.jpg") };
    request.slots = 5;
    for (const bool withMean : { false, true }) {
        request.mean = withMean ? slotArray(request, 10, 0.5F) : nullptr;
        request.rstddev = withMean ? slotArray(request, 1000, 1) : nullptr;
        const Values values = request.values();
        EXPECT_EQ(positionsOf(succeed(operation, values)), (std::vector<int64_t> { 2, 4 }));
        const auto count = static_cast<std::size_t>(request.samples());
        double sum = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const float noise = floatsOf(values)[count + i] + (withMean ? request.mean->floats()[i] : 0);
            ASSERT_GE(noise, withMean ? -1e-5F : 0);
            ASSERT_LT(noise, withMean ? 1 + 1e-5F : 1); // the reciprocal deviation is not applied
            sum += noise;
        }
        EXPECT_NEAR(sum / static_cast<double>(count), 0.5, 0.05);
        // Each file has an engine of its own.
        EXPECT_NE(std::memcmp(&floatsOf(values)[count], &floatsOf(values)[3 * count], count * sizeof(float)),
                  0);
        EXPECT_NE(floatsOf(values)[0], untouched);
        EXPECT_EQ(floatsOf(values)[4 * count], untouched) << "a slot without a file was written";
    }
}

TEST(LoadImages, FailsAFileThatOpenCvThrowsAtAndNotTheBatch)
{
    const TemporaryFolder folder;
    picturesOfEveryKind(folder);
    EXPECT_THROW(static_cast<void>(cv::imread(folder.file("huge.bmp"))), cv::Exception);
    const Request request { .paths = { folder.file("420.jpg"), folder.file("huge.bmp"),
                                       folder.file("444.jpg") } };
    EXPECT_EQ(positionsOf(succeed(operation, request.values())), std::vector<int64_t> { 2 });
}

TEST(LoadImages, DoesNotDependOnThreadsOrStripes)
{
    const TemporaryFolder folder;
    Request request { .paths = picturesOfEveryKind(folder) };
    for (const int threads : { 1, 2, 4 }) {
        const Threads limited(threads);
        for (const int64_t stripes : { int64_t { -1 }, int64_t { 0 }, int64_t { 1 }, int64_t { 2 },
                                       int64_t { 7 }, int64_t { 1000 }, INT64_MIN, INT64_MAX }) {
            request.stripes = stripes;
            expectPlainBits(request);
        }
    }
}

TEST(LoadImages, RunsFromSeveralThreadsAtOnce)
{
    const TemporaryFolder folder;
    const Request request { .paths = picturesOfEveryKind(folder) };
    std::vector<std::thread> callers;
    for (int i = 0; i < 4; ++i) callers.emplace_back([&] { expectPlainBits(request); });
    for (std::thread& caller : callers) caller.join();
}

TEST(LoadImages, SaysWhatIsWrongOnStandardOutput)
{
    const TemporaryFolder folder;
    const Request request = onePicture(folder, { 1, 2, 3 });
    Values values = request.values();
    values.pop_back();
    EXPECT_EQ(refusalText(values), "Runtime Error: Invalid arg number: gave 9 expected 9\n");
    values = request.values();
    values.emplace_back(int64_t { 0 });
    EXPECT_EQ(refusalText(values), "Runtime Error: Invalid arg number: gave 11 expected 9\n");

    for (const char* color :
         { "rgb", "RGB ", "RG", "RGBA", "", "Lab", "GrayScale", "Grayscal", "xyz", "HSV" }) {
        Request wrong = request;
        wrong.color = color;
        EXPECT_EQ(refusalText(wrong.values()), "Runtime Error: Invalid color space.\n") << color;
    }

    values = request.values();
    std::get<ArrayPointer>(values[0])->elementType = 10;
    values[3] = std::string("rgb"); // the type is looked at first
    EXPECT_EQ(refusalText(values), "Runtime Error: Destination NumericArray is of incorrect type\n");
    values = request.values();
    values[0] = makeFloatArray({ 24, 32, 3 });
    EXPECT_EQ(refusalText(values), "Runtime Error: Destination NumericArray is of incorrect rank\n");

    for (const auto& [slot, name] :
         std::vector<std::pair<std::size_t, std::string>> { { 5, "Mean image" }, { 7, "rstddev image" } }) {
        values = request.values();
        values[slot - 1] = int64_t { -3 }; // any number but 0 is yes
        values[slot] = makeFloatArray({ 24 * 32 * 3 });
        EXPECT_EQ(refusalText(values), "Runtime Error: " + name + " NumericArray is of incorrect rank\n");
        values[slot] = makeFloatArray({ 24, 32, 3 });
        std::get<ArrayPointer>(values[slot])->elementType = 8;
        EXPECT_EQ(refusalText(values), "Runtime Error: " + name + " NumericArray is of incorrect type\n");
        values[slot - 1] = int64_t { 0 }; // now it is not read
        EXPECT_TRUE(invoke(operation, values).ok());
    }
}

TEST(LoadImages, SaysNothingOfSuccess)
{
    const TemporaryFolder folder;
    Request request = onePicture(folder, { 1, 2, 3 });
    request.paths.push_back(folder.file("missing.png"));
    ::testing::internal::CaptureStdout();
    succeed(operation, request.values());
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

TEST(LoadImages, GivesBackWhatThereIsOnAWrongCount)
{
    const TemporaryFolder folder;
    const Values whole = onePicture(folder, { 1, 2, 3 }).values();
    for (std::size_t count = 0; count < whole.size(); ++count) {
        Values values(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(count));
        ::testing::internal::CaptureStdout();
        const Outcome outcome = invoke(operation, values); // expects each of slots 0, 1 and 3 back once
        EXPECT_EQ(::testing::internal::GetCapturedStdout(),
                  fmt::format("Runtime Error: Invalid arg number: gave {} expected 9\n", count));
        EXPECT_EQ(outcome.status, StatusFunctionError);
        EXPECT_EQ(outcome.accounting.arraysGivenBack, count > 0 ? 1 : 0);
        EXPECT_EQ(outcome.accounting.stringsGivenBack, (count > 1 ? 1 : 0) + (count > 3 ? 1 : 0));
    }
}

TEST(LoadImages, RefusesOneChannelLastAsRgb)
{
    const TemporaryFolder folder;
    Request request = onePicture(folder, { 1, 2, 3 });
    request.channels = 1;
    const std::string text = refusalText(request.values());
    EXPECT_EQ(text.rfind("Exception: ", 0), 0U) << text;
    EXPECT_NE(text.find("Invalid number of channels in input image"), std::string::npos) << text;
    EXPECT_EQ(text.back(), '\n');

    request.paths.assign(20, request.paths[0]); // of many workers the first speaks
    EXPECT_EQ(refusalText(request.values()).rfind("Exception: ", 0), 0U);

    request.channelsLast = false; // no conversion is tried
    expectPlainBits(request);
    request.channelsLast = true;
    request.paths = { folder.file("missing.png") }; // nor for a file that isn't there
    EXPECT_EQ(positionsOf(succeed(operation, request.values())), std::vector<int64_t> { 1 });
}

TEST(LoadImages, RefusesSlotsOfNoSize)
{
    const TemporaryFolder folder;
    Request request = onePicture(folder, { 1, 2, 3 });
    request.height = 0;
    EXPECT_EQ(refusalText(request.values()).rfind("Exception: ", 0),
              0U); // OpenCV's word on a resize to nothing
    request.paths = { folder.file("missing.png") };
    EXPECT_EQ(positionsOf(succeed(operation, request.values())), std::vector<int64_t> { 1 });
}

TEST(LoadImages, RefusesWhatWouldLeaveTheDestination)
{
    const TemporaryFolder folder;
    const Request request = onePicture(folder, { 1, 2, 3 });
    const auto say = [&](const Values& values, const std::string& expected) {
        EXPECT_EQ(refusalText(values), "Runtime Error: " + expected + "\n");
    };

    Request crowded = request;
    crowded.paths.push_back(request.paths[0]);
    crowded.slots = 1;
    say(crowded.values(), "There are more files than slots in the destination NumericArray");
    crowded.slots = 2;
    EXPECT_TRUE(invoke(operation, crowded.values()).ok());

    for (const int64_t channels : { 0, 2, 4, 5 }) {
        for (const bool channelsLast : { true, false }) {
            Request wrong = request;
            wrong.channels = channels;
            wrong.channelsLast = channelsLast;
            say(wrong.values(), "Destination NumericArray must have 1 or 3 channels");
        }
    }

    Values values = request.values();
    const auto length = static_cast<int64_t>(request.paths[0].size());
    for (const int64_t wrong : { length + 1, INT64_MAX }) {
        values[2] = makeIntegerTensor({ 1 }, std::vector<int64_t> { wrong });
        say(values, "The path lengths exceed the string of paths");
    }
    for (const int64_t wrong : { int64_t { -1 }, INT64_MIN }) {
        values[2] = makeIntegerTensor({ 1 }, std::vector<int64_t> { wrong });
        say(values, "A path length is negative");
    }
    crowded.slots = 3;
    values = crowded.values();
    values[2] = makeIntegerTensor({ 3 }, std::vector<int64_t> { length, length, 1 });
    say(values, "The path lengths exceed the string of paths");

    for (const auto& [slot, name] :
         std::vector<std::pair<std::size_t, std::string>> { { 5, "Mean image" }, { 7, "rstddev image" } }) {
        values = request.values();
        values[slot - 1] = int64_t { 1 };
        values[slot] = makeFloatArray({ 24, 31, 3 });
        say(values, name + " NumericArray has fewer elements than a slot");
        values[slot] = makeFloatArray({ 0, 0, 0 });
        say(values, name + " NumericArray has fewer elements than a slot");
        values[slot] = makeFloatArray({ 1, 3, 24 * 32 }); // its own dimensions do not matter
        EXPECT_TRUE(invoke(operation, values).ok());
    }
}

TEST(LoadImages, RefusesMissingObjects)
{
    const TemporaryFolder folder;
    const Request request = onePicture(folder, { 1, 2, 3 });
    const auto without = [&](std::size_t slot, const Value& nothing) {
        Values values = request.values();
        values[slot] = nothing;
        return refusalText(values);
    };
    EXPECT_EQ(without(0, ArrayPointer()), "Runtime Error: Destination NumericArray is missing\n");
    EXPECT_EQ(without(1, {}), "Runtime Error: A string argument is missing\n");
    EXPECT_EQ(without(2, TensorPointer()), "Runtime Error: The path lengths can't be read\n");
    EXPECT_EQ(without(2, realList({ 4.0 })), "Runtime Error: The path lengths can't be read\n");
    EXPECT_EQ(without(3, {}), "Runtime Error: A string argument is missing\n");
    Values values = request.values();
    values[4] = int64_t { 1 };
    values[5] = ArrayPointer();
    EXPECT_EQ(refusalText(values), "Runtime Error: Mean image NumericArray is missing\n");

    values = request.values();
    values[0] = wrapFloatArray({ 1, 24, 32, 3 }, nullptr, nullptr);
    EXPECT_EQ(refusalText(values), "Runtime Error: Destination NumericArray has no data\n");
    std::get<ArrayPointer>(values[0])->dimensions[1] = -24;
    EXPECT_EQ(refusalText(values), "Runtime Error: Destination NumericArray has a negative dimension\n");
    values[0] = wrapFloatArray({ 1, int64_t { 1 } << 40, 0, 3 }, nullptr, nullptr);
    EXPECT_EQ(refusalText(values), "Runtime Error: Destination NumericArray has too large slots\n");
}

TEST(LoadImages, RefusesMissingTablesAndSlots)
{
    const MiravexOperation function = library().operation(operation);
    ValueCell result {};
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(function(nullptr, 10, nullptr, &result), StatusFunctionError);
    EXPECT_EQ(function(nullptr, 3, nullptr, nullptr), StatusFunctionError);
    EXPECT_EQ(function(nullptr, -1, nullptr, nullptr), StatusFunctionError);
    EXPECT_EQ(function(nullptr, INT64_MIN, nullptr, nullptr), StatusFunctionError);
    ArgumentSlot none[10] = {};
    LibraryDataTable table {};
    EXPECT_EQ(function(&table, 10, none, &result), StatusFunctionError);
    EXPECT_EQ(function(&table, 10, none, nullptr), StatusFunctionError);
    EXPECT_EQ(function(&table, 4, none, nullptr), StatusFunctionError);
    ::testing::internal::GetCapturedStdout();
}

TEST(LoadImages, SurvivesFaults)
{
    const TemporaryFolder folder;
    Request request = onePicture(folder, { 1, 2, 3 });
    ::testing::internal::CaptureStdout();
    request.paths.push_back(folder.file("missing.png"));
    expectSurvivesFaults(operation, request.values());
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "Runtime Error: could not create output integer tensor.\n"
              "Runtime Error: could not create output integer tensor.\n");
}

TEST(LoadImages, ReadsNoPipes)
{
    const TemporaryFolder folder;
    Request request = onePicture(folder, { 1, 2, 3 });
    request.paths.push_back("/dev/null");
    EXPECT_EQ(positionsOf(succeed(operation, request.values())), std::vector<int64_t> { 2 });
}

TEST(LoadImages, KeepsOpenCvsLoweredLimits)
{
    // OpenCV reads its limits when it is loaded: CTest runs this once more with them set.
    if (!std::getenv("OPENCV_IO_MAX_IMAGE_WIDTH")) GTEST_SKIP() << "OPENCV_IO_MAX_IMAGE_WIDTH is not set";
    const TemporaryFolder folder;
    const std::string path = folder.file("picture.jpg");
    writeJpeg(path, scene(40, 50), {});
    const Request request { .paths = { path } };
    EXPECT_EQ(positionsOf(succeed(operation, request.values())), std::vector<int64_t> { 1 });
}

#ifndef MIRAVEX_SANITIZED

TEST(LoadImages, DoesNotGrow)
{
    const TemporaryFolder folder;
    Request request { .paths = picturesOfEveryKind(folder), .height = 64, .width = 64 };
    const auto residentPages = [] {
        std::ifstream statm("/proc/self/statm");
        int64_t pages = 0;
        statm >> pages >> pages;
        return pages;
    };
    const auto openFiles = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const Values values = request.values();
    for (int i = 0; i < 5; ++i) succeed(operation, values);
    const int64_t pages = residentPages();
    const auto files = openFiles();
    for (int i = 0; i < 30; ++i) succeed(operation, values);
    EXPECT_LT(residentPages(), pages + pages / 20);
    EXPECT_EQ(openFiles(), files);
}

#endif

TEST(LoadImages, FailsAFileThatMemoryDoesNotHoldAndNotTheBatch)
{
    if (sanitized) GTEST_SKIP() << "a sanitizer needs more memory than the limit leaves";
    const TemporaryFolder folder;
    writeJpeg(folder.file("small.jpg"), scene(40, 50));
    writeFile(folder.file("promising.jpg"), withSides(readFile(folder.file("small.jpg")), 30000, 30000));
    for (const int64_t channels : { 1, 3 }) {
        const Request request { .paths = { folder.file("small.jpg"), folder.file("promising.jpg"),
                                           folder.file("small.jpg") },
                                .channels = channels,
                                .channelsLast = false };
        // 0.9 and 2.7 GB in one piece
        EXPECT_EXIT(exitWithPositions(request, int64_t { 1 } << 29, { 2 }), ::testing::ExitedWithCode(0), "")
            << channels << " channels";
    }
}

TEST(LoadImages, NeedsTheMemoryOfADamagedPictureOnce)
{
    if (sanitized) GTEST_SKIP() << "a sanitizer needs more memory than the limit leaves";
    const TemporaryFolder folder;
    writeJpeg(folder.file("small.jpg"), scene(40, 50));
    writeFile(folder.file("damaged.jpg"), withSides(readFile(folder.file("small.jpg")), 12000, 12000));
    const Request request { .paths = { folder.file("damaged.jpg") } };
    // 432 MB in each of the two readers
    EXPECT_EXIT(exitWithPositions(request, int64_t { 700 } << 20, {}), ::testing::ExitedWithCode(0), "");
}

TEST(LoadImages, SaysEachMessageInOneWrite)
{
    const TemporaryFolder folder;
    Request request = onePicture(folder, { 1, 2, 3 });
    request.color = "rgb";
    EXPECT_EXIT(exitAfterOneWrite(request.values(), "Runtime Error: Invalid color space.\n"),
                ::testing::ExitedWithCode(0), "");
}

TEST(LoadImages, LooksAtAllBitsOfItsIntegers)
{
    const TemporaryFolder folder;
    Request request = onePicture(folder, { 51, 102, 204 });
    request.mean = slotArray(request, 0.5F, 0.0F);
    request.rstddev = slotArray(request, 4.0F, 0.0F);
    const auto first = [&](const Values& values) {
        succeed(operation, values);
        return floatsOf(values)[0];
    };
    for (const int64_t flag : { int64_t { 1 } << 32, INT64_MIN }) { // nothing in their low 32 bits
        Values values = request.values();
        values[4] = flag;
        values[6] = flag;
        EXPECT_FLOAT_EQ(first(values), (0.8F - 0.5F) * 4) << flag;
        values[4] = int64_t { 0 };
        EXPECT_FLOAT_EQ(first(values), 0.8F * 4) << flag;
        values[6] = int64_t { 0 };
        EXPECT_FLOAT_EQ(first(values), 0.8F) << flag;
    }
    for (const int64_t stripes : { INT64_MIN, int64_t { -1 }, int64_t { 1 } << 32, INT64_MAX }) {
        Values values = request.values();
        values[8] = stripes;
        EXPECT_FLOAT_EQ(first(values), (0.8F - 0.5F) * 4) << stripes;
    }
}

TEST(LoadImages, ForetellsItsRefusals)
{
    const TemporaryFolder folder;
    const Request request = onePicture(folder, { 1, 2, 3 });
    const auto with = [&](const std::vector<std::pair<std::size_t, Value>>& changes) {
        Values values = request.values();
        for (const auto& [slot, value] : changes) values[slot] = value;
        return values;
    };
    const auto ofType = [](std::vector<int64_t> dimensions, int type) {
        ArrayPointer array = makeFloatArray(std::move(dimensions));
        array->elementType = type;
        return array;
    };
    const auto lengths = [](std::vector<int64_t> elements) {
        const auto count = static_cast<int64_t>(elements.size());
        return makeIntegerTensor({ count }, elements);
    };
    const auto path = static_cast<int64_t>(request.paths[0].size());
    const int64_t beyond = bounds::slotSide + 1;
    const int64_t yes = 1;
    struct Refused {
        const char* argument;
        const char* expected;
        Values values;
    };
    const std::vector<Refused> refused {
        { "destination", "rank 4", with({ { 0, ofType({ 1, 24, 32, 3 }, 10) } }) },
        { "destination", "rank 4", with({ { 0, makeFloatArray({ 24, 32, 3 }) } }) },
        { "destination", "1 or 3 channels", with({ { 0, makeFloatArray({ 1, 24, 32, 2 }) } }) },
        { "destination", "2^30 rows",
          with({ { 0, makeFloatArray({ 0, beyond, 1, 3 }) }, { 2, lengths({}) } }) },
        { "destination", "2^30 rows",
          with({ { 0, makeFloatArray({ 0, 3, 1, beyond }) }, { 2, lengths({}) }, { 9, int64_t { 0 } } }) },
        { "destination", "array", with({ { 0, ArrayPointer() } }) },
        { "lengths", "do not exceed the paths", with({ { 2, lengths({ path + 1 }) } }) },
        { "lengths", "at least 0", with({ { 2, lengths({ -1 }) } }) },
        { "lengths", "slots", with({ { 0, makeFloatArray({ 0, 24, 32, 3 }) } }) },
        { "lengths", "integers", with({ { 2, TensorPointer() } }) },
        { "color_space", "one of RGB", with({ { 3, std::string("rgb") } }) },
        { "color_space", "other than RGB", with({ { 0, makeFloatArray({ 1, 24, 32, 1 }) } }) },
        { "mean", "rank 3", with({ { 4, yes }, { 5, makeFloatArray({ 24 * 32 * 3 }) } }) },
        { "mean", "rank 3", with({ { 4, yes }, { 5, ofType({ 24, 32, 3 }, 10) } }) },
        { "mean", "slot's elements", with({ { 4, yes }, { 5, makeFloatArray({ 24, 31, 3 }) } }) },
        { "mean", "array", with({ { 4, yes }, { 5, ArrayPointer() } }) },
        { "rstddev", "rank 3", with({ { 6, yes }, { 7, makeFloatArray({ 24 * 32 * 3 }) } }) },
        { "rstddev", "rank 3", with({ { 6, yes }, { 7, ofType({ 24, 32, 3 }, 10) } }) },
        { "rstddev", "slot's elements", with({ { 6, yes }, { 7, makeFloatArray({ 24, 31, 3 }) } }) },
        { "rstddev", "array", with({ { 6, yes }, { 7, ArrayPointer() } }) },
    };
    EXPECT_TRUE(check(record(operation), request.values()).empty());
    for (const Refused& call : refused) {
        SCOPED_TRACE(fmt::format("{} with {}", call.argument, call.expected));
        EXPECT_NE(refusalText(call.values), "");
        const std::vector<Refusal> refusals = check(record(operation), call.values);
        ASSERT_EQ(refusals.size(), 1U);
        EXPECT_EQ(refusals[0].argument, call.argument);
        EXPECT_NE(refusals[0].value, "");
        EXPECT_THAT(refusals[0].expected, ::testing::HasSubstr(call.expected));
    }
    // Lists of so many paths take more memory than tests have.
    EXPECT_TRUE(bounds::filesFit(bounds::batchFiles));
    EXPECT_FALSE(bounds::filesFit(bounds::batchFiles + 1));
}

} // namespace miravex::test
