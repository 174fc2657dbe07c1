#include "catalog/record.h"
#include "ops/photo/bounds.h"
#include "ops/photo/option_names.h"

namespace miravex {

namespace {

using namespace records;
using Word = std::string_view;

constexpr Argument arguments[] = {
    text("film", "film of at least 6 frames that OpenCV can read").path(),
    text("flow", "how the motion between its frames is found").oneOf(flowMethodNames).byDefault("Farneback"),
    integer("scale", "how many times larger the result is")
        .from(2)
        .to(bounds::filmScale)
        .low32Bits()
        .byDefault(2),
};
constexpr Result results[] = {
    { ResultKind::Image,
      "the film's second frame, scale times larger, less 7 pixels on every side; bytes, blue first" },
};
constexpr Text limits[] = {
    { "Films of fewer than {} frames are refused: OpenCV reads beyond its cache.", bounds::filmFrames },
    { "Scales above {} and enlarged frames of more than {} pixels are refused; each pixel takes about 400 "
      "bytes.",
      bounds::filmScale, bounds::filmPixels },
};
constexpr Word words[] = { "@film" };
constexpr Example examples[] = { { "A frame of a short film, twice as large", words } };

} // namespace

MIRAVEX_RECORD(superResolution) {
    .summary = "Enlarges a frame of a film by what its neighbours add",
    .arguments = arguments,
    .results = results,
    .source = "D. Mitzel, T. Pock, T. Schoenemann, D. Cremers, \"Video super resolution using duality based "
              "TV-L1 optical flow\", 2009",
    .limits = limits,
    .examples = examples
};

} // namespace miravex
