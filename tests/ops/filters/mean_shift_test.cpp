#include "ops/filters/mean_shift.h"

#include "tests/support/host_check.h"
#include "tests/support/own_kernels.h"

#include <cmath>
#include <limits>
#include <ostream>

namespace miravex {

static void PrintTo(const MeanShift& by, std::ostream* out)
{
    *out << "radii " << by.spatialRadius << ", " << by.colorRadius << ", levels " << by.levels << ", steps "
         << by.steps;
}

} // namespace miravex

namespace miravex::test {

// Expected values: OpenCV's own mean shift, in place.

namespace {

void expectSame(const cv::Mat& picture, const MeanShift& by)
{
    cv::Mat expected = picture.clone();
    cv::pyrMeanShiftFiltering(expected, expected, by.spatialRadius, by.colorRadius, by.levels,
                              cv::TermCriteria(cv::TermCriteria::COUNT, by.steps, 0.0));
    for (const InstructionSet instructions : instructionSets()) {
        cv::Mat flattened;
        meanShift(picture, flattened, by, instructions);
        EXPECT_TRUE(sameBits(flattened, expected))
            << picture.size() << ", " << ::testing::PrintToString(by) << ", instructions "
            << static_cast<int>(instructions) << ", threads " << cv::getNumThreads();
    }
}

/// Mostly everyday arguments; now and then the ends of every range, and numbers that are none.
MeanShift drawnArguments(cv::RNG& random)
{
    constexpr double unusual[] = { 0, 1, 254.6, std::numeric_limits<double>::quiet_NaN() };
    constexpr double unusualColors[] = { 0,     255.9, 256.1,
                                         441.0, 1e9,   std::numeric_limits<double>::infinity(),
                                         -3,    1e5,   std::numeric_limits<double>::quiet_NaN() };
    constexpr int steps[] = { -1, 0, 1, 2, 3, 5, 8, 100, 1000000 };
    const auto rarely = [&] { return random.uniform(0, 6) == 0; };
    return { .spatialRadius = rarely() ? unusual[random.next() % 4] : random.uniform(0.0, 16.0),
             .colorRadius = rarely() ? unusualColors[random.next() % 9] : std::exp(random.uniform(0.0, 6.0)),
             .levels = rarely() ? random.uniform(3, 9) : random.uniform(0, 3),
             .steps = steps[random.next() % 9] };
}

} // namespace

TEST(MeanShift, IsOpenCvs)
{
    sweep(1000, [](cv::RNG& random) {
        const cv::Mat picture = drawnPicture(random, 48);
        expectSame(picture, drawnArguments(random));
    });
}

TEST(MeanShift, IsOpenCvsOnAPhoto)
{
    cv::Mat picture = photo("fruits.jpg");
    SKIP_WITHOUT(picture);
    cv::resize(picture, picture, cv::Size(120, 110), 0, 0, cv::INTER_AREA);
    for (const int threads : { 1, 2, 5 }) {
        const Threads limited(threads);
        expectSame(picture, { .spatialRadius = 10, .colorRadius = 44.1, .levels = 1, .steps = 5 });
        expectSame(picture, { .spatialRadius = 25, .colorRadius = 30, .levels = 0, .steps = 100 });
    }
}

TEST(MeanShift, SumsWideWindows) // whose rows are summed few at a time
{
    const cv::Mat picture(10, 1100, CV_8UC3, cv::Scalar(255, 255, 254));
    for (const double radius : { 100.0, 250.0, 499.9, meanShiftReach })
        expectSame(picture, { .spatialRadius = radius, .colorRadius = 441, .levels = 0, .steps = 1 });
    const cv::Mat tall = noise(300, 20, CV_8UC3);
    expectSame(tall, { .spatialRadius = 200, .colorRadius = 300, .levels = 0, .steps = 2 });
}

TEST(MeanShift, RefusesWhatItCannotDo)
{
    const cv::Mat picture = noise(8, 8, CV_8UC3);
    cv::Mat out;
    EXPECT_THROW(meanShift(noise(8, 8, CV_8U), out, { 1, 1, 0, 1 }), cv::Exception);
    EXPECT_THROW(meanShift(picture, out, { 1, 1, 9, 1 }), cv::Exception);
    EXPECT_THROW(meanShift(picture, out, { 1, 1, -1, 1 }), cv::Exception);
    EXPECT_THROW(meanShift(picture, out, { meanShiftReach + 1, 1, 0, 1 }), cv::Exception);
    cv::Mat same = picture;
    EXPECT_THROW(meanShift(picture, same, { 1, 1, 0, 1 }), cv::Exception);
}

TEST(PyrMeanShiftFilter, IsOpenCvsBeyondOurReach)
{
    const cv::Mat picture = noise(20, 30, CV_8UC3);
    for (const double radius : { meanShiftReach, meanShiftReach + 1, 1e9 }) {
        cv::Mat expected = picture.clone();
        cv::pyrMeanShiftFiltering(expected, expected, radius, 44.1, 1,
                                  cv::TermCriteria(cv::TermCriteria::COUNT, 3, 0.0));
        const Outcome outcome =
            succeed("PyrMeanShiftFilter", { imageOf(picture), radius, 0.1, int64_t { 1 }, int64_t { 3 } });
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected)) << radius;
    }
}

} // namespace miravex::test
