#include "cli/commands.h"
namespace miravex::cli {
ExitStatus makeGallery(const Session&, const GalleryWishes&) { throw Failure(ExitStatus::Usage, "later"); }
}
