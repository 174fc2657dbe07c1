#include "catalog/catalog.h"
#include "files/files.h"
#include "files/pictures.h"
#include "host/arguments.h"
#include "host/json_text.h"
#include "tools/gallery/gallery_page.h"
#include "tools/gallery/samples.h"
#include "tools/miravex/commands.h"
#include "tools/miravex/perform.h"
#include "tools/miravex/progress.h"
#include "tools/miravex/text.h"

#include <opencv2/imgproc.hpp>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
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
    exhibit.outcome = describe(performed.value);
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

/// Words of an example as they stand in the record.
std::vector<std::string> wordsOf(const Example& example)
{
    return { example.words.begin(), example.words.end() };
}

/// For records without an example: the defaults on pictures that the record accepts.
std::vector<std::string> usualWords(const Operation& operation)
{
    std::vector<std::string> words;
    for (const Argument& argument : operation.arguments) {
        if (!isPositional(argument)) continue;
        const bool colorful =
            argument.image.acceptsChannels(3) && argument.image.acceptsColorSpace(ColorSpaceRGB);
        words.emplace_back(argument.image.rank == 3 ? "@noisy_sequence" : colorful ? "@photo" : "@gray");
    }
    return words;
}

/// Quick calls are made twice: the first call of all starts OpenCV's threads.
Performed performWarm(const Library& library, const ParsedCall& parsed, Notes& notes)
{
    constexpr double quick = 250;
    Performed performed = perform(library, parsed, notes);
    if (performed.milliseconds > quick) return performed;
    Notes repeated;
    performed.milliseconds =
        std::min(performed.milliseconds, perform(library, parsed, repeated).milliseconds);
    return performed;
}

/// Makes the samples that are results of operations.
Samples::Runner runnerOf(const Library& library)
{
    return
        [&library](const std::string& name, const std::vector<std::string>& words, const std::string& file) {
            const Operation* operation = findOperation(name);
            if (!operation) throw MissingSample(fmt::format("it is made by {}, which is not there", name));
            Settings settings;
            Notes notes;
            writeResult(perform(library, parseCall(*operation, words, settings), notes), file,
                        files::extensionOf(file), true, notes);
        };
}

void runExample(const Library& library, const PictureFolder& pictures, Samples& samples,
                const std::vector<std::string>& words, const std::string& stem, Exhibit& exhibit)
{
    exhibit.command = fmt::format("miravex {} {}", kebabCase(exhibit.operation->name), fmt::join(words, " "));
    try {
        Settings settings;
        const ParsedCall parsed = parseCall(*exhibit.operation, samples.replaced(words), settings);
        const Performed performed = performWarm(library, parsed, exhibit.notes);
        // A page that must come out the same each time, as in a package, tells no times.
        if (!std::getenv("SOURCE_DATE_EPOCH")) exhibit.milliseconds = performed.milliseconds;
        exhibit.inputs = inputFigures(pictures, performed, stem);
        addResultFigures(pictures, performed, parsed, stem, exhibit);
    } catch (const MissingSample& missing) {
        exhibit.skipped = missing.what();
    } catch (const std::exception& error) {
        exhibit.failed = error.what();
    }
}

std::vector<const Operation*> chosen(const std::vector<std::string>& names)
{
    if (names.empty()) return catalog();
    std::vector<const Operation*> operations;
    for (const std::string& name : names) operations.push_back(&operationNamed(name));
    return operations;
}

void checkFolder(const fs::path& folder, bool force)
{
    if (folder.empty()) throw Failure(ExitStatus::Usage, "usage: miravex gallery FOLDER [OPERATIONS...]");
    if (fs::exists(folder) && !fs::is_directory(folder))
        throw Failure(ExitStatus::Usage, fmt::format("{} is no folder", folder.string()));
    const bool foreign = fs::exists(folder) && !fs::is_empty(folder) && !fs::exists(folder / "gallery.json");
    if (foreign && !force)
        throw Failure(
            ExitStatus::Usage,
            fmt::format("{} holds something else than a gallery; --force adds one", folder.string()));
}

std::vector<Exhibit> exhibitsOf(const Operation& operation, const Library& library,
                                const PictureFolder& pictures, Samples& samples)
{
    const std::string name = kebabCase(operation.name);
    std::vector<Exhibit> exhibits;
    for (const Example& example : operation.examples) {
        Exhibit exhibit { .operation = &operation, .title = std::string(example.title) };
        runExample(library, pictures, samples, wordsOf(example),
                   fmt::format("{}-{}", name, exhibits.size() + 1), exhibit);
        exhibits.push_back(std::move(exhibit));
    }
    if (!exhibits.empty()) return exhibits;
    Exhibit exhibit { .operation = &operation };
    runExample(library, pictures, samples, usualWords(operation), name, exhibit);
    return { exhibit };
}

} // namespace

ExitStatus makeGallery(const Session& session, const GalleryOptions& options)
{
    const fs::path folder = options.folder;
    checkFolder(folder, session.settings.force);
    const std::vector<const Operation*> operations = chosen(options.operations);
    const Library library;
    const PictureFolder pictures(folder);
    Samples samples(folder / "samples", runnerOf(library));
    std::vector<Exhibit> exhibits;
    Progress progress("gallery", static_cast<int64_t>(operations.size()));
    for (const Operation* operation : operations) {
        for (Exhibit& exhibit : exhibitsOf(*operation, library, pictures, samples))
            exhibits.push_back(std::move(exhibit));
        progress.advance();
    }
    files::writeWhole(folder / "gallery.json", jsonText(jsonOf(exhibits), 2) + "\n");
    files::writeWhole(folder / "index.html", pageOf(exhibits));

    const auto failed = std::ranges::count_if(exhibits, [](const Exhibit& e) { return !e.failed.empty(); });
    const auto skipped = std::ranges::count_if(exhibits, [](const Exhibit& e) { return !e.skipped.empty(); });
    for (const Exhibit& exhibit : exhibits)
        if (!exhibit.failed.empty()) fmt::print(stderr, "miravex: {}: {}\n", exhibit.command, exhibit.failed);
    if (session.settings.json)
        fmt::print("{}\n", jsonText(jsonOf(exhibits)));
    else
        fmt::print("{}: {} examples of {} operations, {} failed, {} skipped\n",
                   (folder / "index.html").string(), exhibits.size(), operations.size(), failed, skipped);
    return failed > 0 ? ExitStatus::OperationFailed : ExitStatus::Done;
}

} // namespace miravex::tool
