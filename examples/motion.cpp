// What moves between two real frames, found in two ways, shown on the colour wheel and checked: the second
// frame, warped back by the flow, must look more like the first than it did.

#include "draw/draw_flow.h"
#include "examples/example.h"

using namespace miravex;
using namespace miravex::example;

namespace {

/// The second frame with every pixel fetched from where the flow says it went.
cv::Mat warpedBack(const cv::Mat& second, const Tensor& flow)
{
    const auto numbers = static_cast<std::size_t>(flow.dimensions[3]);
    cv::Mat places(second.size(), CV_32FC2);
    const double* vector = flow.reals().data();
    for (int y = 0; y < places.rows; ++y) {
        for (int x = 0; x < places.cols; ++x, vector += numbers)
            places.at<cv::Vec2f>(y, x) = { static_cast<float>(x + vector[0]),
                                           static_cast<float>(y - vector[1]) };
    }
    cv::Mat warped;
    cv::remap(second, warped, places, cv::noArray(), cv::INTER_LINEAR, cv::BORDER_REPLICATE);
    return warped;
}

} // namespace

int main(int argc, char** argv)
{
    return runExample(argc, argv, [](const Output& output) {
        std::vector<cv::Mat> pair { photo("rubberwhale1.png", true), photo("rubberwhale2.png", true) };
        for (cv::Mat& frame : pair) cv::resize(frame, frame, cv::Size(), 0.5, 0.5, cv::INTER_AREA);
        const double still = cv::PSNR(pair[0], pair[1]);
        for (const std::string operation : { "OpticalFlowFarneback", "OpticalFlowDualTVL1" }) {
            const Outcome outcome = run(operation, { { "frames", imageOfFrames(pair) } });
            const FlowPicture drawn = drawFlow(outcome.tensor());
            const double followed = cv::PSNR(pair[0], warpedBack(pair[1], outcome.tensor()));
            fmt::print(
                "{}: mean vector ({:.3f}, {:.3f}), longest {:.2f} pixels, {} unusable; likeness {:.2f} dB "
                "-> {:.2f} dB\n",
                operation, drawn.meanU, drawn.meanV, drawn.longest, drawn.unusable, still, followed);
            require(followed > still + 3, operation + ": motion that explains the second frame");
            require(drawn.longest > 0.5 && drawn.longest < 10, operation + ": vectors of a few pixels");
            output.write(operation + ".png", matrixOf(*drawn.picture));
        }
        output.write("wheel.png", matrixOf(*flowWheel(151)));
    });
}
