#include "catalog/catalog.h"
#include "tests/support/drawn_call.h"
#include "tests/support/interface.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <iostream>
#include <iterator>

/// Prints what others than the C++ tests want to know of the catalogue. Usage:
///
///     catalog_facts interface     what tests/interface.txt has to hold
///     catalog_facts calls         a valid call of each operation as JSON, in one line: the arguments that
///     have
///                                 no default, by name, or null where a file is missing. The files that they
///                                 name are there until standard input ends.

namespace {

using namespace miravex;
using nlohmann::json;

template <typename Samples> json listed(const char* type, std::vector<int64_t> shape, const Samples& samples)
{
    json elements = json::array();
    for (const auto sample : samples) elements.push_back(sample);
    return { { "type", type }, { "shape", shape }, { "samples", std::move(elements) } };
}

json listed(const Image& image)
{
    std::vector<int64_t> shape { image.shape.rows, image.shape.columns };
    if (image.shape.slices > 0) shape.insert(shape.begin(), image.shape.slices);
    if (image.shape.slices > 0 || image.shape.channels > 1) shape.push_back(image.shape.channels);
    switch (image.pixelType) {
    case PixelTypeBit: return listed("bool", shape, image.samples<uint8_t>());
    case PixelTypeByte: return listed("uint8", shape, image.samples<uint8_t>());
    case PixelTypeBit16: return listed("uint16", shape, image.samples<uint16_t>());
    case PixelTypeReal32: return listed("float32", shape, image.samples<float>());
    default: return listed("float64", shape, image.samples<double>());
    }
}

json listed(const Value& value)
{
    if (const auto* integer = std::get_if<int64_t>(&value)) return *integer;
    if (const auto* real = std::get_if<double>(&value)) return *real;
    if (const auto* flag = std::get_if<bool>(&value)) return *flag;
    if (const auto* text = std::get_if<std::string>(&value)) return *text;
    if (const auto* image = std::get_if<ImagePointer>(&value))
        return listed(*convertImage(**image, (*image)->pixelType, true));
    if (const auto* array = std::get_if<ArrayPointer>(&value))
        return listed("float32", (*array)->dimensions, (*array)->floats());
    const Tensor& tensor = *std::get<TensorPointer>(value);
    return tensor.elementType == TensorTypeReal ? listed("float64", tensor.dimensions, tensor.reals())
                                                : listed("int64", tensor.dimensions, tensor.integers());
}

bool mustBeGiven(const Argument& argument)
{
    return argument.impliedBy.empty() && !argument.optional
        && std::holds_alternative<std::monostate>(argument.defaultValue);
}

json callOf(const Operation& operation)
{
    const auto values = test::validValues(operation, 0);
    if (!values) return nullptr;
    json given = json::object();
    for (std::size_t i = 0; i < values->size(); ++i)
        if (const Argument& argument = operation.arguments[i]; mustBeGiven(argument))
            given[std::string(argument.name)] = listed((*values)[i]);
    return given;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string_view wanted = argc == 2 ? argv[1] : "";
    if (wanted == "interface") {
        std::cout << test::interfaceText();
    } else if (wanted == "calls") {
        json calls;
        for (const Operation* operation : catalog()) calls[snakeCase(operation->name)] = callOf(*operation);
        std::cout << calls.dump() << std::endl;
        std::cin.ignore(std::numeric_limits<std::streamsize>::max());
    } else {
        fmt::print(stderr, "usage: catalog_facts interface|calls\n");
        return 2;
    }
    return 0;
}
