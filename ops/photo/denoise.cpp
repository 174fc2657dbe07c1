#include "ops/photo/denoise.h"

#include "convert/own_kernels.h"
#include "ops/photo/bounds.h"
#include "ops/photo/non_local_means.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>

namespace miravex {

namespace {

/// Ends with a cv::Exception where OpenCV itself would crash, hang or exhaust memory.
void requireThatOpenCvSurvives(const cv::Mat& frame, int channels, int temporal, int templateSide,
                               int searchSide)
{
    if (!bounds::openCvDenoises(frame.rows, frame.cols, channels, temporal, searchSide, templateSide))
        CV_Error(cv::Error::StsOutOfRange, "OpenCV does not survive windows of these sides");
}

/// The frames that are searched.
std::span<const cv::Mat> framesAround(const std::vector<cv::Mat>& frames, int index, int temporal)
{
    const int half = temporal / 2;
    if (index < half || index >= static_cast<int64_t>(frames.size()) - half)
        CV_Error(cv::Error::StsOutOfRange, "the temporal window reaches beyond the frames");
    return std::span(frames).subspan(static_cast<std::size_t>(index - half),
                                     static_cast<std::size_t>(temporal));
}

/// Lightness and colour of one picture.
struct Lab {
    cv::Mat lightness, colors;

    Lab() = default;

    explicit Lab(const cv::Mat& picture)
        : lightness(picture.size(), CV_8UC1)
        , colors(picture.size(), CV_8UC2)
    {
        cv::Mat lab, parts[] = { lightness, colors };
        cv::cvtColor(picture, lab, cv::COLOR_LBGR2Lab);
        cv::mixChannels(&lab, 1, parts, 2, places, 3);
    }

    void toPicture(cv::Mat& picture) const
    {
        const cv::Mat parts[] = { lightness, colors };
        cv::Mat lab(lightness.size(), CV_8UC3);
        cv::mixChannels(parts, 2, &lab, 1, places, 3);
        cv::cvtColor(lab, picture, cv::COLOR_Lab2LBGR);
    }

private:
    static constexpr int places[] = { 0, 0, 1, 1, 2, 2 };
};

} // namespace

void denoise(const cv::Mat& picture, cv::Mat& denoised, float strength, int templateSide, int searchSide)
{
    if (ownKernels()) {
        nonLocalMeans({ &picture, 1 }, denoised, { strength, templateSide, searchSide });
    } else {
        requireThatOpenCvSurvives(picture, picture.channels(), 1, templateSide, searchSide);
        cv::fastNlMeansDenoising(picture, denoised, strength, templateSide, searchSide);
    }
}

void denoiseColored(const cv::Mat& picture, cv::Mat& denoised, float strength, float colorStrength,
                    int templateSide, int searchSide)
{
    if (!ownKernels()) {
        requireThatOpenCvSurvives(picture, 2, 1, templateSide, searchSide);
        cv::fastNlMeansDenoisingColored(picture, denoised, strength, colorStrength, templateSide, searchSide);
        return;
    }
    const Lab noisy(picture);
    Lab clean;
    nonLocalMeans({ &noisy.lightness, 1 }, clean.lightness, { strength, templateSide, searchSide });
    nonLocalMeans({ &noisy.colors, 1 }, clean.colors, { colorStrength, templateSide, searchSide });
    clean.toPicture(denoised);
}

void denoiseFrame(const std::vector<cv::Mat>& frames, cv::Mat& denoised, int index, int temporal,
                  float strength, int templateSide, int searchSide)
{
    const std::span<const cv::Mat> searched = framesAround(frames, index, temporal);
    if (ownKernels()) {
        nonLocalMeans(searched, denoised, { strength, templateSide, searchSide });
    } else {
        requireThatOpenCvSurvives(searched[0], searched[0].channels(), temporal, templateSide, searchSide);
        cv::fastNlMeansDenoisingMulti(frames, denoised, index, temporal, strength, templateSide, searchSide);
    }
}

void denoiseColoredFrame(const std::vector<cv::Mat>& frames, cv::Mat& denoised, int index, int temporal,
                         float strength, float colorStrength, int templateSide, int searchSide)
{
    const std::span<const cv::Mat> searched = framesAround(frames, index, temporal);
    if (!ownKernels()) {
        requireThatOpenCvSurvives(searched[0], 2, temporal, templateSide, searchSide);
        cv::fastNlMeansDenoisingColoredMulti(frames, denoised, index, temporal, strength, colorStrength,
                                             templateSide, searchSide);
        return;
    }
    std::vector<cv::Mat> lightness, colors;
    for (const cv::Mat& frame : searched) {
        const Lab noisy(frame);
        lightness.push_back(noisy.lightness);
        colors.push_back(noisy.colors);
    }
    Lab clean;
    nonLocalMeans(lightness, clean.lightness, { strength, templateSide, searchSide });
    nonLocalMeans(colors, clean.colors, { colorStrength, templateSide, searchSide });
    clean.toPicture(denoised);
}

} // namespace miravex
