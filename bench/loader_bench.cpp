// Compares the batch loader with cv::imread alone and with the plain OpenCV calls, in interleaved rounds of
// one process, and prints medians of the rounds' ratios.
//
//     bench_loader [--rounds N] [--benchmark_out=FILE]     ratios, on standard output and as JSON
//     bench_loader --write FOLDER                          only the pictures, for scripts/bench-loader
//     bench_loader --serve LIST                            loads the files of LIST for each line on standard
//                                                          input and answers with the seconds that it took
//
// Pictures are crops of opencv-doc's colour photos, written to a folder of their own first.

#include "catalog/catalog.h"
#include "host/library.h"
#include "ops/loading/direct_jpeg.h"
#include "tests/ops/loading/plain_steps.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
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

/// Mean bits of a file for one of its pixels: what entropy decoding costs follows it.
double bitsPerPixel(const Paths& paths)
{
    double bits = 0;
    double pixels = 0;
    for (const std::string& path : paths) {
        bits += 8 * static_cast<double>(fs::file_size(path));
        pixels += static_cast<double>(cv::imread(path, cv::IMREAD_GRAYSCALE).total());
    }
    return bits / pixels;
}

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

/// `count` crops of photos, their sides at least `least` percent of the photo's, brought to the size that
/// `sizeOf` draws, as JPEGs of quality 90.
Paths writePictures(const fs::path& folder, const std::string& name, int count,
                    const std::function<cv::Size(std::mt19937&)>& sizeOf, int least = 60)
{
    static const std::vector<cv::Mat> sources = photos();
    std::mt19937 random(7);
    Paths paths;
    for (int i = 0; i < count; ++i) {
        const cv::Mat& source = sources[static_cast<std::size_t>(i) % sources.size()];
        const int width = source.cols * (least + static_cast<int>(random() % 40)) / 100;
        const int height = source.rows * (least + static_cast<int>(random() % 40)) / 100;
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

/// What the loader can't do without: decoding alone, by its own reader of JPEGs. False where it has none.
bool decodeAll(const Paths& paths)
{
    miravex::importops::Scratch scratch;
    return std::ranges::all_of(paths, [&](const std::string& path) {
        return !miravex::importops::readJpegDirectly(path, true, 0, scratch).empty();
    });
}

void onThreads(int threads, const std::function<void()>& run)
{
    cv::setNumThreads(threads);
    run();
}

/// A line of the table, kept for the JSON file too: ours over theirs, at most `target` (0: none).
class Table {
public:
    Table()
    {
        fmt::print("| {:<44} | {:<50} | ratio | at most |\n|{:-<46}|{:-<52}|-------|---------|\n", "pictures",
                   "what", "", "");
    }

    void add(const std::string& set, const std::string& what, const std::vector<double>& ours,
             const std::vector<double>& theirs, double target)
    {
        const double value = ratio(ours, theirs);
        fmt::print("| {:<44} | {:<50} | {:>5.2f} | {:>7} |\n", set, what, value,
                   target > 0 ? fmt::format("{:.2f}", target) : "");
        nlohmann::ordered_json line { { "name", "loader, " + set + ": " + what },
                                      { "ratio", value },
                                      { "real_time", 1000 * median(ours) },
                                      { "baseline_ms", 1000 * median(theirs) } };
        if (target > 0) line["target"] = target;
        lines_.push_back(std::move(line));
    }

    void save(const std::string& file) const
    {
        std::ofstream(file) << nlohmann::ordered_json { { "benchmarks", lines_ } }.dump(1);
    }

private:
    nlohmann::ordered_json lines_ = nlohmann::ordered_json::array();
};

struct Libraries {
    miravex::Library direct { miravex::Library::defaultPath() };
    miravex::Library indirect { miravex::Library::defaultPath().parent_path() / "indirect/libmiravex.so" };
};

void compare(Table& table, const Libraries& libraries, const PictureSet& set,
             const miravex::ArrayPointer& slots, int rounds, double target)
{
    for (const bool channelsLast : { false, true }) {
        const Batch batch { .height = side, .width = side, .channelsLast = channelsLast };
        const LibraryRun direct(libraries.direct, set.paths, channelsLast, slots);
        const LibraryRun indirect(libraries.indirect, set.paths, channelsLast, slots);
        const auto plain = [&] { miravex::plain::loadAll(set.paths, slots->floats().data(), batch); };
        const auto seconds = measure({ { "imread", [&] { onThreads(1, [&] { imreadAll(set.paths); }); } },
                                       { "decode", [&] { decodeAll(set.paths); } },
                                       { "plain", [&] { onThreads(1, plain); } },
                                       { "direct", [&] { onThreads(1, direct); } },
                                       { "indirect", [&] { onThreads(1, indirect); } },
                                       { "two", [&] { onThreads(2, direct); } } },
                                     rounds);
        const auto processor = [&](const char* what) { return seconds.at(what).processor; };
        const auto wall = [&](const char* what) { return seconds.at(what).wall; };
        const std::string name = set.name + (channelsLast ? ", channels last" : ", channels first");
        table.add(name, "loader / cv::imread alone", processor("direct"), processor("imread"), target);
        if (decodeAll(set.paths))
            table.add(name, "decoding alone / cv::imread alone", processor("decode"), processor("imread"), 0);
        table.add(name, "loader through OpenCV only / cv::imread alone", processor("indirect"),
                  processor("imread"), 1.27);
        table.add(name, "plain steps / cv::imread alone", processor("plain"), processor("imread"), 0);
        table.add(name, "loader / plain steps", processor("direct"), processor("plain"), 0.5);
        table.add(name, "two threads / one thread", wall("two"), wall("direct"), 1 / 1.9);
    }
}

/// Few stripes for pictures of many sizes: two workers should still end together.
void compareStripes(Table& table, const Libraries& libraries, const PictureSet& set,
                    const miravex::ArrayPointer& slots, int rounds)
{
    const LibraryRun many(libraries.direct, set.paths, true, slots, 0);
    const LibraryRun two(libraries.direct, set.paths, true, slots, 2);
    const auto seconds = measure({ { "one", [&] { onThreads(1, many); } },
                                   { "many", [&] { onThreads(2, many); } },
                                   { "two", [&] { onThreads(2, two); } } },
                                 rounds);
    const auto wall = [&](const char* what) { return seconds.at(what).wall; };
    table.add(set.name, "two threads / one thread, default stripes", wall("many"), wall("one"), 1 / 1.9);
    table.add(set.name, "two threads / one thread, two stripes", wall("two"), wall("one"), 1 / 1.9);
}

struct Pictures {
    PictureSet small;
    PictureSet soft; ///< small parts enlarged: fewer bytes for as many pixels
    PictureSet large;
    PictureSet mixed;

    explicit Pictures(const fs::path& folder)
    {
        small = { "300 of 500 x 375",
                  writePictures(folder, "small", 300, [](std::mt19937&) { return cv::Size(500, 375); }) };
        soft = { "300 of 500 x 375, enlarged",
                 writePictures(
                     folder, "soft", 300, [](std::mt19937&) { return cv::Size(500, 375); }, 20) };
        large = { "40 of 2000 x 1500",
                  writePictures(folder, "large", 40, [](std::mt19937&) { return cv::Size(2000, 1500); }) };
        mixed = { "80 of mixed sizes", writePictures(folder, "mixed", 80, [](std::mt19937& random) {
                      const int width = random() % 8 == 0 ? 2400 : 200 + static_cast<int>(random() % 300);
                      return cv::Size(width, width * 3 / 4);
                  }) };
    }
};

void printRatios(const fs::path& folder, int rounds, const std::string& json)
{
    const Pictures pictures(folder);
    for (const PictureSet* set : { &pictures.small, &pictures.soft, &pictures.large })
        fmt::print("{}: {:.2f} bits a pixel\n", set->name, bitsPerPixel(set->paths));
    fmt::print("\n");
    const Libraries libraries;
    const auto slots = miravex::makeFloatArray({ 300, side, side, 3 });
    Table table;
    compare(table, libraries, pictures.small, slots, rounds, 0.62);
    compare(table, libraries, pictures.soft, slots, rounds, 0.62);
    compare(table, libraries, pictures.large, slots, rounds, 0.54);
    compareStripes(table, libraries, pictures.mixed, slots, rounds);
    if (!json.empty()) table.save(json);
}

void serve(const std::string& list)
{
    std::ifstream lines(list);
    Paths paths;
    for (std::string line; std::getline(lines, line);) paths.push_back(line);
    const miravex::Library library;
    const auto slots = miravex::makeFloatArray({ static_cast<int64_t>(paths.size()), 3, side, side });
    const LibraryRun run(library, paths, false, slots);
    for (std::string line; std::getline(std::cin, line);) {
        const auto start = std::chrono::steady_clock::now();
        run();
        fmt::print("{}\n", std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        std::fflush(stdout);
    }
}

/// A folder that vanishes with its pictures.
class TemporaryFolder {
public:
    TemporaryFolder()
        : path_(fs::temp_directory_path() / fmt::format("miravex-loader-{}", std::random_device {}()))
    {
        fs::create_directories(path_);
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

} // namespace

int main(int argc, char** argv)
{
    constexpr std::string_view outputOption = "--benchmark_out=";
    int rounds = 9;
    std::string json;
    try {
        for (int i = 1; i < argc; ++i) {
            const std::string_view word = argv[i];
            const bool hasValue = i + 1 < argc;
            if (word.starts_with(outputOption)) json = word.substr(outputOption.size());
            if (word == "--rounds" && hasValue) rounds = std::atoi(argv[i + 1]);
            if (word == "--serve" && hasValue) return serve(argv[i + 1]), 0;
            if (word == "--write" && hasValue) {
                fs::create_directories(argv[i + 1]);
                const Pictures pictures(argv[i + 1]);
                return 0;
            }
        }
        const TemporaryFolder folder;
        printRatios(folder.path(), std::max(rounds, 1), json);
        return 0;
    } catch (const std::exception& error) {
        fmt::print(stderr, "bench_loader: {}\n", error.what());
        return 1;
    }
}
