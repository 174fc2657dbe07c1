#include "ops/photo/bounds.h"
#include "tests/support/host_check.h"

#include "tests/ops/photo/bracket.h"

namespace miravex::test {

namespace {

/// What completes a call of any operation of this room.
NamedValues inputs(const Operation& operation)
{
    const std::string name(operation.name);
    if (name == "SuperResolution") return { { "film", std::string("film.avi") } };
    if (name.starts_with("OpticalFlow"))
        return { { "frames", sequenceOf({ noise(20, 24, CV_8U), noise(20, 24, CV_8U, 2) }) } };
    if (name == "Tonemap") return { { "image", imageOf(noise(20, 24, CV_32FC3)) } };
    if (argumentIndex(operation, "exposures") >= 0)
        return { { "frames", sequenceOf(bracket(3)) }, { "exposures", bracketExposures(3) } };
    if (argumentIndex(operation, "frames") >= 0)
        return { { "frames",
                   sequenceOf(
                       { noise(30, 32, CV_8UC3), noise(30, 32, CV_8UC3, 2), noise(30, 32, CV_8UC3, 3) }) } };
    return { { "image", imageOf(noise(30, 32, CV_8UC3)) } };
}

} // namespace

TEST(PhotoCatalog, HasSeventeenOperationsThatWorkWithTheirDefaults)
{
    std::size_t seen = 0;
    for (const Operation* listed : catalog()) {
        const Operation& operation = *listed;
        if (operation.room->name != "photo") continue;
        ++seen;
        EXPECT_NE(library().operation(operation.name), nullptr) << operation.name;
        EXPECT_FALSE(operation.examples.empty()) << operation.name;
        EXPECT_FALSE(operation.source.empty()) << operation.name;
        const Values values = arguments(operation.name, inputs(operation));
        for (const Refusal& refusal : check(operation, values))
            ADD_FAILURE() << operation.name << ": " << refusal.message();
        if (operation.name != "SuperResolution") succeed(operation.name, values);
    }
    EXPECT_EQ(seen, 17U);
}

TEST(PhotoCatalog, ObjectsToWhatTheLibraryRefuses)
{
    const auto objections = [](std::string_view name, NamedValues changed) {
        const Operation& operation = record(name);
        NamedValues given = inputs(operation);
        for (auto& [argument, value] : changed) given[argument] = std::move(value);
        const Values values = arguments(name, std::move(given));
        expectRefused(name, values);
        return check(operation, values).size();
    };
    const auto list = [](std::vector<double> values) {
        return makeRealTensor({ static_cast<int64_t>(values.size()) }, values);
    };
    EXPECT_EQ(objections("FastNlMeansDenoising", { { "template_window", int64_t { 149 } } }), 1U);
    EXPECT_EQ(objections("FastNlMeansDenoising", { { "search_window", int64_t { 22 } } }), 1U);
    EXPECT_EQ(objections("FastNlMeansDenoising", { { "search_window", int64_t { 4097 } } }), 1U);
    EXPECT_EQ(objections("FastNlMeansDenoisingMulti", { { "frame", int64_t { 1 } } }), 1U);
    EXPECT_EQ(objections("FastNlMeansDenoisingMulti", { { "search_window", int64_t { 31 } } }), 1U);
    EXPECT_EQ(objections("AlignMTB", { { "levels", int64_t { 5 } } }), 1U);
    EXPECT_EQ(objections("AlignMTB", { { "excluded_range", int64_t { 33 } } }), 1U);
    EXPECT_EQ(objections("CalibrateDebevec", { { "exposures", list({ 1, 2 }) } }), 1U);
    EXPECT_EQ(objections("MergeDebevec", { { "response", makeRealTensor({ 767 }) } }), 1U);
    EXPECT_EQ(objections("MergeDebevec", { { "exposures", list({ 1, 2, 0 }) } }), 1U);
    EXPECT_EQ(objections("Tonemap", { { "parameters", list({ 1 }) } }), 1U);
    EXPECT_EQ(objections("Tonemap", { { "parameters", list({ -1, 1, 1 }) } }), 1U);
    EXPECT_EQ(objections("Tonemap", { { "method", std::string("durand") } }), 1U);
    EXPECT_EQ(objections("OpticalFlowFarneback", { { "pyramid_scale", 1.0 } }), 1U);
    EXPECT_EQ(objections("OpticalFlowFarneback",
                         { { "use_initial_flow", true }, { "initial_flow", makeRealTensor({ 24, 20, 2 }) } }),
              1U);
    EXPECT_EQ(objections("OpticalFlowDualTVL1", { { "tau", 0.0 } }), 1U);
    EXPECT_EQ(objections("Stylization", { { "range_sigma", 1.5 } }), 1U);
}

TEST(PhotoCatalog, ForetellsEveryBoundOfTheLibrary)
{
    // Each of these is refused by a bound that ties several arguments together, and by no other.
    const auto objection = [](std::string_view name, NamedValues changed) {
        const Operation& operation = record(name);
        NamedValues given = inputs(operation);
        for (auto& [argument, value] : changed) given[argument] = std::move(value);
        const Values values = arguments(name, std::move(given));
        const Outcome outcome = invoke(name, values);
        EXPECT_EQ(outcome.status, StatusFunctionError) << name;
        EXPECT_EQ(outcome.openCvError, "") << name;
        const std::vector<Refusal> refusals = check(operation, values);
        return refusals.size() == 1 ? refusals.front().message() : std::to_string(refusals.size());
    };
    const auto list = [](std::vector<double> values) {
        return makeRealTensor({ static_cast<int64_t>(values.size()) }, values);
    };
    using ::testing::StartsWith;
    constexpr int64_t endless = 2000000000;
    for (const char* flow : { "OpticalFlowFarneback", "OpticalFlowDualTVL1" })
        EXPECT_THAT(objection(flow, { { "iterations", endless } }),
                    StartsWith("iterations is 2000000000, expected "));
    EXPECT_THAT(objection("OpticalFlowDualTVL1", { { "warpings", endless } }),
                StartsWith("iterations is 10, expected iterations that come to at most 32768 "));
    EXPECT_THAT(
        objection("OpticalFlowFarneback",
                  { { "frames", sequenceOf({ noise(60, 60, CV_8U), noise(60, 60, CV_8U, 2) }) },
                    { "levels", int64_t { INT32_MAX } },
                    { "pyramid_scale", 0.9999 } }),
        StartsWith("pyramid_scale is 0.9999, expected a scale whose levels hold at most 4096 times "));
    EXPECT_THAT(
        objection("Tonemap",
                  { { "method", std::string("Durand") }, { "parameters", list({ 1, 4, 1, 2, 1001 }) } }),
        StartsWith("parameters is 5 reals, expected a space sigma of at most 1000 "));
    EXPECT_THAT(objection("CalibrateDebevec",
                          { { "samples", int64_t { 2 } }, { "frames", sequenceOf(bracket(3, 1, 300)) } }),
                StartsWith("samples is 2, expected "));
    const ImagePointer wide = imageOf(noise(520, 520, CV_8U));
    EXPECT_THAT(
        objection("FastNlMeansDenoising", { { "image", wide }, { "search_window", int64_t { 4095 } } }),
        StartsWith("search_window is 4095, expected windows whose templates are compared in at most 2^42 "));
}

TEST(PhotoCatalog, BoundsTheSamplesOfAFrameButNotOfASequence)
{
    EXPECT_TRUE(bounds::frameFits(46340, 46341, 1));
    EXPECT_FALSE(bounds::frameFits(46341, 46341, 1));
    EXPECT_FALSE(bounds::frameFits(30000, 25000, 3));
    std::size_t bounded = 0;
    for (const Operation* operation : catalog()) {
        if (operation->room->name != "photo" || operation->name == "SuperResolution") continue;
        for (const Constraint& constraint : operation->constraints)
            if (constraint.text.str().ends_with("at most 2^31 - 1 samples")
                || constraint.text.str().ends_with("at most 2^31 - 1 samples each"))
                ++bounded;
    }
    EXPECT_EQ(bounded, 16U);
}

TEST(PhotoCatalog, AcceptsPhotosAndFilmsOfEverydaySizes)
{
    const ImageShape photo { .rows = 3000, .columns = 4000, .channels = 3 };
    const auto bracketOf = [](int frames) {
        return makeImage({ .rows = 3000, .columns = 4000, .channels = 3, .slices = frames }, PixelTypeByte,
                         ColorSpaceRGB);
    };
    const auto objections = [](std::string_view name, NamedValues given) {
        const Operation& operation = record(name);
        std::string messages;
        for (const Refusal& refusal : check(operation, arguments(name, std::move(given))))
            messages += refusal.message();
        return messages;
    };
    const ImagePointer image = makeImage(photo, PixelTypeByte, ColorSpaceRGB);
    const ImagePointer bracket = bracketOf(5);
    const TensorPointer exposures = bracketExposures(5);
    for (const char* name : { "DetailEnhance", "EdgePreservingFilter", "Stylization", "FastNlMeansDenoising",
                              "FastNlMeansDenoisingColored" })
        EXPECT_EQ(objections(name, { { "image", image } }), "") << name;
    for (const char* name :
         { "AlignMTB", "MergeMertens", "FastNlMeansDenoisingMulti", "FastNlMeansDenoisingColoredMulti" })
        EXPECT_EQ(objections(name, { { "frames", bracket } }), "") << name;
    for (const char* name : { "CalibrateDebevec", "CalibrateRobertson", "MergeDebevec", "MergeRobertson" })
        EXPECT_EQ(objections(name, { { "frames", bracket }, { "exposures", exposures } }), "") << name;
    for (const char* method : { "basic", "Durand", "Drago", "Reinhard", "Mantiuk" })
        EXPECT_EQ(objections("Tonemap",
                             { { "image", makeImage(photo, PixelTypeReal32, ColorSpaceRGB) },
                               { "method", std::string(method) } }),
                  "")
            << method;
}

} // namespace miravex::test
