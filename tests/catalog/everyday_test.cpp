#include "catalog/catalog.h"
#include "tests/support/call_check.h"
#include "tests/support/host_check.h"
#include "tests/support/zero_pages.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

/// Calls that people make every day. No bound may ever be so tight that it refuses one of them.
namespace miravex::test {

namespace {

struct Everyday {
    std::string operation;
    std::string title;
    NamedValues given;
    bool isQuick = false; ///< takes the library less than some seconds, and so is made
};

/// A photo of 12 megapixels.
ImagePointer photo12(int64_t channels = 3, PixelType type = PixelTypeByte)
{
    return imageOfZeros({ .rows = 3000, .columns = 4000, .channels = channels }, type);
}

/// Frames of a film.
ImagePointer film(int64_t frames, int64_t rows, int64_t columns, int64_t channels = 1)
{
    return imageOfZeros({ .rows = rows, .columns = columns, .channels = channels, .slices = frames },
                        PixelTypeByte);
}

/// Photos of one scene, exposed for 1, 2, 4, ... thirtieths of a second.
ImagePointer bracket(int64_t photos) { return film(photos, 3000, 4000, 3); }

TensorPointer exposures(int64_t photos)
{
    TensorPointer seconds = makeRealTensor({ photos });
    double second = 1.0 / 30;
    for (double& each : seconds->reals()) each = std::exchange(second, 2 * second);
    return seconds;
}

/// Descriptors as SURF or SIFT would give them.
TensorPointer descriptors(int64_t count, int64_t length) { return makeRealTensor({ count, length }); }

std::vector<Everyday> everyday()
{
    const ImagePointer color = photo12(), gray = photo12(1), reals = photo12(3, PixelTypeReal32);
    std::vector<Everyday> calls;
    const auto add = [&](std::string operation, std::string title, NamedValues given, bool isQuick = false) {
        calls.push_back({ std::move(operation), std::move(title), std::move(given), isQuick });
    };
    constexpr bool quick = true;

    add("MedianFilter", "photo", { { "image", color }, { "radius", int64_t { 3 } } }, quick);
    add("MedianFilter", "radius 100", { { "image", gray }, { "radius", int64_t { 100 } } });
    add("Dilation", "photo", { { "image", color }, { "radius", int64_t { 10 } } }, quick);
    add("ImagePad", "photo",
        { { "image", color },
          { "top", int64_t { 100 } },
          { "bottom", int64_t { 100 } },
          { "left", int64_t { 100 } },
          { "right", int64_t { 100 } } },
        quick);
    add("ImageConvolve", "photo, 31 taps",
        { { "image", color },
          { "horizontal", makeRealTensor({ 31 }) },
          { "vertical", makeRealTensor({ 31 }) } },
        quick);
    add("ImageCorrelate", "photo, patch of 64 x 64",
        { { "image", gray }, { "kernel", imageOfZeros({ .rows = 64, .columns = 64 }, PixelTypeByte) } });
    add("PyrDown", "photo", { { "image", color } }, quick);
    add("PyrUp", "photo", { { "image", color } }, quick);
    add("imageDemosaic", "raw photo", { { "image", gray } }, quick);
    add("LocalAdaptiveBinarize", "scanned page",
        { { "image", gray }, { "radius", int64_t { 25 } }, { "coefficients", realList({ 1, 0, -0.02 }) } },
        quick);
    add("LogPolarCV", "photo", { { "image", color } }, quick);
    add("Decolor", "photo",
        { { "image", imageOfZeros({ .rows = 600, .columns = 800, .channels = 3 }, PixelTypeByte) } }, quick);
    add("PhaseCorrelate", "two photos",
        { { "first", photo12(1, PixelTypeReal) }, { "second", photo12(1, PixelTypeReal) } });
    add("PyrMeanShiftFilter", "photo, radius 30, 100 iterations, level 3",
        { { "image", imageOfZeros({ .rows = 4000, .columns = 6000, .channels = 3 }, PixelTypeByte) },
          { "spatial_radius", 30.0 },
          { "max_level", int64_t { 3 } },
          { "iterations", int64_t { 100 } } });

    for (const char* method : { "basic", "Drago", "Reinhard", "Mantiuk" })
        add("Tonemap", fmt::format("photo, {}", method), { { "image", reals }, { "method", method } });
    for (const char* merge : { "MergeDebevec", "MergeRobertson" })
        add(merge, "five photos", { { "frames", bracket(5) }, { "exposures", exposures(5) } });
    add("MergeMertens", "five photos", { { "frames", bracket(5) } });
    add("AlignMTB", "five photos", { { "frames", bracket(5) } });
    add("CalibrateDebevec", "five photos", { { "frames", bracket(5) }, { "exposures", exposures(5) } });
    add("CalibrateRobertson", "five photos", { { "frames", bracket(5) }, { "exposures", exposures(5) } });
    add("FastNlMeansDenoising", "photo", { { "image", gray } });
    add("FastNlMeansDenoisingColored", "photo", { { "image", color } });
    add("FastNlMeansDenoisingMulti", "30 frames in HD", { { "frames", film(30, 1080, 1920) } });
    add("FastNlMeansDenoisingColoredMulti", "30 frames in HD", { { "frames", film(30, 1080, 1920, 3) } });
    for (const char* filter : { "EdgePreservingFilter", "DetailEnhance", "Stylization" })
        add(filter, "photo", { { "image", color } });
    for (const char* flow : { "OpticalFlowDualTVL1", "OpticalFlowFarneback" }) {
        add(flow, "a second of HD", { { "frames", film(31, 1080, 1920) } });
        add(flow, "198 VGA frames", { { "frames", film(198, 480, 640) } });
        add(flow, "a pair, 300 iterations",
            { { "frames", film(2, 480, 640) }, { "iterations", int64_t { 300 } } });
    }

    for (const char* detector : { "Agast", "Fast", "Brisk", "Orb" })
        add(detector, "photo", { { "image", gray } }, quick);
    for (const char* finder : { "Akaze", "Kaze", "MserDetect", "LineSegmentDetector", "FindContours",
                                "HoughLines", "HoughLinesP", "HoughCircles" })
        add(finder, "photo", { { "image", gray } });
    add("MserDetect", "photo in colour", { { "image", color } });
    add("DescriptorMatcher", "10,000 descriptors with 10,000",
        { { "query", descriptors(10000, 64) }, { "train", descriptors(10000, 64) } });
    add("DescriptorMatcher", "9,000 descriptors within a radius of 9,000",
        { { "query", descriptors(9000, 32) },
          { "train", descriptors(9000, 32) },
          { "mode", "Radius Match" },
          { "parameter", 0.1 } });
    return calls;
}

class EverydayCalls : public ::testing::TestWithParam<Everyday> { };

} // namespace

TEST_P(EverydayCalls, AreAccepted)
{
    const Everyday& everyday = GetParam();
    const Operation& operation = record(everyday.operation);
    const Values values = arguments(everyday.operation, everyday.given);
    std::vector<std::string> objections;
    for (const Refusal& refusal : check(operation, values)) objections.push_back(refusal.message());
    EXPECT_TRUE(objections.empty()) << describeCall(operation, values) << ": "
                                    << fmt::format("{}", fmt::join(objections, "; "));
    if (everyday.isQuick) {
        const Outcome outcome = call(library(), operation, values);
        EXPECT_TRUE(outcome.ok()) << describeCall(operation, values) << ": " << outcome.openCvError;
    }
}

INSTANTIATE_TEST_SUITE_P(Table, EverydayCalls, ::testing::ValuesIn(everyday()), [](const auto& info) {
    std::string name = info.param.operation + info.param.title;
    std::erase_if(name, [](unsigned char c) { return !std::isalnum(c); });
    return name;
});

} // namespace miravex::test
