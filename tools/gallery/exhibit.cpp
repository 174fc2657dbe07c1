#include "tools/gallery/exhibit.h"

#include "catalog/catalog.h"
#include "files/files.h"
#include "files/pictures.h"
#include "host/arguments.h"

#include <opencv2/imgproc.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <span>
#include <tuple>

namespace miravex::tool {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t framesShown = 4;

/// All samples of a continuous matrix of floats.
std::span<const float> elementsOf(const cv::Mat& samples)
{
    return { samples.ptr<float>(), samples.total() * static_cast<std::size_t>(samples.channels()) };
}

/// The least and greatest value but for the outermost hundredth; what is not finite is left out.
std::pair<double, double> rangeOf(const cv::Mat& samples)
{
    std::vector<float> finite;
    std::ranges::copy_if(elementsOf(samples), std::back_inserter(finite),
                         [](float sample) { return std::isfinite(sample); });
    if (finite.empty()) return { 0, 1 };
    std::ranges::sort(finite);
    const std::size_t margin = finite.size() / 100;
    return { finite[margin], finite[finite.size() - 1 - margin] };
}

bool exceedsUnit(const cv::Mat& samples)
{
    constexpr double slack = 1e-4;
    const auto outside = [](float sample) { return !(sample >= -slack && sample <= 1 + slack); };
    return std::ranges::any_of(elementsOf(samples), outside);
}

/// How samples became bytes, for a caption.
enum class Scale { Plain, Stretched, Logarithmic };

double middleOf(const cv::Mat& samples)
{
    std::vector<float> sorted(elementsOf(samples).begin(), elementsOf(samples).end());
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::ranges::nth_element(sorted, middle);
    return *middle;
}

/// Reals beyond 0 to 1 are stretched to their own range. Radiances, which span several powers of ten, are
/// shown by their logarithms, against the middle one.
cv::Mat withinUnit(cv::Mat samples, Scale& scale)
{
    constexpr double wide = 20;
    scale = Scale::Plain;
    if (!exceedsUnit(samples)) return samples;
    auto [least, most] = rangeOf(samples);
    cv::patchNaNs(samples, least);
    scale = Scale::Stretched;
    const double middle = middleOf(samples);
    if (least >= 0 && middle > 0 && most > wide * middle) {
        scale = Scale::Logarithmic;
        samples = samples / middle + 1;
        cv::log(samples, samples);
        std::tie(least, most) = rangeOf(samples);
    }
    return most > least ? cv::Mat((samples - cv::Scalar::all(least)) / (most - least)) : samples;
}

/// As bytes of gray or BGR.
cv::Mat showable(const cv::Mat& frame, PixelType type, Scale& scale)
{
    cv::Mat shown;
    const int channels = frame.channels();
    if (channels == 1 || channels == 3)
        shown = frame.clone();
    else if (channels == 4)
        shown = files::withoutAlpha(frame);
    else
        cv::extractChannel(frame, shown, 0);

    const double full = type == PixelTypeBit16 ? 65535 : type == PixelTypeByte ? 255 : 1;
    shown.convertTo(shown, CV_32F, 1 / full);
    shown = withinUnit(shown, scale);
    shown.convertTo(shown, CV_8U, 255);
    files::swapRedAndBlue(shown);
    return shown;
}

std::string captionOf(Scale scale)
{
    switch (scale) {
    case Scale::Stretched: return " (its own range from black to white)";
    case Scale::Logarithmic: return " (on a logarithmic scale)";
    case Scale::Plain: return "";
    }
    return "";
}

cv::Mat limited(const cv::Mat& picture)
{
    constexpr double mostPixels = 900;
    const double factor = mostPixels / std::max(picture.cols, picture.rows);
    if (factor >= 1) return picture;
    cv::Mat smaller;
    cv::resize(picture, smaller, cv::Size(), factor, factor, cv::INTER_AREA);
    return smaller;
}

/// Puts pictures beside the page.
class PictureFolder {
public:
    explicit PictureFolder(const fs::path& folder)
        : folder_(folder)
    {
        fs::create_directories(folder_ / "pictures");
    }

