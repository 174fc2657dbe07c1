#include "tools/gallery/samples.h"

#include "files/codecs.h"
#include "files/npy.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>

namespace miravex::tool {

namespace fs = std::filesystem;

namespace {

using Words = std::vector<std::string>;

// --- helpers of the samples below -----------------------------------------------------------------------

/// Where originals come from and where made files go.
class SampleMaker {
public:
    SampleMaker(const fs::path& folder, Samples& samples, const Samples::Runner& run)
        : folder_(folder)
        , samples_(samples)
        , run_(run)
    {
    }

    /// The result of an operation, in a file of this name.
    [[nodiscard]] Words result(const std::string& name, const std::string& operation,
                               const Words& words) const
    {
        const std::string file = (folder_ / name).string();
        run_(operation, samples_.replaced(words), file);
        return { file };
    }

    /// A file of a Debian package, as it is.
    static Words original(const fs::path& file, const char* package)
    {
        if (!fs::exists(file))
            throw MissingSample(fmt::format("{} is missing: apt install {}", file.string(), package));
        return { file.string() };
    }
    static Words document(const char* name) { return original(samplePictureFolder() / name, "opencv-doc"); }

    /// A file below the folder that MIRAVEX_TEST_DATA names.
    static Words further(const fs::path& file)
    {
        const auto folder = furtherDataFolder();
        if (!folder || !fs::exists(*folder / file))
            throw MissingSample(fmt::format("MIRAVEX_TEST_DATA names no folder with {}", file.string()));
        return { (*folder / file).string() };
    }

    static cv::Mat picture(const char* name, int flags = cv::IMREAD_COLOR)
    {
        cv::Mat read = files::codecs().read(document(name).front(), flags);
        if (read.empty()) throw MissingSample(fmt::format("{} cannot be read", name));
        return read;
    }

    [[nodiscard]] Words keep(const std::string& name, const cv::Mat& picture) const
    {
        const fs::path file = folder_ / name;
        files::codecs().write(file.string(), { picture }, {});
        return { file.string() };
    }
    [[nodiscard]] Words keepAll(const std::string& stem, const std::vector<cv::Mat>& pictures) const
    {
        Words files;
        for (std::size_t i = 0; i < pictures.size(); ++i)
            files.push_back(keep(fmt::format("{}-{}.png", stem, i + 1), pictures[i]).front());
        return files;
    }
    [[nodiscard]] Words keepTensor(const std::string& name, std::vector<int64_t> shape,
                                   const std::vector<double>& elements) const
    {
        const fs::path file = folder_ / name;
        files::NpyArray array { 'f', sizeof(double), std::move(shape), {} };
        const auto* first = reinterpret_cast<const std::byte*>(elements.data());
        array.data.assign(first, first + elements.size() * sizeof(double));
        files::writeNpy(file, array);
        return { file.string() };
    }
    /// Some columns of a sample that is a table.
    [[nodiscard]] Words columns(const std::string& name, const std::string& sample, std::size_t first,
                                std::size_t end) const
    {
        const files::NpyArray table = files::readNpy(samples_.words(sample).front());
        const auto width = static_cast<std::size_t>(table.shape.back());
        std::vector<double> elements;
        for (std::size_t i = 0; i < table.length(); ++i)
            if (i % width >= first && i % width < end) elements.push_back(table.element(i));
        const auto kept = static_cast<int64_t>(std::min(end, width) - first);
        return keepTensor(name, { table.shape[0], kept }, elements);
    }
    [[nodiscard]] fs::path path(const std::string& name) const { return folder_ / name; }

private:
    const fs::path& folder_;
    Samples& samples_;
    const Samples::Runner& run_;
};

constexpr int noiseLevel = 20;

cv::Mat smaller(const cv::Mat& picture, double factor)
{
    cv::Mat result;
    cv::resize(picture, result, cv::Size(), factor, factor, cv::INTER_AREA);
    return result;
}

cv::Mat withNoise(const cv::Mat& picture, double deviation, uint64_t seed)
{
    cv::RNG generator(seed);
    cv::Mat noise(picture.size(), CV_MAKETYPE(CV_16S, picture.channels())), noisy;
    generator.fill(noise, cv::RNG::NORMAL, 0, deviation);
    cv::add(picture, noise, noisy, cv::noArray(), picture.depth());
    return noisy;
}

/// One sample of each colour per pixel: red at even rows and columns.
cv::Mat mosaic(const cv::Mat& picture)
{
    cv::Mat result(picture.size(), CV_8U);
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < picture.cols; ++x) {
            const int channel = 2 - (y % 2) - (x % 2); // BGR: 2 red, 1 green, 0 blue
            result.at<uchar>(y, x) = picture.at<cv::Vec3b>(y, x)[channel];
        }
    }
    return result;
}

