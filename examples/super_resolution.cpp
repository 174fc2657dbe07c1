// A photo is filmed by a camera of half its resolution that trembles a little; super resolution then brings
// back some of the detail, more than enlarging a single frame does.

#include "examples/example.h"

#include <opencv2/videoio.hpp>

using namespace miravex;
using namespace miravex::example;

namespace {

constexpr int scale = 2;
constexpr int lostBorder = 7; ///< pixels that OpenCV takes off every side of its result

/// What a camera of half the resolution sees: light is blurred, then every second pixel is kept.
cv::Mat seen(const cv::Mat& view)
{
    cv::Mat blurred, frame;
    cv::GaussianBlur(view, blurred, cv::Size(5, 5), 0);
    cv::resize(blurred, frame, view.size() / scale, 0, 0, cv::INTER_NEAREST);
    return frame;
}

/// A single frame enlarged back.
cv::Mat enlargedAlone(const cv::Mat& frame, cv::Size size)
{
    constexpr double kept = 1.0 / scale;
    cv::Mat enlarged;
    cv::warpAffine(frame, enlarged, cv::Matx23d(kept, 0, 0, 0, kept, 0), size,
                   cv::INTER_CUBIC | cv::WARP_INVERSE_MAP, cv::BORDER_REPLICATE);
    return enlarged;
}

/// What the camera saw of the photo in full resolution, frame by frame.
std::vector<cv::Mat> trembling(const cv::Mat& scene, cv::Size size)
{
    const std::vector<cv::Point> offsets { { 8, 8 },  { 9, 8 },  { 8, 9 },  { 9, 9 },
                                           { 10, 8 }, { 8, 10 }, { 9, 10 }, { 10, 9 } };
    std::vector<cv::Mat> views;
    for (const cv::Point& offset : offsets) views.push_back(scene(cv::Rect(offset, size)).clone());
    return views;
}

void film(const std::string& path, const std::vector<cv::Mat>& views)
{
    const cv::Size size = views.front().size() / scale;
    cv::VideoWriter writer(path, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 10, size);
    writer.set(cv::VIDEOWRITER_PROP_QUALITY, 100);
    if (!writer.isOpened()) throw Skipped("this OpenCV can't write films");
    for (const cv::Mat& view : views) {
        cv::Mat frame;
        cv::cvtColor(seen(view), frame, cv::COLOR_RGB2BGR);
        writer.write(frame);
    }
}

} // namespace

int main(int argc, char** argv)
{
    return runExample(argc, argv, [](const Output& output) {
        const cv::Mat scene = photo("building.jpg");
        const std::vector<cv::Mat> views = trembling(scene(cv::Rect(300, 200, 140, 120)), { 112, 96 });
        const std::string path = output / "film.avi";
        film(path, views);

        // The result shows the film's second frame, blue first.
        cv::Mat enlarged =
            matrixOf(run("SuperResolution", { { "film", path }, { "scale", int64_t { scale } } }).image());
        cv::cvtColor(enlarged, enlarged, cv::COLOR_BGR2RGB);
        const cv::Mat whole = views[1];
        const cv::Rect inner(lostBorder, lostBorder, whole.cols - 2 * lostBorder,
                             whole.rows - 2 * lostBorder);
        require(enlarged.size() == inner.size(), "a result of the frame's size without its border");

        const cv::Mat single = enlargedAlone(seen(whole), whole.size());
        const double plain = cv::PSNR(single(inner), whole(inner)), super = cv::PSNR(enlarged, whole(inner));
        fmt::print("one frame enlarged {:.2f} dB, super resolution {:.2f} dB\n", plain, super);
        require(super > plain, "more of the scene than a single frame holds");
        output.write("enlarged-frame.png", single(inner).clone());
        output.write("super-resolution.png", enlarged);
    });
}
