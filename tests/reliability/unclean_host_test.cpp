#include "tests/reliability/accepted_calls.h"
#include "tests/reliability/altered_host.h"
#include "tests/reliability/raw_call.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

/// Hosts whose new objects do not start zeroed. Operations fill what they return, but for the places that are
/// left to the host on purpose.
namespace miravex::test {

namespace {

/// What came of a call on a host whose new tensors of reals hold this real, and whose other new objects hold
/// this byte everywhere; absent after a refusal. Ownership is checked as always.
Value answer(std::string_view name, const Values& values, double real, unsigned char byte = 0)
{
    const auto soil = [byte](Block& block) { std::memset(block.data(), byte, block.size()); };
    AlteredHost host({ .newImage = [&](KImage image) { soil(image->block); },
                       .newTensor =
                           [&](KTensor tensor) {
                               if (tensor->elementType == TensorTypeReal)
                                   std::ranges::fill(tensor->reals(), real);
                               else
                                   soil(tensor->block);
                           } });
    const Operation& operation = record(name);
    RawCall call(operation, values);
    Ledger ledger;
    Value result;
    std::srand(7); // OpenCV's random samples
    if (call.make(host.table(), ledger) == StatusOk) {
        result = call.take(ledger);
    } else {
        EXPECT_EQ(call.result.integer, RawCall::untouched) << name;
    }
    EXPECT_THAT(ledger.close().violations, ::testing::IsEmpty()) << name;
    return result;
}

std::vector<double> realsOf(const Value& value)
{
    const auto* tensor = std::get_if<TensorPointer>(&value);
    if (!tensor || !*tensor) {
        ADD_FAILURE() << "refused";
        return {};
    }
    return { (*tensor)->reals().begin(), (*tensor)->reals().end() };
}

class UncleanHost : public ::testing::TestWithParam<const Operation*> { };

std::vector<const Operation*> operationsThatMakeObjects()
{
    std::vector<const Operation*> found;
    for (const Operation* operation : catalog())
        if (operation->results.front().kind != ResultKind::Real) found.push_back(operation);
    return found;
}

} // namespace

TEST_P(UncleanHost, GetsTheSameResult)
{
    const Operation& operation = *GetParam();
    const auto calls = acceptedCalls(operation, 2, { .side = 24, .elements = 256 });
    ASSERT_FALSE(calls.empty());
    for (const Values& values : calls) {
        // A tail of skipped lines and the background of labels are the host's: see below.
        const bool leaves = std::ranges::any_of(values, [](const Value& value) {
            const auto* word = std::get_if<std::string>(&value);
            return word && (*word == "Coordinates" || *word == "LabelMatrix");
        });
        const Value one = answer(operation.name, ownCopy(values), 7.5, 0xA5);
        const Value other = answer(operation.name, ownCopy(values), -1e300, 0x5A);
        ASSERT_NE(one.index(), 0U) << describeCall(operation, values) << " was refused";
        EXPECT_TRUE(leaves || bytesOfResult(one) == bytesOfResult(other))
            << describeCall(operation, values) << " leaves something to the host";
    }
}

INSTANTIATE_TEST_SUITE_P(Catalogue, UncleanHost, ::testing::ValuesIn(operationsThatMakeObjects()),
                         nameOfParameter);

TEST(NewObjects, KeepTheHostsTailOfSkippedLines) // by hand: of two lines, one touches a corner alone
{
    cv::Mat picture(41, 41, CV_8U, cv::Scalar(0));
    for (const cv::Point& point : { cv::Point(0, 0), cv::Point(1, 0), cv::Point(2, 0), cv::Point(0, 1),
                                    cv::Point(1, 1), cv::Point(0, 2) })
        picture.at<uchar>(point) = 255;
    const Values values { imageOf(picture),          3.0, CV_PI / 4, int64_t { 5 }, 0.0, 0.0,
                          std::string("Coordinates") };
    const std::vector<double> ends = realsOf(answer("HoughLines", values, 7.5));
    ASSERT_EQ(ends.size(), 8U); // room for both
    EXPECT_THAT(std::vector<double>(ends.begin(), ends.begin() + 4),
                ::testing::Pointwise(::testing::DoubleNear(1), { 0, 41, 41, 0 }));
    EXPECT_THAT(std::vector<double>(ends.begin() + 4, ends.end()), ::testing::Each(7.5));
}

TEST(NewObjects, KeepTheHostsBackgroundOfLabels)
{
    cv::Mat picture(20, 30, CV_8U, cv::Scalar(200));
    picture(cv::Rect(2, 3, 4, 5)).setTo(20);
    const Values values = arguments("MserDetect",
                                    { { "image", imageOf(picture) },
                                      { "min_area", int64_t { 10 } },
                                      { "max_area", int64_t { 100 } },
                                      { "form", "LabelMatrix" } });
    const std::vector<double> clean = realsOf(answer("MserDetect", values, 0));
    const std::vector<double> soiled = realsOf(answer("MserDetect", values, 7.5));
    ASSERT_EQ(soiled.size(), 600U);
    EXPECT_GT(soiled[3 * 30 + 2], 0);
    EXPECT_LT(soiled[3 * 30 + 2], 7);
    EXPECT_EQ(soiled[8 * 30 + 2], 7.5); // just below the block
    for (std::size_t i = 0; i < soiled.size(); ++i) EXPECT_EQ(soiled[i], clean[i] != 0 ? clean[i] : 7.5) << i;
}

TEST(NewObjects, OfNaNGetNoDebevecCurve) // the guard is on what is overwritten
{
    const Values debevec { sequenceOf({ noise(20, 20, CV_8UC3), noise(20, 20, CV_8UC3, 2) }),
                           realList({ 2, 1 }), int64_t { 10 }, 10.0, false };
    EXPECT_EQ(answer("CalibrateDebevec", debevec, std::nan("")).index(), 0U);
    EXPECT_EQ(realsOf(answer("CalibrateDebevec", debevec, HUGE_VAL)),
              realsOf(answer("CalibrateDebevec", debevec, 0)));

    // Robertson's has no such guard.
    const Values robertson(debevec.begin(), debevec.begin() + 2);
    Values whole = robertson;
    whole.insert(whole.end(), { int64_t { 2 }, 0.01 });
    EXPECT_EQ(bytesOfResult(answer("CalibrateRobertson", whole, std::nan(""))),
              bytesOfResult(answer("CalibrateRobertson", whole, 0)));
    EXPECT_FALSE(bytesOfResult(answer("CalibrateRobertson", whole, std::nan(""))).empty());
}

} // namespace miravex::test
