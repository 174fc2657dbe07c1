#pragma once

#include "miravex/host_interface.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace miravex::test {

/// An image of the recording host: answers whatever a test wants it to.
struct FakeImage {
    PixelType pixelType = PixelTypeByte;
    int64_t rows = 1;
    int64_t columns = 1;
    int64_t channels = 1;
    int64_t slices = 0;
    int64_t rank = 2;
    ColorSpace colorSpace = ColorSpaceGray;
    bool interleaved = false;
    std::vector<double> samples; ///< stored as doubles, handed out in the image's own type below
    std::vector<std::byte> bytes;
};

/// A host that is not the embedded one: writes down every service it is asked for, in order, and fails on
/// demand. Conversions add 1 to every sample, so that a converted image shows. One at a time.
class RecordingHost {
public:
    RecordingHost();
    ~RecordingHost();
    RecordingHost(const RecordingHost&) = delete;
    RecordingHost& operator=(const RecordingHost&) = delete;

    const ImageServices services;

    int64_t nullRank = 0; ///< what imageGetRank says of a null image
    int creationStatus = 0;
    bool converts = true;
    bool convertsInPlace = false; ///< answers a conversion with the handle that it was given
    bool givesSamples = true;
    int64_t convertedRank = -1; ///< rank of converted copies; -1: that of their source

    std::vector<std::string> calls; ///< services in order, without "image"; conversions with their arguments
    std::set<KImage> alive; ///< images that the library made and has not freed
    int freed = 0;

    /// An image of the host's own.
    KImage own(FakeImage image);
    static FakeImage& of(KImage image) { return *reinterpret_cast<FakeImage*>(image); }

    KImage add(FakeImage image);

private:
    std::vector<std::unique_ptr<FakeImage>> images_;
};

/// The same sample values as bytes of that pixel type.
std::vector<std::byte> encode(const std::vector<double>& values, PixelType type);

} // namespace miravex::test
