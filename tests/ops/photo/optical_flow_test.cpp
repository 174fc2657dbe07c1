#include "host/services.h"
#include "tests/reliability/raw_call.h"
#include "tests/support/host_check.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/superres/optical_flow.hpp>
#include <opencv2/video.hpp>

#include <cmath>

namespace miravex::test {

// Expected values: OpenCV called directly with the stated arguments, or worked by hand where said so.

namespace {

constexpr const char* farneback = "OpticalFlowFarneback";
constexpr const char* dual = "OpticalFlowDualTVL1";

/// Smooth frames of one scene that moves by (dx, dy) pixels per frame, downward for positive dy.
std::vector<cv::Mat> movingScene(int count, int dx, int dy, int rows = 48, int columns = 60)
{
    cv::Mat scene = noise(rows + 40, columns + 40, CV_8U);
    cv::GaussianBlur(scene, scene, cv::Size(0, 0), 2.5);
    cv::normalize(scene, scene, 0, 255, cv::NORM_MINMAX);
    std::vector<cv::Mat> frames;
    for (int i = 0; i < count; ++i)
        frames.push_back(scene(cv::Rect(20 - i * dx, 20 - i * dy, columns, rows)).clone());
    return frames;
}

/// Arguments of either operation by name, with the record's defaults but few iterations.
Values flowOf(const std::string& operation, ImagePointer frames, NamedValues others = {})
{
    NamedValues given { { "frames", std::move(frames) } };
    for (auto& [name, value] : others) given[name] = std::move(value);
    return arguments(operation, std::move(given));
}

Values replaced(const std::string& operation, Values values, std::string_view argument, Value value)
{
    values[static_cast<std::size_t>(argumentIndex(record(operation), argument))] = std::move(value);
    return values;
}

TensorPointer flowTensor(int rows, int columns, double u, double v)
{
    std::vector<double> elements;
    for (int i = 0; i < rows * columns; ++i) elements.insert(elements.end(), { u + 0.01 * i, v - 0.02 * i });
    return makeRealTensor({ rows, columns, 2 }, elements);
}

/// A tensor of flow as OpenCV has it: one matrix of (u, -v) per pair.
std::vector<cv::Mat> matricesOf(const Tensor& tensor)
{
    const std::vector<int64_t>& size = tensor.dimensions;
    std::vector<cv::Mat> pairs;
    const double* element = tensor.reals().data();
    for (int64_t pair = 0; pair < size[0]; ++pair) {
        cv::Mat_<cv::Point2f> flow(static_cast<int>(size[1]), static_cast<int>(size[2]));
        for (cv::Point2f& vector : flow) {
            vector = { static_cast<float>(element[0]), static_cast<float>(-element[1]) };
            element += size[3];
        }
        pairs.push_back(flow);
    }
    return pairs;
}

void expectSameFlow(const Outcome& outcome, const std::vector<cv::Mat>& expected, const std::string& what)
{
    const std::vector<cv::Mat> actual = matricesOf(outcome.tensor());
    ASSERT_EQ(actual.size(), expected.size()) << what;
    for (std::size_t i = 0; i < actual.size(); ++i)
        EXPECT_TRUE(sameBits(actual[i], expected[i])) << what << ", pair " << i + 1;
}

/// cv::calcOpticalFlowFarneback with the defaults of the record.
void directFarneback(const cv::Mat& from, const cv::Mat& to, cv::Mat& flow, int flags)
{
    cv::calcOpticalFlowFarneback(from, to, flow, 0.5, 5, 13, 3, 5, 1.1, flags);
}

cv::Ptr<cv::superres::DualTVL1OpticalFlow> directDual()
{
    const auto method = cv::superres::createOptFlow_DualTVL1();
    method->setEpsilon(0.01);
    method->setIterations(2);
    method->setLambda(0.15);
    method->setScalesNumber(3);
    method->setTau(0.25);
    method->setTheta(0.3);
    method->setWarpingsNumber(2);
    method->setUseInitialFlow(false);
    return method;
}

const NamedValues quickFarneback { { "iterations", int64_t { 3 } } };
const NamedValues quickDual { { "iterations", int64_t { 2 } },
                              { "scales", int64_t { 3 } },
                              { "warpings", int64_t { 2 } } };

NamedValues with(NamedValues values, const std::string& name, Value value)
{
    values[name] = std::move(value);
    return values;
}

const NamedValues& quick(const std::string& operation)
{
    return operation == farneback ? quickFarneback : quickDual;
}

cv::Scalar meanOf(const Outcome& outcome)
{
    const cv::Mat flow = matricesOf(outcome.tensor()).front();
    cv::Scalar mean = cv::mean(flow(cv::Rect(10, 10, flow.cols - 20, flow.rows - 20)));
    mean[1] = -mean[1];
    return mean;
}

} // namespace

// --- both -----------------------------------------------------------------------------------------------

TEST(OpticalFlow, HasOnePairLessThanFrames)
{
    for (const int count : { 2, 4 }) {
        const ImagePointer frames = sequenceOf(movingScene(count, 1, 0));
        EXPECT_EQ(succeed(farneback, flowOf(farneback, frames, quickFarneback)).tensor().dimensions,
                  (std::vector<int64_t> { count - 1, 48, 60, 2 }));
        EXPECT_EQ(succeed(dual, flowOf(dual, frames, quickDual)).tensor().dimensions,
                  (std::vector<int64_t> { count - 1, 48, 60, 3 }));
    }
    for (const char* operation : { farneback, dual })
        expectRefused(operation, flowOf(operation, sequenceOf(movingScene(1, 0, 0)), quick(operation)));
}

TEST(OpticalFlow, PointsUp) // by hand: the scene moves 2 pixels to the right and 3 down
{
    const ImagePointer frames = sequenceOf(movingScene(2, 2, 3));
    for (const char* operation : { farneback, dual }) {
        const cv::Scalar mean = meanOf(succeed(operation, flowOf(operation, frames)));
        EXPECT_NEAR(mean[0], 2, 0.25) << operation;
        EXPECT_NEAR(mean[1], -3, 0.25) << operation;
    }
}

TEST(OpticalFlow, RefusesOtherFrames)
{
    const auto two = [](int type, std::optional<ColorSpace> space = {}) {
        return sequenceOf({ noise(40, 40, type), noise(40, 40, type, 2) }, space);
    };
    for (const char* operation : { farneback, dual })
        for (const ImagePointer& frames :
             { two(CV_8UC3), two(CV_8UC3, ColorSpaceGray), two(CV_8UC2, ColorSpaceGray), two(CV_16U),
               two(CV_32F), two(CV_64F), two(CV_8UC2), two(CV_8U, ColorSpaceRGB),
               two(CV_8U, ColorSpaceUnspecified), imageOf(noise(40, 40, CV_8U)), ImagePointer() })
            expectRefused(operation, flowOf(operation, frames, quick(operation)));
}

TEST(OpticalFlow, StartsFromTheHostsFlowUpsideDown)
{
    const std::vector<cv::Mat> frames = movingScene(3, 2, 1);
    const TensorPointer initial = flowTensor(48, 60, 1.5, -0.5);
    cv::Mat start(48, 60, CV_32FC2);
    for (int i = 0; i < 48 * 60; ++i)
        start.ptr<cv::Point2f>()[i] = { static_cast<float>(initial->reals()[static_cast<std::size_t>(2 * i)]),
                                        -static_cast<float>(
                                            initial->reals()[static_cast<std::size_t>(2 * i + 1)]) };
    const NamedValues use { { "use_initial_flow", true }, { "initial_flow", initial } };

    cv::Mat flow = start.clone();
    std::vector<cv::Mat> expected;
    for (std::size_t pair = 1; pair < frames.size(); ++pair) {
        directFarneback(frames[pair - 1], frames[pair], flow, cv::OPTFLOW_USE_INITIAL_FLOW);
        expected.push_back(flow.clone());
    }
    NamedValues given = quickFarneback;
    given.insert(use.begin(), use.end());
    expectSameFlow(succeed(farneback, flowOf(farneback, sequenceOf(frames), given)), expected, farneback);

    cv::Mat_<cv::Point2f> dualFlow = cv::Mat_<cv::Point2f>(start.clone());
    const auto method = directDual();
    method->setUseInitialFlow(true);
    expected.clear();
    for (std::size_t pair = 1; pair < frames.size(); ++pair) {
        method->calc(frames[pair - 1], frames[pair], dualFlow, cv::noArray());
        expected.push_back(dualFlow.clone());
    }
    given = quickDual;
    given.insert(use.begin(), use.end());
    expectSameFlow(succeed(dual, flowOf(dual, sequenceOf(frames), given)), expected, dual);
}

TEST(OpticalFlow, WithAnEmptyInitialFlowStartsFromThePairBefore)
{
    const std::vector<cv::Mat> frames = movingScene(4, 2, 1);
    cv::Mat flow;
    std::vector<cv::Mat> expected;
    for (std::size_t pair = 1; pair < frames.size(); ++pair) {
        directFarneback(frames[pair - 1], frames[pair], flow, pair == 1 ? 0 : cv::OPTFLOW_USE_INITIAL_FLOW);
        expected.push_back(flow.clone());
    }
    expectSameFlow(
        succeed(farneback,
                flowOf(farneback, sequenceOf(frames), with(quickFarneback, "use_initial_flow", true))),
        expected, farneback);

    cv::Mat_<cv::Point2f> dualFlow;
    const auto method = directDual();
    expected.clear();
    for (std::size_t pair = 1; pair < frames.size(); ++pair) {
        method->setUseInitialFlow(pair > 1);
        method->calc(frames[pair - 1], frames[pair], dualFlow, cv::noArray());
        expected.push_back(dualFlow.clone());
    }
    expectSameFlow(succeed(dual, flowOf(dual, sequenceOf(frames), with(quickDual, "use_initial_flow", true))),
                   expected, dual);
}

TEST(OpticalFlow, IgnoresAnInitialFlowThatIsNotUsed)
{
    const std::vector<cv::Mat> frames = movingScene(2, 1, 1);
    for (const char* operation : { farneback, dual }) {
        const Values without = flowOf(operation, sequenceOf(frames), quick(operation));
        const Values unused = replaced(operation, without, "initial_flow", flowTensor(3, 4, 1, 1));
        expectSameFlow(succeed(operation, unused), matricesOf(succeed(operation, without).tensor()),
                       operation);
        expectRefused(operation, replaced(operation, without, "initial_flow", TensorPointer()));
    }
}

TEST(OpticalFlow, ChecksTheShapeOfTheInitialFlow)
{
    const ImagePointer frames = sequenceOf(movingScene(2, 1, 1));
    for (const char* operation : { farneback, dual }) {
        const auto starting = [&](TensorPointer initial) {
            return replaced(operation,
                            flowOf(operation, frames, with(quick(operation), "use_initial_flow", true)),
                            "initial_flow", std::move(initial));
        };
        succeed(operation, starting(flowTensor(48, 60, 0, 0)));
        expectRefused(operation, starting(flowTensor(60, 48, 0, 0)));
        expectRefused(operation, starting(flowTensor(48, 59, 0, 0)));
        expectRefused(operation, starting(makeRealTensor({ 48 * 60, 2 })));
        expectRefused(operation, starting(makeRealTensor({ 1, 48, 60, 2 })));
        expectRefused(operation, starting(makeRealTensor({ 48, 60, 3 })));
        expectRefused(operation, starting(makeRealTensor({ 1 })));
        expectRefused(operation, starting(makeIntegerTensor({ 48, 60, 2 })));
        expectRefused(operation, starting(TensorPointer()));
    }
    const ImagePointer square = sequenceOf(movingScene(2, 1, 1, 48, 48));
    succeed(farneback,
            flowOf(farneback, square,
                   { { "use_initial_flow", true }, { "initial_flow", flowTensor(48, 48, 0, 0) } }));
}

/// A length that a host gives although the dimensions of its tensor say another.
int64_t forgedLength = 0;

TEST(OpticalFlow, RefusesAnInitialFlowWhoseLengthIsNotThatOfItsDimensions)
{
    LibraryDataTable table = hostServices();
    table.tensorGetFlattenedLength = [](KTensor) { return forgedLength; };
    for (const char* operation : { farneback, dual }) {
        NamedValues given = with(quick(operation), "use_initial_flow", true);
        given["initial_flow"] = flowTensor(48, 60, 0, 0);
        RawCall call(record(operation), flowOf(operation, sequenceOf(movingScene(2, 1, 1)), given));
        for (const int64_t length : { 48 * 60 * 2, 48 * 60 * 2 - 2, 48 * 60 * 2 + 2, 2, 1 }) {
            forgedLength = length;
            Ledger ledger;
            EXPECT_EQ(call.make(&table), length == 48 * 60 * 2 ? StatusOk : StatusFunctionError)
                << operation << " with " << length << " elements";
        }
    }
}

TEST(OpticalFlow, SurvivesWildInitialFlows)
{
    const ImagePointer frames = sequenceOf(movingScene(2, 1, 1));
    for (const double wild : { std::nan(""), HUGE_VAL, -1e300, 1e30, -1e30, 2e9 }) {
        const TensorPointer initial = makeRealTensor({ 48, 60, 2 }, std::vector<double>(48 * 60 * 2, wild));
        for (const char* operation : { farneback, dual }) {
            NamedValues given = with(quick(operation), "use_initial_flow", true);
            given = with(with(given, "initial_flow", initial), "replacement", 2e10);
            const Outcome outcome = succeed(operation, flowOf(operation, frames, given));
            // Whatever comes of it, both components are usable or both are replaced.
            const auto elements = outcome.tensor().reals();
            const auto each = static_cast<std::size_t>(outcome.tensor().dimensions.back());
            for (std::size_t i = 0; i < elements.size(); i += each) {
                const bool replaced = elements[i] == 2e10 && elements[i + 1] == 2e10;
                ASSERT_TRUE(replaced || (std::abs(elements[i]) < 1e9 && std::abs(elements[i + 1]) < 1e9))
                    << operation << " from " << wild << ": " << elements[i] << ", " << elements[i + 1];
                ASSERT_TRUE(each == 2 || elements[i + 2] == (replaced ? 0 : 1)) << elements[i + 2];
            }
        }
    }
}

TEST(OpticalFlow, ReplacesUnusableVectors)
{
    // Flat frames leave an initial flow as it is, but for what smoothing makes of it at the edges.
    const cv::Mat flat(40, 40, CV_8U, cv::Scalar(90));
    const auto replacedBy = [&](double start, std::size_t component = 1) {
        std::vector<double> elements(40 * 40 * 2, 0.25);
        for (std::size_t i = 0; i < elements.size(); i += 2) elements[i + component] = start;
        return flowOf(dual, sequenceOf({ flat, flat }),
                      { { "use_initial_flow", true },
                        { "initial_flow", makeRealTensor({ 40, 40, 2 }, elements) },
                        { "replacement", -7.5 },
                        { "scales", int64_t { 1 } },
                        { "warpings", int64_t { 1 } },
                        { "iterations", int64_t { 1 } } });
    };
    for (const double start : { 2e9, -2e9, 1.1e9, std::nan(""), HUGE_VAL }) {
        const Outcome outcome = succeed(dual, replacedBy(start));
        const auto vector = outcome.tensor().reals().subspan(3 * (20 * 40 + 20), 3);
        EXPECT_EQ(vector[0], -7.5) << start;
        EXPECT_EQ(vector[1], -7.5) << start;
        EXPECT_EQ(vector[2], 0) << start;
    }
    // Flat frames keep it exactly: the bound is 1e9 itself, in either direction.
    const double below = static_cast<double>(std::nextafter(1e9F, 0.0F));
    for (const double sign : { 1.0, -1.0 }) {
        const auto vector = [&](double start, std::size_t component) {
            const Outcome outcome = succeed(dual, replacedBy(sign * start, component));
            const auto found = outcome.tensor().reals().subspan(3 * (20 * 40 + 20), 3);
            return std::vector<double>(found.begin(), found.end());
        };
        for (const std::size_t component : { 0, 1 })
            EXPECT_THAT(vector(1e9, component), ::testing::ElementsAre(-7.5, -7.5, 0));
        EXPECT_THAT(vector(below, 0), ::testing::ElementsAre(sign * below, 0.25, 1));
        EXPECT_THAT(vector(below, 1), ::testing::ElementsAre(0.25, sign * below, 1));
    }
    for (const double start : { 9e8, 3.0, -4.0 }) {
        const Outcome outcome = succeed(dual, replacedBy(start));
        const auto vector = outcome.tensor().reals().subspan(3 * (20 * 40 + 20), 3);
        EXPECT_NEAR(vector[1], start, std::abs(start) * 1e-3) << start;
        EXPECT_EQ(vector[2], 1) << start;
    }
    // A window of no pixels divides by zero.
    const Outcome outcome = succeed(
        farneback,
        flowOf(farneback, sequenceOf(movingScene(2, 1, 1)), { { "window", 0.0 }, { "replacement", 42.0 } }));
    for (const double element : outcome.tensor().reals()) EXPECT_EQ(element, 42);
}

TEST(OpticalFlow, SurvivesFaults)
{
    const ImagePointer frames = sequenceOf(movingScene(2, 1, 0, 20, 20));
    for (const char* operation : { farneback, dual })
        expectSurvivesFaults(operation, flowOf(operation, frames, quick(operation)));
}

// --- Farneback ------------------------------------------------------------------------------------------

TEST(OpticalFlowFarneback, MatchesOpenCv)
{
    const std::vector<cv::Mat> frames = movingScene(3, 2, -1);
    for (const auto& [flag, bits] : std::vector<std::pair<std::string, int>> {
             { "Gaussian", cv::OPTFLOW_FARNEBACK_GAUSSIAN }, { "Standard", 0 } }) {
        cv::Mat flow;
        std::vector<cv::Mat> expected;
        for (std::size_t pair = 1; pair < frames.size(); ++pair) {
            cv::calcOpticalFlowFarneback(frames[pair - 1], frames[pair], flow, 0.7, 3, 9, 2, 7, 1.5, bits);
            expected.push_back(flow.clone());
        }
        expectSameFlow(succeed(farneback,
                               flowOf(farneback, sequenceOf(frames),
                                      { { "pyramid_scale", 0.7 },
                                        { "levels", int64_t { 3 } },
                                        { "window", 9.99 }, // cut, not rounded
                                        { "iterations", int64_t { 2 } },
                                        { "neighbourhood", int64_t { 7 } },
                                        { "sigma", 1.5 },
                                        { "flag", flag } })),
                       expected, flag);
    }
}

TEST(OpticalFlowFarneback, KnowsItsFlags)
{
    const Values good = flowOf(farneback, sequenceOf(movingScene(2, 1, 0)), quickFarneback);
    for (const char* flag : { "gaussian", "standard", "Gaussian ", "Gauss", "", "None" })
        expectRefused(farneback, replaced(farneback, good, "flag", std::string(flag)));
}

TEST(OpticalFlowFarneback, ChecksItsNumbers)
{
    const Values good = flowOf(farneback, sequenceOf(movingScene(2, 1, 0)), quickFarneback);
    const auto at = [&](std::string_view name, Value value) {
        return replaced(farneback, good, name, value);
    };
    const double nan = std::nan("");
    for (const Values& values :
         { at("pyramid_scale", 0.0), at("pyramid_scale", -0.5), at("pyramid_scale", 1.0001),
           at("pyramid_scale", nan), at("levels", int64_t { 0 }), at("levels", INT64_MIN),
           at("iterations", int64_t { 0 }), at("iterations", int64_t { -1 }), at("window", -0.001),
           at("window", nan), at("neighbourhood", int64_t { -1 }), at("sigma", -1.0), at("sigma", nan) })
        expectRefused(farneback, values);
    for (const Values& values :
         { at("pyramid_scale", 1e-9), at("pyramid_scale", 0.999), at("levels", INT64_MAX),
           at("levels", int64_t { 1 }), at("iterations", int64_t { 1 }), at("window", 0.0), at("window", 0.9),
           at("window", 1.0), at("neighbourhood", int64_t { 0 }), at("sigma", 0.0), at("sigma", HUGE_VAL) })
        succeed(farneback, values);
}

TEST(OpticalFlow, ClipsCountsBeyond32Bits)
{
    // Not cut: 2^32 + 1 is a huge number of iterations, and of levels as many as there are.
    const ImagePointer frames = sequenceOf(movingScene(2, 1, 0));
    constexpr int64_t beyond = (int64_t { 1 } << 32) + 1;
    const auto flow = [&](const std::string& operation, std::string_view name, int64_t count) {
        const Values values = flowOf(operation, frames, quick(operation));
        return matricesOf(succeed(operation, replaced(operation, values, name, count)).tensor()).front();
    };
    EXPECT_TRUE(sameBits(flow(farneback, "levels", beyond), flow(farneback, "levels", INT32_MAX)));
    EXPECT_TRUE(sameBits(flow(dual, "scales", beyond), flow(dual, "scales", INT32_MAX)));
    EXPECT_FALSE(sameBits(flow(dual, "scales", beyond), flow(dual, "scales", 1)));
    for (const auto& [operation, name] :
         std::vector<std::pair<const char*, const char*>> { { farneback, "iterations" },
                                                            { farneback, "neighbourhood" },
                                                            { dual, "iterations" },
                                                            { dual, "warpings" } })
        expectRefused(operation,
                      replaced(operation, flowOf(operation, frames, quick(operation)), name, beyond));
}

TEST(OpticalFlow, IsBoundedForEachPairAlone)
{
    // What epsilon ends early is not counted, nor are pairs: these end in a moment.
    const cv::Mat flat(24, 24, CV_8U, cv::Scalar(90));
    const std::vector<cv::Mat> many(400, flat);
    succeed(dual, flowOf(dual, sequenceOf(many), { { "iterations", int64_t { 6000 } } }));
    succeed(dual, flowOf(dual, sequenceOf(movingScene(2, 1, 1)), { { "iterations", int64_t { 300 } } }));
}

TEST(OpticalFlow, AcceptsWhatPeopleAskFor)
{
    // The bounds alone: the frames would take minutes.
    const auto objections = [](const std::string& operation, int frames, cv::Size size,
                               NamedValues others = {}) {
        const ImagePointer film =
            makeImage({ .rows = size.height, .columns = size.width, .channels = 1, .slices = frames },
                      PixelTypeByte, ColorSpaceGray, false);
        return check(record(operation), flowOf(operation, film, std::move(others))).size();
    };
    const cv::Size fullHd(1920, 1080), vga(640, 480);
    for (const char* operation : { farneback, dual }) {
        EXPECT_EQ(objections(operation, 31, fullHd), 0U) << operation;
        EXPECT_EQ(objections(operation, 198, vga), 0U) << operation;
        EXPECT_EQ(objections(operation, 2, fullHd, { { "iterations", int64_t { 300 } } }), 0U) << operation;
        EXPECT_EQ(objections(operation, 2, fullHd, { { "iterations", int64_t { 2000000000 } } }), 1U)
            << operation;
    }
    EXPECT_EQ(objections(farneback, 2, fullHd, { { "window", 255.0 }, { "flag", std::string("Gaussian") } }),
              0U);
    EXPECT_EQ(objections(farneback, 2, fullHd, { { "pyramid_scale", 0.95 }, { "levels", int64_t { 100 } } }),
              0U);
}

TEST(OpticalFlowFarneback, LeavesAPyramidScaleOf1ToOpenCv)
{
    const Outcome outcome =
        invoke(farneback,
               replaced(farneback, flowOf(farneback, sequenceOf(movingScene(2, 1, 0)), quickFarneback),
                        "pyramid_scale", 1.0));
    EXPECT_EQ(outcome.status, StatusFunctionError);
    EXPECT_THAT(outcome.openCvError, ::testing::HasSubstr("pyrScale_ < 1"));
}

TEST(OpticalFlowFarneback, RefusesWhatOpenCvDoesNotSurvive)
{
    const Values good = flowOf(farneback, sequenceOf(movingScene(2, 1, 0)), quickFarneback);
    const auto at = [&](std::string_view name, Value value) {
        return replaced(farneback, good, name, value);
    };
    EXPECT_REFUSED_IN_CHILD(farneback, at("neighbourhood", int64_t { UINT32_MAX } - 2));
    EXPECT_REFUSED_IN_CHILD(farneback, at("neighbourhood", int64_t { 100000 }));
    EXPECT_REFUSED_IN_CHILD(farneback, at("iterations", int64_t { INT32_MAX }));
    EXPECT_REFUSED_IN_CHILD(farneback, at("window", 1e300));
    for (const Values& values :
         { at("neighbourhood", int64_t { 1001 }), at("window", 65537.0), at("window", HUGE_VAL) })
        expectRefused(farneback, values);
    const Values level =
        replaced(farneback, at("levels", int64_t { INT32_MAX }), "pyramid_scale", 0.999999999);
    EXPECT_REFUSED_IN_CHILD(farneback, level);
    for (const int64_t levels : { int64_t { INT32_MAX }, INT64_MAX })
        EXPECT_ACCEPTED_IN_CHILD(farneback, at("levels", levels));
    succeed(farneback, at("neighbourhood", int64_t { 1000 }));
    succeed(farneback, replaced(farneback, at("window", 65536.0), "iterations", int64_t { 1 }));
}

TEST(OpticalFlowFarneback, SurvivesTinyFrames)
{
    for (const cv::Size size : { cv::Size(1, 1), cv::Size(1, 40), cv::Size(40, 1), cv::Size(2, 3) })
        for (const char* flag : { "Gaussian", "Standard" })
            succeed(farneback,
                    flowOf(farneback,
                           sequenceOf({ noise(size.height, size.width, CV_8U),
                                        noise(size.height, size.width, CV_8U, 2) }),
                           { { "flag", std::string(flag) } }));
}

// --- Dual TV-L1 -----------------------------------------------------------------------------------------

TEST(OpticalFlowDualTVL1, MatchesOpenCv)
{
    const std::vector<cv::Mat> frames = movingScene(3, 2, -1);
    const auto method = directDual();
    cv::Mat_<cv::Point2f> flow;
    std::vector<cv::Mat> expected;
    for (std::size_t pair = 1; pair < frames.size(); ++pair) {
        method->calc(frames[pair - 1], frames[pair], flow, cv::noArray());
        expected.push_back(flow.clone());
    }
    const Outcome outcome = succeed(dual, flowOf(dual, sequenceOf(frames), quickDual));
    expectSameFlow(outcome, expected, dual);
    for (std::size_t i = 2; i < outcome.tensor().reals().size(); i += 3)
        EXPECT_EQ(outcome.tensor().reals()[i], 1);
}

TEST(OpticalFlowDualTVL1, PassesEveryParameter)
{
    const std::vector<cv::Mat> frames = movingScene(2, 2, -1);
    const auto method = directDual();
    method->setEpsilon(0.05);
    method->setIterations(1);
    method->setLambda(0.07);
    method->setScalesNumber(2);
    method->setTau(0.2);
    method->setTheta(0.4);
    method->setWarpingsNumber(3);
    cv::Mat_<cv::Point2f> flow;
    method->calc(frames[0], frames[1], flow, cv::noArray());
    expectSameFlow(succeed(dual,
                           flowOf(dual, sequenceOf(frames),
                                  { { "epsilon", 0.05 },
                                    { "iterations", int64_t { 1 } },
                                    { "lambda", 0.07 },
                                    { "scales", int64_t { 2 } },
                                    { "tau", 0.2 },
                                    { "theta", 0.4 },
                                    { "warpings", int64_t { 3 } } })),
                   { flow }, dual);
}

TEST(OpticalFlowDualTVL1, ChecksItsNumbers)
{
    const Values good = flowOf(dual, sequenceOf(movingScene(2, 1, 0, 24, 24)), quickDual);
    const auto at = [&](std::string_view name, Value value) { return replaced(dual, good, name, value); };
    const double nan = std::nan("");
    for (const Values& values :
         { at("epsilon", 0.0), at("epsilon", -1.0), at("epsilon", nan), at("iterations", int64_t { 0 }),
           at("lambda", -0.1), at("lambda", nan), at("scales", int64_t { 0 }), at("tau", 0.0), at("tau", nan),
           at("theta", 0.0), at("theta", nan), at("warpings", int64_t { 0 }), at("warpings", INT64_MIN) })
        expectRefused(dual, values);
    for (const Values& values : { at("epsilon", 1e-9), at("epsilon", HUGE_VAL), at("lambda", 0.0),
                                  at("lambda", 1e30), at("scales", int64_t { 1 }), at("tau", 1e-9),
                                  at("theta", 1e-9), at("tau", HUGE_VAL), at("warpings", int64_t { 1 }) })
        succeed(dual, values);
}

TEST(OpticalFlowDualTVL1, ClipsScalesWithoutAnotherResult)
{
    const Values good = flowOf(dual, sequenceOf(movingScene(2, 1, 0)), quickDual);
    const auto at = [&](int64_t scales) {
        return matricesOf(succeed(dual, replaced(dual, good, "scales", scales)).tensor());
    };
    EXPECT_TRUE(sameBits(at(INT32_MAX).front(), at(100).front()));
    EXPECT_ACCEPTED_IN_CHILD(dual, replaced(dual, good, "scales", int64_t { INT32_MAX }));
}

TEST(OpticalFlowDualTVL1, RefusesWhatOpenCvDoesNotSurvive)
{
    const Values good = flowOf(dual, sequenceOf(movingScene(2, 1, 0)), quickDual);
    EXPECT_REFUSED_IN_CHILD(dual, replaced(dual, good, "iterations", int64_t { INT32_MAX }));
    EXPECT_REFUSED_IN_CHILD(dual, replaced(dual, good, "warpings", int64_t { INT32_MAX }));
    for (const cv::Size size : { cv::Size(1, 40), cv::Size(40, 1), cv::Size(1, 1) }) {
        const ImagePointer thin =
            sequenceOf({ noise(size.height, size.width, CV_8U), noise(size.height, size.width, CV_8U, 2) });
        EXPECT_REFUSED_IN_CHILD(dual, replaced(dual, good, "frames", thin));
    }
    for (const cv::Size size : { cv::Size(2, 40), cv::Size(40, 2), cv::Size(2, 2), cv::Size(3, 3) })
        succeed(dual,
                replaced(dual, good, "frames",
                         sequenceOf({ noise(size.height, size.width, CV_8U),
                                      noise(size.height, size.width, CV_8U, 2) })));
}

} // namespace miravex::test
