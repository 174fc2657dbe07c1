#pragma once

#include <opencv2/core.hpp>
#include <opencv2/superres/optical_flow.hpp>

#include <string>
#include <vector>

namespace miravex {

enum class FlowMethod;

namespace importops {
struct SlotFormat;
}

/// What stands in the library's second part, libmiravex_readers: all that needs OpenCV's modules for
/// picture files and films, which bring some 200 libraries of codecs into a process. The library itself needs
/// none of them; it loads the second part when one of these functions is wanted.
///
/// Both parts are of one build: C++ types and exceptions pass between them.
struct Readers {
    const char* version; ///< of the build; first, so that it can be read of any

    /// ops/loading/parallel_load.h
    void (*loadPictures)(std::vector<std::string> paths, float* destination,
                         const importops::SlotFormat& format, unsigned char* status, double stripes);

    /// ops/photo/film_enlargement.h
    void (*enlargeSecondFrame)(const cv::String& film, FlowMethod method, int factor, cv::Mat& enlarged);

    /// cv::superres::createOptFlow_DualTVL1
    cv::Ptr<cv::superres::DualTVL1OpticalFlow> (*createDualTvl1)();
};

/// The second part, loaded by whoever asks first; may be asked on several threads at once. It is
/// readersFile() of the folder of the library, links resolved, as it was called when the library was loaded.
/// It stays until the process ends, whatever becomes of the library: its codecs keep threads and exit
/// handlers.
///
/// Throws std::runtime_error that names the file and the dynamic linker's reason when it can't be loaded or
/// is of another build; the next call tries again.
const Readers& readers();

/// The same, but throws the reason as OpenCV's error, which a host can hear.
const Readers& readersOrCvError();

} // namespace miravex
