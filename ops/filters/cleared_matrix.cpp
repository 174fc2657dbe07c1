#include "ops/filters/cleared_matrix.h"

#include "ops/filters/compat.h"

#include <cstring>

namespace miravex {

namespace {

/// OpenCV's own allocator, whose memory is cleared. It stays the owner: matrices are freed without us.
class ClearingAllocator final : public cv::MatAllocator {
public:
    cv::UMatData* allocate(int dimensions, const int* sizes, int type, void* data, std::size_t* steps,
                           compat::AccessFlags access, cv::UMatUsageFlags usage) const override
    {
        cv::UMatData* memory =
            cv::Mat::getStdAllocator()->allocate(dimensions, sizes, type, data, steps, access, usage);
        if (!data) std::memset(memory->data, 0, memory->size);
        return memory;
    }
    bool allocate(cv::UMatData* memory, compat::AccessFlags access, cv::UMatUsageFlags usage) const override
    {
        return cv::Mat::getStdAllocator()->allocate(memory, access, usage);
    }
    void deallocate(cv::UMatData* memory) const override { cv::Mat::getStdAllocator()->deallocate(memory); }
};

} // namespace

cv::Mat clearedMatrix()
{
    static ClearingAllocator allocator;
    cv::Mat matrix;
    matrix.allocator = &allocator;
    return matrix;
}

} // namespace miravex
