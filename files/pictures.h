#pragma once

#include "files/codecs.h"
#include "host/matrices.h"

#include <opencv2/core.hpp>

#include <filesystem>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

/// Picture files and the host's images.
///
/// Read: whatever OpenCV reads (8-bit, 16-bit, float; JPEGs turned as their EXIF says), multi-page TIFF,
/// videos, and .npy arrays (H x W, H x W x C, S x H x W, S x H x W x C). Colours are in the order R, G, B, A.
/// Failures to read throw Error (input) that names the file and the reason.
namespace miravex::files {

constexpr int64_t allFrames = std::numeric_limits<int64_t>::max();

/// Things worth telling that are no error ("the fourth channel is dropped").
using Notes = std::vector<std::string>;

/// Everything that a file holds: a 2D image, or a 3D image of its pages or frames when there are several.
/// `progress` counts the frames of a film.
ImagePointer readPicture(const std::string& file, int64_t maximumFrames = allFrames,
                         const Progress& progress = {});

/// One 3D image of all pages and frames of all files, in order; they must have one size and kind. `progress`
/// counts the files, or the frames of a single film.
ImagePointer readSequence(const std::vector<std::string>& files, int64_t maximumFrames = allFrames,
                          const Progress& progress = {});

/// The first slice of a 3D image, as a 2D image.
ImagePointer firstFrame(const Image& sequence);

/// A host image that holds a copy of the matrices' samples: 2D for one matrix unless `asSequence`. Up to two
/// channels are gray, up to four colours.
ImagePointer imageOf(const std::vector<cv::Mat>& frames, bool asSequence = false);

/// Exchanges the first and the third channel: OpenCV's order of colours to the host's, and back. Matrices of
/// fewer than three channels stay.
void swapRedAndBlue(cv::Mat& matrix);

/// The first three of four channels.
cv::Mat withoutAlpha(const cv::Mat& matrix);

/// Writes an image as the format that `extension` names can hold it: reals go to 16 or 8 bits where they
/// must, alpha is dropped where it must be, and `notes` tells. Sequences need TIFF, .npy or a video format.
void writePicture(const Image& image, const std::filesystem::path& path, const std::string& extension,
                  Notes& notes);

/// Throws Error (request) when no image of these properties can be written as `extension`.
void refuseExtension(const std::string& extension, bool isSequence);

/// True for the extensions that writePicture knows.
bool isPictureExtension(const std::string& extension);

} // namespace miravex::files
