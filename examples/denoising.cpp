// Noise is added to a photo and to a sequence of it, and removed again by the four non-local means; the
// signal-to-noise ratio before and after says how well.

#include "examples/example.h"

using namespace miravex;
using namespace miravex::example;

namespace {

constexpr double noiseLevel = 20;

cv::Mat withNoise(const cv::Mat& picture, uint64_t seed)
{
    cv::Mat grain(picture.size(), CV_MAKETYPE(CV_16S, picture.channels())), noisy;
    cv::RNG(seed).fill(grain, cv::RNG::NORMAL, cv::Scalar::all(0), cv::Scalar::all(noiseLevel));
    cv::add(picture, grain, noisy, cv::noArray(), picture.depth());
    return noisy;
}

std::vector<cv::Mat> noisyFrames(const cv::Mat& picture)
{
    std::vector<cv::Mat> frames;
    for (uint64_t seed = 1; seed <= 5; ++seed) frames.push_back(withNoise(picture, seed));
    return frames;
}

/// Denoises, prints what it brought in decibels and expects at least `least` of them.
cv::Mat denoise(const std::string& operation, NamedValues values, const cv::Mat& noisy, const cv::Mat& clean,
                double least)
{
    cv::Mat denoised = matrixOf(run(operation, std::move(values)).image());
    const double before = cv::PSNR(noisy, clean), after = cv::PSNR(denoised, clean);
    fmt::print("{:<34} {:.2f} dB -> {:.2f} dB\n", operation, before, after);
    require(after > before + least, fmt::format("{} dB less noise", least));
    return denoised;
}

} // namespace

int main(int argc, char** argv)
{
    return runExample(argc, argv, [](const Output& output) {
        cv::Mat colour = photo("fruits.jpg");
        cv::resize(colour, colour, cv::Size(), 0.4, 0.4, cv::INTER_AREA);
        cv::Mat gray;
        cv::cvtColor(colour, gray, cv::COLOR_RGB2GRAY);
        const std::vector<cv::Mat> grayFrames = noisyFrames(gray), colourFrames = noisyFrames(colour);
        constexpr int64_t middle = 3, all = 5;

        denoise("FastNlMeansDenoising",
                { { "image", imageOfMatrix(grayFrames[2]) }, { "strength", noiseLevel } }, grayFrames[2],
                gray, 3);
        denoise("FastNlMeansDenoisingMulti",
                { { "frames", imageOfFrames(grayFrames) },
                  { "frame", middle },
                  { "temporal_window", all },
                  { "strength", 15.0 } },
                grayFrames[2], gray, 6.5);
        output.write("noisy.png", colourFrames[2]);
        output.write("denoised.png",
                     denoise("FastNlMeansDenoisingColored",
                             { { "image", imageOfMatrix(colourFrames[2]) },
                               { "strength", 12.0 },
                               { "color_strength", 12.0 } },
                             colourFrames[2], colour, 3));
        output.write("denoised-sequence.png",
                     denoise("FastNlMeansDenoisingColoredMulti",
                             { { "frames", imageOfFrames(colourFrames) },
                               { "frame", middle },
                               { "temporal_window", all },
                               { "strength", 16.0 },
                               { "color_strength", 12.0 } },
                             colourFrames[2], colour, 3.3));
    });
}
