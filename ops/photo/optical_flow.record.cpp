#include "catalog/call_view.h"
#include "ops/photo/bounds.h"
#include "ops/photo/option_names.h"
#include "ops/photo/record_parts.h"

namespace miravex {

namespace {

using namespace records;

constexpr Argument frames = sequence("frames", "gray frames in the order of time")
                                .slices(2)
                                .channels({ 1 })
                                .pixels({ PixelTypeByte })
                                .colors({ ColorSpaceGray });
constexpr Argument useInitialFlow =
    boolean("use_initial_flow",
            "start from the initial flow; without one, start every pair but the first from the pair before")
        .byDefault(false);
constexpr Argument initialFlow =
    reals("initial_flow", "first estimate of the first pair: rows x columns x (u, v), v upward")
        .in("pixels")
        .shaped({ rowsOf("frames"), columnsOf("frames"), exactly(2) })
        .orEmpty()
        .when("use_initial_flow", "true");
constexpr Argument replacement =
    real("replacement", "both components of vectors that are not finite or reach 1e9").byDefault(0.0);

// --- Farneback ------------------------------------------------------------------------------------------

constexpr Argument farnebackArguments[] = {
    frames,
    real("pyramid_scale", "size of a pyramid level, as a fraction of the level below it")
        .above(0)
        .below(1)
        .byDefault(0.5),
    integer("levels", "pyramid levels; OpenCV stops before a side falls under 32 pixels")
        .from(1)
        .byDefault(5),
    real("window", "side of the averaging window, cut to an integer; larger is smoother")
        .in("pixels")
        .from(0)
        .to(bounds::flowWindow)
        .byDefault(13.0),
    integer("iterations", "iterations at each level").from(1).byDefault(10),
    integer("neighbourhood", "how far the polynomials reach that approximate the picture")
        .in("pixels")
        .from(0)
        .to(bounds::flowNeighbourhood)
        .byDefault(5),
    real("sigma", "standard deviation of the weights of that neighbourhood")
        .in("pixels")
        .from(0)
        .byDefault(1.1),
    text("flag", "weights of the averaging window").oneOf(flowFlagNames).byDefault("Standard"),
    useInitialFlow,
    initialFlow,
    replacement,
};
constexpr Result farnebackResults[] = {
    { ResultKind::RealTensor, "pairs x rows x columns x (u, v), in pixels, v upward", Layout::Flow },
};
constexpr Text farnebackLimits[] = {
    "A pyramid scale of exactly 1 is refused by OpenCV itself.",
    { "Windows above {} and neighbourhoods above {} pixels are refused.", bounds::flowWindow,
      bounds::flowNeighbourhood },
    { "Scales whose levels hold more than {} times the pixels of a frame, and iterations that come, with "
      "windows "
      "and levels, to more than {} steps a pixel, are refused.",
      bounds::flowLevels, bounds::flowSteps },
};
constexpr Constraint farnebackConstraints[] = {
    framesFit,
    { "pyramid_scale",
      { "a scale whose levels hold at most {} times the pixels of a frame", bounds::flowLevels },
      [](const CallView& call) {
          return bounds::farnebackLevelsFit(call.rows("frames"), call.columns("frames"),
                                            call.real("pyramid_scale"), call.integer("levels"));
      } },
    { "iterations",
      { "iterations that come, with windows and levels, to at most {} steps a pixel", bounds::flowSteps },
      [](const CallView& call) {
          return bounds::farnebackEnds(call.rows("frames"), call.columns("frames"),
                                       call.real("pyramid_scale"), call.integer("levels"),
                                       static_cast<int64_t>(call.real("window")), call.integer("iterations"),
                                       call.integer("neighbourhood"));
      } },
};
constexpr Word farnebackWords[] = { "@flow_pair" };
constexpr Word smoothWords[] = { "@flow_pair", "--window", "25", "--flag", "Gaussian" };
constexpr Example farnebackExamples[] = { { "What moves between two frames", farnebackWords },
                                          { "The same, smoother", smoothWords } };

// --- Dual TV-L1 -----------------------------------------------------------------------------------------

constexpr Argument dualArguments[] = {
    frames.sides(bounds::flowSide, bounds::flowSide),
    real("epsilon", "change of the flow below which the iterations end").above(0).byDefault(0.01),
    integer("iterations", "outer iterations of each warping").from(1).byDefault(10),
    real("lambda", "weight of the data; smaller is smoother").from(0).byDefault(0.15),
    integer("scales", "pyramid levels; OpenCV stops before a side falls under 16 pixels")
        .from(1)
        .byDefault(5),
    real("tau", "time step of the numerical scheme").above(0).byDefault(0.25),
    real("theta", "how tightly data and smoothness are tied").above(0).byDefault(0.3),
    integer("warpings", "how often the second frame is warped at each scale").from(1).byDefault(5),
    useInitialFlow,
    initialFlow,
    replacement,
};
constexpr Result dualResults[] = {
    { ResultKind::RealTensor, "pairs x rows x columns x (u, v, valid), in pixels, v upward",
      Layout::FlowAndValidity },
};
constexpr Text dualLimits[] = {
    "Frames one pixel high or wide are refused: OpenCV reads outside them.",
    { "More than {} iterations in all warpings of a scale together are refused.", bounds::flowIterations },
};
constexpr Constraint dualConstraints[] = {
    framesFit,
    { "iterations",
      { "iterations that come to at most {} in all warpings together", bounds::flowIterations },
      [](const CallView& call) {
          return bounds::dualTvl1Ends(call.integer("iterations"), call.integer("warpings"));
      } },
};
constexpr Word dualWords[] = { "@flow_pair" };
constexpr Example dualExamples[] = { { "What moves between two frames", dualWords } };

} // namespace

MIRAVEX_RECORD(opticalFlowFarneback) {
    .summary = "Finds how every pixel moves from frame to frame, by polynomial expansion",
    .arguments = farnebackArguments,
    .results = farnebackResults,
    .source = "G. Farneback, \"Two-frame motion estimation based on polynomial expansion\", 2003",
    .constraints = farnebackConstraints,
    .limits = farnebackLimits,
    .examples = farnebackExamples
};

MIRAVEX_RECORD(opticalFlowDualTvl1) {
    .summary = "Finds how every pixel moves from frame to frame, by total variation; keeps edges of motion",
    .arguments = dualArguments,
    .results = dualResults,
    .source =
        "C. Zach, T. Pock, H. Bischof, \"A duality based approach for realtime TV-L1 optical flow\", 2007",
    .constraints = dualConstraints,
    .limits = dualLimits,
    .examples = dualExamples
};

} // namespace miravex
