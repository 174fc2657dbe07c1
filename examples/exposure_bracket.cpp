// A bracket of exposures, one of them out of place, becomes a picture of high dynamic range: the frames are
// aligned, the camera's response is estimated twice, the frames are merged in three ways, and the result is
// mapped to a display by all five tone mappings. The bracket is the one that MIRAVEX_TEST_DATA holds; where
// it is absent, one is made from a photo.

#include "examples/example.h"

#include <fstream>

using namespace miravex;
using namespace miravex::example;

namespace {

struct Bracket {
    std::vector<cv::Mat> frames;
    std::vector<double> exposures; ///< reciprocal exposure times
    bool real = false;
};

Bracket realBracket(const std::filesystem::path& folder)
{
    Bracket bracket { .real = true };
    std::ifstream list(folder / "exposures.txt");
    std::string name;
    for (double exposure = 0; list >> name >> exposure;) {
        cv::Mat frame = cv::imread((folder / name).string());
        require(!frame.empty(), "reading " + name);
        cv::resize(frame, frame, cv::Size(), 0.5, 0.5, cv::INTER_AREA);
        cv::cvtColor(frame, frame, cv::COLOR_BGR2RGB);
        bracket.frames.push_back(frame);
        bracket.exposures.push_back(exposure);
    }
    return bracket;
}

/// A photo as a scene of light, seen by a camera with a gamma of 2.2 at six exposures.
Bracket syntheticBracket()
{
    cv::Mat light = photo("fruits.jpg");
    cv::resize(light, light, cv::Size(), 0.5, 0.5, cv::INTER_AREA);
    light.convertTo(light, CV_32F, 1.0 / 255);
    cv::pow(light, 5, light);
    Bracket bracket;
    for (const double exposure : { 0.03125, 0.125, 0.5, 2.0, 8.0, 32.0 }) {
        cv::Mat frame;
        cv::min(light / exposure, 1.0, frame);
        cv::pow(frame, 1 / 2.2, frame);
        frame.convertTo(frame, CV_8U, 255);
        bracket.frames.push_back(frame);
        bracket.exposures.push_back(exposure);
    }
    return bracket;
}

Bracket anyBracket()
{
    const char* folder = std::getenv("MIRAVEX_TEST_DATA");
    const auto exposures = std::filesystem::path(folder ? folder : "") / "exposures";
    return folder && std::filesystem::exists(exposures) ? realBracket(exposures) : syntheticBracket();
}

/// The library returns images without a colour space; these hold RGB.
ImagePointer inRgb(const Outcome& outcome)
{
    auto image = std::get<ImagePointer>(outcome.result);
    image->colorSpace = ColorSpaceRGB;
    return image;
}

/// Aligns the bracket, and once more with a frame out of place: both must give the same.
ImagePointer aligned(Bracket bracket)
{
    const auto align = [&] {
        return inRgb(run("AlignMTB", { { "frames", imageOfFrames(bracket.frames) } }));
    };
    const ImagePointer result = align();
    const std::size_t moved = bracket.frames.size() / 2 + 1; // the aligner keeps the middle frame in place
    const cv::Mat original = bracket.frames[moved].clone();
    const cv::Matx23d shift(1, 0, 5, 0, 1, -3);
    cv::warpAffine(original, bracket.frames[moved], shift, original.size());
    const ImagePointer again = align();

    const cv::Rect inner(32, 32, original.cols - 64, original.rows - 64);
    const auto likeness = [&](const cv::Mat& frame) {
        return cv::PSNR(frame(inner), matrixOf(*result, static_cast<int64_t>(moved))(inner));
    };
    const double before = likeness(bracket.frames[moved]);
    const double after = likeness(matrixOf(*again, static_cast<int64_t>(moved)));
    fmt::print("AlignMTB: a frame moved by (5, -3) pixels, {:.1f} dB -> {:.1f} dB\n", before, after);
    require(after > before + 3, "the moved frame back in its place");
    return result;
}

/// The response of the green channel at three intensities, relative to the middle one.
void printResponse(const std::string& name, const Tensor& response)
{
    const auto green = [&](std::size_t intensity) { return response.reals()[3 * intensity + 1]; };
    fmt::print("{}: response at 64, 128, 192: {:.3f}, 1, {:.3f}\n", name, green(64) / green(128),
               green(192) / green(128));
    require(green(64) < green(128) && green(128) < green(192), name + ": a response that rises");
}

void printRange(const std::string& name, const cv::Mat& merged)
{
    cv::Mat luminance;
    cv::cvtColor(merged, luminance, cv::COLOR_RGB2GRAY);
    cv::Mat sorted = luminance.reshape(1, 1).clone();
    cv::sort(sorted, sorted, cv::SORT_ASCENDING);
    const auto at = [&](double part) { return sorted.at<float>(static_cast<int>(part * (sorted.cols - 1))); };
    const float range = at(0.999F) / std::max(at(0.001F), 1e-6F);
    fmt::print("{}: the brightest pixels are {:.0f} times as bright as the darkest\n", name, range);
    require(range > 500, name + ": more than a single exposure can hold");
}

} // namespace

int main(int argc, char** argv)
{
    return runExample(argc, argv, [](const Output& output) {
        const Bracket bracket = anyBracket();
        fmt::print("{} exposures, {}\n", bracket.frames.size(),
                   bracket.real ? "photographed" : "synthesised");
        const ImagePointer frames = aligned(bracket);
        const TensorPointer exposures = realList(bracket.exposures);

        const auto calibrated = [&](const std::string& operation, NamedValues more) {
            more.insert({ { "frames", frames }, { "exposures", exposures } });
            const Outcome outcome = run(operation, std::move(more));
            printResponse(operation, outcome.tensor());
            return std::get<TensorPointer>(outcome.result);
        };
        const TensorPointer debevec = calibrated("CalibrateDebevec", {});
        const TensorPointer robertson =
            calibrated("CalibrateRobertson", { { "max_iterations", int64_t { 8 } } });

        const auto merged = [&](const std::string& operation, const TensorPointer& response) {
            ImagePointer result = inRgb(run(
                operation, { { "frames", frames }, { "exposures", exposures }, { "response", response } }));
            printRange(operation, matrixOf(*result));
            return result;
        };
        const ImagePointer light = merged("MergeDebevec", debevec);
        merged("MergeRobertson", robertson);
        const cv::Mat fused = matrixOf(run("MergeMertens", { { "frames", frames } }).image());
        require(cv::checkRange(fused), "a finite fusion");
        output.write("mertens.png", fused);

        const std::vector<std::pair<std::string, std::vector<double>>> mappings {
            { "basic", { 2.2 } },
            { "Durand", { 2.2, 4, 1, 2, 2 } },
            { "Drago", { 2.2, 1, 0.85 } },
            { "Reinhard", { 2.2, 0, 0, 0 } },
            { "Mantiuk", { 2.2, 0.85, 1.2 } },
        };
        for (const auto& [method, parameters] : mappings) {
            const cv::Mat shown = matrixOf(
                run("Tonemap",
                    { { "image", light }, { "method", method }, { "parameters", realList(parameters) } })
                    .image());
            const double brightness = cv::mean(cv::mean(shown))[0];
            fmt::print("Tonemap {}: mean brightness {:.3f}\n", method, brightness);
            require(cv::checkRange(shown), method + ": finite samples");
            output.write(method + ".png", shown);
        }
    });
}
