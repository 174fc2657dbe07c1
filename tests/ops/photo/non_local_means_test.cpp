#include "ops/photo/non_local_means.h"

#include "convert/own_kernels.h"
#include "ops/photo/bounds.h"
#include "tests/support/host_check.h"
#include "tests/support/own_kernels.h"

#include <fmt/format.h>
#include <opencv2/photo.hpp>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string_view>

namespace miravex::test {

// Expected values: OpenCV as far as its arithmetic goes, the definition by brute force beyond, and by hand
// where said so. With MIRAVEX_LONG_TESTS in the environment the sweeps are a hundred times as long.

namespace {

/// One call of a sweep, drawn at random.
class Draw {
public:
    explicit Draw(uint64_t seed)
        : random_(seed)
    {
    }

    int upTo(int most) { return random_.uniform(1, most + 1); }
    int oddUpTo(int most) { return 2 * random_.uniform(0, (most + 1) / 2) + 1; }
    int channels(int most) { return upTo(most); }
    int threads() { return std::array { 1, 2, 5 }[random_.next() % 3]; }

    /// Mostly of the size of the noise that pictures() makes; also none, signed, endless and no number.
    float strength()
    {
        constexpr float infinite = std::numeric_limits<float>::infinity();
        constexpr float unusual[] = {
            0, -7.5F, infinite, -infinite, std::numeric_limits<float>::quiet_NaN(), 1e-30F, 1e30F
        };
        if (upTo(6) == 1) return unusual[random_.next() % std::size(unusual)];
        return std::exp(random_.uniform(-1.0F, 6.0F));
    }

    /// Frames of a scene, full of noise of any strength, or of black and white.
    std::vector<cv::Mat> pictures(int count, cv::Size size, int type)
    {
        const int contrast = upTo(255), level = random_.uniform(0, 256 - contrast);
        const bool extreme = upTo(5) == 1;
        std::vector<cv::Mat> frames;
        for (int i = 0; i < count; ++i) {
            cv::Mat frame(size, type);
            random_.fill(frame, cv::RNG::UNIFORM, level, level + contrast + 1);
            if (extreme) frame = frame > 127;
            frames.push_back(frame);
        }
        return frames;
    }

private:
    cv::RNG random_;
};

/// The sweep of one operation: draws a call, makes it, and expects the same bits of both.
template <typename Call> void sweep(uint64_t seed, int length, Call call)
{
    for (int i = 0; i < length; ++i) {
        Draw draw(seed + static_cast<uint64_t>(i) * 1000);
        const Threads threads(draw.threads());
        call(draw);
        if (::testing::Test::HasFailure()) FAIL() << "at " << i << " of " << length;
    }
}

std::string describe(const cv::Mat& picture, const NonLocalMeans& by)
{
    return fmt::format("{} x {} of {} channels, strength {}, template {}, search {}", picture.rows,
                       picture.cols, picture.channels(), by.strength, by.templateSide, by.searchSide);
}

cv::Mat means(const cv::Mat& picture, const NonLocalMeans& by, InstructionSet instructions = instructionSet())
{
    cv::Mat denoised;
    nonLocalMeans({ &picture, 1 }, denoised, by, instructions);
    return denoised;
}

/// By the definition, pixel by pixel, in 64 bits.
cv::Mat meansByDefinition(const cv::Mat& picture, const NonLocalMeans& by)
{
    const int channels = picture.channels(), reach = by.searchSide / 2, half = by.templateSide / 2;
    cv::Mat wide, denoised(picture.size(), picture.type());
    const int margin = reach + half;
    cv::copyMakeBorder(picture, wide, margin, margin, margin, margin, cv::BORDER_REFLECT_101);
    const int64_t pixels = int64_t { by.templateSide } * by.templateSide;
    int64_t divisor = 1;
    while (divisor < pixels) divisor *= 2;
    const int64_t one = std::max<int64_t>(INT32_MAX / (int64_t { 255 } * by.searchSide * by.searchSide), 1);
    const auto sample = [&](int y, int x, int c) { return int64_t { wide.ptr(y)[x * channels + c] }; };
    for (int y = margin; y < margin + picture.rows; ++y) {
        for (int x = margin; x < margin + picture.cols; ++x) {
            int64_t weights = 0;
            std::array<int64_t, 4> samples {};
            for (int v = y - reach; v <= y + reach; ++v) {
                for (int u = x - reach; u <= x + reach; ++u) {
                    int64_t distance = 0;
                    for (int j = -half; j <= half; ++j)
                        for (int i = -half; i <= half; ++i)
                            for (int c = 0; c < channels; ++c) {
                                const int64_t apart = sample(y + j, x + i, c) - sample(v + j, u + i, c);
                                distance += apart * apart;
                            }
                    const double mean =
                        static_cast<double>(distance / divisor * divisor) / static_cast<double>(pixels);
                    const double exact =
                        std::exp(-mean / (by.strength * by.strength * static_cast<float>(channels)));
                    int64_t weight = std::llrint(exact * static_cast<double>(one));
                    if (static_cast<double>(weight) < 0.001 * static_cast<double>(one)) weight = 0;
                    weights += weight;
                    for (int c = 0; c < channels; ++c)
                        samples[static_cast<std::size_t>(c)] += weight * sample(v, u, c);
                }
            }
            for (int c = 0; c < channels; ++c)
                denoised.ptr(y - margin)[(x - margin) * channels + c] =
                    static_cast<uchar>((samples[static_cast<std::size_t>(c)] + weights / 2) / weights);
        }
    }
    return denoised;
}

} // namespace

// --- the operations, a thousand calls each --------------------------------------------------------------

TEST(NonLocalMeans, DenoisesAsOpenCvDoes)
{
    sweep(1, sweepLength(1000), [](Draw& draw) {
        const cv::Mat picture =
            draw.pictures(1, { draw.upTo(30), draw.upTo(30) }, CV_8UC(draw.channels(3))).front();
        const NonLocalMeans by { draw.strength(), draw.oddUpTo(15), draw.oddUpTo(17) };
        cv::Mat expected;
        cv::fastNlMeansDenoising(picture, expected, by.strength, by.templateSide, by.searchSide);
        const Outcome outcome = succeed("FastNlMeansDenoising",
                                        { imageOf(picture), double { by.strength },
                                          int64_t { by.templateSide }, int64_t { by.searchSide } });
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected)) << describe(picture, by);
    });
}

