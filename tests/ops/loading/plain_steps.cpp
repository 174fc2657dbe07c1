#include "tests/ops/loading/plain_steps.h"

#include "convert/handover.h"

#include <opencv2/imgcodecs.hpp>

#include <algorithm>

namespace miravex::plain {

namespace {

constexpr double toUnit = 0.003921568859368563;

void writeInterleaved(float* slot, const Batch& batch, cv::Mat image)
{
    const int type = batch.channels == 1 ? CV_32F : CV_32FC3;
    cv::Mat target(batch.height, batch.width, type, slot);
    if (batch.colorCode == cv::COLOR_BGR2RGB) cv::cvtColor(image, image, cv::COLOR_BGR2RGB);
    image.copyTo(target);
    if (batch.mean) {
        const cv::Mat mean(batch.height, batch.width, type, const_cast<float*>(batch.mean));
        cv::subtract(target, mean, target, cv::noArray(), -1);
    }
    if (batch.rstddev) {
        const cv::Mat factor(batch.height, batch.width, type, const_cast<float*>(batch.rstddev));
        target = target.mul(factor, 1.0);
    }
}

std::vector<cv::Mat> planesOver(const float* samples, const Batch& batch)
{
    std::vector<cv::Mat> planes;
    const std::size_t plane = static_cast<std::size_t>(batch.height) * static_cast<std::size_t>(batch.width);
    for (int c = 0; samples && c < batch.channels; ++c)
        planes.emplace_back(batch.height, batch.width, CV_32F,
                            const_cast<float*>(samples) + static_cast<std::size_t>(c) * plane);
    return planes;
}

void writePlanar(float* slot, const Batch& batch, const cv::Mat& image)
{
    std::vector<cv::Mat> planes = planesOver(slot, batch);
    std::vector<cv::Mat> means = planesOver(batch.mean, batch);
    std::vector<cv::Mat> factors = planesOver(batch.rstddev, batch);
    cv::Mat source = image;
    if (batch.channels != 1 && batch.colorCode == cv::COLOR_BGR2RGB) {
        std::ranges::reverse(planes);
        std::ranges::reverse(means);
        std::ranges::reverse(factors);
    } else if (batch.channels != 1) {
        cv::Mat converted;
        cv::cvtColor(image, converted, batch.colorCode);
        source = converted;
    }
    cv::split(source, planes);
    for (std::size_t c = 0; batch.mean && c < planes.size(); ++c)
        cv::subtract(planes[c], means[c], planes[c], cv::noArray(), -1);
    for (std::size_t c = 0; batch.rstddev && c < planes.size(); ++c)
        planes[c] = planes[c].mul(factors[c], 1.0);
}

} // namespace

bool load(const std::string& path, float* slot, const Batch& batch)
{
    const bool gray = batch.channels == 1;
    cv::Mat image;
    try {
        image = cv::imread(path, gray ? cv::IMREAD_GRAYSCALE : cv::IMREAD_COLOR);
    } catch (const cv::Exception&) {
        return false;
    }
    if (image.empty()) return false;
    if (image.rows != batch.height || image.cols != batch.width) {
        cv::Mat resized;
        cv::resize(image, resized, cv::Size(batch.width, batch.height), 0, 0, cv::INTER_LINEAR);
        image = resized;
    }
    cv::Mat reals;
    image.convertTo(reals, gray ? CV_32F : CV_32FC3, toUnit, 0);
    if (batch.channelsLast)
        writeInterleaved(slot, batch, reals);
    else
        writePlanar(slot, batch, reals);
    return true;
}

namespace {

class LoadAll : public cv::ParallelLoopBody {
public:
    LoadAll(const std::vector<std::string>& paths, float* slots, const Batch& batch)
        : paths_(&paths)
        , slots_(slots)
        , batch_(&batch)
        , status_(paths.size(), 0)
    {
        handover_.give();
    }

    void operator()(const cv::Range& range) const override
    {
        handover_.take();
        for (int i = range.start; i < range.end; ++i) {
            const auto file = static_cast<std::size_t>(i);
            status_[file] = load((*paths_)[file], slots_ + file * batch_->samples(), *batch_);
        }
        handover_.give();
    }

    [[nodiscard]] const std::vector<unsigned char>& status() const
    {
        handover_.take();
        return status_;
    }

private:
    const std::vector<std::string>* paths_;
    float* slots_;
    const Batch* batch_;
    mutable std::vector<unsigned char> status_;
    mutable Handover handover_;
};

} // namespace

std::vector<unsigned char> loadAll(const std::vector<std::string>& paths, float* slots, const Batch& batch)
{
    const LoadAll body(paths, slots, batch);
    cv::parallel_for_(cv::Range(0, static_cast<int>(paths.size())), body);
    return body.status();
}

} // namespace miravex::plain
