#include "ops/photo/operations.h"

#include "convert/film.h"
#include "convert/matrix_memory.h"
#include "ops/photo/bounds.h"
#include "ops/photo/option_names.h"
#include "convert/mat_to_image.h"

#include <opencv2/superres.hpp>

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

/// True when a film has frames enough for OpenCV, whose cache is read beyond its end otherwise, and none of
/// them grows beyond bounds.
bool filmBounded(const cv::String& path, FlowMethod method, int scale)
{
    cv::VideoCapture film;
    if (!openFilm(film, path)) return false;
    cv::Mat frame;
    for (int64_t i = 0; i < bounds::filmFrames; ++i) {
        if (!film.read(frame) || frame.empty()) return false;
        if (bounds::product({ frame.rows, frame.cols, scale, scale }) > bounds::filmPixels) return false;
        if (method == FlowMethod::DualTvl1 && std::min(frame.rows, frame.cols) < bounds::flowSide)
            return false;
    }
    return true;
}

cv::Ptr<DenseOpticalFlowExt> createFlow(FlowMethod method)
{
    if (method == FlowMethod::Farneback) return cv::superres::createOptFlow_Farneback();
    return cv::superres::createOptFlow_DualTVL1();
}

} // namespace

/// Enlarges the second frame of a film by what its neighbours add, seven pixels less on every side.
///
/// Path: a film of at least bounds::filmFrames frames that OpenCV can read. Flow: "Farneback" or "DualTVL1".
/// Scale: 2 to bounds::filmScale, the enlarged frame at most bounds::filmPixels. The result has bytes with
/// the channels in OpenCV's order, blue first. Source: D. Mitzel, T. Pock, T. Schoenemann, D. Cremers, "Video
/// super resolution using duality based TV-L1 optical flow", 2009.
HostErrorCode superResolution(LibraryData data, const char* path, const char* flow, int64_t scale,
                              KImage* result)
{
    if (!data) return StatusFunctionError;
    if (scale < 2) return StatusFunctionError;
    const int factor = static_cast<int>(scale);
    const FlowMethod method = valueOf(flowMethods, flow, FlowMethod::None);
    if (method == FlowMethod::None || factor < 2 || factor > bounds::filmScale) return StatusFunctionError;
    const cv::String film(path);
    if (!filmBounded(film, method, factor)) return StatusFunctionError;

    const cv::Ptr<SuperResolution> enlarger = cv::superres::createSuperResolution_BTVL1();
    const GarbageCollection cleanup(*enlarger);
    const cv::Ptr<FrameSource> source = cv::superres::createFrameSource_Video(film);
    const cv::Ptr<DenseOpticalFlowExt> motion = createFlow(method);
    enlarger->setScale(factor);
    enlarger->setOpticalFlow(motion);
    cv::Mat skipped, enlarged = resultMatrix();
    source->nextFrame(skipped);
    enlarger->setInput(source);
    enlarger->nextFrame(enlarged);
    return returnImage(*data->imageServices, enlarged, result);
}

} // namespace miravex
