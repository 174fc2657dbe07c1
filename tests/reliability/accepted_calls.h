#pragma once

#include "tests/support/drawn_call.h"
#include "tests/support/host_check.h"
#include "tests/support/sample_files.h"

#include <cstring>

namespace miravex::test {

/// Up to `count` different calls of an operation that the library accepts, drawn without leaving the record.
inline std::vector<Values> acceptedCalls(const Operation& operation, std::size_t count, Caps caps = {})
{
    constexpr uint32_t attempts = 100;
    std::vector<Values> accepted;
    for (uint32_t seed = 0; seed < attempts && accepted.size() < count; ++seed) {
        std::optional<Values> values = validValues(operation, seed, caps);
        if (values && call(library(), operation, *values).ok()) accepted.push_back(std::move(*values));
    }
    return accepted;
}

/// Seconds a call, even on the smallest inputs.
inline bool isSlow(const Operation& operation)
{
    return operation.name == "SuperResolution" || operation.name == "CalibrateDebevec";
}

template <typename Held> std::shared_ptr<Held> cloneOf(const std::shared_ptr<Held>& original)
{
    if (!original) return nullptr;
    auto copy = std::make_shared<Held>(*original);
    copy->block = Block::zeroed(original->block.size());
    std::memcpy(copy->block.data(), original->block.data(), original->block.size());
    return copy;
}

/// The same values in objects of their own: some operations rewrite the host's.
inline Values ownCopy(const Values& values)
{
    Values copies = values;
    for (Value& value : copies) {
        if (auto* image = std::get_if<ImagePointer>(&value)) *image = cloneOf(*image);
        if (auto* tensor = std::get_if<TensorPointer>(&value)) *tensor = cloneOf(*tensor);
        if (auto* array = std::get_if<ArrayPointer>(&value)) *array = cloneOf(*array);
    }
    return copies;
}

inline std::string nameOfParameter(const ::testing::TestParamInfo<const Operation*>& info)
{
    std::string name(info.param->name);
    std::erase(name, '_');
    return name;
}

} // namespace miravex::test
