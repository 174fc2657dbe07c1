#include "catalog/catalog.h"

#include "convert/name_table.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <unordered_map>

namespace miravex {

namespace {

constexpr std::array layouts {
    Named<Layout> { "plain", Layout::Plain },
    Named<Layout> { "keypoints", Layout::Keypoints },
    Named<Layout> { "descriptors", Layout::Descriptors },
    Named<Layout> { "keypoints-and-descriptors", Layout::KeypointsAndDescriptors },
    Named<Layout> { "regions", Layout::Regions },
    Named<Layout> { "labels", Layout::Labels },
    Named<Layout> { "matches", Layout::Matches },
    Named<Layout> { "polar-lines", Layout::PolarLines },
    Named<Layout> { "border-lines", Layout::BorderLines },
    Named<Layout> { "segments", Layout::Segments },
    Named<Layout> { "wide-segments", Layout::WideSegments },
    Named<Layout> { "circles", Layout::Circles },
    Named<Layout> { "contours", Layout::Contours },
    Named<Layout> { "chain-codes", Layout::ChainCodes },
    Named<Layout> { "face-boxes", Layout::FaceBoxes },
    Named<Layout> { "flow", Layout::Flow },
    Named<Layout> { "flow-and-validity", Layout::FlowAndValidity },
    Named<Layout> { "response-curve", Layout::ResponseCurve },
    Named<Layout> { "transport", Layout::Transport },
    Named<Layout> { "shift", Layout::Shift },
    Named<Layout> { "positions", Layout::Positions },
};

bool isUpper(char c) { return std::isupper(static_cast<unsigned char>(c)) != 0; }
char lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

std::string lowered(std::string_view text)
{
    std::string result(text);
    std::ranges::transform(result, result.begin(), lower);
    return result;
}

/// "MserDetect" -> "mser<separator>detect": a new word starts at a capital that follows another kind of
/// character or that is followed by a small letter.
std::string separated(std::string_view name, char separator)
{
    std::string result;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (name[i] == '_') continue;
        const bool afterWord =
            i > 0 && (!isUpper(name[i - 1]) || (i + 1 < name.size() && std::islower(name[i + 1])));
        if (isUpper(name[i]) && afterWord && !result.empty()) result += separator;
        result += lower(name[i]);
    }
    return result;
}

/// Letters and digits alone, in small letters: what all spellings of a name share.
std::string essence(std::string_view name)
{
    std::string result;
    for (const char c : name)
        if (c != '_' && c != '-') result += lower(c);
    return result;
}

/// Levenshtein distance.
std::size_t distance(std::string_view a, std::string_view b)
{
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t { 0 });
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({ replaced, row[j] + 1, row[j + 1] + 1 });
        }
    }
    return row.back();
}

std::unordered_map<std::string, const Operation*> byEssence()
{
    std::unordered_map<std::string, const Operation*> operations;
    for (const Operation* operation : catalog()) operations.emplace(essence(operation->name), operation);
    return operations;
}

} // namespace

// The records that the rooms' lists name.
#define MIRAVEX_ROOM(name, title)
#define MIRAVEX_OPERATION(Name, function, ...) extern const Record function##Record;
#include "ops/rooms.def"
#undef MIRAVEX_ROOM
#undef MIRAVEX_OPERATION

namespace {

constexpr Room allRooms[] = {
#define MIRAVEX_ROOM(name, title) { #name, title },
#define MIRAVEX_OPERATION(...)
#include "ops/rooms.def"
#undef MIRAVEX_ROOM
#undef MIRAVEX_OPERATION
};

std::vector<Operation> listedOperations()
{
    std::vector<Operation> operations;
    const Room* room = std::begin(allRooms) - 1;
#define MIRAVEX_ROOM(name, title) ++room;
#define MIRAVEX_OPERATION(Name, function, ...) operations.push_back({ function##Record, #Name, room });
#include "ops/rooms.def"
#undef MIRAVEX_ROOM
#undef MIRAVEX_OPERATION
    return operations;
}

} // namespace

std::span<const Room> rooms() { return allRooms; }

const std::vector<const Operation*>& catalog()
{
    static const std::vector<Operation> operations = listedOperations();
    static const std::vector<const Operation*> ordered = [] {
        std::vector<const Operation*> all;
        for (const Operation& operation : operations) all.push_back(&operation);
        std::ranges::sort(all, {}, [](const Operation* operation) { return essence(operation->name); });
        return all;
    }();
    return ordered;
}

