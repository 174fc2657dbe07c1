#include "files/codecs.h"
#include "convert/film.h"
#include "miravex/host_interface.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/videoio.hpp>
#include <opencv2/videoio/registry.hpp>

#include <algorithm>

namespace miravex::files {

namespace {

using Frames = std::vector<cv::Mat>;

cv::Mat read(const std::string& path, int flags) { return cv::imread(path, flags); }

Frames readPages(const std::string& path)
{
    Frames pages;
    cv::imreadmulti(path, pages, cv::IMREAD_UNCHANGED);
    return pages;
}

Frames readFilm(const std::string& path, int64_t maximum, const Progress& progress)
{
    Frames frames;
    cv::VideoCapture film;
    if (!openFilm(film, path)) return frames;
    const auto promised = static_cast<int64_t>(std::max(0.0, film.get(cv::CAP_PROP_FRAME_COUNT)));
    for (cv::Mat frame; static_cast<int64_t>(frames.size()) < maximum && film.read(frame);) {
        frames.push_back(frame.clone());
        if (progress) progress(static_cast<int64_t>(frames.size()), std::min(promised, maximum));
    }
    return frames;
}

bool write(const std::string& path, const Frames& frames, const std::vector<int>& parameters)
{
    return frames.size() > 1 ? cv::imwrite(path, frames, parameters)
                             : cv::imwrite(path, frames.front(), parameters);
}

bool writeFilm(const std::string& path, const Frames& frames)
{
    constexpr double framesPerSecond = 10;
    const int motionJpeg = cv::VideoWriter::fourcc('M', 'J', 'P', 'G');
    cv::VideoWriter film(path, motionJpeg, framesPerSecond, frames.front().size());
    if (!film.isOpened()) return false;
    for (const cv::Mat& frame : frames) film.write(frame);
    return true;
}

cv::Mat throughMemory(const std::string& extension, const cv::Mat& picture)
{
    std::vector<uchar> bytes;
    return cv::imencode(extension, picture, bytes) ? cv::imdecode(bytes, cv::IMREAD_UNCHANGED) : cv::Mat();
}

std::vector<std::string> filmReaders()
{
    std::vector<std::string> names;
    for (const cv::VideoCaptureAPIs reader : cv::videoio_registry::getStreamBackends())
        names.push_back(cv::videoio_registry::getBackendName(reader));
    return names;
}

} // namespace

} // namespace miravex::files

/// The only export of libmiravex_codecs.so.
extern "C" MIRAVEX_PUBLIC const miravex::files::Codecs* miravexCodecs()
{
    using namespace miravex::files;
    static const Codecs table { .version = MIRAVEX_VERSION,
                                .read = read,
                                .readPages = readPages,
                                .readFilm = readFilm,
                                .write = write,
                                .writeFilm = writeFilm,
                                .throughMemory = throughMemory,
                                .filmReaders = filmReaders };
    return &table;
}
