// Compares the batch loader with cv::imread alone and with the plain OpenCV calls, in interleaved rounds of
// one process, and prints medians of the rounds' ratios.
//
//     bench_loader [--rounds N] [--keep DIR]
//
// Pictures are crops of opencv-doc's colour photos, written to a folder of their own first.

#include "host/catalog.h"
#include "host/library.h"
#include "tests/importops/plain_steps.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <map>
#include <numeric>
#include <random>

namespace {

namespace fs = std::filesystem;
using miravex::plain::Batch;
using Paths = std::vector<std::string>;

constexpr int side = 224;

struct PictureSet {
    std::string name;
    Paths paths;
};

/// Every colour JPEG of opencv-doc.
std::vector<cv::Mat> photos()
{
    Paths paths;
    for (const auto& entry : fs::directory_iterator("/usr/share/doc/opencv-doc/examples/data"))
        if (entry.path().extension() == ".jpg") paths.push_back(entry.path().string());
    std::ranges::sort(paths);
    std::vector<cv::Mat> found;
    for (const std::string& path : paths) {
        cv::Mat photo = cv::imread(path, cv::IMREAD_UNCHANGED);
        if (photo.channels() == 3) found.push_back(photo);
    }
    if (found.empty()) throw std::runtime_error("the photos of opencv-doc are needed");
    return found;
}

/// `count` crops of photos, brought to the size that `sizeOf` draws, as JPEGs of quality 90.
Paths writePictures(const fs::path& folder, const std::string& name, int count,
                    const std::function<cv::Size(std::mt19937&)>& sizeOf)
{
    static const std::vector<cv::Mat> sources = photos();
    std::mt19937 random(7);
    Paths paths;
    for (int i = 0; i < count; ++i) {
        const cv::Mat& source = sources[static_cast<std::size_t>(i) % sources.size()];
        const int width = source.cols * (60 + static_cast<int>(random() % 40)) / 100;
        const int height = source.rows * (60 + static_cast<int>(random() % 40)) / 100;
        const cv::Rect crop(static_cast<int>(random() % static_cast<unsigned>(source.cols - width + 1)),
                            static_cast<int>(random() % static_cast<unsigned>(source.rows - height + 1)),
                            width, height);
        cv::Mat picture;
        cv::resize(source(crop), picture, sizeOf(random), 0, 0, cv::INTER_CUBIC);
        paths.push_back((folder / fmt::format("{}{:04}.jpg", name, i)).string());
        cv::imwrite(paths.back(), picture, { cv::IMWRITE_JPEG_QUALITY, 90 });
    }
    return paths;
}

/// One call of the operation for a whole batch into memory that stays the same from round to round.
class LibraryRun {
public:
    LibraryRun(const miravex::Library& library, const Paths& paths, bool channelsLast,
               const miravex::ArrayPointer& slots, int64_t stripes = 0)
        : library_(&library)
    {
        std::string joined;
        std::vector<int64_t> lengths;
        for (const std::string& path : paths) {
            joined += path;
            lengths.push_back(static_cast<int64_t>(path.size()));
        }
        const auto files = static_cast<int64_t>(paths.size());
        const auto none = miravex::makeFloatArray({ 0 });
        slots->dimensions = channelsLast ? std::vector<int64_t> { files, side, side, 3 }
                                         : std::vector<int64_t> { files, 3, side, side };
        dimensions_ = slots->dimensions;
        values_ = { slots,
                    joined,
                    miravex::makeIntegerTensor({ files }, lengths),
                    "RGB",
                    int64_t { 0 },
                    none,
                    int64_t { 0 },
                    none,
                    stripes,
                    int64_t { channelsLast } };
    }

