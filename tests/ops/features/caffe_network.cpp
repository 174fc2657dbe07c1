#include "tests/ops/features/caffe_network.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/wire_format_lite.h>

#include <fstream>
#include <stdexcept>

namespace miravex::test {

namespace {

using google::protobuf::internal::WireFormatLite;
using google::protobuf::io::CodedOutputStream;
using google::protobuf::io::StringOutputStream;

/// Field numbers of Caffe's messages.
namespace field {
constexpr int netLayer = 100;
constexpr int layerName = 1, layerType = 2, layerBlobs = 7;
constexpr int blobData = 5, blobShape = 7;
constexpr int shapeDimension = 1;
} // namespace field

template <typename Write> std::string message(Write write)
{
    std::string bytes;
    {
        StringOutputStream stream(&bytes);
        CodedOutputStream out(&stream);
        write(out);
    }
    return bytes;
}

std::string blob(const std::vector<int>& shape, const std::vector<float>& elements)
{
    const std::string dimensions = message([&](CodedOutputStream& out) {
        for (const int size : shape) WireFormatLite::WriteInt64(field::shapeDimension, size, &out);
    });
    return message([&](CodedOutputStream& out) {
        for (const float element : elements) WireFormatLite::WriteFloat(field::blobData, element, &out);
        WireFormatLite::WriteBytes(field::blobShape, dimensions, &out);
    });
}

std::string weightsOf(const std::vector<float>& biases)
{
    const int count = static_cast<int>(biases.size());
    constexpr int channels = 3;
    const std::vector<float> zeros(biases.size() * channels, 0.0F);
    const std::string layer = message([&](CodedOutputStream& out) {
        WireFormatLite::WriteString(field::layerName, "rows", &out);
        WireFormatLite::WriteString(field::layerType, "InnerProduct", &out);
        WireFormatLite::WriteBytes(field::layerBlobs, blob({ count, channels }, zeros), &out);
        WireFormatLite::WriteBytes(field::layerBlobs, blob({ count }, biases), &out);
    });
    return message([&](CodedOutputStream& out) { WireFormatLite::WriteBytes(field::netLayer, layer, &out); });
}

std::string descriptionOf(std::size_t outputs, const std::vector<int>& shape, const std::string& output)
{
    std::vector<std::string> dimensions;
    for (const int size : shape) dimensions.push_back(fmt::format("dim: {}", size));
    return fmt::format(R"(name: "constant"
input: "data"
input_shape {{ dim: 1 dim: 3 dim: 300 dim: 300 }}
layer {{
  name: "colors" type: "Pooling" bottom: "data" top: "colors"
  pooling_param {{ pool: AVE global_pooling: true }}
}}
layer {{
  name: "rows" type: "InnerProduct" bottom: "colors" top: "rows"
  inner_product_param {{ num_output: {} }}
}}
layer {{
  name: "{}" type: "Reshape" bottom: "rows" top: "{}"
  reshape_param {{ shape {{ {} }} }}
}}
)",
                       outputs, output, output, fmt::join(dimensions, " "));
}

void write(const std::filesystem::path& path, const std::string& contents)
{
    std::ofstream file(path, std::ios::binary);
    file << contents;
    if (!file.flush()) throw std::runtime_error("can't write " + path.string());
}

} // namespace

CaffeNetwork::CaffeNetwork(const std::vector<std::array<float, 7>>& rows, std::vector<int> shape,
                           const std::string& output)
{
    if (shape.empty()) shape = { 1, 1, static_cast<int>(rows.size()), 7 };
    std::vector<float> biases;
    for (const auto& row : rows) biases.insert(biases.end(), row.begin(), row.end());
    write(description(), descriptionOf(biases.size(), shape, output));
    write(weights(), weightsOf(biases));
}

} // namespace miravex::test
