#include "ops/photo/operations.h"

#include "convert/borrowed_mat.h"
#include "convert/integers.h"
#include "convert/tensors.h"
#include "ops/photo/bounds.h"
#include "ops/photo/frames.h"
#include "ops/photo/option_names.h"
#include "readers/readers.h"

#include <opencv2/video/tracking.hpp>

#include <algorithm>
#include <cmath>

namespace miravex {

namespace {

constexpr int unknownFlag = -1;

/// From this length on a vector is taken for a failure of the method.
constexpr double unusableLength = 1e9;

/// What both operations ask of the host first.
struct FlowInput {
    int64_t rows, columns, slices, rank, channels;
    PixelType pixelType;
    ColorSpace colorSpace;

    FlowInput(const ImageServices& images, KImage image)
        : rows(images.imageGetRowCount(image))
        , columns(images.imageGetColumnCount(image))
        , slices(images.imageGetSliceCount(image))
        , rank(images.imageGetRank(image))
        , channels(images.imageGetChannels(image))
        , pixelType(images.imageGetPixelType(image))
        , colorSpace(images.imageGetColorSpace(image))
    {
    }

    [[nodiscard]] bool acceptable() const
    {
        return rank == 3 && slices > 1 && channels == 1 && pixelType == PixelTypeByte
            && colorSpace == ColorSpaceGray;
    }
};

/// Reads the host's initial flow, whose v points up. `flow` stays empty when an empty list stands for none.
/// False for other dimensions than rows x columns x 2, and when the host has not as many elements as they
/// say.
bool readInitialFlow(LibraryData data, KTensor tensor, const FlowInput& input, cv::Mat& flow)
{
    const auto elements = realElements(data, tensor);
    if (!elements) return false;
    if (elements->empty()) return true;
    if (!hasDimensions(data, tensor, { input.rows, input.columns, 2 })) return false;
    if (static_cast<int64_t>(elements->size()) != bounds::product({ input.rows, input.columns, 2 }))
        return false;
    flow.create(static_cast<int>(input.rows), static_cast<int>(input.columns), CV_32FC2);
    auto* vector = flow.ptr<cv::Point2f>();
    for (std::size_t i = 0; i < elements->size(); i += 2)
        *vector++ = { static_cast<float>((*elements)[i]), -static_cast<float>((*elements)[i + 1]) };
    return true;
}

bool isUsable(const cv::Point2f& vector)
{
    return std::isfinite(vector.x) && std::isfinite(vector.y) && std::abs(vector.x) < unusableLength
        && std::abs(vector.y) < unusableLength;
}

/// Appends the flow of one pair in the host's convention and returns the place behind it. With validity,
/// every vector is followed by 1, or by 0 where it was replaced.
double* appendFlow(const cv::Mat& flow, double replacement, bool withValidity, double* target)
{
    for (int y = 0; y < flow.rows; ++y) {
        const auto* row = flow.ptr<cv::Point2f>(y);
        for (int x = 0; x < flow.cols; ++x) {
            const bool usable = isUsable(row[x]);
            *target++ = usable ? row[x].x : replacement;
            *target++ = usable ? -row[x].y : replacement;
            if (withValidity) *target++ = usable ? 1.0 : 0.0;
        }
    }
    return target;
}

/// Flow of all pairs of consecutive frames, always through the one matrix `flow`, so that the flow of a pair
/// is the first estimate of the next wherever the method uses one. `compute` computes that of each pair,
/// counted from 1.
template <typename Compute>
HostErrorCode flowOfPairs(LibraryData data, const std::vector<cv::Mat>& frames, const cv::Mat& flow,
                          double replacement, bool withValidity, Compute compute, KTensor* result)
{
    const cv::Mat& first = frames.front();
    const auto pairs = static_cast<int64_t>(frames.size()) - 1;
    NewTensor vectors(data, TensorTypeReal, { pairs, first.rows, first.cols, withValidity ? 3 : 2 });
    double* target = vectors ? vectors.reals() : nullptr;
    if (!target) return StatusFunctionError;
    for (std::size_t pair = 1; pair < frames.size(); ++pair) {
        compute(pair);
        target = appendFlow(flow, replacement, withValidity, target);
    }
    *result = vectors.release();
    return StatusOk;
}

} // namespace

/// Dense optical flow between consecutive frames by polynomial expansion: pairs x rows x columns x (u, v),
/// in pixels, v upward. Vectors that are not finite or reach 1e9 become (replacement, replacement).
///
/// Image: 3D, at least 2 frames, bytes, 1 channel, ColorSpaceGray. Pyramid scale: above 0, to 1 (OpenCV
/// refuses exactly 1). Levels and iterations: at least 1. Window: 0 to bounds::flowWindow, cut to an integer.
/// Neighbourhood: 0 to bounds::flowNeighbourhood. Sigma: at least 0. Flag: "Gaussian" or "Standard".
/// Initial flow: rows x columns x 2, or empty; an empty one with `useInitialFlow` starts each pair but the
/// first with the flow of the pair before. Calls beyond bounds::flowLevels or bounds::flowSteps are refused.
/// Source: G. Farneback, "Two-frame motion estimation based on polynomial expansion", 2003.
HostErrorCode opticalFlowFarneback(LibraryData data, KImage image, double pyramidScale, int64_t levels,
                                   double window, int64_t iterations, int64_t neighbourhood, double sigma,
                                   const char* flag, HostBoolean useInitialFlow, KTensor initialFlow,
                                   double replacement, KTensor* result)
{
    if (!data || !image || !result || !initialFlow) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const FlowInput input(images, image);
    if (!input.acceptable()) return StatusFunctionError;
    int flags = valueOf(flowFlags, flag, unknownFlag);
    if (flags == unknownFlag) return StatusFunctionError;
    if (neighbourhood < 0 || iterations < 1 || levels < 1) return StatusFunctionError;
    if (!(pyramidScale > 0 && pyramidScale <= 1) || !(sigma >= 0)) return StatusFunctionError;
    if (!(window >= 0 && window <= bounds::flowWindow)) return StatusFunctionError;
    if (neighbourhood > bounds::flowNeighbourhood) return StatusFunctionError;
    const int side = static_cast<int>(window), reach = static_cast<int>(neighbourhood);
    const int passes = clippedInt32(iterations), count = clippedInt32(levels);
    if (!bounds::farnebackLevelsFit(input.rows, input.columns, pyramidScale, count))
        return StatusFunctionError;
    if (!bounds::farnebackEnds(input.rows, input.columns, pyramidScale, count, side, passes, reach))
        return StatusFunctionError;

    cv::Mat flow;
    if (useInitialFlow && !readInitialFlow(data, initialFlow, input, flow)) return StatusFunctionError;
    const bool chained = useInitialFlow && flow.empty();
    const BorrowedSlices frames(images, image, anyType);
    if (!framesFit(frames)) return StatusFunctionError;
    if (useInitialFlow) flags += cv::OPTFLOW_USE_INITIAL_FLOW;
    const auto compute = [&](std::size_t pair) {
        const int own = chained && pair == 1 ? flags - cv::OPTFLOW_USE_INITIAL_FLOW : flags;
        cv::calcOpticalFlowFarneback((*frames)[pair - 1], (*frames)[pair], flow, pyramidScale, count, side,
                                     passes, reach, sigma, own);
    };
    return flowOfPairs(data, *frames, flow, replacement, false, compute, result);
}

/// Dense optical flow between consecutive frames by total variation and the L1 norm: pairs x rows x columns x
/// (u, v, valid), in pixels, v upward. Vectors that are not finite or reach 1e9 become (replacement,
/// replacement) with valid 0; the others have valid 1.
///
/// Image: 3D, at least 2 frames, bytes, 1 channel, ColorSpaceGray, both sides at least bounds::flowSide.
/// Epsilon, tau, theta: above 0. Lambda: at least 0. Iterations, scales, warpings: at least 1. Initial flow:
/// rows x columns x 2, or empty; an empty one with `useInitialFlow` starts each pair but the first with the
/// flow of the pair before. Calls beyond bounds::flowIterations are refused. Source: C. Zach, T. Pock, H.
/// Bischof, "A duality based approach for realtime TV-L1 optical flow", 2007.
HostErrorCode opticalFlowDualTvl1(LibraryData data, KImage image, double epsilon, int64_t iterations,
                                  double lambda, int64_t scales, double tau, double theta, int64_t warpings,
                                  HostBoolean useInitialFlow, KTensor initialFlow, double replacement,
                                  KTensor* result)
{
    if (!data || !image || !result || !initialFlow) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const FlowInput input(images, image);
    if (!input.acceptable()) return StatusFunctionError;
    if (warpings < 1 || scales < 1 || iterations < 1) return StatusFunctionError;
    if (!(epsilon > 0) || !(tau > 0) || !(theta > 0) || !(lambda >= 0)) return StatusFunctionError;
    if (std::min(input.rows, input.columns) < bounds::flowSide) return StatusFunctionError;
    const int passes = clippedInt32(iterations), warps = clippedInt32(warpings);
    if (!bounds::dualTvl1Ends(passes, warps)) return StatusFunctionError;

    cv::Mat_<cv::Point2f> flow;
    if (useInitialFlow && !readInitialFlow(data, initialFlow, input, flow)) return StatusFunctionError;
    const bool chained = useInitialFlow && flow.empty();
    const BorrowedSlices frames(images, image, anyType);
    if (!framesFit(frames)) return StatusFunctionError;
    const auto method = readersOrCvError().createDualTvl1();
    method->setEpsilon(epsilon);
    method->setIterations(passes);
    method->setLambda(lambda);
    method->setScalesNumber(static_cast<int>(std::min(scales, bounds::flowScales)));
    method->setTau(tau);
    method->setTheta(theta);
    method->setWarpingsNumber(warps);
    method->setUseInitialFlow(useInitialFlow != 0);
    const auto compute = [&](std::size_t pair) {
        if (chained && pair == 1) method->setUseInitialFlow(false);
        if (chained && pair == 2) method->setUseInitialFlow(true);
        method->calc((*frames)[pair - 1], (*frames)[pair], flow, cv::noArray());
    };
    return flowOfPairs(data, *frames, flow, replacement, true, compute, result);
}

} // namespace miravex
