#pragma once

#include "host/arguments.h"
#include "host/catalog.h"
#include "host/library.h"

#include <fmt/format.h>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

/// What the examples share: calling an operation by name, and passing OpenCV's matrices in and out.
namespace miravex::example {

/// Tells CTest that the example had nothing to work on.
class Skipped : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Ends the example with a failure unless what it should have reached holds.
inline void require(bool holds, const std::string& what)
{
    if (!holds) throw std::runtime_error("not reached: " + what);
}

inline const Library& library()
{
    static const Library loaded;
    return loaded;
}

/// Calls an operation with values by name; what is left out takes the default of the operation's record.
inline Outcome run(std::string_view name, NamedValues given)
{
    const Operation* operation = findOperation(name);
    if (!operation) throw std::runtime_error(fmt::format("there is no operation {}", name));
    const Completed call = complete(*operation, std::move(given));
    for (const auto& refusals : { call.refusals, check(*operation, call.values) })
        if (!refusals.empty())
            throw std::runtime_error(fmt::format("{}: {}", name, refusals.front().message()));
    Outcome outcome = miravex::call(library(), *operation, call.values);
    if (!outcome.ok()) throw std::runtime_error(fmt::format("{} failed: {}", name, outcome.openCvError));
    return outcome;
}

// --- pictures -------------------------------------------------------------------------------------------

inline PixelType pixelTypeOf(const cv::Mat& matrix)
{
    return matrix.depth() == CV_32F ? PixelTypeReal32 : PixelTypeByte;
}

/// A sequence of matrices (bytes or 32-bit floats, gray or RGB) as one 3D image.
inline ImagePointer sequenceOf(const std::vector<cv::Mat>& frames)
{
    const cv::Mat& first = frames.front();
    ImagePointer image =
        makeImage({ .rows = first.rows,
                    .columns = first.cols,
                    .channels = first.channels(),
                    .slices = static_cast<int64_t>(frames.size()) },
                  pixelTypeOf(first), first.channels() == 1 ? ColorSpaceGray : ColorSpaceRGB);
    auto* target = image->as<std::uint8_t>();
    for (const cv::Mat& frame : frames) {
        cv::Mat slice(frame.rows, frame.cols, frame.type(), target);
        frame.copyTo(slice);
        target += frame.total() * frame.elemSize();
    }
    return image;
}

/// One matrix as a 2D image.
inline ImagePointer imageOf(const cv::Mat& matrix)
{
    ImagePointer image = sequenceOf({ matrix });
    image->shape.slices = 0;
    return image;
}

/// One slice of an image of bytes or 32-bit floats; the whole of a 2D image.
inline cv::Mat matrixOf(const Image& image, int64_t slice = 0)
{
    const int depth = image.pixelType == PixelTypeReal32 ? CV_32F : CV_8U;
    cv::Mat header(static_cast<int>(image.shape.rows), static_cast<int>(image.shape.columns),
                   CV_MAKETYPE(depth, static_cast<int>(image.shape.channels)));
    const std::size_t bytes = header.total() * header.elemSize();
    return cv::Mat(header.size(), header.type(),
                   image.as<std::uint8_t>() + static_cast<std::size_t>(slice) * bytes)
        .clone();
}

/// A photo of Debian's opencv-doc, in RGB or gray.
inline cv::Mat photo(const std::string& name, bool gray = false)
{
    const std::filesystem::path path =
        std::filesystem::path("/usr/share/doc/opencv-doc/examples/data") / name;
    cv::Mat picture = cv::imread(path.string(), gray ? cv::IMREAD_GRAYSCALE : cv::IMREAD_COLOR);
    if (picture.empty()) throw Skipped(path.string() + " is not there; it comes with the package opencv-doc");
    if (!gray) cv::cvtColor(picture, picture, cv::COLOR_BGR2RGB);
    return picture;
}

/// Where the example's pictures go: the folder named on the command line.
class Output {
public:
    Output(int argc, char** argv)
        : folder_(argc > 1 ? argv[1] : "example-output")
    {
        std::filesystem::create_directories(folder_);
    }

    [[nodiscard]] std::string operator/(const std::string& name) const { return (folder_ / name).string(); }

    /// Writes a picture in RGB or gray; reals of 0 to 1 as bytes.
    void write(const std::string& name, const cv::Mat& picture) const
    {
        cv::Mat bytes;
        picture.convertTo(bytes, CV_8U, picture.depth() == CV_32F ? 255 : 1);
        if (bytes.channels() == 3) cv::cvtColor(bytes, bytes, cv::COLOR_RGB2BGR);
        const std::string path = *this / name;
        require(cv::imwrite(path, bytes), "writing " + path);
        fmt::print("  wrote {}\n", path);
    }

private:
    std::filesystem::path folder_;
};

/// Runs an example: 0 when it reached what it should, 77 when it was skipped.
template <typename Body> int runExample(int argc, char** argv, Body body)
{
    try {
        body(Output(argc, argv));
        return EXIT_SUCCESS;
    } catch (const Skipped& reason) {
        fmt::print("skipped: {}\n", reason.what());
        return 77;
    } catch (const std::exception& error) {
        fmt::print(stderr, "{}\n", error.what());
        return EXIT_FAILURE;
    }
}

} // namespace miravex::example
