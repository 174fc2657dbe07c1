#pragma once

#include "convert/name_table.h"

#include <opencv2/video.hpp>

namespace miravex {

/// Windows of Farneback's averaging by the names that hosts use.
inline constexpr std::array flowFlags {
    Named<int> { "Gaussian", cv::OPTFLOW_FARNEBACK_GAUSSIAN },
    Named<int> { "Standard", 0 },
};
inline constexpr auto flowFlagNames = namesOf(flowFlags);

enum class FlowMethod { None, Farneback, DualTvl1 };

/// Optical flows of super resolution by the names that hosts use.
inline constexpr std::array flowMethods {
    Named<FlowMethod> { "Farneback", FlowMethod::Farneback },
    Named<FlowMethod> { "DualTVL1", FlowMethod::DualTvl1 },
};
inline constexpr auto flowMethodNames = namesOf(flowMethods);

} // namespace miravex
