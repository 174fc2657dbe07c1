#include "host/results.h"

#include "catalog/catalog.h"
#include "host/arguments.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

namespace miravex {

namespace {

using Names = std::vector<std::string>;

std::vector<double> elements(const Tensor& tensor)
{
    if (tensor.elementType == TensorTypeReal) return { tensor.reals().begin(), tensor.reals().end() };
    return { tensor.integers().begin(), tensor.integers().end() };
}

std::size_t lastDimension(const Tensor& tensor)
{
    return tensor.dimensions.size() > 1 ? static_cast<std::size_t>(tensor.dimensions.back()) : 1;
}

/// Names for `width` columns: those given, then c0, c1, ... (or d0, d1, ... of descriptors).
Names padded(Names names, std::size_t width, char letter = 'c')
{
    const std::size_t named = names.size();
    names.resize(width);
    for (std::size_t i = named; i < width; ++i) names[i] = fmt::format("{}{}", letter, i - named);
    return names;
}

const Names keypointNames { "x", "y", "size", "angle", "response", "octave", "class_id" };

/// The columns of layouts whose elements are rows as they stand.
Names columnsOf(Layout layout, std::size_t width)
{
    switch (layout) {
    case Layout::Keypoints: return padded(keypointNames, width);
    case Layout::Descriptors: return padded({}, width, 'd');
    case Layout::KeypointsAndDescriptors: return padded(keypointNames, width, 'd');
    case Layout::Regions: return padded({ "number", "xmin", "ytop", "xmax", "ybottom" }, width);
    case Layout::PolarLines: return { "rho", "theta" };
    case Layout::BorderLines:
    case Layout::Segments: return { "x1", "y1", "x2", "y2" };
    case Layout::WideSegments: return { "x1", "y1", "x2", "y2", "width" };
    case Layout::Circles: return { "x", "y", "radius" };
    case Layout::Flow: return { "u", "v" };
    case Layout::FlowAndValidity: return { "u", "v", "valid" };
    case Layout::Shift: return { "x", "y" };
    case Layout::Positions: return { "position" };
    default: return padded({}, width);
    }
}

Table rowsOf(Names columns, const std::vector<double>& all)
{
    Table table { std::move(columns), {} };
    const std::size_t width = table.columns.size();
    for (std::size_t first = 0; width > 0 && first + width <= all.size(); first += width)
        table.rows.emplace_back(all.begin() + static_cast<std::ptrdiff_t>(first),
                                all.begin() + static_cast<std::ptrdiff_t>(first + width));
    return table;
}

/// Reads a flat list from the front; throws when it ends too soon.
class Reader {
public:
    explicit Reader(const Tensor& tensor)
        : elements_(elements(tensor))
    {
    }
    [[nodiscard]] bool atEnd() const { return next_ == elements_.size(); }
    int64_t integer() { return static_cast<int64_t>(real()); }
    double real()
    {
        if (atEnd()) throw std::invalid_argument("the list is shorter than it says");
        return elements_[next_++];
    }
    /// A number of items that follow, each of at least one element.
    std::size_t count()
    {
        const double value = real();
        if (!(value >= 0 && value <= static_cast<double>(elements_.size())))
            throw std::invalid_argument("the list is shorter than it says");
        return static_cast<std::size_t>(value);
    }
    std::vector<std::size_t> counts()
    {
        std::vector<std::size_t> all(count());
        for (std::size_t& one : all) one = count();
        return all;
    }

private:
    std::vector<double> elements_;
    std::size_t next_ = 0;
};

Table faceTable(const Tensor& tensor)
{
    Reader reader(tensor);
    Table table { { "left", "bottom", "right", "top", "score" }, {} };
    table.rows.resize(reader.count());
    for (auto& row : table.rows)
        for (int i = 0; i < 4; ++i) row.push_back(reader.real());
    for (auto& row : table.rows) row.push_back(reader.real());
    return table;
}

Table matchTable(const Tensor& tensor)
{
    Table table { { "query", "train" }, {} };
    for (const MatchedPair& pair : matchesOf(tensor))
        table.rows.push_back({ static_cast<double>(pair.query), static_cast<double>(pair.train) });
    return table;
}

Table contourTable(const Tensor& tensor)
{
    Table table { { "contour", "x", "y" }, {} };
    double number = 0;
    for (const TracedContour& contour : contoursOf(tensor)) {
        for (const auto& [x, y] : contour.points)
            table.rows.push_back({ number, static_cast<double>(x), static_cast<double>(y) });
        ++number;
    }
    return table;
}

Table chainTable(const Tensor& tensor)
{
    Table table { { "contour", "code" }, {} };
    double number = 0;
    for (const auto& codes : chainCodesOf(tensor)) {
        for (const int64_t code : codes) table.rows.push_back({ number, static_cast<double>(code) });
        ++number;
    }
    return table;
}

nlohmann::json contourJson(const Tensor& tensor)
{
    auto json = nlohmann::json::array();
    for (const TracedContour& contour : contoursOf(tensor))
        json.push_back({ { "points", contour.points },
                         { "next", contour.next },
                         { "previous", contour.previous },
                         { "first_child", contour.child },
                         { "parent", contour.parent } });
    return json;
}

nlohmann::json chainJson(const Tensor& tensor)
{
    auto json = nlohmann::json::array();
    for (const auto& codes : chainCodesOf(tensor)) json.push_back({ { "codes", codes } });
    return json;
}

} // namespace

const Result& resultOf(const Operation& operation, std::span<const Value> values)
{
    const CallView call = viewOf(operation, values);
    const auto meant = std::ranges::find_if(operation.results,
                                            [&](const Result& result) { return call.holds(result.when); });
    return meant != operation.results.end() ? *meant : operation.results.front();
}

Table tableOf(Layout layout, const Tensor& tensor)
{
    switch (layout) {
    case Layout::FaceBoxes: return faceTable(tensor);
    case Layout::Matches: return matchTable(tensor);
    case Layout::Contours: return contourTable(tensor);
    case Layout::ChainCodes: return chainTable(tensor);
    default: return rowsOf(columnsOf(layout, lastDimension(tensor)), elements(tensor));
    }
}

std::vector<TracedContour> contoursOf(const Tensor& tensor)
{
    Reader reader(tensor);
    std::vector<TracedContour> contours;
    for (const std::size_t points : reader.counts()) contours.emplace_back().points.resize(points);
    for (TracedContour& contour : contours)
        for (auto& point : contour.points)
            for (int64_t& coordinate : point) coordinate = reader.integer();
    for (TracedContour& contour : contours)
        for (int64_t* neighbour : { &contour.next, &contour.previous, &contour.child, &contour.parent })
            *neighbour = reader.integer();
    return contours;
}

std::vector<std::vector<int64_t>> chainCodesOf(const Tensor& tensor)
{
    Reader reader(tensor);
    std::vector<std::vector<int64_t>> contours;
    const std::size_t count = reader.count();
    while (!reader.atEnd()) {
        const int64_t code = reader.integer();
        if (code < 0)
            contours.emplace_back();
        else if (!contours.empty())
            contours.back().push_back(code);
    }
    if (contours.size() != count) throw std::invalid_argument("the list is shorter than it says");
    return contours;
}

std::vector<MatchedPair> matchesOf(const Tensor& tensor)
{
    Reader reader(tensor);
    std::vector<MatchedPair> pairs;
    int64_t query = 0;
    for (const std::size_t matches : reader.counts()) {
        ++query;
        for (std::size_t i = 0; i < matches; ++i) pairs.push_back({ query, 0 });
    }
    for (MatchedPair& pair : pairs) pair.train = reader.integer();
    return pairs;
}

nlohmann::json jsonOf(const Operation& operation, const Result& result, const Value& value)
{
    nlohmann::json json { { "operation", kebabCase(operation.name) } };
    if (const auto* real = std::get_if<double>(&value)) {
        json["value"] = *real;
    } else if (const auto* tensor = std::get_if<TensorPointer>(&value)) {
        if (result.layout == Layout::Contours || result.layout == Layout::ChainCodes) {
            json["contours"] =
                result.layout == Layout::Contours ? contourJson(**tensor) : chainJson(**tensor);
            return json;
        }
        const Table table = tableOf(result.layout, **tensor);
        json["columns"] = table.columns;
        json["rows"] = table.rows;
    }
    return json;
}

} // namespace miravex
