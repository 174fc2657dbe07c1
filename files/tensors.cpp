#include "files/tensors.h"

#include "files/error.h"
#include "files/files.h"
#include "host/json_text.h"
#include "host/results.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <functional>
#include <numeric>
#include <optional>
#include <sstream>

namespace miravex::files {

namespace {

using Json = nlohmann::json;

/// Numbers in row-major order, as read, before they take the shape that the record wants.
struct Numbers {
    std::vector<int64_t> shape;
    std::vector<double> elements;
};

[[noreturn]] void refuse(const Argument& argument, const std::string& word, const std::string& reason)
{
    const Refusal refusal { std::string(argument.name), fmt::format("\"{}\"", word),
                            fmt::format("{}: {}", accepted(argument), reason), "" };
    throw Error(Error::Kind::Request, refusal.message(), { refusal });
}

[[noreturn]] void unreadable(const std::string& path, const std::string& reason)
{
    throw Error(Error::Kind::Input, fmt::format("cannot read {}: {}", path, reason));
}

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) parts.push_back(part);
    return parts;
}

std::string trimmed(const std::string& text)
{
    const auto first = text.find_first_not_of(" \t\r\"");
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(" \t\r\"") - first + 1);
}

std::optional<double> number(const std::string& text)
{
    const std::string word = trimmed(text);
    const char* first = word.data() + (word.starts_with('+') ? 1 : 0);
    double value = 0;
    const auto [end, error] = std::from_chars(first, word.data() + word.size(), value);
    if (word.empty() || error != std::errc() || end != word.data() + word.size()) return std::nullopt;
    return value;
}

/// Rows of equally many numbers; nothing when some cell is no number or the rows differ.
std::optional<Numbers> rowsOfNumbers(const std::vector<std::string>& rows)
{
    Numbers numbers;
    for (const std::string& row : rows) {
        const std::vector<std::string> cells = split(row, ',');
        if (&row != &rows.front() && static_cast<int64_t>(cells.size()) != numbers.shape.back())
            return std::nullopt;
        numbers.shape = { static_cast<int64_t>(rows.size()), static_cast<int64_t>(cells.size()) };
        for (const std::string& cell : cells) {
            const auto value = number(cell);
            if (!value) return std::nullopt;
            numbers.elements.push_back(*value);
        }
    }
    return numbers;
}

std::optional<Numbers> parseText(const std::string& word)
{
    if (trimmed(word).empty()) return Numbers { { 0 }, {} };
    auto numbers = rowsOfNumbers(split(word, ';'));
    if (numbers && word.find(';') == std::string::npos) numbers->shape = { numbers->shape[1] };
    return numbers;
}

/// Nested arrays, all of one shape.
bool collect(const Json& json, std::size_t depth, Numbers& numbers)
{
    if (json.is_number() || json.is_boolean()) {
        numbers.elements.push_back(json.is_boolean() ? static_cast<double>(json.get<bool>())
                                                     : json.get<double>());
        return depth == numbers.shape.size();
    }
    if (!json.is_array() || depth >= numbers.shape.size()
        || static_cast<int64_t>(json.size()) != numbers.shape[depth])
        return false;
    return std::ranges::all_of(json, [&](const Json& part) { return collect(part, depth + 1, numbers); });
}

std::optional<Numbers> numbersOf(const Json& json)
{
    constexpr std::size_t mostDimensions = 16; // no record wants more, and collect() descends as deep
    Numbers numbers;
    for (const Json* level = &json; level->is_array(); level = &level->front()) {
        numbers.shape.push_back(static_cast<int64_t>(level->size()));
        if (numbers.shape.size() > mostDimensions) return std::nullopt;
        if (level->empty()) break;
    }
    if (numbers.shape.empty()) numbers.shape = { 1 };
    if (json.is_number()) return Numbers { { 1 }, { json.get<double>() } };
    if (!collect(json, 0, numbers)) return std::nullopt;
    return numbers;
}

std::optional<Numbers> parseJson(const std::string& text)
{
    const Json json = Json::parse(text, nullptr, false);
    if (json.is_discarded()) return std::nullopt;
    // What the tool itself printed can be read again.
    return numbersOf(json.is_object() && json.contains("rows") ? json["rows"] : json);
}

Numbers readCsv(const std::string& path)
{
    std::vector<std::string> lines;
    for (const std::string& line : split(readWhole(path), '\n'))
        if (!trimmed(line).empty()) lines.push_back(line);
    if (!lines.empty() && !number(split(lines.front(), ',').front())) lines.erase(lines.begin());
    if (lines.empty()) return { { 0 }, {} };
    const auto numbers = rowsOfNumbers(lines);
    if (!numbers) unreadable(path, "it is no table of numbers");
    return *numbers;
}

Numbers readNumbersNpy(const std::string& path)
{
    const NpyArray array = readNpy(path);
    Numbers numbers { array.shape, {} };
    for (std::size_t i = 0; i < array.length(); ++i) numbers.elements.push_back(array.element(i));
    return numbers;
}

