#include "readers/load_part.h"
#include "readers/readers.h"
#include "readers/second_part.h"

#include <cstdlib>
#include <memory>

namespace miravex {

namespace {

std::string folderOfTheLibrary()
{
    Dl_info info {};
    if (dladdr(reinterpret_cast<const void*>(&folderOfTheLibrary), &info) == 0) return "";
    const std::unique_ptr<char, void (*)(void*)> resolved(realpath(info.dli_fname, nullptr), &std::free);
    const std::string library = resolved ? resolved.get() : info.dli_fname;
    return library.substr(0, library.find_last_of('/') + 1);
}

/// Found while the library is being loaded: a relative name means nothing in another working folder.
const std::string folder = folderOfTheLibrary();

} // namespace

const Readers& readers()
{
    static const Readers& loaded =
        loadPart<Readers>(readersFile(folder, MIRAVEX_SOVERSION), "miravexReaders");
    return loaded;
}

const Readers& readersOrCvError()
try {
    return readers();
} catch (const std::runtime_error& error) {
    CV_Error(cv::Error::StsError, error.what());
}

} // namespace miravex
