#include "ops/features/record_parts.h"

namespace miravex {

constexpr Argument cascadeArguments[] = {
    image("image", "gray picture to search")
        .channels({ 1 })
        .pixels({ PixelTypeByte })
        .sides(bounds::faceSide, bounds::faceSide),
    integer("min_width", "narrowest face").in("pixels").from(0).byDefault(0),
    integer("min_height", "lowest face").in("pixels").from(0).byDefault(0),
    integer("max_width", "widest face")
        .in("pixels")
        .from(0)
        .byDefault("the image's columns",
                   [](const CallView& call) { return static_cast<double>(call.columns("image")); }),
    integer("max_height", "highest face")
        .in("pixels")
        .from(0)
        .byDefault("the image's rows",
                   [](const CallView& call) { return static_cast<double>(call.rows("image")); }),
    text("cascade", "file of the trained cascade").path(),
    integer("min_neighbors", "overlapping finds that make a face").byDefault(3),
    real("scale_factor", "how much larger faces are searched for from step to step").above(1).byDefault(1.1),
    integer("equalize", "1 to equalise the histogram first").byDefault(0),
    integer("target_size", "search the picture shrunk towards this smaller side; -1 to keep its size")
        .in("pixels")
        .from(bounds::keepSize)
        .byDefault(Default { bounds::keepSize }),
};
constexpr Constraint cascadeConstraints[] = {
    pixelsConstraint,
    { "max_width", "at least the narrowest face",
      [](const CallView& call) { return call.integer("max_width") >= call.integer("min_width"); } },
    { "max_height", "at least the lowest face",
      [](const CallView& call) { return call.integer("max_height") >= call.integer("min_height"); } },
    { "target_size", "-1, or at least 1",
      [](const CallView& call) { return call.integer("target_size") != 0; } },
    { "scale_factor",
      { "a factor with which all searched sizes together have at most {} samples, or {} times the picture's "
        "up to {}",
        bounds::cascadeSamples, bounds::cascadeSamplesPerPixel, bounds::resultSamples },
      [](const CallView& call) {
          return bounds::searchFits(call.rows("image"), call.columns("image"), call.integer("target_size"),
                                    call.real("scale_factor"));
      } },
};
constexpr Text cascadeLimits[] = {
    pixelsLimit,
    "A target size of 0 is refused.",
    { "Scale factors are refused that are so near to 1 that all searched sizes together have more than {} "
      "samples and more than {} times the picture's: below 1.008 for large pictures, less for small ones. "
      "More than {} "
      "are never searched.",
      bounds::cascadeSamples, bounds::cascadeSamplesPerPixel, bounds::resultSamples },
    "OpenCV does not check the indices inside a cascade file: load only files that you trust.",
    "Faces come in the order of their places, from the top of the picture down: OpenCV's own order depends "
    "on its threads.",
};
constexpr Word cascadeWords[] = { "@portrait", "--cascade",    "@cascade", "--min-width",
                                  "60",        "--min-height", "60" };
constexpr Example cascadeExamples[] = { { "The face of a portrait", cascadeWords } };

MIRAVEX_RECORD(faceDetection) {
    .summary = "Finds faces with a boosted cascade",
    .arguments = cascadeArguments,
    .results = faceResults,
    .source = "P. Viola, M. Jones, \"Rapid object detection using a boosted cascade of simple features\", "
              "2001",
    .constraints = cascadeConstraints,
    .limits = cascadeLimits,
    .examples = cascadeExamples
};

} // namespace miravex
