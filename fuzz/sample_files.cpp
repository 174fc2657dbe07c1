#include "fuzz/sample_files.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/videoio.hpp>

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>

namespace miravex::fuzz {

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

/// Ten frames of Motion JPEG, written to a real file because OpenCV chooses by extension.
std::string film()
{
    const std::string path =
        (std::filesystem::temp_directory_path() / ("miravex-film-" + std::to_string(getpid()) + ".avi"));
    cv::VideoWriter writer(path, cv::CAP_OPENCV_MJPEG, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 10,
                           cv::Size(32, 24));
    for (int frame = 0; frame < 10; ++frame) writer << picture(24, 32, 5 * frame);
    return path;
}

struct Samples {
    std::vector<std::unique_ptr<MemoryFile>> files;
    Paths paths;
    std::string filmPath = film();

    void add(std::span<const std::uint8_t> contents)
    {
        files.push_back(std::make_unique<MemoryFile>(contents));
        paths.push_back(files.back()->path());
    }

    Samples()
    {
        const std::vector<std::uint8_t> png = encoded(".png"), jpeg = encoded(".jpg");
        constexpr std::uint8_t nonsense[] = { 'n', 'o', 't', 'h', 'i', 'n', 'g', ':', ' ', '1', '{', '\n' };
        add(png);
        add(jpeg);
        add(std::span(png).first(png.size() / 2));
        add(std::span(jpeg).first(jpeg.size() / 2));
        add({});
        add(nonsense);
        paths.insert(paths.end(), { "/nowhere/at/all.png", "/", "", filmPath });
        const std::string cascade = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml";
        if (std::filesystem::exists(cascade)) paths.push_back(cascade);
    }
    ~Samples() { std::remove(filmPath.c_str()); }
};

} // namespace

MemoryFile::MemoryFile(std::span<const std::uint8_t> contents)
    : descriptor_(memfd_create("miravex", 0))
{
    if (descriptor_ < 0 || write(descriptor_, contents.data(), contents.size()) < 0)
        throw std::runtime_error("cannot make a file in memory");
    path_ = "/proc/self/fd/" + std::to_string(descriptor_);
}

MemoryFile::~MemoryFile() { close(descriptor_); }

const Paths& sampleFiles()
{
    static const Samples samples;
    return samples.paths;
}

} // namespace miravex::fuzz