    void operator()() const
    {
        std::get<miravex::ArrayPointer>(values_[0])->dimensions = dimensions_;
        const miravex::Outcome outcome =
            miravex::call(*library_, *miravex::findOperation("LoadImagesFromPathInto"), values_);
        if (!outcome.ok() || outcome.tensor().length() != 0)
            throw std::runtime_error("the library could not load the batch: " + outcome.openCvError);
    }

private:
    const miravex::Library* library_;
    std::vector<int64_t> dimensions_;
    std::vector<miravex::Value> values_;
};

using Variants = std::vector<std::pair<std::string, std::function<void()>>>;

/// Seconds by the wall clock, and seconds of processor time, which other programs disturb less.
struct Seconds {
    std::vector<double> wall;
    std::vector<double> processor;
};

double processorSeconds()
{
    timespec now {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// What every variant takes in every round; each round runs all of them, in turned order.
std::map<std::string, Seconds> measure(const Variants& variants, int rounds)
{
    std::map<std::string, Seconds> seconds;
    for (const auto& [name, run] : variants) run(); // caches warm
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < variants.size(); ++i) {
            const auto& [name, run] = variants[(i + static_cast<std::size_t>(round)) % variants.size()];
            const auto start = std::chrono::steady_clock::now();
            const double before = processorSeconds();
            run();
            seconds[name].processor.push_back(processorSeconds() - before);
            seconds[name].wall.push_back(
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        }
    }
    return seconds;
}

double median(std::vector<double> values)
{
    std::ranges::sort(values);
    return values[values.size() / 2];
}

/// Median over the rounds of a's time over b's.
double ratio(const std::vector<double>& a, const std::vector<double>& b)
{
    std::vector<double> ratios(a.size());
    std::ranges::transform(a, b, ratios.begin(), std::divides {});
    return median(ratios);
}

void imreadAll(const Paths& paths)
{
    for (const std::string& path : paths)
        if (cv::imread(path, cv::IMREAD_COLOR).empty()) throw std::runtime_error("unreadable: " + path);
}

void onThreads(int threads, const std::function<void()>& run)
{
    cv::setNumThreads(threads);
    run();
}

void row(const std::string& set, const std::string& what, double value, const std::string& target)
{
    fmt::print("| {:<36} | {:<52} | {:>5.2f} | {:<13} |\n", set, what, value, target);
}

struct Libraries {
    miravex::Library direct { miravex::Library::defaultPath() };
    miravex::Library indirect { miravex::Library::defaultPath().parent_path() / "libmiravex_indirect.so" };
};

void compare(const Libraries& libraries, const PictureSet& set, const miravex::ArrayPointer& slots,
             int rounds, const std::string& target)
{
    for (const bool channelsLast : { false, true }) {
        const Batch batch { .height = side, .width = side, .channelsLast = channelsLast };
        const LibraryRun direct(libraries.direct, set.paths, channelsLast, slots);
        const LibraryRun indirect(libraries.indirect, set.paths, channelsLast, slots);
        const auto plain = [&] { miravex::plain::loadAll(set.paths, slots->floats().data(), batch); };
        const auto seconds = measure({ { "imread", [&] { onThreads(1, [&] { imreadAll(set.paths); }); } },
                                       { "plain", [&] { onThreads(1, plain); } },
                                       { "direct", [&] { onThreads(1, direct); } },
                                       { "indirect", [&] { onThreads(1, indirect); } },
                                       { "two", [&] { onThreads(2, direct); } } },
                                     rounds);
        const auto& imread = seconds.at("imread").processor;
        const std::string name = set.name + (channelsLast ? ", channels last" : ", channels first");
        row(name, "loader / cv::imread alone", ratio(seconds.at("direct").processor, imread), target);
        row(name, "loader through OpenCV only / cv::imread alone",
            ratio(seconds.at("indirect").processor, imread), "at most 1.27");
        row(name, "plain steps / cv::imread alone", ratio(seconds.at("plain").processor, imread), "");
        row(name, "plain steps / loader",
            ratio(seconds.at("plain").processor, seconds.at("direct").processor), "at least 2.0");
        row(name, "one thread / two threads", ratio(seconds.at("direct").wall, seconds.at("two").wall),
            "at least 1.9");
    }
}

/// Few stripes for pictures of many sizes: the slowest worker's time over an even share.
void compareStripes(const Libraries& libraries, const PictureSet& set, const miravex::ArrayPointer& slots,
                    int rounds)
{
    const LibraryRun many(libraries.direct, set.paths, true, slots, 0);
    const LibraryRun two(libraries.direct, set.paths, true, slots, 2);
    const auto seconds = measure({ { "one", [&] { onThreads(1, many); } },
                                   { "many", [&] { onThreads(2, many); } },
                                   { "two", [&] { onThreads(2, two); } } },
                                 rounds);
    row(set.name, "one thread / two threads, default stripes",
        ratio(seconds.at("one").wall, seconds.at("many").wall), "at least 1.9");
    row(set.name, "one thread / two threads, two stripes",
        ratio(seconds.at("one").wall, seconds.at("two").wall), "at least 1.9");
}

} // namespace

int main(int argc, char** argv)
{
    int rounds = 9;
    fs::path kept;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::string_view(argv[i]) == "--rounds") rounds = std::atoi(argv[i + 1]);
        if (std::string_view(argv[i]) == "--keep") kept = argv[i + 1];
    }
    const fs::path folder = kept.empty()
        ? fs::temp_directory_path() / fmt::format("miravex-loader-{}", std::random_device {}())
        : kept;
    fs::create_directories(folder);
    int status = 0;
    try {
        const PictureSet small { "300 of 500 x 375", writePictures(folder, "small", 300, [](std::mt19937&) {
                                     return cv::Size(500, 375);
                                 }) };
        const PictureSet large { "40 of 2000 x 1500", writePictures(folder, "large", 40, [](std::mt19937&) {
                                     return cv::Size(2000, 1500);
                                 }) };
        const PictureSet mixed { "80 of mixed sizes",
                                 writePictures(folder, "mixed", 80, [](std::mt19937& random) {
                                     const int width =
                                         random() % 8 == 0 ? 2400 : 200 + static_cast<int>(random() % 300);
                                     return cv::Size(width, width * 3 / 4);
                                 }) };
        const Libraries libraries;
        const auto slots = miravex::makeFloatArray({ 300, side, side, 3 });
        fmt::print("| {:<36} | {:<52} | ratio | target        |\n|{:-<38}|{:-<54}|-------|{:-<15}|\n",
                   "pictures", "what", "", "", "");
        compare(libraries, small, slots, rounds, "at most 0.62");
        compare(libraries, large, slots, rounds, "at most 0.54");
        compareStripes(libraries, mixed, slots, rounds);
    } catch (const std::exception& error) {
        fmt::print(stderr, "bench_loader: {}\n", error.what());
        status = 1;
    }
    if (kept.empty()) fs::remove_all(folder);
    return status;
}
