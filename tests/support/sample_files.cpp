#include "tests/support/sample_files.h"

#include <fmt/format.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/videoio.hpp>

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace miravex::test {

namespace {

cv::Mat picture(int rows, int columns, int phase)
{
    cv::Mat painted(rows, columns, CV_8UC3);
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < columns; ++x)
            painted.at<cv::Vec3b>(y, x) =
                cv::Vec3b(cv::saturate_cast<uchar>(9 * x + phase), cv::saturate_cast<uchar>(7 * y), 128);
    return painted;
}

std::vector<std::uint8_t> encoded(const char* extension)
{
    std::vector<std::uint8_t> bytes;
    cv::imencode(extension, picture(17, 21, 0), bytes);
    return bytes;
}

/// A real file, for what OpenCV tells by its extension; gone with this object.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& extension, const std::string& contents = {})
        : path_((std::filesystem::temp_directory_path() / ("miravex-" + std::to_string(getpid()) + extension))
                    .string())
    {
        std::ofstream(path_, std::ios::binary) << contents;
    }
    ~TemporaryFile() { std::remove(path_.c_str()); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    [[nodiscard]] const std::string& path() const noexcept { return path_; }

private:
    std::string path_;
};

/// Seven small frames of Motion JPEG: one more than super resolution asks for.
void writeFilm(const std::string& path)
{
    cv::VideoWriter writer(path, cv::CAP_OPENCV_MJPEG, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 10,
                           cv::Size(16, 12));
    for (int frame = 0; frame < 7; ++frame) writer << picture(12, 16, 5 * frame);
}

/// A network that makes three rows of seven numbers, as a face detector does, out of the mean colours of any
/// picture. It has no weights; their file holds nothing but its name.
constexpr const char* network = R"(
name: "boxes"
input: "data"
input_shape { dim: 1 dim: 3 dim: 8 dim: 8 }
layer { name: "mean" type: "Pooling" bottom: "data" top: "mean" pooling_param { pool: AVE global_pooling: true } }
layer {
  name: "sevenfold" type: "Concat" top: "sevenfold"
  bottom: "mean" bottom: "mean" bottom: "mean" bottom: "mean" bottom: "mean" bottom: "mean" bottom: "mean"
}
layer {
  name: "detection_out" type: "Reshape" bottom: "sevenfold" top: "detection_out"
  reshape_param { shape { dim: 1 dim: 1 dim: 3 dim: 7 } }
}
)";
const std::string noWeights = "\x0A\x05"
                              "boxes";

struct Samples {
    std::vector<std::unique_ptr<MemoryFile>> files;
    Paths paths;
    TemporaryFile film { ".avi" };
    TemporaryFile description { ".prototxt", network };
    TemporaryFile weights { ".caffemodel", noWeights };

    void add(std::span<const std::uint8_t> contents)
    {
        files.push_back(std::make_unique<MemoryFile>(contents));
        paths.push_back(files.back()->path());
    }

    Samples()
    {
        writeFilm(film.path());
        const std::vector<std::uint8_t> png = encoded(".png"), jpeg = encoded(".jpg");
        constexpr std::uint8_t nonsense[] = { 'n', 'o', 't', 'h', 'i', 'n', 'g', ':', ' ', '1', '{', '\n' };
        add(png);
        add(jpeg);
        add(std::span(png).first(png.size() / 2));
        add(std::span(jpeg).first(jpeg.size() / 2));
        add({});
        add(nonsense);
        paths.insert(paths.end(),
                     { "/nowhere/at/all.png", "/", "", film.path(), description.path(), weights.path() });
        const std::string cascade = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_default.xml";
        if (std::filesystem::exists(cascade)) paths.push_back(cascade);
    }
};

} // namespace

MemoryFile::MemoryFile(std::span<const std::uint8_t> contents)
    : descriptor_(memfd_create("miravex", 0))
{
    if (descriptor_ < 0 || write(descriptor_, contents.data(), contents.size()) < 0)
        throw std::runtime_error("cannot make a file in memory");
    path_ = fmt::format("/proc/{}/fd/{}", getpid(), descriptor_); // for other processes as well
}

MemoryFile::~MemoryFile() { close(descriptor_); }

const Paths& sampleFiles()
{
    static const Samples samples;
    return samples.paths;
}

} // namespace miravex::test