/// A few frames of a picture that moves under the camera, in whole pixels.
std::vector<cv::Mat> pan(const cv::Mat& picture, int frames, cv::Size size, cv::Point step)
{
    std::vector<cv::Mat> result;
    for (int i = 0; i < frames; ++i) result.push_back(picture(cv::Rect(step * i, size)).clone());
    return result;
}

constexpr std::array exposureTimes { 1.0 / 8, 1.0 / 2, 2.0 };
constexpr double displayGamma = 2.2;

cv::Mat linear(const cv::Mat& picture)
{
    cv::Mat light;
    picture.convertTo(light, CV_32F, 1.0 / 255);
    cv::pow(light, displayGamma, light);
    return light;
}

cv::Mat exposed(const cv::Mat& light, double time)
{
    cv::Mat picture;
    cv::pow(cv::min(light * time, 1.0), 1 / displayGamma, picture);
    picture.convertTo(picture, CV_8U, 255);
    return picture;
}

struct Exposure {
    std::string file;
    double reciprocalTime;
};

/// The real bracket where there is one.
std::vector<Exposure> realExposures()
{
    std::vector<Exposure> exposures;
    const auto folder = furtherDataFolder();
    if (!folder) return exposures;
    std::ifstream list(*folder / "exposures" / "exposures.txt");
    for (Exposure exposure; list >> exposure.file >> exposure.reciprocalTime;)
        exposures.push_back({ (*folder / "exposures" / exposure.file).string(), exposure.reciprocalTime });
    return exposures;
}

// --- samples that are more than a line -------------------------------------------------------------------

Words exposures(const SampleMaker& maker)
{
    Words files;
    for (const Exposure& exposure : realExposures()) files.push_back(exposure.file);
    if (!files.empty()) return files;
    const cv::Mat light = linear(SampleMaker::picture("fruits.jpg"));
    std::vector<cv::Mat> bracket;
    for (const double time : exposureTimes) bracket.push_back(exposed(light, time));
    return maker.keepAll("exposure", bracket);
}

Words exposureValues(const SampleMaker& maker)
{
    std::vector<double> values;
    for (const Exposure& exposure : realExposures()) values.push_back(exposure.reciprocalTime);
    if (values.empty())
        for (const double time : exposureTimes) values.push_back(1 / time);
    return maker.keepTensor("exposure-values.npy", { static_cast<int64_t>(values.size()) }, values);
}

/// How far each pixel is from black and white, the same for its three channels, so that colours stay. Steep:
/// the noise of a short exposure's black is as bright as what a long one sees there.
cv::Mat trust(const cv::Mat& picture)
{
    cv::Mat gray, weight;
    cv::cvtColor(picture, gray, cv::COLOR_BGR2GRAY);
    gray.convertTo(gray, CV_32F);
    cv::absdiff(gray, cv::Scalar(127.5), gray);
    cv::pow(1.01 - gray / 127.5, 4, gray);
    cv::merge(std::vector<cv::Mat>(3, gray), weight);
    return weight;
}

Words highDynamicRange(const SampleMaker& maker)
{
    const std::vector<Exposure> bracket = realExposures();
    // Each pixel from the middle of the bracket's range; a simple stand-in for a camera's radiance map.
    cv::Mat light;
    if (bracket.empty()) {
        light = linear(SampleMaker::picture("fruits.jpg")) * 4;
    } else {
        cv::Mat weights;
        for (const Exposure& exposure : bracket) {
            const cv::Mat picture = files::codecs().read(exposure.file, cv::IMREAD_COLOR);
            const cv::Mat weight = trust(picture);
            const cv::Mat radiance = (linear(picture) * exposure.reciprocalTime).mul(weight);
            light = light.empty() ? radiance : cv::Mat(light + radiance);
            weights = weights.empty() ? weight : cv::Mat(weights + weight);
        }
        cv::divide(light, weights, light);
    }
    return maker.keep("hdr.exr", light);
}

