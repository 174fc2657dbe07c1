#include "exchange/matrix_memory.h"

#include "exchange/large_pages.h"
#include "exchange/opencv_compat.h"

namespace miravex {

namespace {

/// OpenCV's own allocator, and advice on what it gives. It stays the owner: matrices are freed without us.
class LargePageAllocator final : public cv::MatAllocator {
public:
    cv::UMatData* allocate(int dimensions, const int* sizes, int type, void* data, std::size_t* steps,
                           compat::AccessFlags access, cv::UMatUsageFlags usage) const override
    {
        cv::UMatData* memory =
            cv::Mat::getStdAllocator()->allocate(dimensions, sizes, type, data, steps, access, usage);
        if (!data) adviseLargePages(memory->data, memory->size);
        return memory;
    }
    bool allocate(cv::UMatData* memory, compat::AccessFlags access, cv::UMatUsageFlags usage) const override
    {
        return cv::Mat::getStdAllocator()->allocate(memory, access, usage);
    }
    void deallocate(cv::UMatData* memory) const override { cv::Mat::getStdAllocator()->deallocate(memory); }
};

} // namespace

void useLargePages(cv::Mat& matrix)
{
    static LargePageAllocator allocator;
    matrix.allocator = &allocator;
}

cv::Mat resultMatrix()
{
    cv::Mat matrix;
    useLargePages(matrix);
    return matrix;
}

} // namespace miravex
