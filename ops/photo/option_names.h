#pragma once

#include "convert/name_table.h"

#include <opencv2/photo.hpp>
#include <opencv2/video.hpp>

#include <span>

namespace miravex {

/// Kinds of the edge-preserving filter by the names that hosts use.
inline constexpr std::array edgeFilters {
    Named<int> { "RECURS_FILTER", cv::RECURS_FILTER },
    Named<int> { "NORMCONV_FILTER", cv::NORMCONV_FILTER },
};
inline constexpr auto edgeFilterNames = namesOf(edgeFilters);

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

enum class ToneMapping { None, Basic, Durand, Drago, Reinhard, Mantiuk };

/// Tone mappings by the names that hosts use.
inline constexpr std::array toneMappings {
    Named<ToneMapping> { "basic", ToneMapping::Basic },
    Named<ToneMapping> { "Durand", ToneMapping::Durand },
    Named<ToneMapping> { "Drago", ToneMapping::Drago },
    Named<ToneMapping> { "Reinhard", ToneMapping::Reinhard },
    Named<ToneMapping> { "Mantiuk", ToneMapping::Mantiuk },
};
inline constexpr auto toneMappingNames = namesOf(toneMappings);

/// The parameters of each mapping, in order, where the host gives none. "basic": gamma. "Durand": gamma,
/// contrast, saturation, and two sigmas of its bilateral filter, the fourth over brightness and the fifth
/// over space. "Drago": gamma, saturation, bias. "Reinhard": gamma, intensity, light and colour adaptation.
/// "Mantiuk": gamma, scale, saturation.
inline constexpr std::array basicDefaults { 1.0F };
inline constexpr std::array durandDefaults { 1.0F, 4.0F, 1.0F, 2.0F, 2.0F };
inline constexpr std::array dragoDefaults { 1.0F, 1.0F, 0.85F };
inline constexpr std::array reinhardDefaults { 1.0F, 0.0F, 1.0F, 0.0F };
inline constexpr std::array mantiukDefaults { 1.0F, 0.7F, 1.0F };

constexpr std::span<const float> toneDefaults(ToneMapping mapping)
{
    switch (mapping) {
    case ToneMapping::Basic: return basicDefaults;
    case ToneMapping::Durand: return durandDefaults;
    case ToneMapping::Drago: return dragoDefaults;
    case ToneMapping::Reinhard: return reinhardDefaults;
    case ToneMapping::Mantiuk: return mantiukDefaults;
    case ToneMapping::None: break;
    }
    return {};
}

/// True when as many parameters as the mapping has are in their ranges.
constexpr bool acceptsToneParameters(ToneMapping mapping, std::span<const double> values)
{
    const auto atLeast0 = [&](std::size_t i) { return values[i] >= 0; };
    const auto within1 = [&](std::size_t i) { return values[i] >= 0 && values[i] <= 1; };
    switch (mapping) {
    case ToneMapping::Basic: return atLeast0(0);
    case ToneMapping::Durand: return values[0] > 0 && atLeast0(2);
    case ToneMapping::Drago: return atLeast0(0) && atLeast0(1) && atLeast0(2);
    case ToneMapping::Reinhard: return atLeast0(0) && within1(2) && within1(3);
    case ToneMapping::Mantiuk: return atLeast0(0) && atLeast0(2);
    case ToneMapping::None: break;
    }
    return false;
}

} // namespace miravex