TEST(NonLocalMeans, DenoisesColoursAsOpenCvDoes)
{
    sweep(2, sweepLength(1000), [](Draw& draw) {
        const cv::Mat picture = draw.pictures(1, { draw.upTo(30), draw.upTo(30) }, CV_8UC3).front();
        const NonLocalMeans by { draw.strength(), draw.oddUpTo(15), draw.oddUpTo(17) };
        const float color = draw.strength();
        cv::Mat expected;
        cv::fastNlMeansDenoisingColored(picture, expected, by.strength, color, by.templateSide,
                                        by.searchSide);
        const Outcome outcome = succeed("FastNlMeansDenoisingColored",
                                        { imageOf(picture), double { by.strength }, double { color },
                                          int64_t { by.templateSide }, int64_t { by.searchSide } });
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected)) << describe(picture, by) << ", " << color;
    });
}

TEST(NonLocalMeans, DenoisesFramesAsOpenCvDoes)
{
    sweep(3, sweepLength(1000), [](Draw& draw) {
        const cv::Size size(draw.upTo(25), draw.upTo(25));
        const int side = std::min(size.width, size.height), half = draw.upTo(3) - 1, temporal = 2 * half + 1;
        const std::vector<cv::Mat> frames =
            draw.pictures(temporal + draw.upTo(2) - 1, size, CV_8UC(draw.channels(4)));
        const int index = half + draw.upTo(static_cast<int>(frames.size()) - 2 * half) - 1;
        const auto windowUpTo = [&](int most) {
            return draw.oddUpTo(std::min(most, 2 * ((side + 1) / 2) - 1));
        };
        const NonLocalMeans by { draw.strength(), windowUpTo(13), windowUpTo(13) };
        cv::Mat expected;
        cv::fastNlMeansDenoisingMulti(frames, expected, index, temporal, by.strength, by.templateSide,
                                      by.searchSide);
        const Outcome outcome =
            succeed("FastNlMeansDenoisingMulti",
                    { sequenceOf(frames), int64_t { index } + 1, int64_t { temporal }, double { by.strength },
                      int64_t { by.templateSide }, int64_t { by.searchSide } });
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected))
            << describe(frames[0], by) << ", " << index << " of " << frames.size() << " by " << temporal;
    });
}

