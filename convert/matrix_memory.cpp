#include "convert/matrix_memory.h"

#include "convert/large_pages.h"
#include "convert/opencv_compat.h"

#include <cstring>

namespace miravex {

namespace {

/// OpenCV's own allocator, and advice on what it gives. It stays the owner: matrices are freed without us.
class LargePageAllocator final : public cv::MatAllocator {
public:
    explicit LargePageAllocator(bool clears)
        : clears_(clears)
    {
    }
    cv::UMatData* allocate(int dimensions, const int* sizes, int type, void* data, std::size_t* steps,
                           compat::AccessFlags access, cv::UMatUsageFlags usage) const override
    {
        cv::UMatData* memory =
            cv::Mat::getStdAllocator()->allocate(dimensions, sizes, type, data, steps, access, usage);
        if (data) return memory;
        adviseLargePages(memory->data, memory->size);
        if (clears_) std::memset(memory->data, 0, memory->size);
        return memory;
    }
    bool allocate(cv::UMatData* memory, compat::AccessFlags access, cv::UMatUsageFlags usage) const override
    {
        return cv::Mat::getStdAllocator()->allocate(memory, access, usage);
    }
    void deallocate(cv::UMatData* memory) const override { cv::Mat::getStdAllocator()->deallocate(memory); }

private:
    bool clears_;
};

} // namespace

void useLargePages(cv::Mat& matrix)
{
    static LargePageAllocator allocator(false);
    matrix.allocator = &allocator;
}

cv::Mat resultMatrix()
{
    cv::Mat matrix;
    useLargePages(matrix);
    return matrix;
}

cv::Mat clearedResultMatrix()
{
    static LargePageAllocator allocator(true);
    cv::Mat matrix;
    matrix.allocator = &allocator;
    return matrix;
}

} // namespace miravex
