#pragma once

#include "fuzz/drawn_call.h"
#include "fuzz/sample_files.h"
#include "tests/host_check.h"

namespace miravex::test {

/// Up to `count` different calls of an operation that the library accepts, drawn without leaving the record.
inline std::vector<Values> acceptedCalls(const Operation& operation, std::size_t count, fuzz::Caps caps = {})
{
    constexpr uint32_t attempts = 100;
    caps.ordinary = true;
    std::vector<Values> accepted;
    for (uint32_t seed = 0; seed < attempts && accepted.size() < count; ++seed) {
        // The first attempt is the ordinary call: no bytes decide anything.
        const auto source = fuzz::randomBytes(seed, seed == 0 ? 0 : 512);
        fuzz::Bytes bytes(source);
        Values values = fuzz::drawValues(operation, bytes, fuzz::sampleFiles(), caps);
        if (check(operation, values).empty() && call(library(), operation, values).ok())
            accepted.push_back(std::move(values));
    }
    return accepted;
}

inline std::string nameOfParameter(const ::testing::TestParamInfo<const Operation*>& info)
{
    std::string name(info.param->name);
    std::erase(name, '_');
    return name;
}

} // namespace miravex::test