TEST(NonLocalMeans, DenoisesColouredFramesAsOpenCvDoes)
{
    sweep(4, sweepLength(1000), [](Draw& draw) {
        const cv::Size size(draw.upTo(25), draw.upTo(25));
        const int side = std::min(size.width, size.height), half = draw.upTo(3) - 1, temporal = 2 * half + 1;
        const std::vector<cv::Mat> frames = draw.pictures(temporal + draw.upTo(2) - 1, size, CV_8UC3);
        const int index = half + draw.upTo(static_cast<int>(frames.size()) - 2 * half) - 1;
        const auto windowUpTo = [&](int most) {
            return draw.oddUpTo(std::min(most, 2 * ((side + 1) / 2) - 1));
        };
        const NonLocalMeans by { draw.strength(), windowUpTo(13), windowUpTo(13) };
        const float color = draw.strength();
        cv::Mat expected;
        cv::fastNlMeansDenoisingColoredMulti(frames, expected, index, temporal, by.strength, color,
                                             by.templateSide, by.searchSide);
        const Outcome outcome =
            succeed("FastNlMeansDenoisingColoredMulti",
                    { sequenceOf(frames), int64_t { index } + 1, int64_t { temporal }, double { by.strength },
                      double { color }, int64_t { by.templateSide }, int64_t { by.searchSide } });
        EXPECT_TRUE(sameBits(matrixOf(outcome.image()), expected))
            << describe(frames[0], by) << ", " << color << ", " << index << " of " << frames.size() << " by "
            << temporal;
    });
}

// --- the kernel -----------------------------------------------------------------------------------------

TEST(NonLocalMeans, IsTheSameByEveryInstructionSet)
{
    for (const InstructionSet instructions : instructionSets()) {
        sweep(5, sweepLength(200), [&](Draw& draw) {
            const int temporal = draw.oddUpTo(3);
            const std::vector<cv::Mat> frames =
                draw.pictures(temporal, { draw.upTo(30), draw.upTo(30) }, CV_8UC(draw.channels(4)));
            const NonLocalMeans by { draw.strength(), draw.oddUpTo(35), draw.oddUpTo(17) };
            cv::Mat expected, denoised;
            cv::fastNlMeansDenoisingMulti(frames, expected, temporal / 2, temporal, by.strength,
                                          by.templateSide, by.searchSide);
            nonLocalMeans(frames, denoised, by, instructions);
            EXPECT_TRUE(sameBits(denoised, expected)) << describe(frames[0], by) << ", " << temporal;
        });
    }
}

TEST(NonLocalMeans, IsTheSameAcrossTiles)
{
    for (const cv::Size size : { cv::Size(256, 64), cv::Size(257, 65), cv::Size(530, 140), cv::Size(3, 200),
                                 cv::Size(700, 2), cv::Size(1, 129), cv::Size(513, 1) }) {
        for (const int channels : { 1, 2 }) {
            const cv::Mat picture = noise(size.height, size.width, CV_8UC(channels)) / 4;
            for (const NonLocalMeans by : { NonLocalMeans { 20, 7, 21 }, NonLocalMeans { 30, 11, 5 } }) {
                cv::Mat expected;
                cv::fastNlMeansDenoising(picture, expected, by.strength, by.templateSide, by.searchSide);
                for (const InstructionSet instructions : instructionSets()) {
                    EXPECT_TRUE(sameBits(means(picture, by, instructions), expected))
                        << describe(picture, by);
                }
            }
        }
    }
}

TEST(NonLocalMeans, IsOpenCvsOnAPhoto)
{
    const cv::Mat picture = photo("fruits.jpg");
    SKIP_WITHOUT(picture);
    const cv::Mat part = picture(cv::Rect(37, 51, 300, 200)); // rows lie apart; OpenCV would look beyond
    cv::Mat expected;
    cv::fastNlMeansDenoising(part.clone(), expected, 6, 7, 21);
    EXPECT_TRUE(sameBits(means(part, { 6, 7, 21 }), expected));
}

TEST(NonLocalMeans, WritesIntoTheMatrixThatFits)
{
    const cv::Mat picture = noise(20, 30, CV_8UC3);
    cv::Mat wide(24, 40, CV_8UC3, cv::Scalar::all(9));
    cv::Mat part = wide(cv::Rect(5, 2, 30, 20));
    const uchar* const samples = part.data;
    nonLocalMeans({ &picture, 1 }, part, { 40, 3, 5 });
    EXPECT_EQ(part.data, samples);
    EXPECT_TRUE(sameBits(part, means(picture, { 40, 3, 5 })));
    wide(cv::Rect(5, 2, 30, 20)) = cv::Scalar::all(9);
    EXPECT_TRUE(sameBits(wide, cv::Mat(24, 40, CV_8UC3, cv::Scalar::all(9)))) << "written beside the result";
}

