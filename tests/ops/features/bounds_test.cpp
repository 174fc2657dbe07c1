#include "tests/ops/features/rows.h"

#include "catalog/arguments.h"

namespace miravex::test {

namespace {

/// What completes a call of any operation of this room, with a gray picture of this size.
NamedValues inputs(const std::string& operation, ImagePointer picture)
{
    if (operation == "DescriptorMatcher")
        return { { "query", realRows({ 2, 1 }, { 0, 1 }) }, { "train", realRows({ 2, 1 }, { 0, 1 }) } };
    if (operation.starts_with("EarthMover")) {
        NamedValues given { { "weights1", realList({ 1, 2 }) }, { "weights2", realList({ 2, 1 }) } };
        if (argumentIndex(record(operation), "points1") < 0) {
            given["cost"] = realRows({ 2, 2 }, { 0, 1, 1, 0 });
            return given;
        }
        given["points1"] = realRows({ 2, 1 }, { 0, 1 });
        given["points2"] = realRows({ 2, 1 }, { 0, 1 });
        return given;
    }
    if (operation == "FaceDetection")
        return { { "image", std::move(picture) },
                 { "cascade", "/usr/share/opencv4/haarcascades/haarcascade_frontalface_default.xml" } };
    return { { "image", std::move(picture) } };
}

/// A black picture of so many pixels that only its size is ever looked at: memory that nobody touches.
ImagePointer vast(int64_t rows, int64_t columns, int64_t channels = 1)
{
    return makeImage({ .rows = rows, .columns = columns, .channels = channels }, PixelTypeByte,
                     channels == 1 ? ColorSpaceGray : ColorSpaceRGB);
}

/// Refused by library and record alike; the record blames that argument and says what it accepts.
void expectForetold(const std::string& operation, NamedValues changed, std::string_view argument,
                    std::source_location where = std::source_location::current())
{
    const ::testing::ScopedTrace trace(where.file_name(), static_cast<int>(where.line()), operation);
    NamedValues given = inputs(operation, imageOf(scene(60, 80)));
    for (auto& [name, value] : changed) given[name] = std::move(value);
    const Values values = arguments(operation, std::move(given));
    EXPECT_REFUSED_IN_CHILD(operation, values);
    const std::vector<Refusal> refusals = check(record(operation), values);
    const auto blamed = std::ranges::find(refusals, argument, &Refusal::argument);
    ASSERT_NE(blamed, refusals.end()) << "nobody blames " << argument;
    EXPECT_FALSE(blamed->expected.empty());
    EXPECT_EQ(blamed->expected.find("{}"), std::string::npos) << blamed->expected;
}

NamedValues described(int64_t column, double value, NamedValues besides = {})
{
    std::vector<double> row { 40, 30, 12, 30, 1, 0, 1 };
    row.at(static_cast<std::size_t>(column)) = value;
    besides["keypoints"] = realRows({ 1, 7 }, row);
    besides["mode"] = "compute";
    return besides;
}

const double nan = std::nan("");
constexpr int64_t most = INT64_MAX;

} // namespace

// Every bound of the room beyond the ranges of single arguments, which tests/catalog probes by itself.

TEST(FeatureBounds, OfNumbersThatAreNone)
{
    for (const char* operation : { "HoughLines", "HoughLinesP" }) {
        expectForetold(operation, { { "rho", nan } }, "rho");
        expectForetold(operation, { { "theta", nan } }, "theta");
    }
    for (const char* argument : { "dp", "min_dist", "param1", "param2" })
        expectForetold("HoughCircles", { { argument, nan } }, argument);
    expectForetold("Brisk", { { "pattern_scale", nan } }, "pattern_scale");
    expectForetold("Orb", { { "scale_factor", nan } }, "scale_factor");
    expectForetold("FaceDetection", { { "scale_factor", nan } }, "scale_factor");
    expectForetold("MserDetect", { { "min_diversity", nan } }, "min_diversity");
    expectForetold("MserDetect", { { "area_threshold", nan } }, "area_threshold");
    expectForetold("DescriptorMatcher", { { "parameter", nan } }, "parameter");
}

TEST(FeatureBounds, OfKeypoints)
{
    for (const char* operation : { "Akaze", "Brisk", "Kaze", "Orb" }) {
        for (const int64_t column : { 0, 1, 2, 3, 4 }) {
            expectForetold(operation, described(column, nan), "keypoints");
            expectForetold(operation, described(column, 1e300), "keypoints");
        }
        expectForetold(operation, described(0, 81), "keypoints");
        expectForetold(operation, described(1, -1), "keypoints");
        expectForetold(operation, described(2, 0), "keypoints");
        expectForetold(operation, described(2, 201), "keypoints"); // two diagonals are 200
        expectForetold(operation, described(5, -1), "keypoints");
        expectForetold(operation, described(5, 3e9), "keypoints");
        expectForetold(operation, described(6, 3e9), "keypoints");
        expectForetold(operation, described(6, nan), "keypoints");
    }
    expectForetold("Akaze", described(5, 31), "keypoints");
}

TEST(FeatureBounds, OfDescriptors)
{
    for (const char* mode : { "compute", "detectAndCompute" }) {
        for (const int64_t size : { 0, 64 })
            for (const int64_t channels : { 1, 2 }) {
                NamedValues given = described(2, 12);
                given["mode"] = mode;
                given["descriptor_size"] = size;
                given["descriptor_channels"] = channels;
                expectForetold("Akaze", given, "descriptor_channels");
            }
    }
    expectForetold("Akaze",
                   { { "descriptor_size", int64_t { 163 } }, { "descriptor_channels", int64_t { 1 } } },
                   "descriptor_size");
}

TEST(FeatureBounds, OfScalesAndPyramids)
{
    expectForetold("Kaze",
                   { { "image", vast(4000, 4000) },
                     { "n_octaves", int64_t { 15 } },
                     { "n_octave_layers", int64_t { 11 } } },
                   "n_octave_layers");
    expectForetold("Kaze",
                   described(6, 150,
                             { { "image", vast(1200, 1200) },
                               { "n_octaves", int64_t { 15 } },
                               { "n_octave_layers", int64_t { 11 } } }),
                   "n_octave_layers");
    expectForetold("Orb", { { "n_levels", int64_t { 100 } } }, "n_levels");
    expectForetold("Orb", { { "n_levels", most } }, "n_levels");
    expectForetold("Orb", described(5, 100), "n_levels");
    expectForetold("Orb", { { "edge_threshold", int64_t { 20000 } } }, "edge_threshold");
    expectForetold("Orb", { { "edge_threshold", most } }, "edge_threshold");
    expectForetold("Orb", { { "image", vast(40000, 40000) }, { "n_levels", int64_t { 1 } } },
                   "edge_threshold");
    expectForetold("FaceDetection", { { "scale_factor", 1.00001 } }, "scale_factor");
    expectForetold("FaceDetection", { { "image", vast(2, 2) }, { "scale_factor", 1.0000001 } },
                   "scale_factor");
    expectForetold("FaceDetection", { { "image", vast(4000, 6000) }, { "scale_factor", 1.007 } },
                   "scale_factor");
    expectForetold("FaceDetection", { { "image", vast(30000, 30000) } }, "scale_factor");
    expectForetold("FaceDetection", { { "target_size", int64_t { 0 } } }, "target_size");
}

TEST(FeatureBounds, OfHoughTransforms)
{
    for (const char* operation : { "HoughLines", "HoughLinesP" }) {
        expectForetold(operation, { { "rho", 1e-7 } }, "rho");
        expectForetold(operation, { { "theta", 1e-6 } }, "theta");
        // Few counters, but every pixel counts at every angle.
        expectForetold(operation, { { "image", vast(30000, 30000) }, { "rho", 120000.0 }, { "theta", 6e-4 } },
                       "theta");
    }
    expectForetold("HoughLinesP", { { "rho", 282.0 } }, "rho"); // 2 (60 + 80) + 1
    const auto scaled = [](NamedValues given) {
        given.try_emplace("srn", 2.0);
        given.try_emplace("stn", 2.0);
        return given;
    };
    expectForetold("HoughLines", scaled({ { "rho", 50.5 } }), "rho");
    expectForetold("HoughLines", scaled({ { "theta", 6.3 } }), "theta");
    for (const double divisor : { -1.0, nan, 1e9 }) {
        expectForetold("HoughLines", scaled({ { "srn", divisor } }), "srn");
        expectForetold("HoughLines", { { "srn", 0.0 }, { "stn", divisor } }, divisor > 0 ? "srn" : "stn");
    }
    expectForetold("HoughLines", scaled({ { "srn", 1e5 }, { "stn", 1e5 } }), "srn");
    expectForetold("HoughLines", { { "srn", 2.0 } }, "stn");
}

TEST(FeatureBounds, OfAMaskThatFastAlwaysTakes)
{
    expectForetold("Fast", { { "mask", ImagePointer() } }, "mask");
}

TEST(FeatureBounds, OfPixelsThatOpenCvIndexes)
{
    const ImagePointer tooLarge = vast(46341, 46341); // 2^31 and a few
    for (const char* operation :
         { "Agast", "Akaze", "Brisk", "MserDetect", "HoughCircles", "LineSegmentDetector", "FaceDetection" })
        expectForetold(operation, { { "image", tooLarge } }, "image");
    expectForetold("HoughLines", { { "image", tooLarge }, { "rho", 100.0 }, { "theta", 1.0 } }, "image");
    expectForetold("HoughLinesP", { { "image", vast(32768, 10) } }, "image");
    expectForetold("HoughLinesP", { { "image", vast(10, 32768) } }, "image");
    succeed("HoughLinesP", arguments("HoughLinesP", { { "image", vast(32767, 10) } }));
    for (const char* operation : { "Kaze", "Orb" }) // by narrower bounds of theirs
        expectForetold(operation, { { "image", tooLarge } },
                       operation[0] == 'K' ? "n_octave_layers" : "edge_threshold");
}

TEST(FeatureBounds, OfColourRegions)
{
    const ImagePointer colours = imageOf(noise(60, 80, CV_8UC3));
    expectForetold("MserDetect", { { "image", colours }, { "max_evolution", int64_t { 100000001 } } },
                   "max_evolution");
    expectForetold("MserDetect", { { "image", colours }, { "edge_blur_size", int64_t { 10001 } } },
                   "edge_blur_size");
}

TEST(FeatureBounds, OfMatching)
{
    const TensorPointer many = makeRealTensor({ 10000, 1 });
    expectForetold("DescriptorMatcher", { { "query", many }, { "train", many }, { "parameter", 6711.0 } },
                   "parameter");
    const TensorPointer wide = makeRealTensor({ 65536, 1025 });
    expectForetold("DescriptorMatcher", { { "query", wide }, { "train", wide } }, "query");
    TensorPointer ones = makeRealTensor({ 5000 });
    std::ranges::fill(ones->reals(), 1);
    const TensorPointer line = makeRealTensor({ 5000, 1 });
    for (const char* operation : { "EarthMoverDistance", "EarthMoverDistanceFlowMatrix" }) {
        expectForetold(
            operation,
            { { "points1", line }, { "weights1", ones }, { "points2", line }, { "weights2", ones } },
            "weights1");
        // 2 x (2^29 + 1) coordinates, of which nobody touches one.
        const TensorPointer far = makeRealTensor({ 2, int64_t { 1 } << 29 });
        expectForetold(operation, { { "points1", far }, { "points2", far } }, "points1");
    }
    expectForetold("EarthMoverDistanceWeightsFlowMatrix",
                   { { "weights1", ones }, { "weights2", ones }, { "cost", makeRealTensor({ 5000, 5000 }) } },
                   "weights1");
}

TEST(FeatureBounds, LeaveEverydayCallsAlone)
{
    const auto everyday = [](const char* operation, NamedValues changed) {
        NamedValues given = inputs(operation, vast(3000, 4000));
        for (auto& [name, value] : changed) given[name] = std::move(value);
        for (const Refusal& refusal : check(record(operation), arguments(operation, std::move(given))))
            ADD_FAILURE() << operation << ": " << refusal.message();
    };
    for (const char* operation :
         { "Agast", "Akaze", "Brisk", "Fast", "Kaze", "Orb", "FindContours", "MserDetect", "HoughCircles",
           "HoughLines", "HoughLinesP", "LineSegmentDetector" })
        everyday(operation, {});
    for (const double factor : { 1.01, 1.05, 1.1, 2.0 })
        everyday("FaceDetection", { { "scale_factor", factor } });
    everyday("HoughLines", { { "rho", 0.25 }, { "theta", 0.005 } });
    everyday("MserDetect", { { "image", vast(3000, 4000, 3) } });
    const TensorPointer many = makeRealTensor({ 10000, 128 });
    everyday("DescriptorMatcher", { { "query", many }, { "train", many }, { "parameter", 10.0 } });
    everyday("DescriptorMatcher", { { "query", many }, { "train", many }, { "mode", "Radius Match" } });
    TensorPointer ones = makeRealTensor({ 2000 });
    std::ranges::fill(ones->reals(), 1);
    const TensorPointer line = makeRealTensor({ 2000, 3 });
    everyday("EarthMoverDistance",
             { { "points1", line }, { "weights1", ones }, { "points2", line }, { "weights2", ones } });
}

} // namespace miravex::test
