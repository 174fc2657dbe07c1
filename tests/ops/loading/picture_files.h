#pragma once

#include "tests/support/temporary_folder.h"

#include <opencv2/core.hpp>

#include <optional>
#include <string>
#include <vector>

/// Picture files made on the spot, in every flavour that a JPEG comes in.
namespace miravex::test {

struct JpegOptions {
    int horizontal = 2; ///< luma samples per chroma sample
    int vertical = 2;
    bool progressive = false;
    bool gray = false;
    bool cmyk = false;
    bool storedAsRgb = false;
    bool arithmetic = false;
    unsigned restartInterval = 0;
    std::optional<int> orientation; ///< EXIF orientation, in a block of its own
    bool bigEndianExif = false;
    std::string comment; ///< an APP1 block that is not EXIF
    int quality = 90;
};

/// Writes a BGR picture as JPEG. CMYK takes the picture's channels for C, M and Y, with K a gradient.
void writeJpeg(const std::string& path, const cv::Mat& picture, const JpegOptions& options = {});

/// A picture with smooth areas, edges and noise, the same for the same seed.
cv::Mat scene(int rows, int columns, unsigned seed = 1);

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& bytes);

/// Copies the first `bytes` bytes of a file.
void truncateFile(const std::string& from, const std::string& to, std::size_t bytes);

/// One file of every kind that the loader meets, readable or not.
std::vector<std::string> picturesOfEveryKind(const TemporaryFolder& folder);

} // namespace miravex::test
