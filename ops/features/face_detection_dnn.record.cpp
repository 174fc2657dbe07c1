#include "ops/features/record_parts.h"

namespace miravex {

constexpr Argument networkArguments[] = {
    image("image", "colour picture to search")
        .channels({ 3, 4 })
        .pixels({ PixelTypeBit, PixelTypeByte, PixelTypeReal32 })
        .sides(bounds::faceSide, bounds::faceSide),
    text("description", "Caffe's text file of the network").path(),
    text("weights", "Caffe's binary file of its weights").path(),
    real("threshold", "confidence that a face exceeds").from(0).to(1).orNan().byDefault(0.5),
    integer("alternative_mean", "not 0 to subtract 152.5 from every colour").byDefault(0),
    integer("size_ratio", "side of the network's input, in units of 300 pixels")
        .from(1)
        .to(bounds::networkSizeRatio)
        .byDefault(1),
};
constexpr Text networkLimits[] = {
    "The network needs an input \"data\" and an output \"detection_out\" of four dimensions, the last of 7.",
    "Candidates that touch the left or the top edge or reach the right one are dropped, the bottom is not "
    "checked; so are those whose corners no 32-bit integer holds.",
};
constexpr Word networkWords[] = { "@portrait", "--description", "@face_network_prototxt", "--weights",
                                  "@face_network_weights" };
constexpr Example networkExamples[] = { { "The face of a portrait, by a network", networkWords } };

MIRAVEX_RECORD(faceDetectionDnn) { .summary = "Finds faces with a single-shot detector network",
                                   .arguments = networkArguments,
                                   .results = faceResults,
                                   .source = "W. Liu et al., \"SSD: single shot multibox detector\", 2016",
                                   .limits = networkLimits,
                                   .examples = networkExamples };

} // namespace miravex
