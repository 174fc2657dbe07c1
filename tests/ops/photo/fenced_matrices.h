#pragma once

#include "ops/filters/compat.h"

#include <opencv2/core.hpp>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>

namespace miravex::test {

/// While it lives, every matrix of OpenCV's own ends at a page that may not be touched: whoever reads past
/// the end of one is ended by a signal. OpenCV's usual padding hides short overruns.
class FencedMatrices : public cv::MatAllocator {
public:
    FencedMatrices() { cv::Mat::setDefaultAllocator(this); }
    ~FencedMatrices() override { cv::Mat::setDefaultAllocator(cv::Mat::getStdAllocator()); }
    FencedMatrices(const FencedMatrices&) = delete;
    FencedMatrices& operator=(const FencedMatrices&) = delete;

    cv::UMatData* allocate(int dimensions, const int* sizes, int type, void* given, std::size_t* steps,
                           compat::AccessFlags flags, cv::UMatUsageFlags usage) const override
    {
        if (given)
            return cv::Mat::getStdAllocator()->allocate(dimensions, sizes, type, given, steps, flags, usage);
        std::size_t bytes = CV_ELEM_SIZE(type);
        for (int i = dimensions - 1; i >= 0; --i) {
            if (steps) steps[i] = bytes;
            bytes *= static_cast<std::size_t>(sizes[i]);
        }
        const std::size_t page = pageSize(), room = roomFor(bytes);
        void* const start =
            mmap(nullptr, room + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        CV_Assert(start != MAP_FAILED);
        CV_Assert(mprotect(static_cast<std::byte*>(start) + room, page, PROT_NONE) == 0);
        auto* block = new cv::UMatData(this);
        block->data = block->origdata = static_cast<uchar*>(start) + (room - bytes);
        block->size = bytes;
        return block;
    }

    bool allocate(cv::UMatData* block, compat::AccessFlags, cv::UMatUsageFlags) const override
    {
        return block != nullptr;
    }

    void deallocate(cv::UMatData* block) const override
    {
        if (!block) return;
        const std::size_t room = roomFor(block->size);
        munmap(block->origdata - (room - block->size), room + pageSize());
        block->origdata = nullptr;
        delete block;
    }

private:
    static std::size_t pageSize() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }
    static std::size_t roomFor(std::size_t bytes)
    {
        return (bytes + pageSize() - 1) / pageSize() * pageSize();
    }
};

} // namespace miravex::test
