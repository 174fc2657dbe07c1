#include "bench/ratio.h"

#include "abi/export.h"
#include "host/services.h"

#include <opencv2/imgproc.hpp>

#include <memory>

namespace miravex::bench {

namespace {

/// An operation that does nothing: around it, time is the export's alone.
HostErrorCode nothing(LibraryData, KImage image, int64_t, double, HostBoolean, const char*, KImage* result)
{
    *result = image;
    return StatusOk;
}

/// A call without anything of what the embedded host does around one.
struct BareCall {
    MiravexOperation function;
    ValueCell cells[5] {};
    ArgumentSlot slots[5] { &cells[0], &cells[1], &cells[2], &cells[3], &cells[4] };
    ValueCell result {};

    explicit BareCall(MiravexOperation called)
        : function(called)
    {
        cells[4].string = "Linear";
    }
    HostErrorCode operator()(int64_t argc) { return function(&hostServices(), argc, slots, &result); }
};

constexpr double exportTarget = 200;

} // namespace

MIRAVEX_BENCH(abi)
{
    const auto median = std::make_shared<BareCall>(library().operation("MedianFilter"));
    duration(
        "export, wrong count refused", [median] { keep((*median)(3)); }, exportTarget);
    duration(
        "export, missing image refused", [median] { keep((*median)(2)); }, exportTarget);

    const auto empty = std::make_shared<BareCall>(&runOperation<&nothing>);
    duration(
        "export, 5 arguments around nothing", [empty] { keep((*empty)(5)); }, exportTarget);
}

MIRAVEX_BENCH(smallest)
{
    // A picture of one pixel: what is left beside OpenCV is the export, the conversion and the host's own
    // bookkeeping.
    const cv::Mat pixel = noise(1, 1, CV_8U);
    ratio("median-filter, 1 pixel", operation("MedianFilter", { imageOfMatrix(pixel), int64_t { 1 } }),
          [pixel] {
              cv::Mat out;
              cv::medianBlur(pixel, out, 3);
              keep(out.data);
          });
}

} // namespace miravex::bench