Words film(const SampleMaker& maker)
{
    constexpr int frames = 10;
    const fs::path file = maker.path("film.avi");
    const cv::Mat scene = smaller(SampleMaker::picture("graf1.png"), 0.5);
    if (!files::codecs().writeFilm(file.string(), pan(scene, frames, cv::Size(160, 120), cv::Point(2, 1))))
        throw MissingSample("OpenCV cannot write an AVI here");
    return { file.string() };
}

Words shapes(const SampleMaker& maker)
{
    cv::Mat picture(240, 320, CV_8U, cv::Scalar(0));
    cv::circle(picture, { 70, 70 }, 45, cv::Scalar(255), cv::FILLED);
    cv::circle(picture, { 70, 70 }, 20, cv::Scalar(0), cv::FILLED);
    cv::rectangle(picture, cv::Rect(150, 30, 130, 70), cv::Scalar(255), cv::FILLED);
    cv::ellipse(picture, { 90, 180 }, { 60, 30 }, 20, 0, 360, cv::Scalar(255), cv::FILLED);
    const std::vector<cv::Point> star {
        { 220, 130 }, { 235, 165 }, { 275, 170 }, { 245, 190 }, { 255, 225 },
        { 220, 205 }, { 185, 225 }, { 195, 190 }, { 165, 170 }, { 205, 165 }
    };
    cv::fillPoly(picture, std::vector<std::vector<cv::Point>> { star }, cv::Scalar(255));
    return maker.keep("shapes.png", picture);
}

Words edges(const SampleMaker& maker)
{
    cv::Mat found;
    cv::Canny(SampleMaker::picture("building.jpg", cv::IMREAD_GRAYSCALE), found, 100, 250);
    return maker.keep("edges.png", found);
}

/// Keypoints and descriptors of a view, one row each.
Words described(const SampleMaker& maker, const std::string& view)
{
    return maker.result(view + "-described.npy", "Kaze",
                        { "@" + view, "--mode", "detectAndCompute", "--threshold", "0.006" });
}

constexpr std::size_t keypointColumns = 7;
constexpr std::size_t allColumns = std::numeric_limits<std::size_t>::max();

/// Some photos for the batch loader, which takes their paths as one word and the lengths as another.
std::vector<std::string> batchFiles()
{
    std::vector<std::string> files;
    for (const char* name : { "fruits.jpg", "building.jpg", "home.jpg", "messi5.jpg" })
        files.push_back(SampleMaker::document(name).front());
    return files;
}

Words mask(const SampleMaker& maker)
{
    const cv::Mat photo = SampleMaker::picture("fruits.jpg");
    cv::Mat picture(photo.size(), CV_8U, cv::Scalar(0));
    cv::circle(picture, { photo.cols / 2, photo.rows / 2 }, photo.rows / 3, cv::Scalar(255), cv::FILLED);
    return maker.keep("mask.png", picture);
}

/// Waves of some pixels: the column (or row) that each pixel comes from.
Words ripple(const SampleMaker& maker, const std::string& name, bool columns)
{
    constexpr double height = 5, length = 60;
    const cv::Size size = SampleMaker::picture("fruits.jpg").size();
    std::vector<double> positions;
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            positions.push_back(columns ? x + height * std::sin(2 * CV_PI * y / length)
                                        : y + height * std::sin(2 * CV_PI * x / length));
    return maker.keepTensor(name, { size.height, size.width }, positions);
}

