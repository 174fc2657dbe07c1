#include "tests/ops/features/rows.h"

namespace miravex::test {

// Expected values: worked by hand, or OpenCV called directly with the stated arguments where said so.

namespace {

TensorPointer integerRows(std::vector<int64_t> dimensions, const std::vector<int64_t>& elements)
{
    return makeIntegerTensor(std::move(dimensions), std::span<const int64_t>(elements));
}

Values matching(TensorPointer query, TensorPointer train, NamedValues given = {})
{
    given["query"] = std::move(query);
    given["train"] = std::move(train);
    return arguments("DescriptorMatcher", given);
}

std::vector<double> matched(const Values& values)
{
    return listOf(succeed("DescriptorMatcher", values).tensor());
}

/// Points on a line: 0, 10, 20 and 1, 11, 22, 100.
TensorPointer query() { return realRows({ 3, 1 }, { 0, 10, 20 }); }
TensorPointer train() { return realRows({ 4, 1 }, { 1, 11, 22, 100 }); }

} // namespace

TEST(DescriptorMatcher, GivesTheBest) // by hand
{
    EXPECT_EQ(matched(matching(query(), train())), (std::vector<double> { 3, 1, 1, 1, 1, 2, 3 }));
    EXPECT_EQ(matched(matching(query(), train(), { { "parameter", 2.9 } })),
              (std::vector<double> { 3, 2, 2, 2, 1, 2, 2, 1, 3, 2 }));
    EXPECT_EQ(matched(matching(query(), train(), { { "parameter", 4.0 } })),
              (std::vector<double> { 3, 4, 4, 4, 1, 2, 3, 4, 2, 1, 3, 4, 3, 2, 1, 4 }));
}

TEST(DescriptorMatcher, GivesAllWithinARadius) // by hand
{
    const auto within = [](double radius) {
        return matched(matching(query(), train(), { { "mode", "Radius Match" }, { "parameter", radius } }));
    };
    EXPECT_EQ(within(0.5), (std::vector<double> { 3, 0, 0, 0 }));
    EXPECT_EQ(within(1.5), (std::vector<double> { 3, 1, 1, 0, 1, 2 }));
    EXPECT_EQ(within(10), (std::vector<double> { 3, 1, 2, 2, 1, 2, 1, 3, 2 }));
    for (const double radius : { 0.0, -1.0, std::nan("") }) // OpenCV's own refusal
        expectRefused("DescriptorMatcher",
                      matching(query(), train(), { { "mode", "Radius Match" }, { "parameter", radius } }));
}

TEST(DescriptorMatcher, MasksByTheLowestByte) // by hand
{
    Values values = matching(query(), train());
    const auto masked = [&](const std::vector<int64_t>& elements) {
        return matched(with("DescriptorMatcher", with("DescriptorMatcher", values, "use_mask", true), "mask",
                            integerRows({ 3, 4 }, elements)));
    };
    EXPECT_EQ(masked({ 256, 257, 1, 1, 1, 0, -1, 1, 1, 1, 512, 1 }),
              (std::vector<double> { 3, 1, 1, 1, 2, 1, 2 }));
    EXPECT_EQ(masked(std::vector<int64_t>(12, 256)), (std::vector<double> { 3, 0, 0, 0 }));
    // Within 12 lie 1 and 11; 11, 1 and 22; 22 and 11. The nearest of the first and the last are forbidden.
    values = matching(query(), train(), { { "mode", "Radius Match" }, { "parameter", 12.0 } });
    EXPECT_EQ(masked({ 0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 256, 1 }),
              (std::vector<double> { 3, 1, 3, 1, 2, 2, 1, 3, 2 }));
}

TEST(DescriptorMatcher, KnowsItsMatchers)
{
    // Of (0, 0), (3, 3) is nearer by the largest root of squares, (5, 0) by the sum of sides.
    const TensorPointer origin = realRows({ 1, 2 }, { 0, 0 });
    const TensorPointer both = realRows({ 2, 2 }, { 3, 3, 5, 0 });
    EXPECT_EQ(matched(matching(origin, both, { { "matcher", "BruteForce" } })),
              (std::vector<double> { 1, 1, 1 }));
    EXPECT_EQ(matched(matching(origin, both, { { "matcher", "BruteForce-L1" } })),
              (std::vector<double> { 1, 1, 2 }));
    // Few descriptors are searched exhaustively by FLANN's trees too.
    EXPECT_EQ(matched(matching(query(), train(), { { "matcher", "FlannBased" } })),
              (std::vector<double> { 3, 1, 1, 1, 1, 2, 3 }));
    for (const char* bits : { "BruteForce-Hamming", "BruteForce-Hamming(2)" }) // refuse floats
        expectRefused("DescriptorMatcher", matching(query(), train(), { { "matcher", bits } }));
    for (const char* name : { "bruteforce", "BruteForce-SL2", "BruteForce ", "Flann", "" })
        expectRefused("DescriptorMatcher", matching(query(), train(), { { "matcher", name } }));
    for (const char* mode : { "best match", "Best", "Radius", "" })
        expectRefused("DescriptorMatcher", matching(query(), train(), { { "mode", mode } }));
}

TEST(DescriptorMatcher, MatchesOpenCvOnManyDescriptors)
{
    const cv::Mat queries = noise(60, 32, CV_32F, 3);
    const cv::Mat trained = noise(80, 32, CV_32F, 4);
    std::vector<std::vector<cv::DMatch>> found;
    cv::DescriptorMatcher::create("BruteForce")->knnMatch(queries, trained, found, 3);
    std::vector<double> expected { 60 };
    for (const auto& list : found) expected.push_back(static_cast<double>(list.size()));
    for (const auto& list : found)
        for (const cv::DMatch& match : list) expected.push_back(match.trainIdx + 1);
    EXPECT_EQ(matched(matching(tensorOf(queries), tensorOf(trained), { { "parameter", 3.0 } })), expected);
}

TEST(DescriptorMatcher, SearchesRadiiInBlocksWithTheSameResult)
{
    const cv::Mat queries = noise(2100, 2, CV_32F, 3);
    const cv::Mat trained = noise(2200, 2, CV_32F, 4); // 4.6 million pairs: two blocks
    cv::Mat allowed(2100, 2200, CV_8U);
    cv::RNG(5).fill(allowed, cv::RNG::UNIFORM, 0, 2);
    std::vector<int64_t> elements(allowed.begin<uchar>(), allowed.end<uchar>());
    for (const bool masked : { false, true }) {
        std::vector<std::vector<cv::DMatch>> found;
        cv::DescriptorMatcher::create("BruteForce")
            ->radiusMatch(queries, trained, found, 0.03F, masked ? allowed : cv::Mat());
        std::vector<double> expected { 2100 };
        for (const auto& list : found) expected.push_back(static_cast<double>(list.size()));
        for (const auto& list : found)
            for (const cv::DMatch& match : list) expected.push_back(match.trainIdx + 1);
        ASSERT_GT(expected.size(), 5000U);
        NamedValues given { { "mode", "Radius Match" }, { "parameter", 0.03 } };
        if (masked) given["mask"] = integerRows({ 2100, 2200 }, elements);
        EXPECT_EQ(matched(matching(tensorOf(queries), tensorOf(trained), given)), expected) << masked;
    }
}

TEST(DescriptorMatcher, ComparesMorePairsThanItKeeps)
{
    const auto spread = [](int64_t count) {
        TensorPointer rows = makeRealTensor({ count, 1 });
        for (int64_t i = 0; i < count; ++i)
            rows->reals()[static_cast<std::size_t>(i)] = static_cast<double>(10 * i);
        return rows;
    };
    const Values values = matching(spread(9000), spread(9000), { { "mode", "Radius Match" } });
    EXPECT_ACCEPTED_IN_CHILD("DescriptorMatcher", values);
    // All within the radius are too many, which only the comparison tells.
    const Outcome outcome = invoke(
        "DescriptorMatcher",
        matching(makeRealTensor({ 9000, 1 }), makeRealTensor({ 9000, 1 }), { { "mode", "Radius Match" } }));
    EXPECT_EQ(outcome.status, StatusFunctionError);
    EXPECT_NE(outcome.openCvError.find("too many descriptors lie within the radius"), std::string::npos)
        << outcome.openCvError;
}

TEST(DescriptorMatcher, TakesEmptySets)
{
    EXPECT_EQ(matched(matching(makeRealTensor({ 0, 1 }), train())), (std::vector<double> { 0 }));
    // Nothing to choose from: no query has a match within any radius.
    EXPECT_EQ(matched(matching(query(), makeRealTensor({ 0, 1 }),
                               { { "mode", "Radius Match" }, { "parameter", 5.0 } })),
              (std::vector<double> { 3, 0, 0, 0 }));
    expectRefused("DescriptorMatcher", matching(query(), makeRealTensor({ 0, 1 })));
    // Without elements there is nothing to compare.
    expectRefused("DescriptorMatcher", matching(makeRealTensor({ 3, 0 }), makeRealTensor({ 4, 0 })));
}

TEST(DescriptorMatcher, ChecksShapesAndCounts)
{
    for (const double k : { 0.5, 0.0, -1.0, 4.5, 1e300, std::nan("") })
        expectRefused("DescriptorMatcher", matching(query(), train(), { { "parameter", k } }));
    expectRefused("DescriptorMatcher", matching(query(), realRows({ 2, 2 }, { 1, 2, 3, 4 })));
    expectRefused("DescriptorMatcher", matching(makeRealTensor({ 3 }), train()));
    expectRefused("DescriptorMatcher", matching(query(), makeRealTensor({ 4, 1, 1 })));
    const Values good = matching(query(), train());
    expectRefused("DescriptorMatcher", with("DescriptorMatcher", good, "query", TensorPointer()));
    expectRefused("DescriptorMatcher", with("DescriptorMatcher", good, "train", TensorPointer()));
    const Values masked = with("DescriptorMatcher", good, "use_mask", true);
    for (const TensorPointer& mask :
         { TensorPointer(), makeIntegerTensor({ 4, 3 }), makeIntegerTensor({ 12 }),
           makeIntegerTensor({ 3, 4, 1 }), makeIntegerTensor({ 3, 5 }) })
        expectRefused("DescriptorMatcher", with("DescriptorMatcher", masked, "mask", mask));
    expectSurvivesFaults("DescriptorMatcher", good);
}

TEST(Hostile, MatchesAreBounded)
{
    const TensorPointer many = makeRealTensor({ 10000, 1 });
    EXPECT_REFUSED_IN_CHILD("DescriptorMatcher", matching(many, many, { { "parameter", 10000.0 } }));
    const TensorPointer wide = makeRealTensor({ 65536, 1025 }); // 2^42 elements to compare, and some
    EXPECT_REFUSED_IN_CHILD("DescriptorMatcher", matching(wide, wide));
    // Without elements nothing is compared, and OpenCV makes no lists although there are queries.
    for (const char* mode : { "Best Match", "Radius Match" })
        EXPECT_REFUSED_IN_CHILD("DescriptorMatcher",
                                matching(makeRealTensor({ 3, 0 }), makeRealTensor({ 4, 0 }),
                                         { { "mode", mode }, { "parameter", 1.0 } }));
    // What can't be compared has no order, but harms nobody.
    const double nan = std::nan("");
    for (const char* matcher : { "BruteForce", "BruteForce-L1", "FlannBased" }) {
        for (const double value : { nan, 1e300, -1e300 }) {
            const Outcome outcome = invoke("DescriptorMatcher",
                                           matching(realRows({ 2, 2 }, { value, 1, 2, value }),
                                                    realRows({ 3, 2 }, { 1, 2, value, value, 3, 4 }),
                                                    { { "matcher", matcher } }));
            if (!outcome.ok()) {
                EXPECT_STREQ(matcher, "FlannBased") << value;
                EXPECT_FALSE(outcome.openCvError.empty()) << value;
                continue;
            }
            const std::vector<double> list = listOf(outcome.tensor());
            ASSERT_GE(list.size(), 3U);
            EXPECT_EQ(list[0], 2);
            EXPECT_EQ(static_cast<double>(list.size()), 3 + list[1] + list[2]) << matcher << " of " << value;
        }
    }
}

// --- earth mover ----------------------------------------------------------------------------------------

namespace {

Values moving(const std::vector<double>& points1, const std::vector<double>& weights1,
              const std::vector<double>& points2, const std::vector<double>& weights2,
              const char* distance = "EuclideanDistance", TensorPointer cost = emptyList())
{
    const auto rows = [](const std::vector<double>& points, const std::vector<double>& weights) {
        const auto count = static_cast<int64_t>(weights.size());
        return realRows({ count, static_cast<int64_t>(points.size()) / count }, points);
    };
    return { rows(points1, weights1), realList(weights1),    rows(points2, weights2),
             realList(weights2),      std::string(distance), std::move(cost) };
}

double moved(const Values& values) { return succeed("EarthMoverDistance", values).real(); }

} // namespace

TEST(EarthMover, MeasuresTwoPoints) // by hand
{
    const auto between = [](const char* distance) {
        return moved(moving({ 0, 0 }, { 1 }, { 3, 4 }, { 1 }, distance));
    };
    EXPECT_EQ(between("EuclideanDistance"), 5);
    EXPECT_EQ(between("ManhattanDistance"), 7);
    EXPECT_EQ(between("ChessboardDistance"), 4);
    for (const char* name : { "euclideanDistance", "Euclidean", "custom", "" }) {
        expectRefused("EarthMoverDistance", moving({ 0, 0 }, { 1 }, { 3, 4 }, { 1 }, name));
        expectRefused("EarthMoverDistance",
                      moving({ 0, 0 }, { 1 }, { 3, 4 }, { 1 }, name, realRows({ 1, 1 }, { 2 })));
    }
}

TEST(EarthMover, LeavesUnknownNamesWithoutACostToOpenCv) // which knows no distance of type 0
{
    for (const char* name : { "euclideanDistance", "custom", "" }) {
        const Outcome outcome = invoke("EarthMoverDistance", moving({ 0, 0 }, { 1 }, { 3, 4 }, { 1 }, name));
        EXPECT_EQ(outcome.status, StatusFunctionError) << name;
        EXPECT_FALSE(outcome.openCvError.empty()) << name << " was refused before OpenCV was asked";
        const Outcome withCost = invoke(
            "EarthMoverDistance", moving({ 0, 0 }, { 1 }, { 3, 4 }, { 1 }, name, realRows({ 1, 1 }, { 2 })));
        EXPECT_EQ(withCost.status, StatusFunctionError) << name;
        EXPECT_TRUE(withCost.openCvError.empty()) << name;
    }
}

TEST(EarthMover, MovesMassTheCheapestWay) // by hand: the middle unit of two goes half to either side
{
    const Values values = moving({ 0, 1, 2 }, { 1, 2, 1 }, { 0, 2 }, { 2, 2 });
    EXPECT_EQ(moved(values), 0.5);
    const cv::Mat flow = matrixOf(succeed("EarthMoverDistanceFlowMatrix", values).tensor());
    const cv::Mat expected = (cv::Mat_<double>(3, 2) << 1, 0, 1, 1, 0, 1);
    EXPECT_TRUE(sameBits(flow, expected));
}

TEST(EarthMover, TakesACustomCost) // by hand
{
    const TensorPointer cost = realRows({ 2, 3 }, { 1, 5, 5, 5, 1, 2 });
    EXPECT_EQ(moved(moving({ 0, 0 }, { 1, 2 }, { 0, 0, 0 }, { 1, 1, 1 }, "Custom", cost)),
              (1 + 1 + 2) / 3.0F);
    const cv::Mat expected = (cv::Mat_<double>(2, 3) << 1, 0, 0, 0, 1, 1);
    EXPECT_TRUE(sameBits(matrixOf(succeed("EarthMoverDistanceWeightsFlowMatrix",
                                          { realList({ 1, 2 }), realList({ 1, 1, 1 }), cost })
                                      .tensor()),
                         expected));
    // The named distances ignore a cost of the right size and refuse another.
    const TensorPointer square = realRows({ 1, 1 }, { 99 });
    EXPECT_EQ(moved(moving({ 0, 0 }, { 1 }, { 3, 4 }, { 1 }, "EuclideanDistance", square)), 5);
    for (const char* name : { "Custom", "EuclideanDistance" })
        for (const TensorPointer& wrong : { realRows({ 1, 2 }, { 1, 2 }), realRows({ 2, 1 }, { 1, 2 }),
                                            realList({ 1 }), realRows({ 1, 1, 1 }, { 1 }) })
            expectRefused("EarthMoverDistance", moving({ 0, 0 }, { 1 }, { 3, 4 }, { 1 }, name, wrong));
    expectRefused("EarthMoverDistance", moving({ 0, 0 }, { 1 }, { 3, 4 }, { 1 }, "Custom"));
}

TEST(EarthMover, MatchesOpenCv)
{
    const cv::Mat first = noise(20, 4, CV_32F, 5);
    const cv::Mat second = noise(30, 4, CV_32F, 6);
    const auto points = [](const cv::Mat& signature) { return tensorOf(signature.colRange(1, 4).clone()); };
    const auto weights = [](const cv::Mat& signature) {
        const cv::Mat column = doublesOf(signature.col(0));
        return realList(std::span<const double>(column.ptr<double>(), column.total()));
    };
    for (const auto& [name, type] :
         std::vector<std::pair<const char*, int>> { { "ManhattanDistance", cv::DIST_L1 },
                                                    { "EuclideanDistance", cv::DIST_L2 },
                                                    { "ChessboardDistance", cv::DIST_C } }) {
        cv::Mat flow;
        const float expected = cv::EMD(first, second, type, cv::noArray(), nullptr, flow);
        const Values values { points(first),   weights(first),    points(second),
                              weights(second), std::string(name), emptyList() };
        EXPECT_EQ(moved(values), static_cast<double>(expected)) << name;
        EXPECT_TRUE(
            sameBits(matrixOf(succeed("EarthMoverDistanceFlowMatrix", values).tensor()), doublesOf(flow)))
            << name;
    }
}

TEST(EarthMover, FlowsSumToTheMovedMass) // by hand: the lesser of 3 and 4
{
    const cv::Mat flow = matrixOf(
        succeed("EarthMoverDistanceWeightsFlowMatrix",
                { realList({ 1, 2 }), realList({ 2, 1, 1 }), realRows({ 2, 3 }, { 3, 1, 4, 1, 5, 9 }) })
            .tensor());
    EXPECT_EQ(flow.size(), cv::Size(3, 2));
    EXPECT_NEAR(cv::sum(flow)[0], 3, 1e-6);
}

TEST(EarthMover, ChecksShapes)
{
    for (const char* operation : { "EarthMoverDistance", "EarthMoverDistanceFlowMatrix" }) {
        const Values good = moving({ 0, 0, 1, 1 }, { 1, 2 }, { 3, 4 }, { 1 });
        succeed(operation, good);
        expectRefused(operation, with(operation, good, "points2", realRows({ 1, 3 }, { 1, 2, 3 })));
        expectRefused(operation, with(operation, good, "points1", realList({ 1, 2, 3, 4 })));
        expectRefused(operation, with(operation, good, "weights1", realList({ 1 })));
        expectRefused(operation, with(operation, good, "weights1", realList({ 1, 2, 3 })));
        expectRefused(operation, with(operation, good, "weights1", realList({ 0, 0 })));
        expectRefused(operation, with(operation, good, "weights1", realList({ 1, -2 })));
        expectRefused(operation, with(operation, good, "weights2", emptyList()));
        for (const char* name : { "points1", "weights1", "points2", "weights2", "cost" })
            expectRefused(operation, with(operation, good, name, TensorPointer()));
        expectRefused(operation,
                      { makeRealTensor({ 2, 0 }), realList({ 1, 2 }), makeRealTensor({ 1, 0 }),
                        realList({ 1 }), std::string("EuclideanDistance"), emptyList() });
        expectRefused(operation,
                      { makeRealTensor({ 0, 2 }), emptyList(), makeRealTensor({ 1, 2 }), realList({ 1 }),
                        std::string("EuclideanDistance"), emptyList() });
    }
    const char* weights = "EarthMoverDistanceWeightsFlowMatrix";
    const TensorPointer cost = realRows({ 2, 3 }, { 1, 2, 3, 4, 5, 6 });
    expectRefused(weights, { realList({ 1, 2, 3 }), realList({ 1, 2 }), cost });
    expectRefused(weights, { realList({ 1, 2 }), realList({ 1, 2, 3 }), emptyList() });
    expectRefused(weights, { TensorPointer(), realList({ 1, 2, 3 }), cost });
    expectRefused(weights, { realList({ 1, 2 }), realList({ 1, 2, 3 }), TensorPointer() });
    expectSurvivesFaults(weights, { realList({ 1, 2 }), realList({ 1, 2, 3 }), cost });
    expectSurvivesFaults("EarthMoverDistanceFlowMatrix", moving({ 0, 0, 1, 1 }, { 1, 2 }, { 3, 4 }, { 1 }));
}

TEST(Hostile, EarthMoversSizesAreBounded)
{
    const auto square = [](int64_t side) {
        TensorPointer ones = makeRealTensor({ side });
        std::ranges::fill(ones->reals(), 1);
        TensorPointer points = makeRealTensor({ side, 1 });
        for (int64_t i = 0; i < side; ++i)
            points->reals()[static_cast<std::size_t>(i)] = static_cast<double>(i * i % 977);
        return Values { points, ones, points, ones, std::string("EuclideanDistance"), emptyList() };
    };
    EXPECT_REFUSED_IN_CHILD("EarthMoverDistance", square(5000));
    EXPECT_REFUSED_IN_CHILD("EarthMoverDistance", square(20000));
    EXPECT_REFUSED_IN_CHILD("EarthMoverDistanceFlowMatrix", square(20000));
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double value : { std::nan(""), infinity, 1e300 }) {
        invoke("EarthMoverDistance", moving({ value, 0, 1, 1 }, { 1, 2 }, { 3, 4 }, { 1 }));
        invoke("EarthMoverDistance", moving({ 0, 0, 1, 1 }, { value, 2 }, { 3, 4 }, { 1 }));
    }
}

} // namespace miravex::test