const Operation* findOperation(std::string_view name)
{
    constexpr std::string_view prefix = "opencv_";
    if (name.starts_with(prefix)) name.remove_prefix(prefix.size());
    // Kernels ask several times in a call.
    static const std::unordered_map<std::string, const Operation*> known = byEssence();
    const auto found = known.find(essence(name));
    return found == known.end() ? nullptr : found->second;
}

std::string kebabCase(std::string_view name) { return separated(name, '-'); }
std::string snakeCase(std::string_view name) { return separated(name, '_'); }

std::vector<std::string> closest(std::string_view word, std::span<const std::string> candidates)
{
    constexpr std::size_t most = 3;
    const std::string wanted = lowered(word);
    std::vector<std::pair<std::size_t, std::string>> ranked;
    for (const std::string& candidate : candidates) {
        const std::string known = lowered(candidate);
        const bool within = wanted.size() >= 3 && known.find(wanted) != std::string::npos;
        const std::size_t far = distance(wanted, known);
        if (within || far <= std::max<std::size_t>(2, wanted.size() / 3))
            ranked.emplace_back(within ? 1 : far, candidate);
    }
    std::ranges::stable_sort(ranked, {}, &std::pair<std::size_t, std::string>::first);
    std::vector<std::string> result;
    for (const auto& [far, candidate] : ranked)
        if (result.size() < most) result.push_back(candidate);
    return result;
}

int argumentIndex(const Operation& operation, std::string_view name)
{
    const auto found = std::ranges::find(operation.arguments, name, &Argument::name);
    return found == operation.arguments.end() ? -1 : static_cast<int>(found - operation.arguments.begin());
}

bool takesPictures(const Operation& operation)
{
    return std::ranges::find(operation.arguments, Kind::Image, &Argument::kind) != operation.arguments.end();
}

std::string_view nameOf(Kind kind)
{
    switch (kind) {
    case Kind::Integer: return "integer";
    case Kind::Real: return "real";
    case Kind::Boolean: return "boolean";
    case Kind::String: return "text";
    case Kind::Image: return "image";
    case Kind::RealTensor: return "reals";
    case Kind::IntegerTensor: return "integers";
    case Kind::NumericArray: return "array";
    }
    return "";
}

std::string_view nameOf(ResultKind kind)
{
    switch (kind) {
    case ResultKind::Image: return "image";
    case ResultKind::Sequence: return "sequence";
    case ResultKind::RealTensor: return "reals";
    case ResultKind::IntegerTensor: return "integers";
    case ResultKind::Real: return "real";
    }
    return "";
}

std::string_view nameOf(Layout layout)
{
    const auto found = std::ranges::find(layouts, layout, &Named<Layout>::value);
    return found == layouts.end() ? std::string_view() : found->name;
}

std::optional<Layout> layoutNamed(std::string_view name)
{
    const auto found = std::ranges::find(layouts, name, &Named<Layout>::name);
    if (found == layouts.end()) return {};
    return found->value;
}

std::string_view nameOf(Extent::Of of)
{
    switch (of) {
    case Extent::Of::Exactly: return "exactly";
    case Extent::Of::AtLeast: return "atLeast";
    case Extent::Of::Rows: return "rowsOf";
    case Extent::Of::Columns: return "columnsOf";
    case Extent::Of::Channels: return "channelsOf";
    case Extent::Of::Slices: return "slicesOf";
    case Extent::Of::Length: return "lengthOf";
    case Extent::Of::First: return "firstOf";
    case Extent::Of::Second: return "secondOf";
    }
    return "";
}

std::string_view pixelTypeName(PixelType type)
{
    switch (type) {
    case PixelTypeBit: return "bit";
    case PixelTypeByte: return "byte";
    case PixelTypeBit16: return "bit16";
    case PixelTypeReal32: return "real32";
    case PixelTypeReal: return "real";
    default: return "unknown";
    }
}

std::string colorSpaceName(ColorSpace space)
{
    switch (space) {
    case ColorSpaceGray: return "gray";
    case ColorSpaceRGB: return "RGB";
    case ColorSpaceUnspecified: return "unspecified";
    default: return "colour space " + std::to_string(space);
    }
}

} // namespace miravex