/// Takes the corners of the puzzle, measured from the bottom left, to those of the picture.
Words sudokuHomography(const SampleMaker& maker)
{
    const cv::Size size = SampleMaker::picture("sudoku.png").size();
    const auto width = static_cast<float>(size.width);
    const auto height = static_cast<float>(size.height);
    const std::array<cv::Point2f, 4> corners {
        { { 73, height - 86 }, { 491, height - 70 }, { 523, height - 519 }, { 36, height - 516 } }
    };
    const std::array<cv::Point2f, 4> targets { { { 0, height }, { width, height }, { width, 0 }, { 0, 0 } } };
    const cv::Mat_<double> matrix = cv::getPerspectiveTransform(corners.data(), targets.data());
    return maker.keepTensor("sudoku-homography.npy", { 3, 3 }, { matrix.begin(), matrix.end() });
}

std::vector<cv::Mat> noisyFrames(const cv::Mat& picture)
{
    std::vector<cv::Mat> frames = pan(picture, 5, { 220, 200 }, { 2, 1 });
    for (std::size_t i = 0; i < frames.size(); ++i) frames[i] = withNoise(frames[i], noiseLevel, i + 1);
    return frames;
}

Words portrait(const SampleMaker&)
{
    const fs::path file = "/usr/share/matplotlib/mpl-data/sample_data/grace_hopper.jpg";
    return SampleMaker::original(file, "python-matplotlib-data");
}

// --- the table ------------------------------------------------------------------------------------------

struct Sample {
    std::string_view name;
    Words (*make)(const SampleMaker& maker);
};

const Sample table[] = {
    // Photos as they are.
    { "photo", [](const SampleMaker& w) { return w.document("fruits.jpg"); } },
    { "document", [](const SampleMaker& w) { return w.document("sudoku.png"); } },
    { "sudoku", [](const SampleMaker& w) { return w.document("sudoku.png"); } },
    { "building", [](const SampleMaker& w) { return w.document("building.jpg"); } },
    { "portrait", portrait },
    { "graf1", [](const SampleMaker& w) { return w.document("graf1.png"); } },
    { "graf3", [](const SampleMaker& w) { return w.document("graf3.png"); } },
    { "coins", [](const SampleMaker& w) { return w.document("smarties.png"); } },
    { "flow_pair",
      [](const SampleMaker& w) {
          return Words { w.document("rubberwhale1.png").front(), w.document("rubberwhale2.png").front() };
      } },
    // Made from photos.
    { "small",
      [](const SampleMaker& w) { return w.keep("small.png", smaller(w.picture("fruits.jpg"), 0.3)); } },
    { "gray",
      [](const SampleMaker& w) { return w.keep("gray.png", w.picture("home.jpg", cv::IMREAD_GRAYSCALE)); } },
    { "bayer", [](const SampleMaker& w) { return w.keep("bayer.png", mosaic(w.picture("fruits.jpg"))); } },
    { "noisy",
      [](const SampleMaker& w) {
          return w.keep("noisy.png", withNoise(smaller(w.picture("fruits.jpg"), 0.6), noiseLevel, 1));
      } },
    { "noisy_gray",
      [](const SampleMaker& w) {
          return w.keep("noisy-gray.png",
                        withNoise(smaller(w.picture("home.jpg", cv::IMREAD_GRAYSCALE), 0.6), noiseLevel, 1));
      } },
    { "noisy_sequence",
      [](const SampleMaker& w) {
          return w.keepAll("noisy-frame", noisyFrames(smaller(w.picture("fruits.jpg"), 0.5)));
      } },
    { "noisy_gray_sequence",
      [](const SampleMaker& w) {
          return w.keepAll("noisy-gray-frame",
                           noisyFrames(smaller(w.picture("home.jpg", cv::IMREAD_GRAYSCALE), 0.6)));
      } },
    { "shifted1",
      [](const SampleMaker& w) {
          return w.keep("shifted1.png",
                        w.picture("home.jpg", cv::IMREAD_GRAYSCALE)(cv::Rect(40, 40, 256, 256)));
      } },
    { "shifted2",
      [](const SampleMaker& w) {
          return w.keep("shifted2.png",
                        w.picture("home.jpg", cv::IMREAD_GRAYSCALE)(cv::Rect(52, 35, 256, 256)));
      } },
    { "template",
      [](const SampleMaker& w) {
          return w.keep("template.png",
                        w.picture("home.jpg", cv::IMREAD_GRAYSCALE)(cv::Rect(200, 150, 60, 60)));
      } },
    { "mask", mask },
    { "edges", edges },
    { "shapes", shapes },
    { "film", film },
    { "ripple_x", [](const SampleMaker& w) { return ripple(w, "ripple-x.npy", true); } },
    { "ripple_y", [](const SampleMaker& w) { return ripple(w, "ripple-y.npy", false); } },
    { "sudoku_homography", sudokuHomography },
    { "exposures", exposures },
    { "exposure_values", exposureValues },
    { "hdr", highDynamicRange },
    // Results of operations.
    { "log_polar",
      [](const SampleMaker& w) {
          return w.result("log-polar.png", "LogPolarRemap",
                          { "@photo", "--magnitude", "85", "--color", "0,0,0" });
      } },
    { "graf1_described", [](const SampleMaker& w) { return described(w, "graf1"); } },
    { "graf3_described", [](const SampleMaker& w) { return described(w, "graf3"); } },
    { "graf1_keypoints",
      [](const SampleMaker& w) {
          return w.columns("graf1-keypoints.npy", "graf1_described", 0, keypointColumns);
      } },
    { "graf3_keypoints",
      [](const SampleMaker& w) {
          return w.columns("graf3-keypoints.npy", "graf3_described", 0, keypointColumns);
      } },
    { "graf1_descriptors",
      [](const SampleMaker& w) {
          return w.columns("graf1-descriptors.npy", "graf1_described", keypointColumns, allColumns);
      } },
    { "graf3_descriptors",
      [](const SampleMaker& w) {
          return w.columns("graf3-descriptors.npy", "graf3_described", keypointColumns, allColumns);
      } },
    // A batch, as the batch loader takes it.
    { "batch_paths",
      [](const SampleMaker&) { return Words { fmt::format("{}", fmt::join(batchFiles(), "")) }; } },
    { "batch_lengths",
      [](const SampleMaker&) {
          std::vector<std::size_t> lengths;
          for (const std::string& file : batchFiles()) lengths.push_back(file.size());
          return Words { fmt::format("{}", fmt::join(lengths, ",")) };
      } },
    // Files that the library itself reads.
    { "cascade",
      [](const SampleMaker& w) {
          return w.original(cascadeFolder() / "haarcascade_frontalface_alt.xml", "opencv-data");
      } },
    { "face_network_prototxt",
      [](const SampleMaker& w) { return w.further("face-network/deploy.prototxt"); } },
    { "face_network_weights",
      [](const SampleMaker& w) { return w.further("face-network/weights.caffemodel"); } },
};

} // namespace