Numbers readNumbers(const Argument& argument, const std::string& word)
{
    const std::string extension = extensionOf(word);
    if (extension == ".npy") return readNumbersNpy(word);
    if (extension == ".csv") return readCsv(word);
    if (extension == ".json" || word == standardStream) {
        const InputFile file(word);
        const auto numbers = parseJson(readWhole(file.path()));
        if (!numbers) unreadable(word, "it is no JSON array of numbers");
        return *numbers;
    }
    const auto numbers = trimmed(word).starts_with('[') ? parseJson(word) : parseText(word);
    if (!numbers)
        refuse(argument, word, "give numbers as 1,2,3 or 1,0,0;0,1,0, or a .npy, .csv or .json file");
    return *numbers;
}

/// Gives a list or a single row or column the rank that the record wants, where only one reading is left.
void takeShape(Numbers& numbers, const TensorRule& rule)
{
    const auto length = static_cast<int64_t>(numbers.elements.size());
    if (length == 0 && rule.orEmpty) {
        numbers.shape = { 0 };
        return;
    }
    if (rule.rank == 1 && numbers.shape.size() == 2
        && std::ranges::find(numbers.shape, 1) != numbers.shape.end())
        numbers.shape = { length };
    if (rule.rank != 2 || numbers.shape.size() != 1) return;
    const Extent& columns = rule.shape[1];
    const bool fixed = columns.of == Extent::Of::Exactly && columns.count > 0;
    numbers.shape = fixed && length % columns.count == 0
        ? std::vector<int64_t> { length / columns.count, columns.count }
        : std::vector<int64_t> { 1, length };
}

std::vector<int64_t> integersOf(const Argument& argument, const std::string& word,
                                const std::vector<double>& elements)
{
    constexpr double limit = 9007199254740992.0;
    std::vector<int64_t> integers;
    for (const double element : elements) {
        if (element != std::floor(element) || std::abs(element) > limit)
            refuse(argument, word, fmt::format("{} is no integer", numberText(element)));
        integers.push_back(static_cast<int64_t>(element));
    }
    return integers;
}

void writeCsv(const Table& table, const std::filesystem::path& path)
{
    std::string text = fmt::format("{}\n", fmt::join(table.columns, ","));
    for (const std::vector<double>& row : table.rows) {
        std::vector<std::string> cells;
        std::ranges::transform(row, std::back_inserter(cells), numberText);
        text += fmt::format("{}\n", fmt::join(cells, ","));
    }
    writeWhole(path, text);
}

TensorPointer tensorOf(const Value& value)
{
    if (const auto* real = std::get_if<double>(&value)) return realList({ *real });
    return std::get<TensorPointer>(value);
}

} // namespace

TensorPointer readTensor(const Argument& argument, const std::string& word)
{
    Numbers numbers = readNumbers(argument, word);
    takeShape(numbers, argument.tensor);
    if (argument.kind == Kind::RealTensor) return makeRealTensor(numbers.shape, numbers.elements);
    return makeIntegerTensor(numbers.shape, integersOf(argument, word, numbers.elements));
}

ArrayPointer readArray(const Argument& argument, const std::string& word)
{
    if (extensionOf(word) == ".npy") {
        const NpyArray stored = readNpy(word);
        ArrayPointer array = makeFloatArray(stored.shape);
        for (std::size_t i = 0; i < stored.length(); ++i)
            array->floats()[i] = static_cast<float>(stored.element(i));
        return array;
    }
    std::vector<int64_t> sizes;
    for (const std::string& part : split(word, 'x')) {
        const auto size = number(part);
        if (!size || *size < 0 || *size != std::floor(*size))
            refuse(argument, word, "give a .npy file, or sizes as 8x224x224x3");
        sizes.push_back(static_cast<int64_t>(*size));
    }
    return makeFloatArray(sizes);
}

bool isNumbersExtension(const std::string& extension)
{
    return extension == ".npy" || extension == ".csv" || extension == ".json";
}

NpyArray npyOf(const Tensor& tensor)
{
    NpyArray array { tensor.elementType == TensorTypeReal ? 'f' : 'i', 8, tensor.dimensions, {} };
    const std::byte* first = tensor.block.data();
    array.data.assign(first, first + tensor.length() * 8);
    return array;
}

void writeNumbers(const Operation& operation, const Result& result, const Value& value,
                  const std::filesystem::path& path, const std::string& extension)
{
    if (extension == ".npy") return writeNpy(path, npyOf(*tensorOf(value)));
    if (extension == ".csv") {
        const bool isReal = std::holds_alternative<double>(value);
        return writeCsv(isReal ? Table { { "value" }, { { std::get<double>(value) } } }
                               : tableOf(result.layout, *tensorOf(value)),
                        path);
    }
    writeWhole(path, jsonText(jsonOf(operation, result, value), 2) + "\n");
}

} // namespace miravex::files
