#include "draw/draw.h"

#include "draw/draw_features.h"
#include "draw/draw_flow.h"
#include "host/matrices.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace miravex {

namespace {

/// Draws a result over a canvas of RGB bytes.
struct Painter {
    Layout layout;
    void (*paint)(cv::Mat& canvas, const Tensor& result);
};

/// Everything that can be drawn over the picture it came from. Further layouts get a line here.
constexpr std::array paintersByLayout {
    Painter { Layout::Keypoints, painters::keypoints },
    Painter { Layout::KeypointsAndDescriptors, painters::keypoints },
    Painter { Layout::Regions, painters::regions },
    Painter { Layout::Labels, painters::labels },
    Painter { Layout::PolarLines, painters::polarLines },
    Painter { Layout::BorderLines, painters::borderLines },
    Painter { Layout::Segments, painters::segments },
    Painter { Layout::WideSegments, painters::wideSegments },
    Painter { Layout::Circles, painters::circles },
    Painter { Layout::Contours, painters::contours },
    Painter { Layout::FaceBoxes, painters::faces },
    Painter { Layout::Flow, painters::flow },
    Painter { Layout::FlowAndValidity, painters::flow },
};

const Painter* painterOf(Layout layout)
{
    const auto found = std::ranges::find(paintersByLayout, layout, &Painter::layout);
    return found != paintersByLayout.end() ? found : nullptr;
}

/// The picture as RGB bytes: a sequence shows its first frame, alpha is dropped, two channels show the first.
cv::Mat canvasOf(const Image& picture)
{
    const ImagePointer bytes = convertImage(picture, PixelTypeByte, picture.shape.channels > 1);
    const int channels = static_cast<int>(bytes->shape.channels);
    const cv::Mat samples = framesOf(*bytes).front();
    if (channels == 3) return samples.clone();
    cv::Mat canvas, first;
    if (channels == 4) {
        cv::cvtColor(samples, canvas, cv::COLOR_RGBA2RGB);
        return canvas;
    }
    cv::extractChannel(samples, first, 0);
    cv::cvtColor(first, canvas, cv::COLOR_GRAY2RGB);
    return canvas;
}

} // namespace

bool canDraw(Layout layout) { return painterOf(layout) != nullptr; }

ImagePointer draw(const Image& picture, Layout layout, const Tensor& result)
{
    const Painter* painter = painterOf(layout);
    if (!painter) throw std::invalid_argument("this result can't be drawn");
    cv::Mat canvas = canvasOf(picture);
    painter->paint(canvas, result);
    return imageOfMatrix(canvas);
}

ImagePointer drawMatches(const Image& first, const Tensor& firstKeypoints, const Image& second,
                         const Tensor& secondKeypoints, const Tensor& matches)
{
    return imageOfMatrix(
        painters::matches(canvasOf(first), firstKeypoints, canvasOf(second), secondKeypoints, matches));
}

} // namespace miravex
