#pragma once

#include "host/services.h"

#include <functional>

namespace miravex::test {

/// A host that does something to each object before the library gets it: to new images, to new tensors, to
/// converted copies. What is empty does nothing. One such host lives at a time.
class AlteredHost {
public:
    struct Alterations {
        std::function<void(KImage)> newImage;
        std::function<void(KTensor)> newTensor;
        std::function<void(KImage)> convertedCopy;
    };

    explicit AlteredHost(Alterations alterations)
    {
        current = std::move(alterations);
        images_.imageNew2D = newImage2D;
        images_.imageNew3D = newImage3D;
        images_.imageConvertType = converted;
        table_.tensorNew = newTensor;
        table_.imageServices = &images_;
    }
    ~AlteredHost() { current = {}; }
    AlteredHost(const AlteredHost&) = delete;
    AlteredHost& operator=(const AlteredHost&) = delete;

    LibraryData table() { return &table_; }

private:
    static inline Alterations current;

    /// The status of a service that made `object`, once that was altered.
    template <typename Object>
    static int altered(int status, const std::function<void(Object)>& alter, const Object* object)
    {
        if (status == 0 && alter) alter(*object);
        return status;
    }

    static int newImage2D(int64_t width, int64_t height, int64_t channels, PixelType type, ColorSpace space,
                          HostBoolean interleaved, KImage* out)
    {
        const auto& usual = *hostServices().imageServices;
        return altered(usual.imageNew2D(width, height, channels, type, space, interleaved, out),
                       current.newImage, out);
    }

    static int newImage3D(int64_t slices, int64_t width, int64_t height, int64_t channels, PixelType type,
                          ColorSpace space, HostBoolean interleaved, KImage* out)
    {
        const auto& usual = *hostServices().imageServices;
        return altered(usual.imageNew3D(slices, width, height, channels, type, space, interleaved, out),
                       current.newImage, out);
    }

    static int newTensor(int64_t elementType, int64_t rank, const int64_t* dimensions, KTensor* out)
    {
        return altered(hostServices().tensorNew(elementType, rank, dimensions, out), current.newTensor, out);
    }

    static KImage converted(KImage image, PixelType type, HostBoolean interleaved)
    {
        KImage copy = hostServices().imageServices->imageConvertType(image, type, interleaved);
        if (copy && current.convertedCopy) current.convertedCopy(copy);
        return copy;
    }

    ImageServices images_ = *hostServices().imageServices;
    LibraryDataTable table_ = hostServices();
};

} // namespace miravex::test
