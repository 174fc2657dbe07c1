#include "ops/photo/film_enlargement.h"

#include "convert/film.h"
#include "ops/photo/bounds.h"

#include <opencv2/superres.hpp>

#include <algorithm>

namespace miravex {

namespace {

using cv::superres::DenseOpticalFlowExt;
using cv::superres::FrameSource;
using cv::superres::SuperResolution;

/// Empties OpenCV's caches on every way out.
class GarbageCollection {
public:
    explicit GarbageCollection(SuperResolution& owner)
        : owner_(owner)
    {
    }
    ~GarbageCollection() { owner_.collectGarbage(); }
    GarbageCollection(const GarbageCollection&) = delete;
    GarbageCollection& operator=(const GarbageCollection&) = delete;

private:
    SuperResolution& owner_;
};

/// Refuses, as an OpenCV error that says why, a film that OpenCV does not survive: its cache is read beyond
/// its end when there are too few frames, and frames may grow or shrink beyond bounds. What a film holds is
/// known only here, not to those who look at arguments.
void requireBounded(const cv::String& path, FlowMethod method, int scale)
{
    cv::VideoCapture film;
    if (!openFilm(film, path)) CV_Error(cv::Error::StsBadArg, "the film can't be opened");
    cv::Mat frame;
    for (int64_t i = 0; i < bounds::filmFrames; ++i) {
        if (!film.read(frame) || frame.empty())
            CV_Error_(cv::Error::StsBadArg,
                      ("the film has %d frames, at least %d are needed", static_cast<int>(i),
                       static_cast<int>(bounds::filmFrames)));
        if (!bounds::filmFits(frame.rows, frame.cols, scale))
            CV_Error_(cv::Error::StsBadArg,
                      ("a frame of the film, enlarged, has more than %lld pixels",
                       static_cast<long long>(bounds::filmPixels)));
        if (method == FlowMethod::DualTvl1 && std::min(frame.rows, frame.cols) < bounds::flowSide)
            CV_Error(cv::Error::StsBadArg, "a frame of the film is one pixel high or wide");
    }
}

cv::Ptr<DenseOpticalFlowExt> createFlow(FlowMethod method)
{
    if (method == FlowMethod::Farneback) return cv::superres::createOptFlow_Farneback();
    return cv::superres::createOptFlow_DualTVL1();
}

} // namespace

void enlargeSecondFrame(const cv::String& film, FlowMethod method, int factor, cv::Mat& enlarged)
{
    requireBounded(film, method, factor);
    const cv::Ptr<SuperResolution> enlarger = cv::superres::createSuperResolution_BTVL1();
    const GarbageCollection cleanup(*enlarger);
    const cv::Ptr<FrameSource> source = cv::superres::createFrameSource_Video(film);
    const cv::Ptr<DenseOpticalFlowExt> motion = createFlow(method);
    enlarger->setScale(factor);
    enlarger->setOpticalFlow(motion);
    cv::Mat skipped;
    source->nextFrame(skipped);
    enlarger->setInput(source);
    enlarger->nextFrame(enlarged);
}

} // namespace miravex
