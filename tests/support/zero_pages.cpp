#include "tests/support/zero_pages.h"

#include "host/matrices.h"

#include <sys/mman.h>

#include <new>

namespace miravex::test {

ImagePointer imageOfZeros(ImageShape shape, PixelType pixelType)
{
    const std::size_t bytes = static_cast<std::size_t>(shape.samples()) * bytesPerSample(pixelType);
    void* const pages =
        mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (pages == MAP_FAILED) throw std::bad_alloc();
    const std::shared_ptr<const void> owner(pages, [bytes](void* start) { munmap(start, bytes); });
    return wrapImage(shape, pixelType, usualColorSpace(shape.channels), shape.channels > 1, pages, owner);
}

} // namespace miravex::test
