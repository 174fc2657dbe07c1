#include "host/services.h"

#include "host/ledger.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace miravex {

namespace {

constexpr int created = 0;
constexpr int refused = 1;

void stringDisown(const char* string)
{
    if (Ledger* ledger = Ledger::current()) ledger->gaveBack(string);
}

/// Makes an object unless the ledger refuses it, and enters it there; whatever goes wrong is a refusal.
template <typename Handle, typename Make> int create(Handle* out, Make make) noexcept
{
    *out = nullptr;
    Ledger* ledger = Ledger::current();
    if (!ledger || ledger->refusesAllocation()) return refused;
    try {
        auto object = make();
        *out = object.get();
        ledger->created(std::move(object));
        return created;
    } catch (...) {
        *out = nullptr;
        return refused;
    }
}

// --- tensors --------------------------------------------------------------------------------------------

int tensorNew(int64_t elementType, int64_t rank, const int64_t* dimensions, KTensor* out)
{
    return create(out, [&] {
        std::vector<int64_t> sizes(dimensions, dimensions + rank);
        if (elementType == TensorTypeInteger) return makeIntegerTensor(std::move(sizes));
        if (elementType == TensorTypeReal) return makeRealTensor(std::move(sizes));
        throw std::bad_alloc();
    });
}

void tensorFree(KTensor tensor)
{
    if (Ledger* ledger = Ledger::current()) ledger->freed(tensor);
}

int64_t tensorGetRank(KTensor tensor) { return tensor ? static_cast<int64_t>(tensor->dimensions.size()) : 0; }
const int64_t* tensorGetDimensions(KTensor tensor) { return tensor ? tensor->dimensions.data() : nullptr; }
int64_t tensorGetFlattenedLength(KTensor tensor) { return tensor ? tensor->length() : 0; }

template <typename Element> Element* tensorData(KTensor tensor, int64_t type)
{
    if (!tensor || tensor->elementType != type) return nullptr;
    const Ledger* ledger = Ledger::current();
    if (ledger && !ledger->givesData(tensor)) return nullptr;
    return reinterpret_cast<Element*>(tensor->block.data());
}

int64_t* tensorGetIntegerData(KTensor tensor) { return tensorData<int64_t>(tensor, TensorTypeInteger); }
double* tensorGetRealData(KTensor tensor) { return tensorData<double>(tensor, TensorTypeReal); }

// --- images ---------------------------------------------------------------------------------------------

int imageNew3D(int64_t slices, int64_t width, int64_t height, int64_t channels, PixelType pixelType,
               ColorSpace colorSpace, HostBoolean interleaved, KImage* out)
{
    return create(out, [&] {
        return makeImage({ .rows = height, .columns = width, .channels = channels, .slices = slices },
                         pixelType, colorSpace, interleaved != 0, Start::AsItComes);
    });
}

int imageNew2D(int64_t width, int64_t height, int64_t channels, PixelType pixelType, ColorSpace colorSpace,
               HostBoolean interleaved, KImage* out)
{
    return imageNew3D(0, width, height, channels, pixelType, colorSpace, interleaved, out);
}

void imageFree(KImage image)
{
    if (Ledger* ledger = Ledger::current()) ledger->freed(image);
}

PixelType imageGetPixelType(KImage image) { return image ? image->pixelType : -1; }
int64_t imageGetRowCount(KImage image) { return image ? image->shape.rows : 0; }
int64_t imageGetColumnCount(KImage image) { return image ? image->shape.columns : 0; }
int64_t imageGetSliceCount(KImage image) { return image ? image->shape.slices : 0; }
int64_t imageGetRank(KImage image) { return image ? image->rank() : 0; }
int64_t imageGetChannels(KImage image) { return image ? image->shape.channels : 0; }
HostBoolean imageIsInterleaved(KImage image) { return image && image->interleaved; }
ColorSpace imageGetColorSpace(KImage image) { return image ? image->colorSpace : ColorSpaceUnspecified; }

template <typename Sample> Sample* imageData(KImage image, PixelType type)
{
    if (!image || image->pixelType != type) return nullptr;
    const Ledger* ledger = Ledger::current();
    if (ledger && !ledger->givesData(image)) return nullptr;
    return image->as<Sample>();
}

std::uint8_t* imageGetBitData(KImage image) { return imageData<std::uint8_t>(image, PixelTypeBit); }
std::uint8_t* imageGetByteData(KImage image) { return imageData<std::uint8_t>(image, PixelTypeByte); }
std::uint16_t* imageGetBit16Data(KImage image) { return imageData<std::uint16_t>(image, PixelTypeBit16); }
float* imageGetReal32Data(KImage image) { return imageData<float>(image, PixelTypeReal32); }
double* imageGetRealData(KImage image) { return imageData<double>(image, PixelTypeReal); }

KImage imageConvertType(KImage image, PixelType pixelType, HostBoolean interleaved)
{
    KImage converted = nullptr;
    if (image) create(&converted, [&] { return convertImage(*image, pixelType, interleaved != 0); });
    return converted;
}

// --- numeric arrays -------------------------------------------------------------------------------------

int numericArrayGetType(NumericArray array) { return array ? array->elementType : 0; }
int64_t numericArrayGetRank(NumericArray array)
{
    return array ? static_cast<int64_t>(array->dimensions.size()) : 0;
}
const int64_t* numericArrayGetDimensions(NumericArray array)
{
    return array ? array->dimensions.data() : nullptr;
}
void* numericArrayGetData(NumericArray array) { return array ? array->block.data() : nullptr; }
void numericArrayDisown(NumericArray array)
{
    if (Ledger* ledger = Ledger::current()) ledger->gaveBack(array);
}

// --- comparisons ----------------------------------------------------------------------------------------

constexpr int greaterThan = 7;

/// True when the values decrease strictly, by more than `tolerance` of the larger magnitude.
int compareReals(int operation, double tolerance, int64_t count, const double* values)
{
    if (operation != greaterThan) return 0;
    for (int64_t i = 0; i + 1 < count; ++i) {
        const double margin =
            tolerance > 0 ? tolerance * std::max(std::abs(values[i]), std::abs(values[i + 1])) : 0;
        if (!(values[i] - values[i + 1] > margin)) return 0;
    }
    return 1;
}

constexpr CompileSupport compileSupport { compareReals };

constexpr ImageServices imageServices {
    imageNew2D,          imageNew3D,         imageFree,        imageGetPixelType, imageGetRowCount,
    imageGetColumnCount, imageGetSliceCount, imageGetRank,     imageGetChannels,  imageIsInterleaved,
    imageGetColorSpace,  imageGetBitData,    imageGetByteData, imageGetBit16Data, imageGetReal32Data,
    imageGetRealData,    imageConvertType,
};

constexpr NumericArrayServices numericArrayServices {
    numericArrayGetType, numericArrayGetRank, numericArrayGetDimensions,
    numericArrayGetData, numericArrayDisown,
};

constexpr LibraryDataTable table {
    stringDisown,
    tensorNew,
    tensorFree,
    tensorGetRank,
    tensorGetDimensions,
    tensorGetFlattenedLength,
    tensorGetIntegerData,
    tensorGetRealData,
    &compileSupport,
    &imageServices,
    &numericArrayServices,
};

} // namespace

const LibraryDataTable& hostServices() noexcept { return table; }

} // namespace miravex
