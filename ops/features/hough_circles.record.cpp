#include "ops/features/record_parts.h"

namespace miravex {

constexpr Argument circlesArguments[] = {
    image("image", "gray picture").channels({ 1 }).pixels({ PixelTypeByte }),
    real("dp", "how much coarser than the picture centres are counted").above(0).byDefault(1.0),
    real("min_dist", "least distance of two centres")
        .in("pixels")
        .above(0)
        .byDefault("an eighth of the image's rows",
                   [](const CallView& call) { return static_cast<double>(call.rows("image")) / 8; }),
    real("param1", "upper threshold of the edge detector").above(0).byDefault(300.0),
    real("param2", "votes that a centre needs").above(0).byDefault(30.0),
    integer("min_radius", "smallest radius").in("pixels").from(0).byDefault(0),
    integer("max_radius", "largest radius; 0 for that of the picture").in("pixels").from(0).byDefault(0),
};
constexpr Constraint circlesConstraints[] = {
    pixelsConstraint,
    { "max_radius", "0, or at least the smallest radius",
      [](const CallView& call) {
          const int64_t least = call.integer("min_radius");
          const int64_t most = call.integer("max_radius");
          return least == 0 || most == 0 || least <= most;
      } },
};
constexpr Result circlesResults[] = { { ResultKind::RealTensor, "flat x, y, radius per circle",
                                        Layout::Circles } };
constexpr Text circlesLimits[] = {
    pixelsLimit,
    "Nothing bounds the time: every edge pixel votes for centres at all radii, and every candidate is "
    "compared "
    "with all edges. Noisy pictures of a few megapixels take minutes; smooth them first, raise param1 and "
    "param2, and give a min_dist and a max_radius.",
};
constexpr Word circlesWords[] = { "@coins",       "--min-dist", "20",           "--param2", "22",
                                  "--min-radius", "10",         "--max-radius", "40" };
constexpr Example circlesExamples[] = { { "Round sweets", circlesWords } };

MIRAVEX_RECORD(houghCircles) {
    .summary = "Finds circles by the gradients of their edges",
    .arguments = circlesArguments,
    .results = circlesResults,
    .source = "H. Yuen, J. Princen, J. Illingworth, J. Kittler, \"Comparative study of Hough transform "
              "methods for circle finding\", 1990",
    .constraints = circlesConstraints,
    .limits = circlesLimits,
    .examples = circlesExamples
};

} // namespace miravex
