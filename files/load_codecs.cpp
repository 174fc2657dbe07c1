#include "files/codecs.h"
#include "host/installed_file.h"
#include "readers/load_part.h"

namespace miravex::files {

std::filesystem::path codecsPath()
{
    return installedFile({ "libmiravex_codecs.so" }, MIRAVEX_LIBRARY_FROM_BINARIES "/miravex");
}

const Codecs& codecs()
{
    static const Codecs& loaded = loadPart<Codecs>(codecsPath().string(), "miravexCodecs");
    return loaded;
}

} // namespace miravex::files