TEST(NonLocalMeans, FollowsTheDefinitionBeyondOpenCv)
{
    for (const int channels : { 1, 2, 3, 4 }) {
        const auto side = static_cast<int>(bounds::denoisingTemplate(channels));
        cv::Mat picture = noise(5, 4, CV_8UC(channels)) > 127; // sums as large as they get
        for (const NonLocalMeans by : { NonLocalMeans { 100, side, 3 }, NonLocalMeans { 250, side - 2, 3 },
                                        NonLocalMeans { 90, 5, 3 } })
            EXPECT_TRUE(sameBits(means(picture, by), meansByDefinition(picture, by)))
                << describe(picture, by);
    }
    const cv::Mat stripes = (cv::Mat_<uchar>(1, 2) << 0, 255); // every distance the largest, or 0
    const NonLocalMeans widest { 200, 257, 3 };
    EXPECT_TRUE(sameBits(means(stripes, widest), meansByDefinition(stripes, widest)));
}

TEST(NonLocalMeans, AddsUpWideSearchWindows) // by hand
{
    constexpr float infinite = std::numeric_limits<float>::infinity(); // every pixel counts the same
    // A search window of 2903 x 2903 holds 1451 columns like its own and 1452 like the next.
    const cv::Mat stripes = (cv::Mat_<uchar>(1, 2) << 0, 255);
    EXPECT_TRUE(sameBits(means(stripes, { infinite, 1, 2903 }), (cv::Mat_<uchar>(1, 2) << 128, 127)));
    if (!std::getenv("MIRAVEX_LONG_TESTS")) return;
    const cv::Mat white(1, 1, CV_8U, cv::Scalar(255));
    EXPECT_TRUE(sameBits(means(white, { 10, 1, bounds::denoisingSearch }), white));
    EXPECT_TRUE(sameBits(means(stripes, { infinite, 3, bounds::denoisingSearch }),
                         (cv::Mat_<uchar>(1, 2) << 128, 127)));
}

TEST(NonLocalMeans, RefusesWhatItCannotAddUp)
{
    const cv::Mat gray = noise(6, 5, CV_8U), colour = noise(6, 5, CV_8UC3);
    EXPECT_THROW(means(gray, { 10, 259, 3 }), cv::Exception);
    EXPECT_THROW(means(colour, { 10, 149, 3 }), cv::Exception);
    EXPECT_THROW(means(gray, { 10, 3, 4097 }), cv::Exception);
    EXPECT_THROW(means(gray, { 10, 4, 3 }), cv::Exception);
    EXPECT_THROW(means(gray, { 10, 3, 0 }), cv::Exception);
    EXPECT_THROW(means(gray, { 10, -3, 3 }), cv::Exception);
    EXPECT_THROW(means(noise(6, 5, CV_8UC(5)), { 10, 3, 3 }), cv::Exception);
    EXPECT_THROW(means(noise(6, 5, CV_16U), { 10, 3, 3 }), cv::Exception);
    EXPECT_THROW(means(cv::Mat(0, 5, CV_8U), { 10, 3, 3 }), cv::Exception);
    cv::Mat denoised;
    const std::vector<cv::Mat> unlike { gray, gray, colour }, even { gray, gray };
    EXPECT_THROW(nonLocalMeans(unlike, denoised, { 10, 3, 3 }), cv::Exception);
    EXPECT_THROW(nonLocalMeans(even, denoised, { 10, 3, 3 }), cv::Exception);
}

TEST(NonLocalMeans, ObeysTheEnvironment)
{
    const auto says = [](const char* name, std::string_view value) {
        const char* set = std::getenv(name);
        return set && value == set;
    };
    const bool lowered = says("MIRAVEX_INSTRUCTIONS", "baseline");
    EXPECT_EQ(instructionSet(), lowered ? InstructionSet::Baseline : instructionSets().back());
#ifdef MIRAVEX_WITHOUT_OWN_KERNELS
    EXPECT_FALSE(ownKernels());
#else
    EXPECT_EQ(ownKernels(), !says("MIRAVEX_OWN_KERNELS", "0"));
#endif
}

} // namespace miravex::test