Samples::Samples(fs::path folder, Runner run)
    : folder_(std::move(folder))
    , run_(std::move(run))
{
    fs::create_directories(folder_);
}

const std::vector<std::string>& Samples::words(const std::string& word)
{
    const std::string name = word.substr(0, word.find('.'));
    if (const auto made = made_.find(name); made != made_.end()) return made->second;
    const auto* sample = std::ranges::find(table, name, &Sample::name);
    if (sample == std::end(table)) throw MissingSample(fmt::format("there is no sample @{}", name));
    return made_[name] = sample->make(SampleMaker(folder_, *this, run_));
}

std::vector<std::string> Samples::replaced(const std::vector<std::string>& words)
{
    std::vector<std::string> result;
    for (const std::string& word : words) {
        if (!word.starts_with('@')) {
            result.push_back(word);
            continue;
        }
        const Words& files = this->words(word.substr(1));
        result.insert(result.end(), files.begin(), files.end());
    }
    return result;
}

std::vector<std::string> Samples::names()
{
    std::vector<std::string> names;
    for (const Sample& sample : table) names.emplace_back(sample.name);
    return names;
}

fs::path samplePictureFolder() { return "/usr/share/doc/opencv-doc/examples/data"; }
fs::path cascadeFolder() { return "/usr/share/opencv4/haarcascades"; }

std::optional<fs::path> furtherDataFolder()
{
    const char* folder = std::getenv("MIRAVEX_TEST_DATA");
    if (!folder || !fs::is_directory(folder)) return std::nullopt;
    return folder;
}

} // namespace miravex::tool
