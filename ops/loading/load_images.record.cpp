#include "catalog/call_view.h"
#include "ops/loading/bounds.h"
#include "ops/loading/option_names.h"

namespace miravex {

namespace {

using namespace records;

constexpr Argument loadArguments[] = {
    array("destination",
          "floats to fill: files x height x width x channels, or files x channels x height x width")
        .rewrittenInPlace()
        .shared(),
    text("paths", "paths of the files, one after the other without separators"),
    integers("lengths", "bytes of each path").elementsFrom(0),
    text("color_space", "colours of the result; with channels last only RGB changes the order BGR")
        .oneOf(importops::colorNames)
        .byDefault("RGB"),
    integer("has_mean", "1 when a mean is given").setBy("mean"),
    array("mean", "subtracted from every slot: three dimensions, laid out like a slot")
        .when("has_mean", "true"),
    integer("has_rstddev", "1 when a reciprocal deviation is given").setBy("rstddev"),
    array("rstddev", "multiplied into every slot, after the mean: three dimensions, laid out like a slot")
        .when("has_rstddev", "true"),
    integer("stripes", "files under way at once; 0: as many as OpenCV has threads").byDefault(0),
    integer("channels_last", "1: each pixel's channels together; 0: plane after plane").byDefault(1),
};

// What the library reads of a destination; arrays of another rank have no such sizes.
struct Slots {
    int64_t files = 0;
    int64_t height = 0;
    int64_t width = 0;
    int64_t channels = 0;
};

Slots slotsOf(const CallView& call)
{
    constexpr std::size_t rank = 4;
    const auto destination = call.array("destination");
    if (!destination || destination->dimensions.size() != rank) return {};
    const auto& sizes = destination->dimensions;
    if (call.integer("channels_last") != 0) return { sizes[0], sizes[1], sizes[2], sizes[3] };
    return { sizes[0], sizes[2], sizes[3], sizes[1] };
}

bool isFloats(const ArrayFacts& array, std::size_t rank)
{
    return array.elementType == NumericArrayTypeReal32 && array.dimensions.size() == rank;
}

bool fillsSlot(const CallView& call, std::string_view name)
{
    const auto array = call.array(name);
    const Slots slots = slotsOf(call);
    if (!array || !isFloats(*array, 3)) return false;
    const int64_t count =
        bounds::product({ array->dimensions[0], array->dimensions[1], array->dimensions[2] });
    return bounds::fillsSlot(count, slots.height, slots.width, slots.channels);
}

bool lengthsFit(const CallView& call)
{
    std::size_t left = call.text("paths").size();
    for (const int64_t length : call.integers("lengths")) {
        if (!bounds::pathFits(length, left)) return false;
        left -= static_cast<std::size_t>(length);
    }
    return true;
}

constexpr Constraint loadConstraints[] = {
    { "destination", "an array of rank 4",
      [](const CallView& call) { return isFloats(*call.array("destination"), 4); } },
    { "destination", "1 or 3 channels",
      [](const CallView& call) { return bounds::channelsFit(slotsOf(call).channels); } },
    { "destination",
      { "at most {} rows and columns", bounds::slotSide },
      [](const CallView& call) { return bounds::slotFits(slotsOf(call).height, slotsOf(call).width); } },
    { "lengths", "lengths of at least 0 that together do not exceed the paths", lengthsFit },
    { "lengths", "at most as many files as the destination has slots",
      [](const CallView& call) { return bounds::haveSlots(call.length("lengths"), slotsOf(call).files); } },
    { "lengths",
      { "at most {} files", bounds::batchFiles },
      [](const CallView& call) { return bounds::filesFit(call.length("lengths")); } },
    { "mean", "an array of rank 3 with at least a slot's elements",
      [](const CallView& call) { return call.integer("has_mean") == 0 || fillsSlot(call, "mean"); } },
    { "rstddev", "an array of rank 3 with at least a slot's elements",
      [](const CallView& call) { return call.integer("has_rstddev") == 0 || fillsSlot(call, "rstddev"); } },
    { "color_space", "a colour space other than RGB for one channel with channels last",
      [](const CallView& call) {
          return call.length("lengths") == 0 || call.integer("channels_last") == 0
              || slotsOf(call).channels != 1 || call.text("color_space") != "RGB";
      } },
};
constexpr Result loadResults[] = {
    { ResultKind::IntegerTensor, "1-based positions of the files that could not be read", Layout::Positions }
};
constexpr Text loadLimits[] = {
    "The slot of a file that can't be read holds uniform noise in [0, 1), less the mean.",
    "With channels last, XYZ, LAB, LUV and Grayscale leave the picture in BGR order.",
    "A colour slot with channels first turned to Grayscale has its first plane filled only, and only that "
    "plane has the mean and deviation applied.",
    "A truncated JPEG counts as read; miravex load looks for the end of each file and reports it.",
    { "Refused: more files than slots, channels other than 1 and 3, more than {} rows or columns or {} "
      "files, path lengths below 0 or beyond the string, mean and deviation with fewer elements than a slot.",
      bounds::slotSide, bounds::batchFiles },
    "The command line loads batches with miravex load.",
};

constexpr std::string_view loadWords[] = {
    "--destination", "4x160x200x3", "--paths", "@batch_paths", "--lengths", "@batch_lengths",
};
constexpr Example loadExamples[] = { { "Four photos in one array", loadWords } };

} // namespace

MIRAVEX_RECORD(loadImagesFromPathInto) {
    .summary = "Loads image files in parallel into one float array, resized and normalised",
    .arguments = loadArguments,
    .results = loadResults,
    .source = "value = (sample / 255 - mean) x rstddev, after bilinear resizing",
    .constraints = loadConstraints,
    .limits = loadLimits,
    .examples = loadExamples,
    .returnsOnWrongCount = true
};

} // namespace miravex
