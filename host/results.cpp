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

// --- parts ----------------------------------------------------------------------------------------------

int64_t countOf(const std::vector<int64_t>& list) { return static_cast<int64_t>(list.size()); }

Part wholeOf(Layout layout, const TensorPointer& tensor, std::vector<int64_t> sizes)
{
    std::vector<int64_t> steps(sizes.size(), 1);
    for (std::size_t i = sizes.size(); i > 1; --i) steps[i - 2] = steps[i - 1] * sizes[i - 1];
    const std::string name(nameOf(layout));
    return { name, name, tensor, 0, std::move(sizes), std::move(steps) };
}

Part listOf(std::string group, std::string name, const std::vector<int64_t>& numbers)
{
    return { std::move(group),
             std::move(name),
             makeIntegerTensor({ countOf(numbers) }, numbers),
             0,
             { countOf(numbers) },
             { 1 } };
}

/// Columns of `count` rows that lie one after the other, `width` elements each, from element `first` on.
void addColumns(std::vector<Part>& parts, const std::string& group, const Names& names,
                const TensorPointer& tensor, std::size_t first, int64_t count, std::size_t width)
{
    for (std::size_t i = 0; i < names.size(); ++i)
        parts.push_back({ group, names[i], tensor, first + i, { count }, { static_cast<int64_t>(width) } });
}

void expectRank(const Tensor& tensor, std::size_t rank)
{
    if (tensor.dimensions.size() != rank)
        throw std::invalid_argument("the result has not the dimensions of its layout");
}

std::vector<Part> featureParts(const TensorPointer& tensor)
{
    expectRank(*tensor, 2);
    const std::size_t named = keypointNames.size(), width = std::max(lastDimension(*tensor), named);
    const int64_t count = tensor->dimensions.front();
    std::vector<Part> parts;
    addColumns(parts, "keypoints", keypointNames, tensor, 0, count, width);
    const auto numbers = static_cast<int64_t>(width - named);
    parts.push_back({ "descriptors",
                      "descriptors",
                      tensor,
                      named,
                      { count, numbers },
                      { static_cast<int64_t>(width), 1 } });
    return parts;
}

std::vector<Part> flowParts(Layout layout, const TensorPointer& tensor)
{
    expectRank(*tensor, 4);
    const std::size_t width = lastDimension(*tensor);
    const int64_t rows = tensor->dimensions[1], columns = tensor->dimensions[2];
    const auto pixel = static_cast<int64_t>(width);
    std::vector<Part> parts;
    for (const std::string& name : columnsOf(layout, width))
        parts.push_back({ "flow",
                          name,
                          tensor,
                          parts.size(),
                          { rows, columns, tensor->dimensions[0] },
                          { columns * pixel, pixel, rows * columns * pixel } });
    return parts;
}

std::vector<Part> contourParts(const TensorPointer& tensor, int64_t firstContour)
{
    std::vector<int64_t> numbers, lengths;
    for (const TracedContour& contour : contoursOf(*tensor)) {
        const int64_t number = firstContour + countOf(lengths);
        lengths.push_back(static_cast<int64_t>(contour.points.size()));
        numbers.insert(numbers.end(), contour.points.size(), number);
    }
    const std::size_t points = 1 + lengths.size(), neighbours = points + 2 * numbers.size();
    std::vector<Part> parts { listOf("points", "contour", numbers) };
    addColumns(parts, "points", { "x", "y" }, tensor, points, countOf(numbers), 2);
    parts.push_back(listOf("contours", "length", lengths));
    addColumns(parts, "contours", { "next", "previous", "first_child", "parent" }, tensor, neighbours,
               countOf(lengths), 4);
    return parts;
}

std::vector<Part> chainParts(const Tensor& tensor, int64_t firstContour)
{
    std::vector<int64_t> numbers, all, lengths;
    for (const std::vector<int64_t>& codes : chainCodesOf(tensor)) {
        const int64_t number = firstContour + countOf(lengths);
        lengths.push_back(countOf(codes));
        numbers.insert(numbers.end(), codes.size(), number);
        all.insert(all.end(), codes.begin(), codes.end());
    }
    return { listOf("codes", "contour", numbers), listOf("codes", "code", all),
             listOf("contours", "length", lengths) };
}

std::vector<Part> matchParts(const Tensor& tensor)
{
    std::vector<int64_t> queries, trained;
    for (const MatchedPair& pair : matchesOf(tensor)) {
        queries.push_back(pair.query);
        trained.push_back(pair.train);
    }
    return { listOf("matches", "query", queries), listOf("matches", "train", trained) };
}

std::vector<Part> faceParts(const TensorPointer& tensor)
{
    const Table table = faceTable(*tensor);
    const auto count = static_cast<int64_t>(table.rows.size());
    std::vector<Part> parts;
    addColumns(parts, "face-boxes", { table.columns.begin(), table.columns.end() - 1 }, tensor, 1, count, 4);
    addColumns(parts, "face-boxes", { table.columns.back() }, tensor, 1 + 4 * table.rows.size(), count, 1);
    return parts;
}

std::vector<Part> tableParts(Layout layout, const TensorPointer& tensor)
{
    const Names names = columnsOf(layout, lastDimension(*tensor));
    const int64_t count = names.empty() ? 0 : tensor->length() / static_cast<int64_t>(names.size());
    std::vector<Part> parts;
    addColumns(parts, std::string(nameOf(layout)), names, tensor, 0, count, names.size());
    return parts;
}

} // namespace

std::vector<std::string> columnsOf(Layout layout, std::size_t width)
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

std::vector<Part> partsOf(Layout layout, const TensorPointer& tensor, int64_t firstContour)
{
    switch (layout) {
    case Layout::KeypointsAndDescriptors: return featureParts(tensor);
    case Layout::Flow:
    case Layout::FlowAndValidity: return flowParts(layout, tensor);
    case Layout::Contours: return contourParts(tensor, firstContour);
    case Layout::ChainCodes: return chainParts(*tensor, firstContour);
    case Layout::Matches: return matchParts(*tensor);
    case Layout::FaceBoxes: return faceParts(tensor);
    case Layout::ResponseCurve: return { wholeOf(layout, tensor, { tensor->length() / 3, 3 }) };
    case Layout::Plain:
    case Layout::Descriptors:
    case Layout::Labels:
    case Layout::Transport:
    case Layout::Positions: return { wholeOf(layout, tensor, tensor->dimensions) };
    default: return tableParts(layout, tensor);
    }
}

} // namespace miravex
