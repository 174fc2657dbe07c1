#include "tests/convert/recording_host.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstring>

namespace miravex::test {

namespace {

RecordingHost* host = nullptr;

template <typename Sample> std::vector<std::byte> encodeAs(const std::vector<double>& values)
{
    std::vector<std::byte> bytes(values.size() * sizeof(Sample));
    for (std::size_t i = 0; i < values.size(); ++i) {
        const Sample sample = static_cast<Sample>(values[i]);
        std::memcpy(bytes.data() + i * sizeof(Sample), &sample, sizeof(Sample));
    }
    return bytes;
}

FakeImage& seen(KImage image, const char* service)
{
    host->calls.emplace_back(service);
    return RecordingHost::of(image);
}

int create(FakeImage image, std::string call, KImage* out)
{
    host->calls.push_back(std::move(call));
    *out = nullptr;
    if (host->creationStatus != 0) return host->creationStatus;
    const auto slices = static_cast<std::size_t>(image.rank == 3 ? image.slices : 1);
    image.samples.assign(static_cast<std::size_t>(image.rows * image.columns * image.channels) * slices, 0);
    image.bytes = encode(image.samples, image.pixelType);
    *out = host->add(std::move(image));
    host->alive.insert(*out);
    return 0;
}

std::string written(const char* service, std::initializer_list<int64_t> values)
{
    return fmt::format("{} {}", service, fmt::join(values, " "));
}

int imageNew2D(int64_t width, int64_t height, int64_t channels, PixelType type, ColorSpace space,
               HostBoolean interleaved, KImage* out)
{
    return create({ type, height, width, channels, 0, 2, space, interleaved != 0, {}, {} },
                  written("New2D", { width, height, channels, type, space, interleaved }), out);
}

int imageNew3D(int64_t slices, int64_t width, int64_t height, int64_t channels, PixelType type,
               ColorSpace space, HostBoolean interleaved, KImage* out)
{
    return create({ type, height, width, channels, slices, 3, space, interleaved != 0, {}, {} },
                  written("New3D", { slices, width, height, channels, type, space, interleaved }), out);
}

void imageFree(KImage image)
{
    host->calls.emplace_back("Free");
    if (host->alive.erase(image) == 1) ++host->freed;
}

PixelType getPixelType(KImage image) { return seen(image, "GetPixelType").pixelType; }
int64_t getRowCount(KImage image) { return seen(image, "GetRowCount").rows; }
int64_t getColumnCount(KImage image) { return seen(image, "GetColumnCount").columns; }
int64_t getSliceCount(KImage image) { return seen(image, "GetSliceCount").slices; }
int64_t getRank(KImage image)
{
    if (!image) {
        host->calls.emplace_back("GetRank of null");
        return host->nullRank;
    }
    return seen(image, "GetRank").rank;
}
int64_t getChannels(KImage image) { return seen(image, "GetChannels").channels; }
HostBoolean isInterleaved(KImage image) { return seen(image, "IsInterleaved").interleaved; }
ColorSpace getColorSpace(KImage image) { return seen(image, "GetColorSpace").colorSpace; }

template <typename Sample> Sample* data(KImage image, const char* service, PixelType type)
{
    FakeImage& given = seen(image, service);
    if (!host->givesSamples || given.pixelType != type) return nullptr;
    return reinterpret_cast<Sample*>(given.bytes.data());
}
uint8_t* getBitData(KImage image) { return data<uint8_t>(image, "GetBitData", PixelTypeBit); }
uint8_t* getByteData(KImage image) { return data<uint8_t>(image, "GetByteData", PixelTypeByte); }
uint16_t* getBit16Data(KImage image) { return data<uint16_t>(image, "GetBit16Data", PixelTypeBit16); }
float* getReal32Data(KImage image) { return data<float>(image, "GetReal32Data", PixelTypeReal32); }
double* getRealData(KImage image) { return data<double>(image, "GetRealData", PixelTypeReal); }

KImage convertType(KImage image, PixelType type, HostBoolean interleaved)
{
    host->calls.push_back(written("ConvertType", { type, interleaved }));
    if (!host->converts) return nullptr;
    if (host->convertsInPlace) {
        FakeImage& own = RecordingHost::of(image);
        own.pixelType = type;
        own.interleaved = interleaved != 0;
        own.bytes = encode(own.samples, type);
        return image;
    }
    FakeImage converted = RecordingHost::of(image);
    for (double& sample : converted.samples) sample += 1;
    converted.pixelType = type;
    converted.interleaved = interleaved != 0;
    converted.bytes = encode(converted.samples, type);
    if (host->convertedRank >= 0) converted.rank = host->convertedRank;
    const KImage made = host->add(std::move(converted));
    host->alive.insert(made);
    return made;
}

} // namespace

std::vector<std::byte> encode(const std::vector<double>& values, PixelType type)
{
    switch (type) {
    case PixelTypeBit16: return encodeAs<uint16_t>(values);
    case PixelTypeReal32: return encodeAs<float>(values);
    case PixelTypeReal: return encodeAs<double>(values);
    default: return encodeAs<uint8_t>(values);
    }
}

RecordingHost::RecordingHost()
    : services { imageNew2D,    imageNew3D,   imageFree,     getPixelType,  getRowCount,   getColumnCount,
                 getSliceCount, getRank,      getChannels,   isInterleaved, getColorSpace, getBitData,
                 getByteData,   getBit16Data, getReal32Data, getRealData,   convertType }
{
    host = this;
}

RecordingHost::~RecordingHost() { host = nullptr; }

KImage RecordingHost::add(FakeImage image)
{
    images_.push_back(std::make_unique<FakeImage>(std::move(image)));
    return reinterpret_cast<KImage>(images_.back().get());
}

KImage RecordingHost::own(FakeImage image)
{
    image.bytes = encode(image.samples, image.pixelType);
    return add(std::move(image));
}

} // namespace miravex::test