    /// The first frames of an image, each as a picture of its own.
    std::vector<Figure> save(const Image& image, const std::string& stem, const std::string& caption) const
    {
        const ImagePointer source = convertImage(image, image.pixelType, image.shape.channels > 1);
        std::vector<Figure> figures;
        const std::vector<cv::Mat> frames = framesOf(*source);
        for (std::size_t i = 0; i < std::min(frames.size(), framesShown); ++i) {
            Scale scale = Scale::Plain;
            const cv::Mat shown = limited(showable(frames[i], image.pixelType, scale));
            // Colours are photos; gray pictures are small enough and often drawings.
            const std::string name =
                fmt::format("pictures/{}{}{}", stem, frames.size() > 1 ? fmt::format("-{}", i + 1) : "",
                            shown.channels() == 3 ? ".jpg" : ".png");
            files::codecs().write((folder_ / name).string(), { shown }, {});
            const std::string text = frames.size() > 1
                ? fmt::format("{}, frame {} of {}", caption, i + 1, frames.size())
                : caption;
            figures.push_back({ name, text + captionOf(scale) });
        }
        return figures;
    }

private:
    fs::path folder_;
};

void append(std::vector<Figure>& figures, std::vector<Figure> more)
{
    figures.insert(figures.end(), more.begin(), more.end());
}

/// A film that the library reads itself is shown by its frames; other files are not shown.
std::vector<Figure> figuresOfFile(const PictureFolder& pictures, const std::string& path,
                                  const std::string& stem, const Argument& argument)
{
    if (files::extensionOf(path) != ".avi") return {};
    return pictures.save(*files::readPicture(path, framesShown), stem, std::string(argument.name));
}

/// Files that a batch was loaded into: one slot each, channels last.
ImagePointer slotsOf(const Array& array)
{
    const std::vector<int64_t>& sizes = array.dimensions;
    if (sizes.size() != 4 || (sizes[3] != 1 && sizes[3] != 3)) return nullptr;
    ImagePointer image =
        makeImage({ .rows = sizes[1], .columns = sizes[2], .channels = sizes[3], .slices = sizes[0] },
                  PixelTypeReal32, ColorSpaceUnspecified);
    std::ranges::copy(array.floats(), image->as<float>());
    return image;
}

std::vector<Figure> inputFigures(const PictureFolder& pictures, const Performed& performed,
                                 const std::string& stem)
{
    std::vector<Figure> figures;
    for (std::size_t i = 0; i < performed.arguments.size(); ++i) {
        const Argument& argument = performed.operation->arguments[i];
        const std::string name = fmt::format("{}-{}", stem, argument.name);
        if (const auto* image = std::get_if<ImagePointer>(&performed.arguments[i])) {
            const bool placeholder = argument.optional && (*image)->shape.samples() == 1;
            if (!placeholder) append(figures, pictures.save(**image, name, std::string(argument.name)));
        } else if (const auto* text = std::get_if<std::string>(&performed.arguments[i]);
                   text && argument.isPath) {
            append(figures, figuresOfFile(pictures, *text, name, argument));
        }
    }
    return figures;
}

/// What the library wrote into an array of the host is a result too.
void addArrayFigures(const PictureFolder& pictures, const Performed& performed, const std::string& stem,
                     Exhibit& exhibit)
{
    for (std::size_t i = 0; i < performed.arguments.size(); ++i) {
        const Argument& argument = performed.operation->arguments[i];
        const auto* array = std::get_if<ArrayPointer>(&performed.arguments[i]);
        if (!array || !argument.rewritten) continue;
        if (const ImagePointer slots = slotsOf(**array))
            append(
                exhibit.results,
                pictures.save(*slots, fmt::format("{}-{}", stem, argument.name), std::string(argument.name)));
    }
}

void addResultFigures(const PictureFolder& pictures, const Performed& performed, const ParsedCall& parsed,
                      const std::string& stem, Exhibit& exhibit)
{
    if (const auto* image = std::get_if<ImagePointer>(&performed.value)) {
        exhibit.results = pictures.save(**image, stem + "-result", "result");
        return;
    }
    const auto* tensor = std::get_if<TensorPointer>(&performed.value);
    if (!tensor) return;
    exhibit.table = tableOf(performed.result.layout, **tensor);
    addArrayFigures(pictures, performed, stem, exhibit);
    const ImagePointer drawn = drawnResult(performed, parsed);
    if (!drawn) return;
    const std::string caption = performed.result.layout == Layout::Matches
        ? "result, drawn between the pictures"
        : "result, drawn over the input";
    exhibit.results = pictures.save(*drawn, stem + "-overlay", caption);
}

} // namespace

void show(const Performed& performed, const ParsedCall& parsed, const fs::path& folder,
          const std::string& stem, Exhibit& exhibit)
{
    const PictureFolder pictures(folder);
    exhibit.milliseconds = performed.milliseconds;
    exhibit.layout = performed.result.layout;
    exhibit.outcome = describe(performed.value);
    exhibit.inputs = inputFigures(pictures, performed, stem);
    addResultFigures(pictures, performed, parsed, stem, exhibit);
}

void keepResult(const Performed& performed, const fs::path& folder, const std::string& stem,
                std::initializer_list<const char*> extensions, Exhibit& exhibit)
{
    for (const char* extension : extensions) {
        Notes notes; // what a form of file loses; the form without loss stands beside it
        const std::string name = fmt::format("results/{}{}", stem, extension);
        fs::create_directories(folder / "results");
        writeResult(performed, (folder / name).string(), extension, true, notes);
        exhibit.files.push_back(name);
    }
}

} // namespace miravex::tool
