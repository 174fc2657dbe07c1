#pragma once

#include "catalog/catalog.h"
#include "host/arguments.h"
#include "host/library.h"
#include "host/matrices.h"

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

/// A copy of one slice of an interleaved image; the whole of a 2D image.
inline cv::Mat matrixOf(const Image& image, std::size_t slice = 0)
{
    return framesOf(image).at(slice).clone();
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
