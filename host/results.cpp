#include "host/results.h"

#include "host/catalog.h"

#include <fmt/format.h>

#include <algorithm>

namespace miravex {

namespace {

std::vector<double> elements(const Tensor& tensor)
{
    if (tensor.elementType == TensorTypeReal) return { tensor.reals().begin(), tensor.reals().end() };
    return { tensor.integers().begin(), tensor.integers().end() };
}

} // namespace

const Result& resultOf(const Operation& operation, std::span<const Value> values)
{
    const CallView call(operation, values);
    const auto meant = std::ranges::find_if(operation.results,
                                            [&](const Result& result) { return call.holds(result.when); });
    return meant != operation.results.end() ? *meant : operation.results.front();
}

Table tableOf(Layout, const Tensor& tensor)
{
    Table table;
    const std::size_t width =
        tensor.dimensions.size() > 1 ? static_cast<std::size_t>(tensor.dimensions.back()) : 1;
    for (std::size_t c = 0; c < width; ++c) table.columns.push_back(fmt::format("c{}", c));
    const std::vector<double> all = elements(tensor);
    for (std::size_t first = 0; width > 0 && first + width <= all.size(); first += width)
        table.rows.emplace_back(all.begin() + static_cast<std::ptrdiff_t>(first),
                                all.begin() + static_cast<std::ptrdiff_t>(first + width));
    return table;
}

nlohmann::json jsonOf(const Operation& operation, const Result& result, const Value& value)
{
    nlohmann::json json { { "operation", kebabCase(operation.name) } };
    if (const auto* real = std::get_if<double>(&value)) {
        json["value"] = *real;
    } else if (const auto* tensor = std::get_if<TensorPointer>(&value)) {
        const Table table = tableOf(result.layout, **tensor);
        json["columns"] = table.columns;
        json["rows"] = table.rows;
    }
    return json;
}

} // namespace miravex
