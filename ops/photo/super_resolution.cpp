#include "ops/photo/operations.h"

#include "convert/integers.h"
#include "convert/result_image.h"
#include "ops/photo/bounds.h"
#include "ops/photo/option_names.h"
#include "readers/readers.h"

namespace miravex {

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
    const int factor = lowInt32(scale);
    if (factor < 2) return StatusFunctionError;
    const FlowMethod method = valueOf(flowMethods, flow, FlowMethod::None);
    if (method == FlowMethod::None || factor > bounds::filmScale) return StatusFunctionError;
    cv::Mat enlarged;
    readersOrCvError().enlargeSecondFrame(path, method, factor, enlarged);
    ResultImage image(*data->imageServices, enlarged.size(), enlarged.type());
    if (!image) return StatusFunctionError;
    *image = enlarged; // only the film knows how large it is
    return image.release(result);
}

} // namespace miravex
