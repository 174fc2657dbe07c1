#include "ops/loading/parallel_load.h"

#include "ops/loading/direct_jpeg.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <new>

namespace miravex::importops {

namespace {

/// The file as OpenCV reads it, empty when it can't. What it throws at (a header that promises more pixels
/// than it accepts or than there is memory for) is one more file that can't be read.
cv::Mat readPicture(const std::string& path, const SlotFormat& format, Scratch& scratch)
{
    const bool color = format.channels != 1;
    cv::Mat picture = readJpegDirectly(path, color, format.height, scratch);
    if (!picture.empty()) return picture;
    try {
        picture = cv::imread(path, color ? cv::IMREAD_COLOR : cv::IMREAD_GRAYSCALE);
    } catch (const cv::Exception&) {
        return {};
    } catch (const std::bad_alloc&) {
        return {};
    }
    // OpenCV's reader of Radiance pictures gives colours where gray is asked for; they would overrun the
    // slot.
    if (picture.type() == CV_8UC3 && !color) cv::cvtColor(picture, picture, cv::COLOR_BGR2GRAY);
    return picture.type() == (color ? CV_8UC3 : CV_8UC1) ? picture : cv::Mat();
}

} // namespace

LoadImages::LoadImages(std::vector<std::string> paths, float* destination, const SlotFormat& format,
                       unsigned char* status)
    : paths_(std::move(paths))
    , destination_(destination)
    , format_(format)
    , status_(status)
{
    handover_.give();
}

void LoadImages::operator()(const cv::Range&) const
{
    handover_.take();
    Scratch scratch;
    for (std::size_t file; (file = next_.fetch_add(1, std::memory_order_relaxed)) < paths_.size();) {
        try {
            load(file, scratch);
        } catch (...) {
            next_.store(paths_.size(), std::memory_order_relaxed);
            const std::lock_guard lock(mutex_);
            if (!failure_) failure_ = std::current_exception();
        }
    }
    handover_.give();
}

void LoadImages::load(std::size_t file, Scratch& scratch) const
{
    float* slot = destination_ + file * format_.samples();
    status_[file] = loadImageInto(paths_[file], slot, format_, scratch) ? 1 : 0;
}

void LoadImages::finish() const
{
    handover_.take();
    if (failure_) std::rethrow_exception(failure_);
}

void loadPictures(std::vector<std::string> paths, float* destination, const SlotFormat& format,
                  unsigned char* status, double stripes)
{
    const cv::Range files(0, static_cast<int>(paths.size()));
    const LoadImages body(std::move(paths), destination, format, status);
    cv::parallel_for_(files, body, stripes);
    body.finish();
}

bool loadImageInto(const std::string& path, float* slot, const SlotFormat& format, Scratch& scratch)
{
    cv::Mat picture = readPicture(path, format, scratch);
    if (picture.empty()) {
        std::mt19937 engine(std::random_device {}());
        fillWithNoise(slot, format, engine);
        return false;
    }
    if (picture.rows != format.height || picture.cols != format.width) {
        cv::resize(picture, scratch.resized, cv::Size(format.width, format.height), 0, 0, cv::INTER_LINEAR);
        picture = scratch.resized;
    }
    if (format.channelsLast)
        writeInterleaved(slot, format, picture, scratch);
    else
        writePlanar(slot, format, picture, scratch);
    return true;
}

} // namespace miravex::importops
