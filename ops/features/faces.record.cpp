#include "catalog/call_view.h"
#include "ops/features/bounds.h"

#include <algorithm>

namespace miravex {

namespace {

using namespace records;
using Word = std::string_view;

constexpr Result faceResults[] = {
    { ResultKind::RealTensor,
      "flat: n, n boxes left, bottom, right, top, then n scores (neighbours counted, or confidences)",
      Layout::FaceBoxes },
};

// --- cascade --------------------------------------------------------------------------------------------

constexpr Argument cascadeArguments[] = {
    image("image", "gray picture to search").channels({ 1 }).pixels({ PixelTypeByte }).sides(2, 2),
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
        .from(-1)
        .byDefault(-1),
};
constexpr Constraint cascadeConstraints[] = {
    { "max_width", "at least the narrowest face",
      [](const CallView& call) { return call.integer("max_width") >= call.integer("min_width"); } },
    { "max_height", "at least the lowest face",
      [](const CallView& call) { return call.integer("max_height") >= call.integer("min_height"); } },
    { "target_size", "-1, or at least 1",
      [](const CallView& call) { return call.integer("target_size") != 0; } },
};
constexpr Text cascadeLimits[] = {
    "A target size of 0 is refused.",
    "Scale factors are refused that are so near to 1 that all searched sizes together have more than 2^26 "
    "samples and more than 32 times the picture's: below 1.016 for large pictures, less for small ones.",
    "OpenCV does not check the indices inside a cascade file: load only files that you trust.",
    "Faces come in the order of their places, from the top of the picture down: OpenCV's own order depends "
    "on its threads.",
};
constexpr Word cascadeWords[] = { "@portrait", "--cascade",    "@cascade", "--min-width",
                                  "60",        "--min-height", "60" };
constexpr Example cascadeExamples[] = { { "The face of a portrait", cascadeWords } };

// --- network --------------------------------------------------------------------------------------------

constexpr Argument networkArguments[] = {
    image("image", "colour picture to search")
        .channels({ 3, 4 })
        .pixels({ PixelTypeBit, PixelTypeByte, PixelTypeReal32 })
        .sides(2, 2),
    text("description", "Caffe's text file of the network").path(),
    text("weights", "Caffe's binary file of its weights").path(),
    real("threshold", "confidence that a face exceeds").from(0).to(1).byDefault(0.5),
    integer("alternative_mean", "not 0 to subtract 152.5 from every colour").byDefault(0),
    integer("size_ratio", "side of the network's input, in units of 300 pixels").from(1).to(4).byDefault(1),
};
constexpr Text networkLimits[] = {
    "The network needs an input \"data\" and an output \"detection_out\" of four dimensions, the last of 7.",
    "Candidates that touch the left or the top edge or reach the right one are dropped, the bottom is not "
    "checked; so are those whose corners no 32-bit integer holds.",
};
constexpr Word networkWords[] = { "@portrait", "--description", "@face_network_prototxt", "--weights",
                                  "@face_network_weights" };
constexpr Example networkExamples[] = { { "The face of a portrait, by a network", networkWords } };

} // namespace

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

MIRAVEX_RECORD(faceDetectionDnn) { .summary = "Finds faces with a single-shot detector network",
                                   .arguments = networkArguments,
                                   .results = faceResults,
                                   .source = "W. Liu et al., \"SSD: single shot multibox detector\", 2016",
                                   .limits = networkLimits,
                                   .examples = networkExamples };

} // namespace miravex
