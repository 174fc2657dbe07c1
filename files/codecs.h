#pragma once

#include <opencv2/core.hpp>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace miravex::files {

/// Hears how reading goes on: how much is done, and of how much; 0 when that is unknown.
using Progress = std::function<void(int64_t done, int64_t total)>;

/// What needs OpenCV's modules for picture files and films: a library of its own, libmiravex_codecs.so,
/// loaded when one of these functions is wanted, because some 200 libraries come with it. Colours are in
/// OpenCV's order. OpenCV's exceptions pass through.
struct Codecs {
    const char* version; ///< of the build

    /// As cv::imread and its flags have it.
    cv::Mat (*read)(const std::string& path, int flags);

    /// All pages of a file, unchanged.
    std::vector<cv::Mat> (*readPages)(const std::string& path);

    /// At most `maximum` frames; none of what is no film.
    std::vector<cv::Mat> (*readFilm)(const std::string& path, int64_t maximum, const Progress& progress);

    /// One picture, or several as pages, in the format of the path's extension; parameters as cv::imwrite has
    /// them. False when OpenCV can't.
    bool (*write)(const std::string& path, const std::vector<cv::Mat>& frames,
                  const std::vector<int>& parameters);

    /// An AVI of JPEGs, ten frames a second. False when OpenCV can't.
    bool (*writeFilm)(const std::string& path, const std::vector<cv::Mat>& frames);

    /// A picture through memory and back; empty when OpenCV has no codec for the extension.
    cv::Mat (*throughMemory)(const std::string& extension, const cv::Mat& picture);

    /// Names of OpenCV's readers of films.
    std::vector<std::string> (*filmReaders)();
};

/// The codecs, loaded by whoever asks first; may be asked on several threads at once. They stay until the
/// process ends. Throws std::runtime_error that says which file can't be loaded, and why.
const Codecs& codecs();

/// Where they are looked for: beside the program, and where an installation has its libraries.
std::filesystem::path codecsPath();

} // namespace miravex::files
