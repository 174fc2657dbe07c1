#pragma once

#include "miravex/host_interface.h"

/// The batch loader: image files into one float array, ready for a network.
namespace miravex::importops {

/// The arguments of one call, as read from the slots.
struct LoadRequest {
    NumericArray destination; ///< (files, height, width, channels) or (files, channels, height, width)
    const char* paths; ///< one after the other, without separators
    KTensor lengths; ///< bytes of each path
    const char* colorSpace;
    bool hasMean;
    NumericArray mean; ///< read only when there is one; likewise below
    bool hasReciprocalDeviation;
    NumericArray reciprocalDeviation;
    int64_t stripes; ///< how many files may be under way at once; 0 or less: as many as OpenCV has threads
    bool channelsLast;
};

/// Reads every file into its slot of the destination: resized bilinearly, scaled to 0..1, in the named colour
/// space ("RGB", "XYZ", "LAB", "LUV", "Grayscale"; the middle three and "Grayscale" of a colour slot change
/// colours only with channels first), less the mean and times the reciprocal deviation, sample by sample.
/// Files are read in parallel; results depend neither on the threads nor on `stripes`.
///
/// A file that can't be read gets uniform noise in [0, 1), less the mean. Returns the 1-based positions of
/// those files as a new integer list.
///
/// Destination: 32-bit floats, rank 4, 1 or 3 channels, at least as many slots as there are files. Mean and
/// reciprocal deviation: 32-bit floats, rank 3, at least a slot's elements in a slot's layout. Lengths: each
/// at least 0, together no more than the string. "RGB" with one channel and channels last is OpenCV's error.
///
/// Throws std::runtime_error for every refusal, and whatever OpenCV throws but for errors while decoding,
/// which fail the one file.
KTensor loadImagesFromPathInto(LibraryData data, const LoadRequest& request);

} // namespace miravex::importops
